#include "uri/counted_stdio.h"

#include <cstdio>
#include <fstream>
#include <string>

#include <dlfcn.h>

namespace bix_test {
namespace {

CountedStdio* s_current = nullptr;

/// How many system calls of one kind, "syscr" or "syscw", this process has made.
int SystemCalls(const std::string& kind) {
  std::ifstream counters("/proc/self/io");
  std::string name;
  int count = 0;
  while (counters >> name >> count)
    if (name == kind + ":") return count;
  return -1;
}

}  // namespace

CountedStdio::CountedStdio() {
  const int before = SystemCalls("syscr");
  m_readsOfCounter = SystemCalls("syscr") - before;
  s_current = this;
}

CountedStdio::~CountedStdio() { s_current = nullptr; }

void CountedStdio::NoteRead(std::size_t bytes, int systemCalls) {
  m_reads.push_back(bytes);
  m_systemReads += systemCalls - m_readsOfCounter;
}

void CountedStdio::NoteWrite(std::size_t bytes, int systemCalls) {
  m_writes.push_back(bytes);
  m_systemWrites += systemCalls;
}

}  // namespace bix_test

extern "C" std::size_t fread(void* bytes, std::size_t size, std::size_t count, std::FILE* file) {
  static auto* const s_next = reinterpret_cast<decltype(&fread)>(dlsym(RTLD_NEXT, "fread"));
  using namespace bix_test;
  CountedStdio* const current = s_current;
  if (current == nullptr) return s_next(bytes, size, count, file);
  const int before = SystemCalls("syscr");
  const std::size_t read = s_next(bytes, size, count, file);
  current->NoteRead(size * count, SystemCalls("syscr") - before);
  return read;
}

extern "C" std::size_t fwrite(const void* bytes, std::size_t size, std::size_t count,
                              std::FILE* file) {
  static auto* const s_next = reinterpret_cast<decltype(&fwrite)>(dlsym(RTLD_NEXT, "fwrite"));
  using namespace bix_test;
  CountedStdio* const current = s_current;
  if (current == nullptr) return s_next(bytes, size, count, file);
  const int before = SystemCalls("syscw");
  const std::size_t written = s_next(bytes, size, count, file);
  current->NoteWrite(size * count, SystemCalls("syscw") - before);
  return written;
}
