#include "bix/sthread.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>

#include <pthread.h>

namespace bix {
namespace {

/// What a thread runs; it takes the record over with its first step.
struct Work {
  unsigned long (*function)(void*);
  void* argument;
};

void* RunWork(void* record) {
  const Work work = *static_cast<Work*>(record);
  delete static_cast<Work*>(record);
  return reinterpret_cast<void*>(static_cast<std::uintptr_t>(work.function(work.argument)));
}

/// The calls for threads return their error instead of leaving it in `errno`, where perror looks.
void Report(int error, const char* call) {
  if (error == 0) return;
  errno = error;
  std::perror(call);
}

}  // namespace

struct SThread::Identifier {
  pthread_t thread;
  // CHOICE(thread-waited-once): after Wait the identifier stays held but names no thread any more.
  // Using it again would reach into freed memory, so nothing is called for it any more.
  // Test: ThreadHandleCompat.AThreadThatWasWaitedForIsNotTouchedAgain
  bool isJoined;
};

bool SThread::Launch(unsigned long (*function)(void*), void* argument) {
  // COMPAT(thread-launched-twice): a thread that is held is forgotten, neither ended nor freed:
  // hosts let it run on. Test: ThreadHandleCompat.ASecondLaunchForgetsTheFirstThread
  m_identifier = new (std::nothrow) Identifier{};
  std::unique_ptr<Work> work(new (std::nothrow) Work{function, argument});
  const int error = m_identifier == nullptr || work == nullptr
                        ? ENOMEM
                        : ::pthread_create(&m_identifier->thread, nullptr, RunWork, work.get());
  if (error == 0) {
    (void)work.release();  // the thread deletes it
    return true;
  }
  Release();
  Report(error, "pthread_create");
  return false;
}

void SThread::Kill() {
  if (m_identifier == nullptr) return;
  if (!m_identifier->isJoined) {
    Cancel();
    // Nobody can wait for it any more: its memory goes when it ends. It cannot fail for a thread that
    // was neither waited for nor detached.
    (void)::pthread_detach(m_identifier->thread);
  }
  Release();
}

void SThread::Wait() {
  if (m_identifier == nullptr || m_identifier->isJoined) return;
  const int error = ::pthread_join(m_identifier->thread, nullptr);
  m_identifier->isJoined = error == 0;
  Report(error, "pthread_join");
}

void SThread::KillWait() {
  if (m_identifier == nullptr) return;
  if (!m_identifier->isJoined) {
    Cancel();
    Wait();
  }
  Release();
}

void SThread::Cancel() { Report(::pthread_cancel(m_identifier->thread), "pthread_cancel"); }

void SThread::Release() {
  delete m_identifier;
  m_identifier = nullptr;
}

void ThreadCall::called() {
  if (m_semaphore != nullptr) m_semaphore->put(1);
}

}  // namespace bix
