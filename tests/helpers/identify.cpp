// Prints the process id and two fresh identifiers; then, with the argument "fork", the same for a
// child, and one more of its own.

#include <cstdio>
#include <cstring>

#include <sys/wait.h>
#include <unistd.h>

#include "bix/identifiers.h"

namespace {

void Identify() {
  bix::SString id;
  bix::BixCreateGuid(id);
  std::printf("%ld %s\n", static_cast<long>(getpid()), id.c_str());
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  Identify();
  Identify();
  if (argc < 2 || std::strcmp(argv[1], "fork") != 0) return 0;
  const pid_t child = fork();
  if (child == 0) {
    Identify();
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  Identify();
  return 0;
}
