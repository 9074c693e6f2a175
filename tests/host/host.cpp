// A host that is not linked against the library: loads it, lets an add-in make full use of it,
// unloads it, and reports what of its own state is not what it was before.
//
//   bix_host <library> <guest> <texts> <work> <report> plain|handlers|locale|closed|threads
//
// The report has a line for each difference, behind "loaded: ", "used: " or "unloaded: ". Every
// comparison is with the state before the library was loaded.

#include <cfenv>
#include <clocale>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/guest.h"
#include "host/host_state.h"

namespace {

using bix_test::HostState;

void HandleSignal(int) {}
[[noreturn]] void Terminate() { std::abort(); }
[[noreturn]] void ReportNoMemory() { std::abort(); }

/// A host with habits of its own in everything that has a setting.
void SetHandlers() {
  static char s_stack[65536];
  const stack_t stack = {s_stack, 0, sizeof s_stack};
  sigaltstack(&stack, nullptr);
  struct sigaction action = {};
  action.sa_handler = &HandleSignal;
  action.sa_flags = SA_RESTART | SA_NOCLDSTOP | SA_ONSTACK;
  sigaddset(&action.sa_mask, SIGUSR2);
  for (const int number : {SIGCHLD, SIGPIPE, SIGALRM, SIGHUP}) sigaction(number, &action, nullptr);
  std::signal(SIGQUIT, SIG_IGN);
  sigset_t blocked;
  sigemptyset(&blocked);
  for (const int number : {SIGUSR1, SIGTERM, SIGINT, SIGRTMIN + 3}) sigaddset(&blocked, number);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  std::raise(SIGUSR1);  // pending from now on
  const itimerval timer = {{1000, 0}, {1000, 0}};
  setitimer(ITIMER_REAL, &timer, nullptr);
  umask(027);
  std::fesetround(FE_DOWNWARD);
  std::set_terminate(&Terminate);
  std::set_new_handler(&ReportNoMemory);
  std::cout << std::hex << std::setprecision(3) << std::setfill('*');
  std::cerr << std::boolalpha;
  std::cin.tie(nullptr);
  std::setvbuf(stderr, nullptr, _IOLBF, 1024);
  std::srand(4711);
}

/// Threads that have used the library and end when it is gone.
class Threads {
 public:
  explicit Threads(int count) {
    for (int i = 0; i < count; ++i)
      m_threads.emplace_back([this] {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_begun;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_use != nullptr; });
        m_use();
        ++m_used;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_mayEnd; });
      });
  }
  void WaitForAll() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_begun == m_threads.size(); });
  }
  /// Lets all of them call the function, one after the other.
  void Use(void (*use)()) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_use = use;
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return m_used == m_threads.size(); });
  }
  void End() {
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_mayEnd = true;
    }
    m_changed.notify_all();
    for (std::thread& thread : m_threads) thread.join();
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_changed;
  void (*m_use)() = nullptr;
  bool m_mayEnd = false;
  std::size_t m_begun = 0;
  std::size_t m_used = 0;
  std::vector<std::thread> m_threads;
};

/// What the host keeps in functions of the C library from one call to the next.
class Dealings {
 public:
  Dealings()
      : m_user(getpwuid(geteuid())), m_home(m_user->pw_dir), m_next(std::strtok(m_text, ";")) {}

  /// What has come of them since the last call.
  void Look(HostState& state) {
    state["user of getpwuid"] = m_user->pw_dir == m_home ? "the same" : "another";
    const char expected = static_cast<char>(*m_next + 1);
    m_next = std::strtok(nullptr, ";");
    state["text of strtok"] = m_next != nullptr && *m_next == expected ? "goes on" : "is lost";
  }

 private:
  char m_text[16] = "a;b;c;d;e;f";
  const passwd* m_user;
  const std::string m_home;
  const char* m_next;
};

void ReadFiles(HostState& state) {
  for (const char* variable : {"HOME", "ZROOT", "TMPDIR"})
    for (const auto& entry : std::filesystem::recursive_directory_iterator(std::getenv(variable)))
      state[std::string(variable) +
            entry.path().string().substr(std::strlen(std::getenv(variable)))] =
          entry.is_directory() ? "directory" : "file";
  for (const auto& entry : std::filesystem::directory_iterator("."))
    state["./" + entry.path().filename().string()] = "there";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 7) return 2;
  const std::string variant = argv[6];
  // What the host has inherited by chance, others may be writing to.
  close_range(3, ~0U, 0);
  std::printf("before\n");  // kept in the buffer
  if (variant == "handlers") SetHandlers();
  if (variant == "locale" && std::setlocale(LC_ALL, "de_DE.ISO-8859-1") == nullptr) return 3;
  if (variant == "closed")
    for (const int descriptor : {0, 1, 2}) close(descriptor);

  Dealings dealings;
  Threads threads(variant == "threads" ? 16 : 1);
  threads.WaitForAll();
  const auto look = [&dealings] {
    HostState state = bix_test::ReadHostState();
    dealings.Look(state);
    ReadFiles(state);
    return state;
  };
  std::vector<std::string> report;
  const HostState before = look();
  const auto compare = [&](const char* stage) {
    for (const std::string& line : bix_test::Differences(before, look()))
      report.push_back(std::string(stage) + ": " + line);
  };

  void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return 4;
  compare("loaded");

  void* const guest = dlopen(argv[2], RTLD_NOW | RTLD_LOCAL);
  if (guest == nullptr) return 5;
  const auto useEverything =
      reinterpret_cast<const char* (*)(const char*, const char*)>(dlsym(guest, "UseEverything"));
  const auto useOnAThread = reinterpret_cast<void (*)()>(dlsym(guest, "UseOnAThread"));
  const std::string failures = useEverything(argv[4], argv[3]);
  if (!failures.empty()) report.push_back("failures: " + failures);
  threads.Use(useOnAThread);
  compare("used");

  dlclose(guest);
  dlclose(library);
  compare("unloaded");

  // What is left of the process still works.
  threads.End();
  if (const pid_t child = fork(); child == 0) {
    _exit(7);
  } else {
    int status = 0;
    if (waitpid(child, &status, 0) != child || WEXITSTATUS(status) != 7)
      report.push_back("unloaded: a child of the host got lost");
  }
  std::printf("after\n");
  std::ofstream file(argv[5]);
  for (const std::string& line : report) file << line << "\n";
  file << "end\n";
  return file.flush() ? 0 : 6;
}
