#include "bix/sockets.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/cancelled_thread.h"

namespace bix_test {
namespace {

/// The receiving of the test's own thread: how often, and at most how many bytes at a time.
struct Receiving {
  int calls = 0;
  std::size_t most = 0;
};
thread_local Receiving t_receiving;
thread_local bool t_listenFails = false;
thread_local int t_backlog = 0;  // of the last call

/// A name of this machine that needs no list of hosts.
constexpr char kNamedHost[] = "peer.example";

/// Whether the next connecting is interrupted, and so goes on behind the call.
thread_local bool t_connectIsInterrupted = false;

/// The error that every look-up of a host ends with, unless it is 0.
thread_local int t_lookupError = 0;
/// What the system says about every error, unless it is empty.
thread_local std::string t_errorText;

/// What `select` was asked, and what it is to answer: that one of them is ready.
struct Selecting {
  int ready = -1;
  int calls = 0;
  int descriptors = -1;
  std::vector<int> watched;
  bool watchesMore = false;  // than what can be read
  bool waits = false;
  timeval moment = {};
};
thread_local Selecting* t_selecting = nullptr;

template <class Function>
Function* Real(const char* symbol) {
  void* const address = dlsym(RTLD_NEXT, symbol);
  if (address == nullptr) std::abort();
  return reinterpret_cast<Function*>(address);
}

}  // namespace
}  // namespace bix_test

// They take the place of the system's own for this program and the libraries in it.
extern "C" ssize_t bix_test_recv(int fd, void* bytes, std::size_t size, int flags) __asm__("recv");
extern "C" ssize_t bix_test_recv(int fd, void* bytes, std::size_t size, int flags) {
  static auto* const real = bix_test::Real<ssize_t(int, void*, std::size_t, int)>("recv");
  ++bix_test::t_receiving.calls;
  bix_test::t_receiving.most = std::max(bix_test::t_receiving.most, size);
  return real(fd, bytes, size, flags);
}

extern "C" int bix_test_listen(int fd, int backlog) __asm__("listen");
extern "C" int bix_test_listen(int fd, int backlog) {
  static auto* const real = bix_test::Real<int(int, int)>("listen");
  bix_test::t_backlog = backlog;
  if (!bix_test::t_listenFails) return real(fd, backlog);
  errno = EADDRINUSE;
  return -1;
}

extern "C" int bix_test_connect(int fd, const sockaddr* address, socklen_t size) __asm__("connect");
extern "C" int bix_test_connect(int fd, const sockaddr* address, socklen_t size) {
  static auto* const real = bix_test::Real<int(int, const sockaddr*, socklen_t)>("connect");
  const int result = real(fd, address, size);
  if (!std::exchange(bix_test::t_connectIsInterrupted, false)) return result;
  errno = EINTR;
  return -1;
}

extern "C" int bix_test_lookup(const char* name, hostent* record, char* room, std::size_t size,
                               hostent** found, int* reason) __asm__("gethostbyname_r");
extern "C" int bix_test_lookup(const char* name, hostent* record, char* room, std::size_t size,
                               hostent** found, int* reason) {
  static auto* const real =
      bix_test::Real<int(const char*, hostent*, char*, std::size_t, hostent**, int*)>(
          "gethostbyname_r");
  if (std::strcmp(name, bix_test::kNamedHost) == 0) name = "127.0.0.1";
  if (bix_test::t_lookupError == 0) return real(name, record, room, size, found, reason);
  *found = nullptr;
  *reason = TRY_AGAIN;
  errno = bix_test::t_lookupError;
  return errno;
}

// Declared under another name where the time has more bits than a word.
extern "C" int select(int descriptors, fd_set* readers, fd_set* writers, fd_set* failures,
                      timeval* time) {
  using Select = int(int, fd_set*, fd_set*, fd_set*, timeval*);
  static auto* const real =
      bix_test::Real<Select>(sizeof(time_t) > sizeof(long) ? "__select64" : "select");
  bix_test::Selecting* const asked = bix_test::t_selecting;
  if (asked == nullptr) return real(descriptors, readers, writers, failures, time);
  ++asked->calls;
  asked->descriptors = descriptors;
  for (int fd = 0; fd < FD_SETSIZE; ++fd) {
    if (FD_ISSET(fd, readers)) asked->watched.push_back(fd);
  }
  asked->watchesMore = writers != nullptr || failures != nullptr;
  asked->waits = time == nullptr;
  if (time != nullptr) asked->moment = *time;
  FD_ZERO(readers);
  FD_SET(asked->ready, readers);
  return 1;
}

