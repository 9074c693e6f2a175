// The library as a guest: what a host finds changed in its own process after the library was loaded,
// after full use of it, and after it was unloaded. Everything that is not named here stays as it was.

#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <map>
#include <new>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/host_state.h"
#include "support/program.h"
#include "support/scoped_locale.h"
#include "support/temp_directory.h"

namespace {

using bix_test::Differences;
using bix_test::HostState;
using bix_test::Program;
using bix_test::ProgramResult;
using bix_test::ReadHostState;
using bix_test::TempDirectory;

enum Stage : unsigned { kLoaded = 1, kUsed = 2, kUnloaded = 4, kAlways = 7 };
constexpr unsigned kStages[] = {kLoaded, kUsed, kUnloaded};

/// A change that belongs to the interface.
struct Exception {
  unsigned stages;
  const char* line;  // the whole line of the report as a regular expression
  int least = 1;     // how many such lines there are at each of the stages
  int most = 1;
};

// What docs/process-state.md lists.
const std::vector<Exception> kExceptions = {
    // The user's directories are found, and made, already by loading.
    {kAlways, "HOME/Kestrane: \\(none\\) -> directory"},
    {kAlways, "HOME/Kestrane/Shared: \\(none\\) -> directory"},
    {kAlways, "HOME/Kestrane/Vorn 4.2: \\(none\\) -> directory"},
    {kAlways, "HOME/My Projects: \\(none\\) -> directory"},
    // Entries of the map of URNs that are saved.
    {kUsed | kUnloaded, "HOME/Kestrane/Shared/urnmap.txt: \\(none\\) -> file"},
    // The predefined option files, where there are none.
    {kUsed | kUnloaded, "ZROOT/tools: \\(none\\) -> directory"},
    {kUsed | kUnloaded, "ZROOT/tools/Shared: \\(none\\) -> directory"},
    {kUsed | kUnloaded, "ZROOT/tools/Shared/(company|init|user).tot: \\(none\\) -> file", 3, 3},
    // Whoever has the map of URNs built anew says which file it is read from, for good.
    {kUsed | kUnloaded,
     "variable VORN_URN_MAP_FILE: \\(none\\) -> HOME/Kestrane/Shared/urnmap.txt"},
    // The log of "BIX_ERR_OUT" is open from the first message until the library goes.
    {kUsed, "descriptor [0-9]+: \\(none\\) -> WORK/log.[0-9]+ status [0-9]+ flags 1 at [0-9]+"},
    // A server's first socket: one for the one server that was made.
    {kUsed | kUnloaded,
     "descriptor [0-9]+: \\(none\\) -> socket:\\[[0-9]+\\] status 2 flags 1 at -1"},
    // The library, what it is linked against, and who uses it.
    {kLoaded | kUsed, "mapped .*/libbix\\.so\\.10[0-9.]*: \\(none\\) -> yes"},
    {kLoaded | kUsed, "mapped .*/libpcre[^/]*: \\(none\\) -> yes", 1, 2},
    {kUsed, "mapped .*/libbix_guest\\.so: \\(none\\) -> yes"},
    // The C library keeps the tables of each locale that it has converted by, and of each language
    // that it has said an error in.
    {kUsed | kUnloaded, "mapped .*/LC_CTYPE: \\(none\\) -> yes", 0, 2},
    {kUsed | kUnloaded, "mapped .*/(locale-archive|gconv/[^/]*): \\(none\\) -> yes", 0, 2},
    {kUsed | kUnloaded, "mapped .*/LC_MESSAGES/libc\\.mo: \\(none\\) -> yes", 0, 2},
};

// The console, when there is one: messages without a handler, and traces, are printed and flushed.
const std::vector<Exception> kConsole = {
    {kUsed | kUnloaded, "descriptor 1: OUT at 0 -> OUT at 25"},
    {kUsed | kUnloaded, "descriptor 2: OUT at 0 -> OUT at 9"},
    {kUsed | kUnloaded, "stdout pending: 7 -> 0"},
    {kUsed | kUnloaded,
     "stderr: (descriptor 2) buffer (.*) wide 0 error 0 -> \\1 buffer .* wide -1 error 0"},
};

// Without one they are lost; the streams of C remember that.
const std::vector<Exception> kNoConsole = {
    {kUsed | kUnloaded, "stdout: (.*) error 0 -> \\1 error 1"},
    {kUsed | kUnloaded, "stdout pending: 7 -> 0"},
    {kUsed | kUnloaded,
     "stderr: (descriptor 2) buffer (.*) wide 0 error 0 -> \\1 buffer .* wide -1 error 1"},
};

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
}

