#ifndef TESTS_PROC_THREAD_CALLS_H_
#define TESTS_PROC_THREAD_CALLS_H_

/// The system's calls for threads, noted and failing when a test wants them to.
///
/// pthread_create, pthread_cancel, pthread_join and pthread_detach are defined once more in
/// thread_calls.cpp and take the place of the system's own in the test program and its libraries.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace bix_test {

/// Notes the calls of the thread that made it, while it exists. Others go straight to the system.
class ThreadCalls {
 public:
  ThreadCalls();
  ThreadCalls(const ThreadCalls&) = delete;
  ThreadCalls& operator=(const ThreadCalls&) = delete;
  ~ThreadCalls();

  /// From now on calls of this name fail with `error`; "" lets all of them succeed.
  void Fail(const std::string& call, int error) {
    m_failing = call;
    m_error = error;
  }

  /// The names of the calls so far.
  const std::vector<std::string>& Calls() const { return m_calls; }

  /// Waits until the `count`th thread that was started has returned, and tells its exit value. It
  /// must not be cancelled.
  unsigned long ExitValue(std::size_t count) const;

  /// For the replaced functions: notes a call; the error with which it is to fail, or 0.
  int Note(const char* call);
  struct Results;
  const std::shared_ptr<Results>& AllResults() const { return m_results; }

 private:
  std::vector<std::string> m_calls;
  std::string m_failing;
  int m_error = 0;
  std::shared_ptr<Results> m_results;  // shared with the threads, which may end later
};

}  // namespace bix_test

#endif  // TESTS_PROC_THREAD_CALLS_H_