extern "C" char* bix_test_strerror(int error) __asm__("strerror");
extern "C" char* bix_test_strerror(int error) {
  static auto* const real = bix_test::Real<char*(int)>("strerror");
  return bix_test::t_errorText.empty() ? real(error) : bix_test::t_errorText.data();
}

namespace bix_test {
namespace {

using bix::BlockingSocket;
using bix::NonBlockingSocket;
using bix::Socket;
using bix::SocketClient;
using bix::SocketSelect;
using bix::SocketServer;

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) >= 0; }

/// How many descriptors of this process are open, up to 1023.
int OpenDescriptors() {
  int count = 0;
  for (int fd = 0; fd < 1024; ++fd) count += IsOpen(fd) ? 1 : 0;
  return count;
}

int PortOf(const SocketServer& server) {
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  EXPECT_EQ(0, getsockname(server.GetDescriptor(), reinterpret_cast<sockaddr*>(&address), &size));
  return ntohs(address.sin_port);
}

/// Closes at its end what has been opened meanwhile, such as the descriptor that a server leaves open.
class ClosesTheRest {
 public:
  ClosesTheRest() : m_before(1024) {
    for (int fd = 0; fd < 1024; ++fd) m_before[static_cast<std::size_t>(fd)] = IsOpen(fd);
  }
  ClosesTheRest(const ClosesTheRest&) = delete;
  ClosesTheRest& operator=(const ClosesTheRest&) = delete;
  ~ClosesTheRest() {
    for (const int fd : Opened()) close(fd);
  }

  /// Those that were opened and are still open.
  std::vector<int> Opened() const {
    std::vector<int> opened;
    for (int fd = 0; fd < 1024; ++fd) {
      if (!m_before[static_cast<std::size_t>(fd)] && IsOpen(fd)) opened.push_back(fd);
    }
    return opened;
  }

 private:
  std::vector<bool> m_before;
};

/// A connection over TCP on this machine: one end is the library's, the other a plain descriptor.
class Connection {
 public:
  Connection() {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(0, bind(listener, any, size));
    EXPECT_EQ(0, listen(listener, 1));
    EXPECT_EQ(0, getsockname(listener, any, &size));
    m_peer = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(0, connect(m_peer, any, size));
    const int on = 1;
    EXPECT_EQ(0, setsockopt(m_peer, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on));
    m_own = std::make_unique<Socket>(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    close(listener);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { EndPeer(); }

  Socket& Own() { return *m_own; }
  int Peer() const { return m_peer; }

  void PeerSends(const std::string& bytes) {
    EXPECT_EQ(static_cast<ssize_t>(bytes.size()), ::send(m_peer, bytes.data(), bytes.size(), 0));
  }
  std::string PeerReceives(std::size_t size) {
    std::string bytes(size, '\0');
    EXPECT_EQ(static_cast<ssize_t>(size), ::recv(m_peer, bytes.data(), size, MSG_WAITALL));
    return bytes;
  }
  void EndPeer() {
    if (m_peer >= 0) close(m_peer);
    m_peer = -1;
  }
  /// Ends the connection without a farewell: what is under way is lost.
  void PeerVanishes() {
    const linger none = {1, 0};
    EXPECT_EQ(0, setsockopt(m_peer, SOL_SOCKET, SO_LINGER, &none, sizeof none));
    EndPeer();
  }
  /// Waits until so much has arrived, or the end of the connection.
  void AwaitArrival(std::size_t size) {
    std::vector<char> seen(size);
    ::recv(m_own->GetDescriptor(), seen.data(), size, MSG_PEEK | MSG_WAITALL);
  }

 private:
  std::unique_ptr<Socket> m_own;
  int m_peer = -1;
};

/// The text that `action` throws as `Thrown`; "nothing" or "something else" otherwise.
template <class Thrown, class Action>
std::string ThrownBy(Action action) {
  try {
    action();
  } catch (Thrown text) {
    return text;
  } catch (...) {
    return "something else";
  }
  return "nothing";
}

TEST(SocketCopies, AreCounted) {
  const int before = Socket::nofSockets_;
  {
    Socket first;
    EXPECT_EQ(before + 1, Socket::nofSockets_);
    {
      const Socket second(first);
      EXPECT_EQ(before + 2, Socket::nofSockets_);
      EXPECT_EQ(first.GetDescriptor(), second.GetDescriptor());
    }
    EXPECT_EQ(before + 1, Socket::nofSockets_);
    Socket::Start();
    EXPECT_EQ(before + 2, Socket::nofSockets_);
    --Socket::nofSockets_;
    Socket::End();
    EXPECT_EQ(before + 1, Socket::nofSockets_);
  }
  EXPECT_EQ(before, Socket::nofSockets_);
}

TEST(SocketCopies, TheLastOneClosesTheDescriptorOnce) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  auto first = std::make_unique<Socket>(fd);
  auto second = std::make_unique<Socket>(*first);
  auto third = std::make_unique<Socket>(*second);
  second.reset();
  EXPECT_TRUE(IsOpen(fd));
  first.reset();
  EXPECT_TRUE(IsOpen(fd));
  third.reset();
  EXPECT_FALSE(IsOpen(fd));
}

TEST(SocketCopies, TheLastOneClosesInAThreadThatIsToBeCancelledToo) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  EXPECT_FALSE(IsCancelledIn([fd] {
    const Socket last(fd);
    CancelThisThread();
  }));
  EXPECT_FALSE(IsOpen(fd));
}