/// Lets a host live through the library and compares its report with the exceptions.
class HostProcess : public testing::Test {
 protected:
  void Run(const char* variant, const std::vector<Exception>& console) {
    for (const char* folder : {"home", "zroot", "tmp", "work", "cwd"})
      std::filesystem::create_directory(m_root / folder);
    const std::string work = m_root / "work";
    const std::string report = m_root / "report";
    const ProgramResult result =
        Program(BIX_HOST, {BIX_LIBRARY, BIX_GUEST, BIX_GUEST_TEXTS, work, report, variant})
            .Set("HOME", m_root / "home")
            .Set("ZROOT", m_root / "zroot")
            .Set("TMPDIR", m_root / "tmp")
            .Set("LOCPATH", BIX_TEST_LOCALES)
            .Set("BIX_ERR_OUT", "-o " + work + "/log")
            .Set("QRD_ASSERT", "")
            .Set("QRD_TRACE", "")
            .Set("R5_SAVED_LD_LIBRARY_PATH", "/saved")
            .In(m_root / "cwd")
            .Run();
    EXPECT_EQ(0, result.exitCode) << result.errors;
    EXPECT_EQ(0, result.signal);
    if (&console == &kConsole) {
      // What the host has written before comes first, and nothing comes twice.
      EXPECT_EQ("before\na trace\nan output\nafter\n", result.output);
      EXPECT_EQ("an error\n", result.errors);
    } else {
      EXPECT_EQ("", result.output);
      EXPECT_EQ("", result.errors);
    }
    Compare(bix_test::ReadWholeFile(report), console);
  }

 private:
  void Compare(std::string report, const std::vector<Exception>& console) {
    for (const auto& [folder, name] : {std::pair{"home", "HOME"}, {"work", "WORK"}})
      ReplaceAll(report, m_root / folder, name);
    report = std::regex_replace(
        report, std::regex("/memfd:[a-z]+ \\(deleted\\) status [0-9]+ flags 0"), "OUT");
    std::vector<Exception> exceptions = kExceptions;
    exceptions.insert(exceptions.end(), console.begin(), console.end());
    std::map<std::pair<std::size_t, unsigned>, int> seen;  // by exception and stage
    std::istringstream lines(report);
    std::string line;
    while (std::getline(lines, line) && line != "end") {
      const std::size_t colon = line.find(": ");
      const std::string stage = line.substr(0, colon);
      const unsigned bit = stage == "loaded"     ? unsigned{kLoaded}
                           : stage == "used"     ? unsigned{kUsed}
                           : stage == "unloaded" ? unsigned{kUnloaded}
                                                 : 0u;
      bool isException = false;
      for (std::size_t i = 0; i < exceptions.size() && colon != std::string::npos; ++i) {
        if ((exceptions[i].stages & bit) == 0) continue;
        if (!std::regex_match(line.substr(colon + 2), std::regex(exceptions[i].line))) continue;
        isException = true;
        ++seen[{i, bit}];
      }
      EXPECT_TRUE(isException) << line;
    }
    EXPECT_EQ("end", line) << "the report is not complete";
    for (std::size_t i = 0; i < exceptions.size(); ++i)
      for (const unsigned stage : kStages) {
        if ((exceptions[i].stages & stage) == 0) continue;
        SCOPED_TRACE(exceptions[i].line);
        const int count = seen[{i, stage}];
        EXPECT_LE(exceptions[i].least, count) << "it is no longer so at stage " << stage;
        EXPECT_GE(exceptions[i].most, count) << "at stage " << stage;
      }
  }

  const TempDirectory m_root;
};

TEST_F(HostProcess, IsAsItWas) { Run("plain", kConsole); }

TEST_F(HostProcess, WithHandlersAndBlockedSignalsOfItsOwn) { Run("handlers", kConsole); }

TEST_F(HostProcess, InAnotherLocale) { Run("locale", kConsole); }

TEST_F(HostProcess, WithoutStandardStreams) { Run("closed", kNoConsole); }

