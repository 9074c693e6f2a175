#include "bix/sthread.h"
#include "bix/subproc.h"

#include "kx/os.h"
#include "support/uncancelled.h"

namespace bix {

struct CSubProcTimeOut::Watch {
  kx::os::Semaphore abort;  // signalled by Abort
  kx::os::Semaphore done;   // signalled by the thread when it is about to end
  SThread thread;
  bool isUnderWay = false;  // a thread was started, and its done signal not yet taken
};

CSubProcTimeOut::CSubProcTimeOut(CSubProc& process) : m_watch(new Watch), m_process(process) {}

CSubProcTimeOut::~CSubProcTimeOut() {
  m_watch->done.put(1);
  if (!m_watch->isUnderWay) m_watch->thread.Wait();
  // CHOICE(watch-waits-for-its-thread): with Kill alone the thread would go on to use what is
  // destroyed here. Test: SubProcTimeOutCompat.DestroyingTheWatchLeavesTheChildAlone
  m_watch->thread.KillWait();
  delete m_watch;
}

bool CSubProcTimeOut::Start(unsigned int count) {
  if (!EndLast()) return false;
  m_count = count;
  return Launch();
}

bool CSubProcTimeOut::Launch() {
  if (!EndLast()) return false;
  m_watch->isUnderWay = m_watch->thread.Launch(Run, this);
  return m_watch->isUnderWay;
}

// CHOICE(watch-again): a watch that is over can be started again; the thread of the last one, and an
// abort that came too late for it, are gone by then. Test:
// SubProcTimeOutCompat.AWatchThatIsOverCanBeStartedAgain
bool CSubProcTimeOut::EndLast() {
  const kx::os::TimeRep past;
  if (m_watch->isUnderWay && m_watch->done.get(past) != 0) return false;
  m_watch->isUnderWay = false;
  m_watch->thread.Wait();
  m_watch->thread.Kill();
  while (m_watch->abort.get(past) == 0) {
  }
  return true;
}

void CSubProcTimeOut::Abort() {
  // CHOICE(abort-without-a-watch): there is nobody to wait for, as the second time.
  // Test: SubProcTimeOutCompat.AbortWithoutAWatchReturnsAtOnce
  if (!m_watch->isUnderWay) return;
  m_watch->abort.put(1);
  (void)m_watch->done.get();
  m_watch->isUnderWay = false;
}

void CSubProcTimeOut::LaunchFunction() {
  // CHOICE(watch-seconds): the count is in seconds, the unit of the time value.
  // Test: SubProcTimeOutCompat.TheCountIsInSeconds
  kx::os::TimeRep deadline, patience;
  deadline.setNow();
  patience.set(static_cast<double>(m_count));
  deadline.add(patience);
  const bool isTimedOut = m_watch->abort.get(deadline) != 0;

  // The destructor cancels a thread that waits, not one in the middle of things.
  const impl::Uncancelled uncancelled;
  if (isTimedOut) (void)m_process.kill();
  m_watch->done.put(1);
}

unsigned long CSubProcTimeOut::Run(void* self) {
  static_cast<CSubProcTimeOut*>(self)->LaunchFunction();
  return 0;
}

}  // namespace bix