TEST(SocketCopies, ShareTheConnection) {
  Connection connection;
  Socket copy(connection.Own());
  connection.PeerSends("first\nsecond\n");
  EXPECT_EQ("first\n", connection.Own().ReceiveLine());
  EXPECT_EQ("second\n", copy.ReceiveLine());
}

/// Reaches the record that the copies of a socket have in common, to free what assigning leaves.
class OpenSocket : public Socket {
 public:
  using Socket::Socket;
  using Socket::operator=;
  void TakeRecord(std::unique_ptr<Shared>& record) const { record.reset(m_shared); }
  using Record = Shared;
};

TEST(SocketCopiesCompat, AssigningKeepsTheOldDescriptorOpen) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int other = -1;
  std::unique_ptr<OpenSocket::Record> left;
  {
    OpenSocket target(fd);
    target.TakeRecord(left);
    const Socket copy(target);  // the count of the old descriptor does not go down
    Socket source;
    other = source.GetDescriptor();
    target = source;
    EXPECT_EQ(other, target.GetDescriptor());
  }
  --Socket::nofSockets_;
  EXPECT_FALSE(IsOpen(other));
  EXPECT_TRUE(IsOpen(fd));
  close(fd);
}

TEST(SocketCopiesCompat, AssigningCountsOneHandleMore) {
  const int before = Socket::nofSockets_;
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::unique_ptr<OpenSocket::Record> left;
  {
    OpenSocket target(fd);
    target.TakeRecord(left);
    Socket source;
    target = source;
    EXPECT_EQ(before + 3, Socket::nofSockets_);
  }
  EXPECT_EQ(before + 1, Socket::nofSockets_);
  --Socket::nofSockets_;
  close(fd);
}

TEST(SocketOpening, WithoutAFreeDescriptorThrowsTheText) {
  // One of each kind is made first: a sanitizer that checks the types of objects opens descriptors of
  // its own when it sees a type for the first time.
  const SocketServer anyServer(0, 1, BlockingSocket);
  const SocketClient anyClient("127.0.0.1", PortOf(anyServer));
  const Socket anySocket;
  const int before = Socket::nofSockets_;
  rlimit limit;
  ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &limit));
  const rlimit none = {0, limit.rlim_max};
  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
  const std::string plain = ThrownBy<const char*>([] { Socket(); });
  const std::string server = ThrownBy<const char*>([] { SocketServer(0, 1, BlockingSocket); });
  const std::string client = ThrownBy<const char*>([] { SocketClient("127.0.0.1", 1); });
  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
  EXPECT_EQ("INVALID_SOCKET", plain);
  EXPECT_EQ("INVALID_SOCKET", server);
  EXPECT_EQ("INVALID_SOCKET", client);
  EXPECT_EQ(before, Socket::nofSockets_);  // what was never made is not counted
}

TEST(SocketOpening, NothingReachesProgramsOfTheHost) {
  const ClosesTheRest rest;
  SocketServer server(0, 1, BlockingSocket);
  SocketClient client("127.0.0.1", PortOf(server));
  const std::unique_ptr<Socket> peer(server.Accept());
  EXPECT_EQ(4U, rest.Opened().size());
  for (const int fd : rest.Opened()) EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD)) << fd;
}

TEST(SocketClose, ClosesAndKeepsTheNumber) {
  Connection connection;
  const int fd = connection.Own().GetDescriptor();
  connection.PeerSends("text\n");
  connection.Own().Close();
  EXPECT_FALSE(IsOpen(fd));
  EXPECT_EQ(fd, connection.Own().GetDescriptor());
}

