#ifndef BIX_TESTS_WINE_LAYER_SIGNALS_H_
#define BIX_TESTS_WINE_LAYER_SIGNALS_H_

// The signal handlers of the layer: what they are, and that they still do their work.

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <vector>

#include <windows.h>

namespace bix_test {

inline std::vector<struct sigaction> SignalActions() {
  std::vector<struct sigaction> actions(65);
  for (int number = 1; number <= 64; ++number)
    (void)sigaction(number, nullptr, &actions[static_cast<std::size_t>(number)]);
  return actions;
}

inline sigset_t BlockedSignals() {
  sigset_t blocked;
  sigemptyset(&blocked);
  (void)pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  return blocked;
}

struct Signals {
  std::vector<struct sigaction> actions = SignalActions();
  sigset_t blocked = BlockedSignals();
};

inline void CompareSignals(const char* when, const Signals& before) {
  const Signals now;
  int caught = 0;
  for (std::size_t number = 1; number <= 64; ++number) {
    const struct sigaction& was = before.actions[number];
    const struct sigaction& is = now.actions[number];
    if (was.sa_handler != SIG_DFL && was.sa_handler != SIG_IGN) ++caught;
    if (was.sa_sigaction != is.sa_sigaction || was.sa_flags != is.sa_flags)
      std::printf("%s: another action for signal %d\n", when, static_cast<int>(number));
    for (int other = 1; other <= 64; ++other)
      if (sigismember(&was.sa_mask, other) != sigismember(&is.sa_mask, other))
        std::printf("%s: another mask for signal %d\n", when, static_cast<int>(number));
    if (sigismember(&before.blocked, static_cast<int>(number)) !=
        sigismember(&now.blocked, static_cast<int>(number)))
      std::printf("%s: signal %d is blocked otherwise\n", when, static_cast<int>(number));
  }
  // Without handlers of the layer there would be nothing to disturb.
  std::printf("%s: signals compared, some caught %d\n", when, caught > 0);
}

inline volatile LONG s_faults = 0;
inline char* const volatile s_nowhere = reinterpret_cast<char*>(std::uintptr_t{8});
inline char s_somewhere;

/// A write to nowhere becomes an exception of the layer; its handler lets the write go elsewhere.
inline LONG CALLBACK RepairWrite(EXCEPTION_POINTERS* exception) {
  if (exception->ExceptionRecord->ExceptionCode != EXCEPTION_ACCESS_VIOLATION)
    return EXCEPTION_CONTINUE_SEARCH;
  InterlockedIncrement(&s_faults);
  exception->ContextRecord->Rax = reinterpret_cast<DWORD64>(&s_somewhere);
  return EXCEPTION_CONTINUE_EXECUTION;
}

inline void WriteToNowhere() { asm volatile("movb $1, (%0)" : : "a"(s_nowhere) : "memory"); }

inline void CompareFaults(const char* when) {
  const LONG before = s_faults;
  WriteToNowhere();
  std::printf("%s: exceptions %d\n", when, static_cast<int>(s_faults - before));
}

}  // namespace bix_test

#endif  // BIX_TESTS_WINE_LAYER_SIGNALS_H_
