// Says on the library's channels what its arguments ask for, one command after the other.

#include <cstdlib>
#include <cstring>

#include "bix/diagnostics.h"
#include "bix/messages.h"

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const char* const command = argv[i];
    if (std::strcmp(command, "assert") == 0) {
      bix::bix_assert("a == b", "some/file.cpp", 42);
      continue;
    }
    if (std::strcmp(command, "assert-null") == 0) {
      bix::bix_assert(nullptr, "f", 1);
      continue;
    }
    if (std::strcmp(command, "plain-assert") == 0) {
      zq_assert("a == b", "some/file.cpp", 42);
      continue;
    }
    if (std::strcmp(command, "trace-on") == 0) {
      bix::qrd_trace = true;
      continue;
    }
    if (++i == argc) return 2;
    char* const argument = argv[i];
    if (std::strcmp(command, "err") == 0)
      bix::bixerr << argument << bix::endl << bix::flush;
    else if (std::strcmp(command, "out") == 0)
      bix::bixout << argument << bix::endl << bix::flush;
    else if (std::strcmp(command, "err-unflushed") == 0)
      bix::bixerr << argument;
    else if (std::strcmp(command, "out-unflushed") == 0)
      bix::bixout << argument;
    else if (std::strcmp(command, "trace") == 0)
      bix::zq_trace("%d %s", 7, argument);
    else if (std::strcmp(command, "setenv") == 0)
      putenv(argument);
    else if (std::strcmp(command, "unsetenv") == 0)
      unsetenv(argument);
    else if (std::strcmp(command, "assert-macro") == 0)
      BIX_ASSERT(std::atoi(argument) != 0);
    else
      return 2;
  }
  return 0;
}