TEST(SocketCloseCompat, TheNumberIsNotTouchedAgain) {
  int pair[2];
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair));
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  {
    Socket first(fd);
    Socket second(first);
    first.Close();
    ASSERT_EQ(fd, dup2(pair[0], fd));  // somebody else's file gets the number
    ASSERT_EQ(5, ::send(pair[1], "text\n", 5, 0));
    for (Socket* socket : {&first, &second}) {
      socket->Close();
      errno = 0;
      EXPECT_EQ(-1, socket->SendBytes("x"));
      EXPECT_EQ(EBADF, errno);
      EXPECT_EQ("", socket->ReceiveBytes());
      EXPECT_EQ("", socket->ReceiveLine());
    }
  }
  EXPECT_TRUE(IsOpen(fd));
  char byte;
  EXPECT_EQ(1, ::recv(fd, &byte, 1, 0));
  EXPECT_EQ('t', byte);
  for (const int open : {fd, pair[0], pair[1]}) close(open);
}

TEST(SocketSend, SendsTheBytesAndTheEndOfALine) {
  Connection connection;
  EXPECT_EQ(3, connection.Own().SendBytes("abc"));
  EXPECT_EQ("abc", connection.PeerReceives(3));
  EXPECT_EQ(5, connection.Own().SendLine("abc"));
  EXPECT_EQ("abc\r\n", connection.PeerReceives(5));
  EXPECT_EQ(2, connection.Own().SendLine(""));
  EXPECT_EQ("\r\n", connection.PeerReceives(2));
  EXPECT_EQ(0, connection.Own().SendBytes(""));
  const std::string zeros("a\0b\0", 4);
  EXPECT_EQ(4, connection.Own().SendBytes(zeros));
  EXPECT_EQ(zeros, connection.PeerReceives(4));
}

TEST(SocketSend, APeerThatHasGoneIsAResult) {
  struct sigaction action;
  ASSERT_EQ(0, sigaction(SIGPIPE, nullptr, &action));
  ASSERT_EQ(SIG_DFL, action.sa_handler);  // a signal would end this process
  Connection connection;
  connection.PeerVanishes();
  EXPECT_EQ("", connection.Own().ReceiveLine());
  EXPECT_EQ(ECONNRESET, errno);
  EXPECT_EQ(-1, connection.Own().SendBytes("x"));
  EXPECT_EQ(EPIPE, errno);
  EXPECT_EQ(-1, connection.Own().SendLine("x"));
  EXPECT_EQ("", connection.Own().ReceiveBytes());
}

TEST(SocketSend, AnUnconnectedSocketIsAResult) {
  Socket socket;
  EXPECT_EQ(-1, socket.SendBytes("x"));
  EXPECT_EQ("", socket.ReceiveLine());
  EXPECT_EQ("", socket.ReceiveBytes());
  Socket none(-1);
  EXPECT_EQ(-1, none.SendBytes("x"));
  EXPECT_EQ("", none.ReceiveLine());
  EXPECT_EQ("", none.ReceiveBytes());
}

TEST(SocketSendCompat, APartialSendIsNotContinued) {
  Connection connection;
  ASSERT_EQ(0, fcntl(connection.Own().GetDescriptor(), F_SETFL, O_NONBLOCK));
  const std::string all(std::size_t{32} << 20, 'x');
  const int taken = connection.Own().SendBytes(all);
  EXPECT_LT(0, taken);
  EXPECT_GT(static_cast<int>(all.size()), taken);
  connection.PeerReceives(static_cast<std::size_t>(taken));
  EXPECT_EQ(1, connection.Own().SendBytes("y"));
  EXPECT_EQ("y", connection.PeerReceives(1));  // nothing in between
}

TEST(SocketReceiveLine, TakesUpToTheLineFeedAndLeavesTheRest) {
  const struct {
    const char* sent;
    std::vector<std::string> lines;  // until the peer has closed
  } cases[] = {
      {"ab\r\ncd", {"ab\r\n", "cd", ""}},
      {"ab\n\ncd\n", {"ab\n", "\n", "cd\n", ""}},
      {"\r\n", {"\r\n", ""}},
      {"a\rb\r\n", {"a\rb\r\n", ""}},
      {"", {"", ""}},
      {"no end", {"no end", ""}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.sent);
    Connection connection;
    connection.PeerSends(c.sent);
    connection.EndPeer();
    for (const std::string& line : c.lines) EXPECT_EQ(line, connection.Own().ReceiveLine());
  }
}

TEST(SocketReceiveLine, LeavesTheRestInTheConnection) {
  Connection connection;
  connection.PeerSends("ab\r\ncd");
  connection.AwaitArrival(6);
  EXPECT_EQ("ab\r\n", connection.Own().ReceiveLine());
  EXPECT_EQ("cd", connection.Own().ReceiveBytes());
}

