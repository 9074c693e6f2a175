#include "host/host_state.h"

#include <cerrno>
#include <cfenv>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <exception>
#include <fstream>
#include <iostream>
#include <locale>
#include <new>
#include <set>
#include <sstream>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <fpu_control.h>
#include <locale.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stdio_ext.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bix_test {
namespace {

template <class... Parts>
std::string Text(const Parts&... parts) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  (text << ... << parts);
  return text.str();
}

std::string Link(const std::string& path) {
  char target[4096];
  const ssize_t length = readlink(path.c_str(), target, sizeof target);
  return length < 0 ? "" : std::string(target, static_cast<std::size_t>(length));
}

std::string Hex(const void* bytes, std::size_t size) {
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    char two[3];
    std::snprintf(two, sizeof two, "%02x", static_cast<const unsigned char*>(bytes)[i]);
    text += two;
  }
  return text;
}

std::string Numbers(const sigset_t& set) {
  std::string numbers;
  for (int number = 1; number < NSIG; ++number)
    if (sigismember(&set, number) == 1) numbers.append(" ").append(std::to_string(number));
  return numbers;
}

/// What the kernel says behind "name:" in a file of /proc, for each of the names.
std::string Fields(const std::string& file, const std::set<std::string>& names) {
  std::ifstream in(file);
  std::string fields;
  for (std::string line; std::getline(in, line);)
    if (names.count(line.substr(0, line.find(':'))) != 0) fields += line + ";";
  return fields;
}

void ReadSignals(HostState& state) {
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action;
    if (sigaction(number, nullptr, &action) != 0) continue;  // those of the C library itself
    constexpr int kRestorer = 0x04000000;                    // set by the C library as it likes
    state["signal " + std::to_string(number)] =
        Text(reinterpret_cast<void*>(action.sa_handler), " flags ", action.sa_flags & ~kRestorer,
             " mask", Numbers(action.sa_mask));
  }
  sigset_t set;
  pthread_sigmask(SIG_BLOCK, nullptr, &set);
  state["blocked signals"] = Numbers(set);
  sigpending(&set);
  state["pending signals"] = Numbers(set);
  stack_t stack;
  sigaltstack(nullptr, &stack);
  state["alternate stack"] = Text(stack.ss_sp, " size ", stack.ss_size, " flags ", stack.ss_flags);
}

void ReadLocale(HostState& state) {
  const struct {
    const char* name;
    int category;
  } categories[] = {{"LC_CTYPE", LC_CTYPE},
                    {"LC_NUMERIC", LC_NUMERIC},
                    {"LC_TIME", LC_TIME},
                    {"LC_COLLATE", LC_COLLATE},
                    {"LC_MONETARY", LC_MONETARY},
                    {"LC_MESSAGES", LC_MESSAGES},
                    {"LC_PAPER", LC_PAPER},
                    {"LC_NAME", LC_NAME},
                    {"LC_ADDRESS", LC_ADDRESS},
                    {"LC_TELEPHONE", LC_TELEPHONE},
                    {"LC_MEASUREMENT", LC_MEASUREMENT},
                    {"LC_IDENTIFICATION", LC_IDENTIFICATION}};
  for (const auto& category : categories)
    state[Text("locale ", category.name)] = std::setlocale(category.category, nullptr);
  state["locale of the thread"] = Text(static_cast<void*>(uselocale(nullptr)));
  state["locale of C++"] = std::locale().name();
}

void ReadDescriptors(HostState& state) {
  DIR* const directory = opendir("/proc/self/fd");
  std::set<int> numbers;
  while (const dirent* const entry = readdir(directory))
    if (entry->d_name[0] != '.') numbers.insert(std::atoi(entry->d_name));
  numbers.erase(dirfd(directory));
  closedir(directory);
  for (const int number : numbers) {
    const std::string name = std::to_string(number);
    state["descriptor " + name] =
        Text(Link("/proc/self/fd/" + name), " status ", fcntl(number, F_GETFL), " flags ",
             fcntl(number, F_GETFD), " at ", lseek(number, 0, SEEK_CUR));
  }
}

void ReadThreads(HostState& state) {
  DIR* const directory = opendir("/proc/self/task");
  while (const dirent* const entry = readdir(directory)) {
    if (entry->d_name[0] == '.') continue;
    const std::string name = entry->d_name;
    const bool isFirst = std::atoi(name.c_str()) == getpid();
    state[isFirst ? "first thread" : "thread " + name] =
        Fields("/proc/self/task/" + name + "/status",
               {"Name", "SigBlk", "NoNewPrivs", "Seccomp", "Cpus_allowed_list"});
  }
  closedir(directory);
  int kind = 0;
  sched_param parameters = {};
  pthread_getschedparam(pthread_self(), &kind, &parameters);
  int cancelState = 0;
  int cancelType = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
  pthread_setcancelstate(cancelState, nullptr);
  pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &cancelType);
  pthread_setcanceltype(cancelType, nullptr);
  state["scheduling"] = Text(kind, " ", parameters.sched_priority, " nice ",
                             getpriority(PRIO_PROCESS, 0), " cancel ", cancelState, cancelType);
  std::set<pthread_key_t> keys;
  for (pthread_key_t key; pthread_key_create(&key, nullptr) == 0;) keys.insert(key);
  for (const pthread_key_t key : keys) pthread_key_delete(key);
  state["free thread keys"] = std::to_string(keys.size());
}

