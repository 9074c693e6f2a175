// Child processes: launching a program and waiting for it, in hosts that hold more and more memory,
// against posix_spawn; and how much goes through a child's two pipes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bix/subproc.h"

namespace {

constexpr std::size_t kMebibyte = std::size_t{1} << 20;
constexpr const char* kProgram = "/bin/true";

/// Memory that the host uses, in pages of the ordinary size.
class HostMemory {
 public:
  explicit HostMemory(benchmark::State& state)
      : m_size(static_cast<std::size_t>(state.range(0)) * kMebibyte) {
    m_base = mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (m_base == MAP_FAILED || madvise(m_base, m_size, MADV_NOHUGEPAGE) != 0 ||
        madvise(m_base, m_size, MADV_POPULATE_WRITE) != 0)
      state.SkipWithError("the memory is not there");
  }
  HostMemory(const HostMemory&) = delete;
  HostMemory& operator=(const HostMemory&) = delete;
  ~HostMemory() {
    if (m_base != MAP_FAILED) munmap(m_base, m_size);
  }

 private:
  std::size_t m_size;
  void* m_base;
};

/// The highest limit of descriptors that the system grants.
class ManyDescriptors {
 public:
  ManyDescriptors() {
    getrlimit(RLIMIT_NOFILE, &m_before);
    const rlimit most = {m_before.rlim_max, m_before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &most);
  }
  ManyDescriptors(const ManyDescriptors&) = delete;
  ManyDescriptors& operator=(const ManyDescriptors&) = delete;
  ~ManyDescriptors() { setrlimit(RLIMIT_NOFILE, &m_before); }

 private:
  rlimit m_before;
};

bool LaunchAndWait() {
  const char* arguments[] = {kProgram, nullptr};
  bix::CSubProc child;
  if (child.launch(kProgram, arguments, nullptr, false) != 0) return false;
  const bool isFine = child.get_exit_status() == 0;
  child.reset();
  return isFine;
}

/// The same by hand: two pipes, three redirections, everything else closed.
bool SpawnAndWait() {
  int input[2], output[2];
  if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) return false;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output[1], 1);
  posix_spawn_file_actions_adddup2(&actions, output[1], 2);
  posix_spawn_file_actions_adddup2(&actions, input[0], 0);
  posix_spawn_file_actions_addclosefrom_np(&actions, 3);
  char* arguments[] = {const_cast<char*>(kProgram), nullptr};
  pid_t pid = -1;
  const int error = posix_spawnp(&pid, kProgram, &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  for (const int fd : {input[0], output[1]}) close(fd);
  int status = -1;
  if (error == 0) waitpid(pid, &status, 0);
  for (const int fd : {input[1], output[0]}) close(fd);
  return status == 0;
}

/// The processor time, in seconds, that this process and its children have taken so far.
double ProcessorTime() {
  double seconds = 0;
  for (const int whose : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage;
    getrusage(whose, &usage);
    for (const timeval& time : {usage.ru_utime, usage.ru_stime})
      seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  }
  return seconds;
}

/// Measures the processor time of host and child together: it is all that there is to do, and other
/// programs on the machine change little about it.
void Launch(benchmark::State& state, bool (*run)()) {
  constexpr int kTimes = 20;  // the system counts in microseconds
  const HostMemory memory(state);
  for (auto _ : state) {
    const double before = ProcessorTime();
    for (int i = 0; i < kTimes; ++i) {
      if (!run()) state.SkipWithError("the program does not run");
    }
    state.SetIterationTime((ProcessorTime() - before) / kTimes);
  }
}

void LaunchManyDescriptors(benchmark::State& state) {
  const ManyDescriptors limit;
  Launch(state, LaunchAndWait);
}

BENCHMARK_CAPTURE(Launch, bix, LaunchAndWait)
    ->Name("processes/launch/bix")
    ->Arg(16)
    ->Arg(1024)
    ->Arg(8192)
    ->UseManualTime();
BENCHMARK_CAPTURE(Launch, posix_spawn, SpawnAndWait)
    ->Name("processes/launch/posix_spawn")
    ->Arg(16)
    ->Arg(1024)
    ->Arg(8192)
    ->UseManualTime();
BENCHMARK(LaunchManyDescriptors)
    ->Name("processes/launch_many_descriptors/bix")
    ->Arg(16)
    ->UseManualTime();

/// So many MiB through cat, written by one thread and read by another.
void ThroughCat(benchmark::State& state) {
  constexpr std::size_t kBlock = kMebibyte;
  const std::size_t size = static_cast<std::size_t>(state.range(0)) * kMebibyte;
  const std::vector<char> sent(kBlock, 'x');
  std::vector<char> received(kBlock);
  const char* arguments[] = {"cat", nullptr};
  for (auto _ : state) {
    bix::CSubProc child;
    if (child.launch("cat", arguments, nullptr, false) != 0) state.SkipWithError("no cat");
    std::thread writer([&] {
      for (std::size_t rest = size; rest > 0;) {
        const int count = child.write(sent.data(), static_cast<unsigned>(std::min(rest, kBlock)));
        if (count <= 0) break;
        rest -= static_cast<std::size_t>(count);
      }
      child.close_write();
    });
    std::size_t total = 0;
    for (int count; (count = child.read(received.data(), kBlock)) > 0;)
      total += static_cast<std::size_t>(count);
    writer.join();
    child.get_exit_status();
    child.reset();
    if (total != size) state.SkipWithError("something is missing");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}
BENCHMARK(ThroughCat)->Name("processes/through_cat/bix")->Arg(256)->UseRealTime();

}  // namespace