TEST(SocketReceiveLine, ZeroBytesAreBytes) {
  Connection connection;
  connection.PeerSends(std::string("\0a\0\n\0", 5));
  connection.EndPeer();
  EXPECT_EQ(std::string("\0a\0\n", 4), connection.Own().ReceiveLine());
  EXPECT_EQ(std::string("\0", 1), connection.Own().ReceiveLine());
}

TEST(SocketReceiveLine, LinesOfEverySizeAroundABlock) {
  Connection connection;
  std::vector<std::string> lines;
  for (const std::size_t size : {1, 1022, 1023, 1024, 1025, 2047, 2048, 2049, 5000, 1000000})
    lines.push_back(std::string(size - 1, 'x') + "\n");
  std::thread peer([&] {
    for (const std::string& line : lines) connection.PeerSends(line);
  });
  for (const std::string& line : lines) EXPECT_TRUE(line == connection.Own().ReceiveLine());
  peer.join();
}

TEST(SocketReceiveLine, LinesThatArriveInPieces) {
  Connection connection;
  std::thread peer([&] {
    for (int i = 0; i < 50; ++i) {
      for (const char* piece : {"a", "b\r", "\n", "c\nd", "\n"}) {
        connection.PeerSends(piece);
        std::this_thread::yield();
      }
    }
    connection.EndPeer();
  });
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ("ab\r\n", connection.Own().ReceiveLine());
    EXPECT_EQ("c\n", connection.Own().ReceiveLine());
    EXPECT_EQ("d\n", connection.Own().ReceiveLine());
  }
  EXPECT_EQ("", connection.Own().ReceiveLine());
  peer.join();
}

TEST(SocketReceiveLine, ALineThatIsThereTakesTwoCalls) {
  Connection connection;
  const std::string line = std::string(78, 'x') + "\r\n";
  std::string all;
  for (int i = 0; i < 100; ++i) all += line;
  connection.PeerSends(all);
  connection.AwaitArrival(all.size());
  const Receiving before = t_receiving;
  for (int i = 0; i < 100; ++i) ASSERT_EQ(line, connection.Own().ReceiveLine());
  EXPECT_EQ(before.calls + 200, t_receiving.calls);
}

TEST(SocketReceiveLine, OnANonBlockingSocketReturnsWhatHasCome) {
  Connection connection;
  ASSERT_EQ(0, fcntl(connection.Own().GetDescriptor(), F_SETFL, O_NONBLOCK));
  EXPECT_EQ("", connection.Own().ReceiveLine());
  EXPECT_EQ(EAGAIN, errno);
  connection.PeerSends("ab");
  connection.AwaitArrival(2);
  EXPECT_EQ("ab", connection.Own().ReceiveLine());
  EXPECT_EQ(EAGAIN, errno);
}

/// Runs `wait` in a thread of its own and, from the moment when `begins` is true, sends it signals whose
/// handler does not restart calls of the system, until it has returned.
void Interrupt(const std::function<void()>& wait, const std::function<bool()>& begins) {
  struct sigaction counting = {}, before;
  counting.sa_handler = [](int) {};
  ASSERT_EQ(0, sigaction(SIGUSR1, &counting, &before));
  std::atomic<bool> hasReturned{false};
  std::thread waiter([&] {
    wait();
    hasReturned = true;
  });
  while (!begins()) std::this_thread::yield();
  while (!hasReturned) {
    pthread_kill(waiter.native_handle(), SIGUSR1);
    std::this_thread::yield();
  }
  waiter.join();
  ASSERT_EQ(0, sigaction(SIGUSR1, &before, nullptr));
}

TEST(SocketReceiveLine, ASignalOfTheHostEndsTheWaitWithWhatHasCome) {
  Connection connection;
  connection.PeerSends("ab");
  connection.AwaitArrival(2);
  std::string line;
  int error = 0;
  Interrupt(
      [&] {
        line = connection.Own().ReceiveLine();
        error = errno;
      },
      [&] {
        int waiting = 1;
        EXPECT_EQ(0, ioctl(connection.Own().GetDescriptor(), FIONREAD, &waiting));
        return waiting == 0;  // taken
      });
  EXPECT_EQ("ab", line);
  EXPECT_EQ(EINTR, error);
  connection.PeerSends("cd\n");
  EXPECT_EQ("cd\n", connection.Own().ReceiveLine());
}

TEST(SocketReceiveBytes, WithNothingThereReturnsAtOnce) {
  Connection connection;
  EXPECT_EQ("", connection.Own().ReceiveBytes());
  connection.PeerSends("text");
  connection.AwaitArrival(4);
  EXPECT_EQ("text", connection.Own().ReceiveBytes());
  EXPECT_EQ("", connection.Own().ReceiveBytes());
  connection.EndPeer();
  connection.AwaitArrival(1);
  EXPECT_EQ("", connection.Own().ReceiveBytes());
}

