// Sockets: receiving lines over a connection of this machine, against one that reads blocks into a
// buffer of its own, which a socket that others read from as well cannot do.

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bix/sockets.h"

namespace {

constexpr int kLines = 100000;
constexpr std::size_t kLineSize = 80;

/// Sends the lines to a listening socket, by blocks.
void SendLines(const sockaddr_in& address) {
  const int peer = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::string block;
  for (int i = 0; i < 1000; ++i) block += std::string(kLineSize - 2, 'x') + "\r\n";
  if (connect(peer, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    for (int sent = 0; sent < kLines; sent += 1000)
      (void)!send(peer, block.data(), block.size(), MSG_NOSIGNAL);
  }
  close(peer);
}

template <class Receive>
void Lines(benchmark::State& state, Receive receive) {
  for (auto _ : state) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, any, size) != 0 || listen(listener, 1) != 0 ||
        getsockname(listener, any, &size) != 0)
      state.SkipWithError("cannot listen");
    std::thread peer([&] { SendLines(address); });
    const int lines = receive(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    peer.join();
    close(listener);
    if (lines != kLines) state.SkipWithError("lines are missing");
  }
  state.SetItemsProcessed(state.iterations() * kLines);
}

int ReceiveLines(int fd) {
  bix::Socket socket(fd);
  int lines = 0;
  while (socket.ReceiveLine().size() == kLineSize) ++lines;
  return lines;
}

int ReceiveBlocks(int fd) {
  static char buffer[65536];
  std::size_t filled = 0;
  int lines = 0;
  for (ssize_t count; (count = recv(fd, buffer + filled, sizeof buffer - filled, 0)) > 0;) {
    filled += static_cast<std::size_t>(count);
    const char* at = buffer;
    while (const void* end =
               std::memchr(at, '\n', static_cast<std::size_t>(buffer + filled - at))) {
      const std::string line(at, static_cast<const char*>(end) + 1);
      benchmark::DoNotOptimize(line.data());
      lines += line.size() == kLineSize ? 1 : 0;
      at = static_cast<const char*>(end) + 1;
    }
    filled = static_cast<std::size_t>(buffer + filled - at);
    std::memmove(buffer, at, filled);
  }
  close(fd);
  return lines;
}

BENCHMARK_CAPTURE(Lines, bix, ReceiveLines)->Name("sockets/lines/bix");
BENCHMARK_CAPTURE(Lines, buffered, ReceiveBlocks)->Name("sockets/lines/buffered");

}  // namespace