TEST_F(HostProcess, WithManyThreads) { Run("threads", kConsole); }

// ---- The comparison itself: each of these is something that a guest must not do.

/// The names of what the change has changed. Runs in a process of its own.
void ExpectSeen(void (*change)(), const std::string& names) {
  EXPECT_EXIT(
      {
        close_range(3, ~0U, 0);  // inherited by chance; others may be writing to them
        const HostState before = ReadHostState();
        change();
        std::string changed;
        for (const std::string& line : Differences(before, ReadHostState()))
          changed += line.substr(0, line.find(": ")) + ";";
        std::fprintf(stderr, "<%s>", changed.c_str());
        std::_Exit(0);
      },
      testing::ExitedWithCode(0), "<" + names + ">");
}

TEST(HostState, IsTheSameWhenNothingHappens) {
  ExpectSeen([] {}, "");
}

TEST(HostState, ShowsEachChange) {
  const struct {
    void (*change)();
    const char* names;
  } cases[] = {
      {[] { umask(0123); }, "umask;"},
      {[] { (void)!chdir("/"); }, "working directory;"},
      {[] { std::signal(SIGPIPE, SIG_IGN); }, "signal 13;"},
      {[] {
         struct sigaction action = {};
         action.sa_flags = SA_RESTART;
         sigaction(SIGCHLD, &action, nullptr);
       },
       "signal 17;"},
      {[] {
         sigset_t set;
         sigemptyset(&set);
         sigaddset(&set, SIGTERM);
         pthread_sigmask(SIG_BLOCK, &set, nullptr);
       },
       "blocked signals;first thread;"},
      {[] {
         static char s_stack[65536];
         const stack_t stack = {s_stack, 0, sizeof s_stack};
         sigaltstack(&stack, nullptr);
       },
       "alternate stack;"},
      {[] { std::setlocale(LC_NUMERIC, "C.UTF-8"); }, "locale LC_NUMERIC;.*"},
      {[] { uselocale(newlocale(LC_ALL_MASK, "C.UTF-8", nullptr)); }, "locale of the thread;.*"},
      {[] { (void)!dup2(1, 77); }, "descriptor 77;"},
      {[] { fcntl(1, F_SETFD, FD_CLOEXEC); }, "descriptor 1;"},
      {[] { fcntl(2, F_SETFL, O_WRONLY | O_NONBLOCK); }, "descriptor 2;"},
      {[] { setenv("NEW_VARIABLE", "value", 1); }, "variable NEW_VARIABLE;"},
      {[] { unsetenv("PATH"); }, "variable PATH;"},
      {[] {
         const rlimit limit = {0, 0};
         setrlimit(RLIMIT_CORE, &limit);
       },
       "limit 4;"},
      {[] { std::fesetround(FE_UPWARD); }, "floating point;.*"},
      {[] { feenableexcept(FE_DIVBYZERO); }, "floating point;.*"},
      {[] { (void)std::rand(); }, "random numbers;"},
      {[] { std::setvbuf(stdin, nullptr, _IONBF, 0); }, "stdin;"},
      {[] { std::fputs("pending", stdout); }, "stdout;stdout pending;|stdout pending;"},
      {[] { std::set_terminate([] { std::abort(); }); }, "std::terminate;"},
      {[] { std::set_new_handler([] { std::abort(); }); }, "std::new_handler;"},
      {[] { std::cout << std::hex; }, "std::cout;"},
      {[] { std::cerr << std::setprecision(3); }, "std::cerr;"},
      {[] { std::clog.rdbuf(std::cout.rdbuf()); }, "std::clog;"},
      {[] { (void)setpgid(0, 0); }, "process group;"},
      {[] {
         const itimerval timer = {{0, 0}, {1000, 0}};
         setitimer(ITIMER_REAL, &timer, nullptr);
       },
       "timer real;"},
      {[] {
         if (fork() == 0) _exit(0);
         siginfo_t child;
         waitid(P_ALL, 0, &child, WEXITED | WNOWAIT);
       },
       "children;"},
      {[] {
         pthread_key_t key;
         pthread_key_create(&key, nullptr);
       },
       "free thread keys;"},
      {[] {
         std::thread([] {
           for (;;) pause();
         }).detach();
       },
       "thread [0-9]+;"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.names);
    ExpectSeen(c.change, c.names);
  }
}

}  // namespace
