#ifndef BIX_STHREAD_H_
#define BIX_STHREAD_H_

/// A thread to start, cancel and wait for, and a record by which a piece of work says that it has
/// been called.
///
///   unsigned long Work(void* call) {
///     ...
///     static_cast<bix::ThreadCall*>(call)->called();
///     return 0;
///   }
///
///   kx::os::Semaphore finished;
///   bix::ThreadCall call;
///   call.setSemaphore(&finished);
///   bix::SThread thread;
///   if (thread.Launch(Work, &call)) {
///     finished.get();
///     thread.KillWait();
///   }
///
/// Failures of the system are printed through perror, under the name of the call. Nothing is thrown.
/// Threads: a handle belongs to one thread; ThreadCall::called() is for any thread.

#include "bix/hostmacros_off.h"

#include "bix/export.h"
#include "kx/os.h"

namespace bix {

/// A handle on one thread of the system, or on none.
///
/// Its one field points to the pthread_t of the thread, and is null while no thread is held. A host
/// that needs it copies the field; it has a type of the library's own, so that reading it through a
/// reference to another type is undefined:
///
///   pthread_t* identifier;  // valid as long as the thread is held
///   std::memcpy(&identifier, &thread, sizeof identifier);
class BIX_EXPORT SThread {
 public:
  /// Holds no thread.
  SThread() = default;
  SThread(const SThread&) = delete;
  SThread& operator=(const SThread&) = delete;

  /// Does nothing: whoever launched a thread ends the matter with Kill or KillWait first. Otherwise
  /// the thread runs on, and the handle's memory is lost.
  ~SThread() = default;

  /// Starts a thread that runs `function(argument)`; its result is the thread's exit value. A handle
  /// is launched once: a thread that it already holds is forgotten, and runs on.
  ///
  /// Owner: `argument` is handed to the thread as it is.
  /// Errors: false, and no thread is held; `errno` says why, and "pthread_create" is printed through
  /// perror.
  bool Launch(unsigned long (*function)(void*), void* argument);

  /// Asks the thread to end at its next cancellation point (a wait, a read, a sleep), does not wait
  /// for that, and lets go of it. Nothing happens when no thread is held, as in the next two.
  ///
  /// Errors: "pthread_cancel" is printed through perror, `errno` says why; the thread is let go of
  /// all the same.
  void Kill();

  /// Waits until the thread has ended, and still holds it. A second time does nothing.
  ///
  /// Errors: "pthread_join" is printed through perror, `errno` says why.
  void Wait();

  /// Asks the thread to end, as Kill does, waits until it has, and lets go of it. A thread that was
  /// waited for already is let go of without further ado.
  ///
  /// Errors: "pthread_cancel" and "pthread_join" are printed through perror, `errno` says why; the
  /// thread is let go of all the same.
  void KillWait();

 private:
  struct Identifier;

  void Cancel();
  void Release();

  Identifier* m_identifier = nullptr;  // owned; null while no thread is held
};

/// Through which a piece of work reports that it has been called.
class BIX_EXPORT ThreadCall {
 public:
  /// Whom called() signals, or null for nobody.
  ///
  /// Owner: the caller; the semaphore outlives the last called().
  void setSemaphore(kx::os::Semaphore* semaphore) { m_semaphore = semaphore; }

  /// Adds one to the semaphore's count; without a semaphore nothing happens.
  ///
  /// Threads: any.
  void called();

 private:
  kx::os::Semaphore* m_semaphore = nullptr;  // not owned
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_STHREAD_H_
