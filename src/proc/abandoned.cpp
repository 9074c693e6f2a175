#include "proc/abandoned.h"

#include <mutex>
#include <new>

#include <sys/wait.h>

namespace bix::impl {
namespace {

struct AbandonedChild {
  pid_t pid;
  AbandonedChild* next;
};

// Static storage: the children, and the lock of the list.
AbandonedChild* s_abandoned = nullptr;
std::mutex s_abandonedLock;

}  // namespace

void Abandon(pid_t pid) {
  const std::lock_guard<std::mutex> locked(s_abandonedLock);
  // Without memory one child more stays unreaped until the host ends.
  auto* const child = new (std::nothrow) AbandonedChild{pid, s_abandoned};
  if (child != nullptr) s_abandoned = child;
}

void ReapAbandoned() {
  const std::lock_guard<std::mutex> locked(s_abandonedLock);
  for (AbandonedChild** link = &s_abandoned; *link != nullptr;) {
    AbandonedChild* const child = *link;
    if (::waitpid(child->pid, nullptr, WNOHANG) == 0) {  // still running
      link = &child->next;
      continue;
    }
    *link = child->next;
    delete child;
  }
}

}  // namespace bix::impl
