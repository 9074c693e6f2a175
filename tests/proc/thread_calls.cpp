#include "proc/thread_calls.h"

#include <condition_variable>
#include <cstdlib>
#include <map>
#include <mutex>

#include <dlfcn.h>
#include <pthread.h>

namespace bix_test {
namespace {

thread_local ThreadCalls* t_calls = nullptr;

template <class Function>
Function* Real(const char* symbol) {
  void* const address = dlsym(RTLD_NEXT, symbol);
  if (address == nullptr) std::abort();
  return reinterpret_cast<Function*>(address);
}

}  // namespace

struct ThreadCalls::Results {
  std::mutex lock;
  std::condition_variable changed;
  std::map<std::size_t, unsigned long> values;

  void Note(std::size_t index, unsigned long value) {
    const std::lock_guard<std::mutex> locked(lock);
    values[index] = value;
    changed.notify_all();
  }
};

namespace {

struct Start {
  void* (*function)(void*);
  void* argument;
  std::shared_ptr<ThreadCalls::Results> results;
  std::size_t index;
};

void* RunAndNote(void* record) {
  const std::unique_ptr<Start> owned(static_cast<Start*>(record));
  const Start& start = *owned;
  void* const result = start.function(start.argument);
  start.results->Note(start.index, reinterpret_cast<unsigned long>(result));
  return result;
}

int Note(const char* call) { return t_calls != nullptr ? t_calls->Note(call) : 0; }

}  // namespace

ThreadCalls::ThreadCalls() : m_results(std::make_shared<Results>()) { t_calls = this; }

ThreadCalls::~ThreadCalls() { t_calls = nullptr; }

unsigned long ThreadCalls::ExitValue(std::size_t count) const {
  std::unique_lock<std::mutex> locked(m_results->lock);
  m_results->changed.wait(locked, [&] { return m_results->values.count(count) != 0; });
  return m_results->values[count];
}

int ThreadCalls::Note(const char* call) {
  m_calls.emplace_back(call);
  return m_failing == call ? m_error : 0;
}

}  // namespace bix_test

extern "C" int bix_test_create(pthread_t* thread, const pthread_attr_t* attributes,
                               void* (*function)(void*), void* argument) __asm__("pthread_create");
extern "C" int bix_test_create(pthread_t* thread, const pthread_attr_t* attributes,
                               void* (*function)(void*), void* argument) {
  using namespace bix_test;
  static auto* const real =
      Real<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
  ThreadCalls* const calls = t_calls;
  if (calls == nullptr) return real(thread, attributes, function, argument);
  if (const int error = calls->Note("pthread_create")) return error;
  if (attributes != nullptr) std::abort();  // the library starts threads with the default ones
  std::size_t index = 0;
  for (const std::string& call : calls->Calls()) index += call == "pthread_create" ? 1 : 0;
  return real(thread, nullptr, RunAndNote,
              new Start{function, argument, calls->AllResults(), index});
}

#define BIX_TEST_REPLACE(symbol, parameters, arguments)                \
  extern "C" int bix_test_##symbol parameters __asm__(#symbol);        \
  extern "C" int bix_test_##symbol parameters {                        \
    static auto* const real = bix_test::Real<int parameters>(#symbol); \
    if (const int error = bix_test::Note(#symbol)) return error;       \
    return real arguments;                                             \
  }
BIX_TEST_REPLACE(pthread_cancel, (pthread_t thread), (thread))
BIX_TEST_REPLACE(pthread_join, (pthread_t thread, void** result), (thread, result))
BIX_TEST_REPLACE(pthread_detach, (pthread_t thread), (thread))