TEST(SocketReceiveBytes, TakesAllThatHasArrivedByBlocks) {
  Connection connection;
  std::string all(100000, 'x');
  all[50000] = '\0';
  std::thread peer([&] { connection.PeerSends(all); });
  peer.join();
  connection.AwaitArrival(all.size());
  t_receiving.most = 0;
  EXPECT_TRUE(all == connection.Own().ReceiveBytes());
  EXPECT_EQ(1024U, t_receiving.most);
}

TEST(SocketReceiveBytes, MegabytesComeWhole) {
  Connection connection;
  std::string all;
  for (int i = 0; all.size() < 8000000; ++i) all += std::to_string(i) + ",";
  std::thread peer([&] {
    connection.PeerSends(all);
    connection.EndPeer();
  });
  std::string received;
  for (;;) {
    pollfd event = {connection.Own().GetDescriptor(), POLLIN, 0};
    ASSERT_EQ(1, poll(&event, 1, 60000));
    const std::string some = connection.Own().ReceiveBytes();
    if (some.empty()) break;
    received += some;
  }
  peer.join();
  EXPECT_TRUE(all == received);
}

TEST(SocketServer, AcceptsAndTalks) {
  const ClosesTheRest rest;
  SocketServer server(0, 5, BlockingSocket);
  SocketClient client("127.0.0.1", PortOf(server));
  const std::unique_ptr<Socket> peer(server.Accept());
  EXPECT_EQ(7, client.SendLine("hello"));
  EXPECT_EQ("hello\r\n", peer->ReceiveLine());
  EXPECT_EQ(7, peer->SendLine("there"));
  EXPECT_EQ("there\r\n", client.ReceiveLine());
  EXPECT_EQ(0, fcntl(peer->GetDescriptor(), F_GETFL) & O_NONBLOCK);
}

TEST(SocketServer, ListensWithItsBacklog) {
  const ClosesTheRest rest;
  for (const int backlog : {1, 7}) {
    const SocketServer server(0, backlog, BlockingSocket);
    EXPECT_EQ(backlog, t_backlog);
  }
}

TEST(SocketServer, OnEveryAddressOfTheMachine) {
  const ClosesTheRest rest;
  SocketServer server(0, 5, BlockingSocket);
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  ASSERT_EQ(0, getsockname(server.GetDescriptor(), reinterpret_cast<sockaddr*>(&address), &size));
  EXPECT_EQ(AF_INET, address.sin_family);
  EXPECT_EQ(htonl(INADDR_ANY), address.sin_addr.s_addr);
  SocketClient other("127.0.0.2", PortOf(server));
  const std::unique_ptr<Socket> peer(server.Accept());
  EXPECT_EQ(1, other.SendBytes("x"));
}

TEST(SocketServer, ANonBlockingOneDoesNotWait) {
  const ClosesTheRest rest;
  SocketServer server(0, 5, NonBlockingSocket);
  EXPECT_EQ("Invalid Socket", ThrownBy<const char*>([&] { server.Accept(); }));
  EXPECT_EQ(EAGAIN, errno);
  SocketClient client("127.0.0.1", PortOf(server));
  pollfd event = {server.GetDescriptor(), POLLIN, 0};
  ASSERT_EQ(1, poll(&event, 1, 60000));
  const std::unique_ptr<Socket> peer(server.Accept());
  EXPECT_EQ(1, client.SendBytes("x"));
}

TEST(SocketServer, ASignalOfTheHostEndsTheWait) {
  const ClosesTheRest rest;
  SocketServer server(0, 5, BlockingSocket);
  std::string thrown;
  int error = 0;
  Interrupt(
      [&] {
        thrown = ThrownBy<const char*>([&] { server.Accept(); });
        error = errno;
      },
      [] { return true; });
  EXPECT_EQ("Invalid Socket", thrown);
  EXPECT_EQ(EINTR, error);
}

TEST(SocketServer, AfterCloseNobodyIsAccepted) {
  const ClosesTheRest rest;
  SocketServer server(0, 5, BlockingSocket);
  server.Close();
  EXPECT_EQ("Invalid Socket", ThrownBy<const char*>([&] { server.Accept(); }));
}

TEST(SocketServer, AcceptedSocketsOutliveIt) {
  const ClosesTheRest rest;
  std::unique_ptr<Socket> peer;
  std::unique_ptr<SocketClient> client;
  {
    SocketServer server(0, 5, BlockingSocket);
    client = std::make_unique<SocketClient>("127.0.0.1", PortOf(server));
    peer.reset(server.Accept());
  }
  EXPECT_EQ(3, client->SendLine("x"));
  EXPECT_EQ("x\r\n", peer->ReceiveLine());
}