void ReadProcess(HostState& state) {
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    const std::size_t equals = text.find('=');
    state["variable " + text.substr(0, equals)] = text.substr(equals + 1);
  }
  for (int kind = 0; kind < static_cast<int>(RLIMIT_NLIMITS); ++kind) {
    rlimit limit = {};
    getrlimit(static_cast<__rlimit_resource_t>(kind), &limit);
    state["limit " + std::to_string(kind)] = Text(limit.rlim_cur, " of ", limit.rlim_max);
  }
  state["working directory"] = Link("/proc/self/cwd");
  state["root directory"] = Link("/proc/self/root");
  state["umask"] = Fields("/proc/self/status", {"Umask"});
  state["user"] = Fields("/proc/self/status", {"Uid", "Gid", "Groups", "CapEff", "CapBnd"});
  state["process group"] = Text(getpgrp(), " session ", getsid(0), " parent ", getppid());
  int reaper = 0;
  int deathSignal = 0;
  prctl(PR_GET_CHILD_SUBREAPER, &reaper);
  prctl(PR_GET_PDEATHSIG, &deathSignal);
  state["process attributes"] =
      Text("dumpable ", prctl(PR_GET_DUMPABLE), " keeps capabilities ", prctl(PR_GET_KEEPCAPS),
           " reaper ", reaper, " death signal ", deathSignal, " slack ", prctl(PR_GET_TIMERSLACK));
  const struct {
    const char* name;
    __itimer_which_t which;
  } timers[] = {
      {"timer real", ITIMER_REAL}, {"timer virtual", ITIMER_VIRTUAL}, {"timer prof", ITIMER_PROF}};
  for (const auto& timer : timers) {
    itimerval value = {};
    getitimer(timer.which, &value);
    // The rest of a timer that runs goes down by itself.
    state[timer.name] = Text(timerisset(&value.it_value) ? "runs" : "off", " every ",
                             value.it_interval.tv_sec, ".", value.it_interval.tv_usec);
  }
  std::ifstream posixTimers("/proc/self/timers");
  state["POSIX timers"] = Text(posixTimers.rdbuf());
  siginfo_t child = {};
  const int found = waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT);
  state["children"] = found != 0 ? "none" : child.si_pid == 0 ? "running" : "to be waited for";
}

void ReadNumbers(HostState& state) {
  fpu_control_t control = 0;
  _FPU_GETCW(control);
  state["floating point"] =
      Text("rounding ", std::fegetround(), " control ", control, " traps ", fegetexcept());
#ifdef __SSE__
  // Without the flags, which any calculation may raise.
  state["floating point of SSE"] = std::to_string(__builtin_ia32_stmxcsr() & ~0x3Fu);
#endif
  // The numbers that rand() gives next.
  static char s_own[128];
  char* const current = initstate(1, s_own, sizeof s_own);
  setstate(current);  // brings the state up to date in its memory
  state["random numbers"] = Hex(current, 128);
}

void ReadStreams(HostState& state) {
  const struct {
    const char* name;
    std::FILE* file;
  } files[] = {{"stdin", stdin}, {"stdout", stdout}, {"stderr", stderr}};
  for (const auto& f : files) {
    state[f.name] = Text("descriptor ", fileno(f.file), " buffer ", __fbufsize(f.file), " lines ",
                         __flbf(f.file) != 0, " locking ", __fsetlocking(f.file, FSETLOCKING_QUERY),
                         " wide ", std::fwide(f.file, 0), " error ", std::ferror(f.file) != 0);
    state[Text(f.name, " pending")] = std::to_string(__fpending(f.file));
  }
  const struct {
    const char* name;
    std::ios* stream;
    std::ostream* tied;
  } streams[] = {{"std::cin", &std::cin, std::cin.tie()},
                 {"std::cout", &std::cout, std::cout.tie()},
                 {"std::cerr", &std::cerr, std::cerr.tie()},
                 {"std::clog", &std::clog, std::clog.tie()}};
  for (const auto& s : streams)
    state[s.name] =
        Text(static_cast<const void*>(s.stream->rdbuf()), " flags ", s.stream->flags(),
             " precision ", s.stream->precision(), " width ", s.stream->width(), " fill ",
             s.stream->fill(), " state ", s.stream->rdstate(), " throws ", s.stream->exceptions(),
             " tied ", s.tied, " locale ", s.stream->getloc().name());
  std::wios* const wide[] = {&std::wcin, &std::wcout, &std::wcerr, &std::wclog};
  std::string all;
  for (const std::wios* stream : wide)
    all += Text(static_cast<const void*>(stream->rdbuf()), " ", stream->flags(), " ",
                stream->rdstate(), ";");
  state["wide streams"] = all;
  state["std::terminate"] = Text(reinterpret_cast<void*>(std::get_terminate()));
  state["std::new_handler"] = Text(reinterpret_cast<void*>(std::get_new_handler()));
}

void ReadMappedFiles(HostState& state) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);)
    if (const std::size_t slash = line.find('/'); slash != std::string::npos)
      state["mapped " + line.substr(slash)] = "yes";
}

}  // namespace

HostState ReadHostState() {
  HostState state;
  // Descriptors first: what is opened below is closed again, but may take the number of one that
  // was closed.
  ReadDescriptors(state);
  ReadSignals(state);
  ReadLocale(state);
  ReadThreads(state);
  ReadProcess(state);
  ReadNumbers(state);
  ReadStreams(state);
  ReadMappedFiles(state);
  return state;
}

std::vector<std::string> Differences(const HostState& before, const HostState& after) {
  std::map<std::string, std::string> differences;
  const auto in = [](const HostState& state, const std::string& name) {
    const auto found = state.find(name);
    return found != state.end() ? found->second : "(none)";
  };
  for (const HostState* state : {&before, &after})
    for (const auto& [name, value] : *state)
      if (in(before, name) != in(after, name))
        differences[name] = name + ": " + in(before, name) + " -> " + in(after, name);
  std::vector<std::string> lines;
  for (const auto& [name, line] : differences) lines.push_back(line);
  return lines;
}

}  // namespace bix_test
