#include "bix/subproc.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/stat.h>
#include <unistd.h>

#include "proc/children.h"
#include "support/captured_output.h"
#include "support/scoped_environment.h"

namespace bix_test {
namespace {

using bix::CSubProc;

/// An open descriptor of a given number that a program started by exec inherits.
class Inheritable {
 public:
  explicit Inheritable(int number) : m_number(number) {
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    EXPECT_EQ(number, dup2(null, number));
    close(null);
  }
  Inheritable(const Inheritable&) = delete;
  Inheritable& operator=(const Inheritable&) = delete;
  ~Inheritable() { close(m_number); }

 private:
  int m_number;
};

/// A closed standard descriptor, put back at the end.
class Closed {
 public:
  explicit Closed(int number) : m_number(number), m_kept(fcntl(number, F_DUPFD_CLOEXEC, 10)) {
    close(number);
  }
  Closed(const Closed&) = delete;
  Closed& operator=(const Closed&) = delete;
  ~Closed() {
    dup2(m_kept, m_number);
    close(m_kept);
  }

 private:
  int m_number;
  int m_kept;
};

class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t soft) {
    EXPECT_EQ(0, getrlimit(RLIMIT_NOFILE, &m_before));
    const rlimit limit = {soft, m_before.rlim_max};
    EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
  }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &m_before); }

 private:
  rlimit m_before;
};

std::set<int> Numbers(const std::string& text) {
  std::istringstream stream(text);
  std::set<int> numbers;
  for (int number; stream >> number;) numbers.insert(number);
  return numbers;
}

/// Those of this process that a program started by exec inherits.
std::set<int> InheritableNow() {
  std::set<int> numbers;
  for (const int fd : NumbersIn("/proc/self/fd")) {
    const int flags = fcntl(fd, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) numbers.insert(fd);
  }
  return numbers;
}

TEST(SubProcDescriptors, TheChildHasOnlyTheStandardOnes) {
  const ScopedVariable variable("MORVEL_NO_CLOSE", nullptr);
  const Inheritable low(100), high(900);
  EXPECT_EQ("0 1 2\n", OutputOf({BIX_CHILD, "descriptors"}));
}

TEST(SubProcDescriptors, WithNoCloseTheChildInheritsAll) {
  for (const char* value : {"1", "", "0"}) {
    SCOPED_TRACE(value);
    const ScopedVariable variable("MORVEL_NO_CLOSE", value);
    const Inheritable high(900);
    std::set<int> want = InheritableNow();
    ASSERT_EQ(1U, want.count(900));
    CSubProc child;
    ASSERT_EQ(0, Launch(child, {BIX_CHILD, "descriptors"}));
    want.insert(child.rfd());
    want.insert(child.wfd());
    std::set<int> got = Numbers(ReadLine(child));
    EXPECT_EQ(0, child.get_exit_status());
    child.reset();
    for (const int fd : want) EXPECT_EQ(1U, got.count(fd)) << fd;
    EXPECT_EQ(want.size() + 3, got.size());  // and the copies of the host's three
  }
}

TEST(SubProcDescriptors, WithNoCloseTheNextChildInheritsThePipesOfTheFirst) {
  const ScopedVariable variable("MORVEL_NO_CLOSE", "1");
  CSubProc first, second;
  ASSERT_EQ(0, Launch(first, {"cat"}));
  ASSERT_EQ(0, Launch(second, {BIX_CHILD, "descriptors"}));
  const std::set<int> got = Numbers(ReadLine(second));
  EXPECT_EQ(1U, got.count(first.rfd()));
  EXPECT_EQ(1U, got.count(first.wfd()));
  EXPECT_EQ(0, second.get_exit_status());
  second.reset();
  // The first holds the other end of its own input, so it does not see its end.
  first.close_write();
  EXPECT_FALSE(first.wait_for(20));
  EXPECT_EQ(0, first.kill());
  first.reset();
}

TEST(SubProcDescriptors, ThePipesDoNotReachOtherProgramsOfTheHost) {
  const ScopedVariable variable("MORVEL_NO_CLOSE", nullptr);
  const std::set<int> before = InheritableNow();
  CSubProc child;
  ASSERT_EQ(0, Launch(child, {"cat"}));
  EXPECT_EQ(before, InheritableNow());
  child.close_write();
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

TEST(SubProcDescriptors, ASpawnedChildHasOnlyTheStandardOnes) {
  const Inheritable high(900);
  const char* arguments[] = {BIX_CHILD, "descriptors", nullptr};
  for (const bool inheritsAll : {false, true}) {
    const ScopedVariable variable("MORVEL_NO_CLOSE", inheritsAll ? "1" : nullptr);
    std::string text;
    {
      const CapturedOutput output;
      const pid_t pid = bix::local_spawn(BIX_CHILD, arguments, false);
      EXPECT_EQ(pid, waitpid(pid, nullptr, 0));
      text = output.Output();
    }
    EXPECT_EQ(inheritsAll ? 1U : 0U, Numbers(text).count(900)) << text;
    EXPECT_EQ(inheritsAll, text != "0 1 2\n");
  }
}

TEST(SubProcDescriptors, TheStateOfTheTableDoesNotMatter) {
  const ScopedVariable variable("MORVEL_NO_CLOSE", nullptr);
  rlimit limit;
  ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &limit));
  const DescriptorLimit high(limit.rlim_max);
  EXPECT_EQ("0 1 2\n", OutputOf({BIX_CHILD, "descriptors"}));
}