TEST(SocketServerCompat, LeavesOneDescriptorOpen) {
  const int handles = Socket::nofSockets_;
  const ClosesTheRest rest;
  int fd = -1;
  {
    const SocketServer server(0, 5, BlockingSocket);
    fd = server.GetDescriptor();
    EXPECT_EQ(2U, rest.Opened().size());
    EXPECT_EQ(fd, rest.Opened().back());  // the second one
    EXPECT_EQ(handles + 1, Socket::nofSockets_);
  }
  EXPECT_FALSE(IsOpen(fd));
  EXPECT_EQ(1U, rest.Opened().size());
  EXPECT_EQ(handles, Socket::nofSockets_);
}

TEST(SocketServerCompat, APortInUseStaysInUse) {
  const int handles = Socket::nofSockets_;
  int port = 0;
  const ClosesTheRest rest;
  {
    SocketServer server(0, 5, BlockingSocket);
    port = PortOf(server);
    EXPECT_EQ("INVALID_SOCKET",
              ThrownBy<const char*>([&] { SocketServer(port, 5, BlockingSocket); }));
    EXPECT_EQ(handles + 1, Socket::nofSockets_);
    SocketClient client("127.0.0.1", port);
    // The server closes first, so the connection lingers at its port.
    delete server.Accept();
    EXPECT_EQ("", client.ReceiveLine());
  }
  EXPECT_EQ("INVALID_SOCKET",
            ThrownBy<const char*>([&] { SocketServer(port, 5, NonBlockingSocket); }));
  EXPECT_EQ(handles, Socket::nofSockets_);
  EXPECT_EQ(3U, rest.Opened().size());  // the first one of each
}

TEST(SocketServerCompat, DoesNotCheckListening) {
  const ClosesTheRest rest;
  t_listenFails = true;
  SocketServer server(0, 5, BlockingSocket);
  t_listenFails = false;
  EXPECT_EQ("Invalid Socket", ThrownBy<const char*>([&] { server.Accept(); }));
  EXPECT_EQ(EINVAL, errno);
}

TEST(SocketClient, FindsTheHostByName) {
  const ClosesTheRest rest;
  SocketServer server(0, 5, BlockingSocket);
  SocketClient client(kNamedHost, PortOf(server));
  const std::unique_ptr<Socket> peer(server.Accept());
  EXPECT_EQ(1, client.SendBytes("x"));
}

TEST(SocketClient, ASignalOfTheHostDoesNotEndTheConnecting) {
  const ClosesTheRest rest;
  SocketServer server(0, 5, BlockingSocket);
  t_connectIsInterrupted = true;
  SocketClient client("127.0.0.1", PortOf(server));
  EXPECT_FALSE(t_connectIsInterrupted);
  const std::unique_ptr<Socket> peer(server.Accept());
  EXPECT_EQ(3, client.SendLine("x"));
  EXPECT_EQ("x\r\n", peer->ReceiveLine());
}

TEST(SocketClient, AnUnknownHostThrowsAText) {
  const int handles = Socket::nofSockets_;
  const int before = OpenDescriptors();
  for (const char* host : {"1.2.3.4.5", "256.256.256.256", "..", ""}) {
    const std::string text = ThrownBy<std::string>([&] { SocketClient(host, 80); });
    EXPECT_NE("nothing", text) << host;
    EXPECT_NE("something else", text) << host;
    EXPECT_GE(511U, text.size());
  }
  EXPECT_EQ(handles, Socket::nofSockets_);
  EXPECT_EQ(before, OpenDescriptors());
}

TEST(SocketClient, AFailedLookUpThrowsTheMessageOfItsError) {
  const auto connect = [] { SocketClient("nobody", 80); };
  t_lookupError = ECONNREFUSED;
  const std::string refused = ThrownBy<std::string>(connect);
  t_lookupError = ENOENT;
  const std::string missing = ThrownBy<std::string>(connect);
  t_errorText = std::string(600, 'x');
  const std::string longest = ThrownBy<std::string>(connect);
  t_errorText.clear();
  t_lookupError = 0;
  EXPECT_EQ("Connection refused", refused);
  EXPECT_EQ("No such file or directory", missing);
  EXPECT_EQ(std::string(511, 'x'), longest) << "as much as a message may have";
}

