// Runs before the constructors of any shared library, the C library's and those of the sanitizers
// included: no memory allocation, no environment functions, nothing that a sanitizer intercepts or
// instruments. Only system calls; the build turns instrumentation of this file off.

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/private_home_start.h"

namespace bix_test {

const char kPrivateHomeVariable[] = "BIX_TEST_HOME";
const char kPrivateHomeStem[] = "/bix-test-home-";

namespace {

constexpr std::size_t kPathSize = 4096;
constexpr int kCannotStart = 125;

/// What the library reads; a last "*" stands for any rest.
const char* const kRemoved[] = {"HOME",   "BIX_TEST_HOME",   "BIX_ERR_OUT",
                                "QRD_*",  "KESTRANE_*",      "ZROOT",
                                "VORN_*", "MORVEL_NO_CLOSE", "R5_SAVED_LD_LIBRARY_PATH"};

std::size_t Length(const char* text) {
  std::size_t length = 0;
  while (text[length] != '\0') ++length;
  return length;
}

/// Whether `entry`, "NAME=value", is of a variable that `pattern` names.
bool Names(const char* pattern, const char* entry) {
  std::size_t at = 0;
  for (; pattern[at] != '\0' && pattern[at] != '*'; ++at) {
    if (pattern[at] != entry[at]) return false;
  }
  return pattern[at] == '*' || entry[at] == '=';
}

bool IsRemoved(const char* entry) {
  for (const char* pattern : kRemoved) {
    if (Names(pattern, entry)) return true;
  }
  return false;
}

const char* Value(char** environment, const char* name) {
  for (; *environment != nullptr; ++environment) {
    if (Names(name, *environment)) return *environment + Length(name) + 1;
  }
  return nullptr;
}

[[noreturn]] void Fail(const char* what) {
  const char* const parts[] = {"no private home directory for the tests: ", what, "\n"};
  for (const char* part : parts) (void)syscall(SYS_write, 2, part, Length(part));
  for (;;) (void)syscall(SYS_exit_group, kCannotStart);
}

/// A text of limited size, always terminated.
class Path {
 public:
  Path() { m_text[0] = '\0'; }
  Path& operator<<(const char* text) {
    for (; *text != '\0'; ++text) Add(*text);
    return *this;
  }
  Path& operator<<(unsigned long number) {
    char digits[24];
    int count = 0;
    do {
      digits[count++] = static_cast<char>('0' + number % 10);
      number /= 10;
    } while (number != 0);
    while (count > 0) Add(digits[--count]);
    return *this;
  }
  void CutTo(std::size_t size) {
    m_size = size;
    m_text[size] = '\0';
  }
  std::size_t Size() const { return m_size; }
  char* Text() { return m_text; }

 private:
  void Add(char byte) {
    if (m_size + 1 >= kPathSize) Fail("the path is too long");
    m_text[m_size++] = byte;
    m_text[m_size] = '\0';
  }

  std::size_t m_size = 0;
  char m_text[kPathSize];
};

/// Appends the name of a fresh directory to `path` behind its first `start` bytes, which are not
/// part of the name.
void MakeDirectory(Path& path, std::size_t start) {
  const std::size_t stem = path.Size();
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::uint32_t random = 0;
    if (syscall(SYS_getrandom, &random, sizeof random, 0) != sizeof random) Fail("getrandom");
    path.CutTo(stem);
    path << static_cast<unsigned long>(random);
    if (syscall(SYS_mkdirat, AT_FDCWD, path.Text() + start, 0700) == 0) return;
    if (errno != EEXIST) break;
  }
  Fail(path.Text() + start);
}

void StartInPrivateHome(int /*argc*/, char** argv, char** environment) {
  if (Value(environment, kPrivateHomeVariable) != nullptr) return;
  const char* temporary = Value(environment, "TMPDIR");
  if (temporary == nullptr || temporary[0] != '/') temporary = "/tmp";

  Path variable;
  variable << kPrivateHomeVariable << "=";
  const std::size_t start = variable.Size();
  variable << temporary << kPrivateHomeStem << static_cast<unsigned long>(syscall(SYS_getpid))
           << "-";
  MakeDirectory(variable, start);
  Path home;
  home << "HOME=" << variable.Text() + start;

  std::size_t count = 0;
  while (environment[count] != nullptr) ++count;
  auto** fresh = static_cast<char**>(__builtin_alloca((count + 3) * sizeof(char*)));
  std::size_t kept = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (!IsRemoved(environment[i])) fresh[kept++] = environment[i];
  }
  fresh[kept++] = home.Text();
  fresh[kept++] = variable.Text();
  fresh[kept] = nullptr;
  (void)syscall(SYS_execve, "/proc/self/exe", argv, fresh);
  (void)syscall(SYS_unlinkat, AT_FDCWD, variable.Text() + start, AT_REMOVEDIR);
  Fail("cannot start /proc/self/exe again");
}

__attribute__((section(".preinit_array"), used)) void (*s_start)(int, char**,
                                                                 char**) = &StartInPrivateHome;

}  // namespace
}  // namespace bix_test