TEST(SubProcDescriptors, AFullTableFailsTheLaunch) {
  CSubProc child;
  // It takes three copies and four ends of pipes.
  std::vector<rlim_t> freeNumbers;
  for (int fd = 3; freeNumbers.size() < 7; ++fd) {
    if (fcntl(fd, F_GETFD) < 0) freeNumbers.push_back(static_cast<rlim_t>(fd));
  }
  const std::size_t before = OpenDescriptors();
  for (const rlim_t number : freeNumbers) {
    SCOPED_TRACE(number);
    {
      const DescriptorLimit limit(number);
      EXPECT_EQ(-1, Launch(child, {BIX_CHILD}));
    }
    EXPECT_EQ(EMFILE, child.launch_error());
    EXPECT_EQ(-1, child.rfd());
    EXPECT_EQ(-1, child.wfd());
    EXPECT_EQ(before, OpenDescriptors());
  }
  EXPECT_EQ(0, Launch(child, {BIX_CHILD}));
  EXPECT_EQ(0, child.get_exit_status());
  child.reset();
}

TEST(SubProcDescriptorsCompat, AClosedStandardDescriptorFailsTheLaunch) {
  for (int fd = 0; fd < 3; ++fd) {
    SCOPED_TRACE(fd);
    const std::size_t before = OpenDescriptors();
    CSubProc child;
    int result = 0, stillClosed = 0;
    {
      const Closed closed(fd);
      result = Launch(child, {BIX_CHILD});
      stillClosed = fcntl(fd, F_GETFD);
    }
    EXPECT_EQ(-1, result);
    EXPECT_EQ(-1, stillClosed);
    EXPECT_EQ(EBADF, child.launch_error());
    EXPECT_EQ(0, child.state());
    EXPECT_EQ(-1, child.rfd());
    EXPECT_EQ(-1, child.wfd());
    EXPECT_EQ(before, OpenDescriptors());
    EXPECT_FALSE(HasChildren());
  }
}

TEST(SubProcDescriptorsCompat, ADescriptorAboveTheLimitIsHandedOn) {
  const ScopedVariable variable("MORVEL_NO_CLOSE", nullptr);
  const Inheritable low(150), high(900);
  std::set<int> want = InheritableNow();
  want.erase(want.lower_bound(3), want.lower_bound(200));
  ASSERT_EQ(1U, want.count(900));
  const DescriptorLimit limit(200);
  EXPECT_EQ(want, Numbers(OutputOf({BIX_CHILD, "descriptors"})));
}

/// From now on these calls of this process, and of its children, fail with `error`.
bool Refuse(std::initializer_list<long> calls, int error) {
  std::vector<sock_filter> filter = {
      {BPF_LD | BPF_W | BPF_ABS, 0, 0, 0}};  // the number stands at the beginning of the data
  for (const long call : calls) {
    filter.push_back({BPF_JMP | BPF_JEQ | BPF_K, 0, 1, static_cast<unsigned>(call)});
    filter.push_back({BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)});
  }
  filter.push_back({BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW});
  sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(SubProcDescriptors, OlderSystemsCloseThemTooByTheListAndOneByOne) {
  const ScopedVariable variable("MORVEL_NO_CLOSE", nullptr);
  const Inheritable low(100), high(900);
  EXPECT_TRUE(InAnotherProcess([] {
    return Refuse({SYS_close_range}, ENOSYS) && OutputOf({BIX_CHILD, "descriptors"}) == "0 1 2\n";
  }));
  EXPECT_TRUE(InAnotherProcess([] {
    return Refuse({SYS_close_range, SYS_getdents64}, EPERM) &&
           OutputOf({BIX_CHILD, "descriptors"}) == "0 1 2\n";
  }));
  const DescriptorLimit limit(200);
  EXPECT_TRUE(InAnotherProcess([] {
    if (!Refuse({SYS_close_range}, ENOSYS)) return false;
    const std::set<int> got = Numbers(OutputOf({BIX_CHILD, "descriptors"}));
    return got.count(100) == 0 && got.count(900) == 1;
  }));
}

TEST(SubProcWaitFor, WorksOnSystemsThatCannotTell) {
  EXPECT_TRUE(InAnotherProcess([] {
    CSubProc child;
    if (!Refuse({SYS_pidfd_open}, ENOSYS) || Launch(child, {"cat"}) != 0) return false;
    if (child.wait_for(20)) return false;
    child.close_write();
    const bool hasEnded = child.wait_for(60000);
    child.reset();
    return hasEnded;
  }));
}

}  // namespace
}  // namespace bix_test