TEST(SocketClientCompat, AFailedConnectionThrowsTheTextOfMinusOne) {
  const int handles = Socket::nofSockets_;
  const int before = OpenDescriptors();
  // A port that is taken, but where nobody listens.
  const int taken = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(0, bind(taken, reinterpret_cast<sockaddr*>(&address), size));
  ASSERT_EQ(0, getsockname(taken, reinterpret_cast<sockaddr*>(&address), &size));
  EXPECT_EQ("Unknown error -1",
            ThrownBy<std::string>([&] { SocketClient("127.0.0.1", ntohs(address.sin_port)); }));
  close(taken);
  EXPECT_EQ(handles, Socket::nofSockets_);
  EXPECT_EQ(before, OpenDescriptors());
}

/// What selecting from these sockets asks the system for. The last of them is the one that is ready.
Selecting SelectedFrom(const Socket& first, const Socket* second, bix::TypeSocket type) {
  Selecting asked;
  asked.ready = second != nullptr ? second->GetDescriptor() : first.GetDescriptor();
  t_selecting = &asked;
  const SocketSelect select(&first, second, type);
  t_selecting = nullptr;
  EXPECT_EQ(second == nullptr, select.Readable(&first));
  EXPECT_EQ(second != nullptr, select.Readable(second));
  return asked;
}

TEST(SocketSelect, AsksOnceWhetherTheyCanBeRead) {
  const Connection connection;
  for (const int least : {3, 31, 32, 63, 64, 1000}) {
    const Socket first(fcntl(connection.Peer(), F_DUPFD_CLOEXEC, least));
    const Socket second(fcntl(connection.Peer(), F_DUPFD_CLOEXEC, least + 1));
    ASSERT_LT(first.GetDescriptor(), second.GetDescriptor());
    for (const bool isOne : {true, false}) {
      std::vector<int> watched = {first.GetDescriptor()};
      if (!isOne) watched.push_back(second.GetDescriptor());
      const Selecting brief = SelectedFrom(first, isOne ? nullptr : &second, NonBlockingSocket);
      EXPECT_EQ(1, brief.calls);
      EXPECT_EQ(0, brief.descriptors);
      EXPECT_EQ(watched, brief.watched);
      EXPECT_FALSE(brief.watchesMore);
      EXPECT_FALSE(brief.waits);
      EXPECT_EQ(0, brief.moment.tv_sec);
      EXPECT_EQ(1, brief.moment.tv_usec);
      const Selecting waiting = SelectedFrom(first, isOne ? nullptr : &second, BlockingSocket);
      EXPECT_EQ(0, waiting.descriptors);
      EXPECT_EQ(watched, waiting.watched);
      EXPECT_FALSE(waiting.watchesMore);
      EXPECT_TRUE(waiting.waits);
    }
  }
}

TEST(SocketSelectCompat, TheNonBlockingFormFindsNothing) {
  Connection first, second;
  first.PeerSends("text\n");
  first.AwaitArrival(5);
  const SocketSelect both(&first.Own(), &second.Own(), NonBlockingSocket);
  EXPECT_FALSE(both.Readable(&first.Own()));
  EXPECT_FALSE(both.Readable(&second.Own()));
  const SocketSelect one(&first.Own(), nullptr, NonBlockingSocket);
  EXPECT_FALSE(one.Readable(&first.Own()));
  EXPECT_FALSE(one.Readable(nullptr));
  EXPECT_EQ("text\n", first.Own().ReceiveLine());
}

TEST(SocketSelectCompat, TheBlockingFormWaitsForASignal) {
  Connection connection;
  connection.PeerSends("text\n");
  connection.AwaitArrival(5);
  std::string thrown;
  Interrupt(
      [&] {
        thrown = ThrownBy<const char*>(
            [&] { const SocketSelect never(&connection.Own(), nullptr, BlockingSocket); });
      },
      [] { return true; });
  EXPECT_EQ("Error in select", thrown);
}

TEST(SocketSelectCompat, ADescriptorBeyondTheSetIsLeftOut) {
  rlimit limit;
  ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &limit));
  const rlimit high = {std::min<rlim_t>(limit.rlim_max, 2048), limit.rlim_max};
  ASSERT_LT(1030U, high.rlim_cur);
  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &high));
  int fd = -1;
  {
    const Socket plain;
    fd = fcntl(plain.GetDescriptor(), F_DUPFD_CLOEXEC, 1024);
  }
  ASSERT_LE(1024, fd);
  {
    const Socket beyond(fd), none(-1);
    const SocketSelect select(&beyond, &none, NonBlockingSocket);
    EXPECT_FALSE(select.Readable(&beyond));
    EXPECT_FALSE(select.Readable(&none));
  }
  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
}

}  // namespace
}  // namespace bix_test
