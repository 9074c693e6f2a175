#include "bix/sockets.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>
#include <vector>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/above_standard.h"
#include "support/scoped_fd.h"
#include "support/uncancelled.h"

namespace bix {
namespace {

constexpr const char* kInvalidSocket = "INVALID_SOCKET";
constexpr const char* kInvalidAccepted = "Invalid Socket";
constexpr std::size_t kBlock = 1024;    // bytes that are received at a time
constexpr std::size_t kMostText = 511;  // bytes of a message that is thrown

// CHOICE(socket-not-inherited): no program that the host starts gets a socket, not even a child with
// "MORVEL_NO_CLOSE": as long as it ran, the connection would not end when the host closes its own.
// Test: SocketOpening.NothingReachesProgramsOfTheHost
int OpenTcp() { return impl::AboveStandard(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)); }

/// An IPv4 address with the low 16 bits of `port`.
sockaddr_in AddressWith(int port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

std::string SystemMessage(int error) {
  return std::string(std::strerror(error)).substr(0, kMostText);
}

/// The first IPv4 address of a host; false, with `errno` as the look-up left it, when there is none.
/// The form with a buffer of our own: other threads of the host may look up names as well.
bool FindHost(const char* name, in_addr& address) {
  std::vector<char> buffer(kBlock);
  for (;;) {
    hostent record = {};
    hostent* found = nullptr;
    int reason = 0;
    const int result =
        ::gethostbyname_r(name, &record, buffer.data(), buffer.size(), &found, &reason);
    if (result == ERANGE) {
      buffer.resize(buffer.size() * 2);
      continue;
    }
    if (found == nullptr || found->h_addrtype != AF_INET || found->h_addr_list[0] == nullptr)
      return false;
    std::memcpy(&address, found->h_addr_list[0], sizeof address);
    return true;
  }
}

/// connect, also through the signals of the host: an interrupted connection goes on being made.
bool Connect(int fd, const sockaddr_in& address) {
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return true;
  if (errno != EINTR) return false;
  pollfd event = {fd, POLLOUT, 0};
  while (::poll(&event, 1, -1) < 0) {
    if (errno != EINTR) return false;
  }
  int error = 0;
  socklen_t size = sizeof error;
  return ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

}  // namespace

int Socket::nofSockets_ = 0;

void Socket::Start() { ++nofSockets_; }

void Socket::End() {}

Socket::Shared* Socket::MakeShared() {
  auto* const shared = new Shared{1, false};
  Start();
  return shared;
}

Socket::Socket() : m_descriptor(-1), m_shared(nullptr) {
  impl::ScopedFd opened(OpenTcp());
  // A handle that was never made is not counted.
  if (!opened.IsOpen()) throw kInvalidSocket;
  m_shared = MakeShared();
  m_descriptor = opened.Release();  // the last copy closes it
}

Socket::Socket(int fd) : m_descriptor(fd), m_shared(MakeShared()) {}

Socket::Socket(const Socket& other) : m_descriptor(other.m_descriptor), m_shared(other.m_shared) {
  ++m_shared->count;
  ++nofSockets_;
}

// COMPAT(socket-assignment): neither is what the handle held let go of, nor is the number of handles
// right afterwards: hosts keep using the descriptor that they have overwritten. Tests:
// SocketCopiesCompat.AssigningKeepsTheOldDescriptorOpen, SocketCopiesCompat.AssigningCountsOneHandleMore
Socket& Socket::operator=(Socket& other) {
  m_descriptor = other.m_descriptor;
  m_shared = other.m_shared;
  ++m_shared->count;
  ++nofSockets_;
  return *this;
}

Socket::~Socket() {
  if (--m_shared->count == 0) {
    Close();
    delete m_shared;
  }
  if (--nofSockets_ == 0) End();
}

void Socket::Close() {
  // CHOICE(closed-once): the number may be that of another file by now, so it is not touched again,
  // by no copy. Test: SocketCloseCompat.TheNumberIsNotTouchedAgain
  if (m_shared->isClosed) return;
  m_shared->isClosed = true;
  const impl::Uncancelled uncancelled;  // the last copy closes within its destructor
  if (m_descriptor >= 0) (void)::close(m_descriptor);
}

int Socket::SendBytes(const std::string& s) {
  if (m_shared->isClosed) {
    errno = EBADF;
    return -1;
  }
  // COMPAT(send-once): one call, whatever it takes: hosts with non-blocking sockets look at the
  // result. Test: SocketSendCompat.APartialSendIsNotContinued
  // CHOICE(send-without-signal): a peer that has gone is a result, not the end of the host.
  // Test: SocketSend.APeerThatHasGoneIsAResult
  return static_cast<int>(
      ::send(m_descriptor, s.data(), std::min<std::size_t>(s.size(), INT_MAX), MSG_NOSIGNAL));
}

int Socket::SendLine(std::string s) {
  s += "\r\n";
  return SendBytes(s);
}

std::string Socket::ReceiveBytes() {
  std::string received;
  if (m_shared->isClosed) return received;
  char block[kBlock];
  for (;;) {
    int waiting = 0;
    if (::ioctl(m_descriptor, FIONREAD, &waiting) != 0 || waiting <= 0) return received;
    const auto size = std::min(sizeof block, static_cast<std::size_t>(waiting));
    const ssize_t count = ::recv(m_descriptor, block, size, 0);
    if (count < 1) return received;
    received.append(block, static_cast<std::size_t>(count));
  }
}

// What has arrived is looked at first, and then taken up to the end of the line: nothing behind it
// may be taken, because copies of the handle and ReceiveBytes read from the same descriptor.
std::string Socket::ReceiveLine() {
  std::string line;
  if (m_shared->isClosed) {
    errno = EBADF;
    return line;
  }
  char block[kBlock];
  for (;;) {
    const ssize_t seen = ::recv(m_descriptor, block, sizeof block, MSG_PEEK);
    if (seen < 1) return line;
    const void* const end = std::memchr(block, '\n', static_cast<std::size_t>(seen));
    const std::size_t size =
        end != nullptr ? static_cast<std::size_t>(static_cast<const char*>(end) - block) + 1
                       : static_cast<std::size_t>(seen);
    const ssize_t count = ::recv(m_descriptor, block, size, 0);
    if (count < 1) return line;
    line.append(block, static_cast<std::size_t>(count));
    if (end != nullptr && static_cast<std::size_t>(count) == size) return line;
  }
}

SocketServer::SocketServer(int port, int backlog, TypeSocket type) {
  // COMPAT(server-second-socket): the one that the base has opened stays open, and is not closed
  // with the server: hosts count on the numbers. Test: SocketServerCompat.LeavesOneDescriptorOpen
  m_descriptor = OpenTcp();
  sockaddr_in address = AddressWith(port);
  address.sin_addr.s_addr = htonl(INADDR_ANY);
  // COMPAT(server-unchecked): a server that cannot be made non-blocking, or cannot listen, is only
  // noticed at Accept. Test: SocketServerCompat.DoesNotCheckListening
  int isNonBlocking = 1;
  if (type == NonBlockingSocket) (void)::ioctl(m_descriptor, FIONBIO, &isNonBlocking);
  // COMPAT(server-no-reuse): a port whose last connections have just ended is still in use.
  // Test: SocketServerCompat.APortInUseStaysInUse
  if (m_descriptor < 0 ||
      ::bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    Close();
    throw kInvalidSocket;
  }
  (void)::listen(m_descriptor, backlog);
}

Socket* SocketServer::Accept() {
  const int fd = m_shared->isClosed ? -1 : ::accept4(m_descriptor, nullptr, nullptr, SOCK_CLOEXEC);
  impl::ScopedFd accepted(impl::AboveStandard(fd));
  if (!accepted.IsOpen()) throw kInvalidAccepted;
  auto* const socket = new Socket(accepted.Get());  // the caller deletes it
  (void)accepted.Release();                         // the socket closes it
  return socket;
}

SocketClient::SocketClient(const std::string& host, int port) {
  sockaddr_in address = AddressWith(port);
  if (!FindHost(host.c_str(), address.sin_addr)) throw SystemMessage(errno);
  // COMPAT(connect-error-text): the text is that of the error number -1, never the cause: hosts
  // compare it. Test: SocketClientCompat.AFailedConnectionThrowsTheTextOfMinusOne
  if (!Connect(m_descriptor, address)) throw SystemMessage(-1);
}

SocketSelect::SocketSelect(const Socket* s1, const Socket* s2, TypeSocket type) {
  static_assert(sizeof(fd_set) == sizeof m_set);
  for (const Socket* s : {s1, s2}) {
    if (s == nullptr) continue;
    const int fd = s->GetDescriptor();
    // CHOICE(select-range): a descriptor that the set has no bit for is left out.
    // Test: SocketSelectCompat.ADescriptorBeyondTheSetIsLeftOut
    if (fd < 0 || fd >= FD_SETSIZE) continue;
    m_set[fd / 32] |= std::uint32_t{1} << (fd % 32);
  }
  fd_set set;
  std::memcpy(&set, m_set, sizeof set);
  timeval moment = {0, 1};
  // COMPAT(select-nothing): the number of descriptors is 0, so nothing is watched, and the form that
  // waits does so for ever. Hosts wait by other means, but for the time that this takes.
  // Tests: SocketSelectCompat.TheNonBlockingFormFindsNothing, SocketSelectCompat.TheBlockingFormWaitsForASignal
  const int result =
      ::select(0, &set, nullptr, nullptr, type == NonBlockingSocket ? &moment : nullptr);
  if (result < 0) throw "Error in select";
  // The system leaves a set alone of which it looks at nothing.
  if (result == 0) FD_ZERO(&set);
  std::memcpy(m_set, &set, sizeof m_set);
}

bool SocketSelect::Readable(const Socket* s) const {
  if (s == nullptr) return false;
  const int fd = s->GetDescriptor();
  return fd >= 0 && fd < FD_SETSIZE && (m_set[fd / 32] >> (fd % 32) & 1) != 0;
}

}  // namespace bix
