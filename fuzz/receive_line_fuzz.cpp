// Receiving lines and bytes from a peer that sends anything in any pieces, against a plain buffer.
//
// The input is a list of steps. A byte tells which: a piece that the peer sends, whose size the next
// byte tells and which follows; ReceiveLine; ReceiveBytes. At the end the peer closes, and what is
// left is received by lines.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bix/sockets.h"

namespace {

/// What has been sent and not been received.
class Model {
 public:
  void Add(const char* bytes, std::size_t size) { m_bytes.append(bytes, size); }

  std::string TakeLine() {
    const std::size_t end = m_bytes.find('\n');
    return Take(end == std::string::npos ? m_bytes.size() : end + 1);
  }
  std::string TakeAll() { return Take(m_bytes.size()); }

 private:
  std::string Take(std::size_t size) {
    std::string taken = m_bytes.substr(0, size);
    m_bytes.erase(0, size);
    return taken;
  }

  std::string m_bytes;
};

void Check(bool isTrue) {
  if (!isTrue) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pair) != 0) std::abort();
  const int peer = pair[1];
  bix::Socket socket(pair[0]);
  Model model;
  for (std::size_t at = 0; at < size;) {
    switch (data[at++] % 4) {
      case 0:
      case 1: {
        if (at == size) break;
        // Some pieces are larger than the block in which lines are looked for.
        const std::size_t wanted = data[at++] * std::size_t{9};
        const std::size_t piece = std::min(wanted, size - at);
        const auto* const bytes = reinterpret_cast<const char*>(data + at);
        const ssize_t sent = send(peer, bytes, piece, MSG_NOSIGNAL);
        // The peer's buffer may be full.
        if (sent > 0) model.Add(bytes, static_cast<std::size_t>(sent));
        at += piece;
        break;
      }
      case 2:
        Check(socket.ReceiveLine() == model.TakeLine());
        break;
      default:
        Check(socket.ReceiveBytes() == model.TakeAll());
        break;
    }
  }
  close(peer);
  for (;;) {
    const std::string line = model.TakeLine();
    Check(socket.ReceiveLine() == line);
    if (line.empty()) return 0;
  }
}
