#ifndef TESTS_SUPPORT_SYSTEM_FAULTS_H_
#define TESTS_SUPPORT_SYSTEM_FAULTS_H_

/// System calls that fail when a test wants them to.
///
/// The functions of the C library through which the library reaches the file system are defined
/// once more in system_faults.cpp. Listed among the sources of a test program, they take the place
/// of the C library's own for the program and for every shared library in it.
///
///   int result;
///   std::vector<std::string> calls;
///   {
///     SystemFaults faults;
///     faults.FailCall(7, ENOSPC);
///     result = file.Save("user.tot");
///     calls = faults.Calls();
///   }

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace bix_test {

/// Counts the system calls of the thread that made it, and lets the chosen ones fail. At most one
/// at a time in a thread. Calls of other threads, and from inside the C library, are untouched.
class SystemFaults {
 public:
  SystemFaults();
  ~SystemFaults();
  SystemFaults(const SystemFaults&) = delete;
  SystemFaults& operator=(const SystemFaults&) = delete;

  /// The call of this number, counted from 1, fails with `error`. A descriptor whose close fails is
  /// closed all the same.
  void FailCall(std::size_t number, int error);
  /// Every call whose text in Calls() begins so fails with `error`.
  void FailAll(const std::string& beginning, int error);
  /// The call of this number ends the process with SIGKILL before it does anything.
  void KillAtCall(std::size_t number);
  /// At the call of this number the thread is told to end: at that call or at the next one at which
  /// threads are cancelled.
  void CancelAtCall(std::size_t number);
  /// Every read and write moves at most this many bytes.
  void Shorten(std::size_t bytes);
  /// Every write moves at most this many bytes, and reads are whole.
  void ShortenWrites(std::size_t bytes);

  /// Pauses, and waiting for a descriptor, take no time: each moves the thread's clock by a second
  /// instead.
  void SkipPauses() { m_skipsPauses = true; }

  /// The calls so far: the function and the last component of the file's name, for a descriptor of
  /// the name it was opened by, such as "write user.tot~". One spelling for all widths of a
  /// function: "open", also for open64.
  const std::vector<std::string>& Calls() const { return m_calls; }

  /// From now on every call looks for descriptors that would reach a program started by exec.
  void WatchDescriptors();
  /// Those it has found above 2, each behind the call, but for those from before the watch.
  const std::vector<std::string>& Inheritable() const { return m_inheritable; }

  /// For the replaced functions: notes a call; an error number when it is to fail, or 0.
  int Note(const char* function, const std::string& name);
  /// The chosen call has failed; what follows it is not noted any more.
  bool IsOver() const { return m_failingCall != 0 && m_calls.size() >= m_failingCall; }
  bool SkipsPause() { return m_skipsPauses && ++m_skippedPauses > 0; }
  int SkippedSeconds() const { return m_skippedPauses; }
  std::size_t ReadLimit(std::size_t bytes) const { return std::min(bytes, m_readLimit); }
  std::size_t WriteLimit(std::size_t bytes) const { return std::min(bytes, m_writeLimit); }

 private:
  void NoteInheritable();

  std::vector<std::string> m_calls;
  std::vector<std::string> m_inheritable;
  std::vector<int> m_inheritableBefore;
  bool m_isWatching = false;
  std::size_t m_failingCall = 0;
  int m_error = 0;
  std::size_t m_killingCall = 0;
  std::size_t m_cancellingCall = 0;
  std::vector<std::pair<std::string, int>> m_failingBeginnings;
  bool m_skipsPauses = false;
  int m_skippedPauses = 0;
  std::size_t m_readLimit = static_cast<std::size_t>(-1);
  std::size_t m_writeLimit = static_cast<std::size_t>(-1);
};

}  // namespace bix_test

#endif  // TESTS_SUPPORT_SYSTEM_FAULTS_H_
