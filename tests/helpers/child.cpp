// Tells what a child process finds, for tests that launch it. It uses nothing of the library, and
// is linked statically, so that it starts fast and needs no library path.

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// The open descriptors up to 1100, such as "0 1 2\n".
int PrintDescriptors() {
  for (int fd = 0; fd <= 1100; ++fd) {
    if (fcntl(fd, F_GETFD) >= 0) std::printf(fd == 0 ? "%d" : " %d", fd);
  }
  std::printf("\n");
  return 0;
}

/// A line for each variable: "NAME=value", or "NAME" when it is not set.
int PrintVariables(char** names) {
  for (; *names != nullptr; ++names) {
    if (const char* value = std::getenv(*names))
      std::printf("%s=%s\n", *names, value);
    else
      std::printf("%s\n", *names);
  }
  return 0;
}

/// What each of these signals would do, and whether it is blocked: "INT default" or
/// "HUP ignored blocked".
int PrintSignals() {
  const struct {
    const char* name;
    int number;
  } signals[] = {{"HUP", SIGHUP},   {"INT", SIGINT},   {"PIPE", SIGPIPE},
                 {"TERM", SIGTERM}, {"USR1", SIGUSR1}, {"CHLD", SIGCHLD}};
  sigset_t blocked;
  sigprocmask(SIG_SETMASK, nullptr, &blocked);
  for (const auto& signal : signals) {
    struct sigaction action = {};
    sigaction(signal.number, nullptr, &action);
    std::printf("%s %s%s\n", signal.name,
                action.sa_handler == SIG_DFL   ? "default"
                : action.sa_handler == SIG_IGN ? "ignored"
                                               : "handled",
                sigismember(&blocked, signal.number) == 1 ? " blocked" : "");
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 0;
  if (std::strcmp(argv[1], "descriptors") == 0) return PrintDescriptors();
  if (std::strcmp(argv[1], "variables") == 0) return PrintVariables(argv + 2);
  if (std::strcmp(argv[1], "signals") == 0) return PrintSignals();
  if (std::strcmp(argv[1], "exit") == 0 && argc > 2) return std::atoi(argv[2]);
  if (std::strcmp(argv[1], "wait") == 0) {
    for (;;) pause();
  }
  return 2;
}
