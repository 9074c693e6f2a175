#ifndef KX_OS_H_
#define KX_OS_H_

/// The suite's layer over the operating system, as far as the library uses it: a mutex, a counting
/// semaphore, a time value.
///
///   kx::os::Semaphore finished;
///   worker.setSemaphore(&finished);    // calls finished.put(1) when it is done
///
///   kx::os::TimeRep deadline, patience;
///   deadline.setNow();
///   patience.set(2.5);                 // seconds
///   deadline.add(patience);
///   if (finished.get(deadline) == 2) GiveUp();
///
/// This is a stand-in over POSIX threads, complete in the header, for hosts that do not bring a
/// layer of their own. The library is built against such a host's own with -DBIX_KX=system.
///
/// Threads: a mutex and a semaphore are used by any number of threads; a time value by one.

#include "bix/hostmacros_off.h"

#include <cerrno>
#include <cstdint>
#include <limits>

#include <pthread.h>
#include <time.h>

namespace kx {
namespace os {

/// A span of time or, after setNow(), a point on the system's monotonic clock, which nobody can
/// set. Nanoseconds in 64 bits: some 292 years either way, to which larger values are cut.
class TimeRep {
 public:
  /// 0.
  TimeRep() = default;

  /// Seconds and nanoseconds, which need not be below one second.
  void set(long seconds, long nanoseconds) {
    m_nanoseconds = 0;
    AddNanoseconds(Scaled(seconds));
    AddNanoseconds(nanoseconds);
  }

  /// Seconds.
  void set(double seconds) {
    constexpr double kMost = 9.2e9;
    if (seconds > kMost) seconds = kMost;
    if (seconds < -kMost) seconds = -kMost;
    if (seconds != seconds) seconds = 0;
    m_nanoseconds = static_cast<std::int64_t>(seconds * 1e9);
  }

  /// The present moment.
  void setNow() {
    struct timespec now;
    (void)::clock_gettime(CLOCK_MONOTONIC, &now);  // cannot fail for this clock
    m_nanoseconds = std::int64_t{now.tv_sec} * kSecond + now.tv_nsec;
  }

  void add(const TimeRep& span) { AddNanoseconds(span.m_nanoseconds); }

 private:
  friend class SemaphoreRep;

  static constexpr std::int64_t kSecond = 1000000000;
  using Limits = std::numeric_limits<std::int64_t>;

  static std::int64_t Scaled(std::int64_t seconds) {
    if (seconds > Limits::max() / kSecond) return Limits::max();
    if (seconds < Limits::min() / kSecond) return Limits::min();
    return seconds * kSecond;
  }

  void AddNanoseconds(std::int64_t span) {
    if (span > 0 && m_nanoseconds > Limits::max() - span)
      m_nanoseconds = Limits::max();
    else if (span < 0 && m_nanoseconds < Limits::min() - span)
      m_nanoseconds = Limits::min();
    else
      m_nanoseconds += span;
  }

  /// For a wait: a moment before the clock's beginning is its beginning.
  struct timespec ToSystem() const {
    using Seconds = decltype(timespec::tv_sec);
    const std::int64_t value = m_nanoseconds > 0 ? m_nanoseconds : 0;
    const std::int64_t seconds = value / kSecond;
    struct timespec time = {};
    time.tv_sec = seconds > std::numeric_limits<Seconds>::max()
                      ? std::numeric_limits<Seconds>::max()
                      : static_cast<Seconds>(seconds);
    time.tv_nsec = static_cast<long>(value % kSecond);
    return time;
  }

  std::int64_t m_nanoseconds = 0;
};

/// A mutex. It is usable after init().
class MutexRep {
 public:
  MutexRep() = default;
  MutexRep(const MutexRep&) = delete;
  MutexRep& operator=(const MutexRep&) = delete;
  ~MutexRep() { (void)::pthread_mutex_destroy(&m_mutex); }

  /// Says, before the first use, whether the thread that holds the mutex may lock it again.
  void init(bool recursive) {
    pthread_mutexattr_t attributes;
    (void)::pthread_mutexattr_init(&attributes);
    (void)::pthread_mutexattr_settype(&attributes,
                                      recursive ? PTHREAD_MUTEX_RECURSIVE : PTHREAD_MUTEX_NORMAL);
    (void)::pthread_mutex_destroy(&m_mutex);
    (void)::pthread_mutex_init(&m_mutex, &attributes);
    (void)::pthread_mutexattr_destroy(&attributes);
  }

  void lock() { (void)::pthread_mutex_lock(&m_mutex); }
  void unlock() { (void)::pthread_mutex_unlock(&m_mutex); }

 private:
  pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
};

/// A counting semaphore. A thread that waits in get() can be cancelled: the semaphore stays usable
/// and keeps its count.
class SemaphoreRep {
 public:
  explicit SemaphoreRep(unsigned count = 0) : m_count(count) {
    pthread_condattr_t attributes;
    (void)::pthread_condattr_init(&attributes);
    (void)::pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    (void)::pthread_cond_init(&m_isPositive, &attributes);
    (void)::pthread_condattr_destroy(&attributes);
  }
  SemaphoreRep(const SemaphoreRep&) = delete;
  SemaphoreRep& operator=(const SemaphoreRep&) = delete;
  ~SemaphoreRep() {
    (void)::pthread_cond_destroy(&m_isPositive);
    (void)::pthread_mutex_destroy(&m_mutex);
  }

  /// Adds `n` to the count.
  void put(unsigned n) {
    const Locked locked(m_mutex);
    m_count += n;
    for (unsigned i = 0; i < n && i < m_waiting; ++i) (void)::pthread_cond_signal(&m_isPositive);
  }

  /// Waits until the count is positive and takes one off it. Returns 0.
  int get() {
    const Locked locked(m_mutex);
    const Waiting waiting(m_waiting);
    while (m_count == 0) (void)::pthread_cond_wait(&m_isPositive, &m_mutex);
    --m_count;
    return 0;
  }

  /// The same, but not beyond `deadline`, a point in time. Returns 0, or 2 when the deadline passed
  /// first; a deadline in the past takes what is there, but waits for nothing.
  int get(const TimeRep& deadline) {
    const struct timespec time = deadline.ToSystem();
    const Locked locked(m_mutex);
    const Waiting waiting(m_waiting);
    while (m_count == 0) {
      if (::pthread_cond_timedwait(&m_isPositive, &m_mutex, &time) == ETIMEDOUT && m_count == 0)
        return kTimedOut;
    }
    --m_count;
    return 0;
  }

 private:
  static constexpr int kTimedOut = 2;

  // Both undo themselves also when the thread is cancelled inside a wait, which holds the mutex
  // again by then.
  class Locked {
   public:
    explicit Locked(pthread_mutex_t& mutex) : m_held(mutex) { (void)::pthread_mutex_lock(&m_held); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;
    ~Locked() { (void)::pthread_mutex_unlock(&m_held); }

   private:
    pthread_mutex_t& m_held;
  };
  class Waiting {
   public:
    explicit Waiting(unsigned& count) : m_counted(count) { ++m_counted; }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting() { --m_counted; }

   private:
    unsigned& m_counted;
  };

  pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t m_isPositive;
  unsigned m_count;
  unsigned m_waiting = 0;
};

/// The name under which hosts know it.
using Semaphore = SemaphoreRep;

}  // namespace os
}  // namespace kx

#include "bix/hostmacros_on.h"

#endif  // KX_OS_H_
