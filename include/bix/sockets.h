#ifndef BIX_SOCKETS_H_
#define BIX_SOCKETS_H_

/// TCP connections over IPv4: text goes out as raw bytes and comes in as it is or by lines.
///
///   bix::SocketServer server(8080, 5, bix::BlockingSocket);
///   const std::unique_ptr<bix::Socket> peer(server.Accept());
///   const std::string request = peer->ReceiveLine();
///   peer->SendLine("HTTP/1.0 204 No Content");
///   peer->SendLine("");
///
/// A `Socket` is a counted handle: copies share the descriptor, the last one closes it.
///
/// Encoding: bytes, zero bytes included.
/// Errors: what opens or waits throws a text: a `const char*`, from SocketClient a `std::string`.
/// Sending and receiving never throw. A peer that has gone does not raise SIGPIPE. A signal of the
/// host whose handler does not restart calls (SA_RESTART) ends a wait as a failure would, with EINTR.
/// Threads: the counts are not atomic: all sockets of a process belong to one thread.

#include "bix/hostmacros_off.h"

#include <cstdint>
#include <string>

#include "bix/export.h"

namespace bix {

/// Whether accepting and selecting wait.
enum TypeSocket { BlockingSocket = 0, NonBlockingSocket = 1 };

/// A handle on one connection.
class BIX_EXPORT Socket {
 public:
  /// Opens a TCP socket that is not connected.
  ///
  /// Errors: throws the `const char*` "INVALID_SOCKET".
  Socket();

  /// Wraps a descriptor that is open already.
  ///
  /// Owner: adopted; the last copy closes it.
  explicit Socket(int fd);

  /// Shares the descriptor.
  Socket(const Socket& other);

  /// Shares the descriptor of the other. What this handle held before is not released: that
  /// descriptor stays open for good, also when the last copy of it has gone. Call
  /// Close() before, when nobody else uses it.
  Socket& operator=(Socket& other);

  /// The last copy closes the descriptor, unless Close() has.
  virtual ~Socket();  // slot 1

  /// Closes the descriptor for all copies. The handle keeps its number, but uses it no more: sending
  /// returns -1 (EBADF), receiving "".
  void Close();

  /// Sends all of `s` with one call of the system. Returns how many bytes were taken, which may be
  /// fewer on a non-blocking socket.
  ///
  /// Errors: -1, `errno` says why; EPIPE when the peer has gone.
  int SendBytes(const std::string& s);

  /// Sends `s` and the end of a line.
  ///
  ///   "abc"   => 5 bytes: "abc\r\n"
  ///
  /// Errors: as SendBytes.
  int SendLine(std::string s);

  /// All that has arrived, without waiting for more; "" when there is nothing, or no more to come.
  std::string ReceiveBytes();

  /// The next line, with its end. Waits for it.
  ///
  ///   the peer sent         result     left for the next call
  ///   "ab\r\ncd"            "ab\r\n"   "cd"
  ///   "\n\n"                "\n"       "\n"
  ///   "cd", and it closed   "cd"       ""
  ///
  /// Errors: what has come until then, "" when that is nothing; `errno` says why.
  std::string ReceiveLine();

  /// The number of the descriptor, for calls of the system that have no operation here.
  ///
  /// Owner: the last copy.
  int GetDescriptor() const { return m_descriptor; }

  /// Called for each handle that is made: counts it.
  static void Start();

  /// Called when the last handle is gone. Nothing needs to be done on this platform.
  static void End();

  /// How many handles there are, copies included. Assigning counts one more, although it makes no
  /// handle.
  static int nofSockets_;

 protected:
  /// What the copies of a handle have in common.
  struct Shared {
    int count;      // of the copies
    bool isClosed;  // nobody uses or closes the number any more
  };

  /// Counts a handle and makes its shared record.
  static Shared* MakeShared();

  int m_descriptor;
  Shared* m_shared;  // owned by all copies together
};

/// Waits for connections, on every address of the machine.
class BIX_EXPORT SocketServer : public Socket {
 public:
  /// Listens on `port`, with room for `backlog` connections that nobody has accepted. With
  /// `NonBlockingSocket` Accept() does not wait. Port 0 is a free one, see GetDescriptor and
  /// getsockname. One descriptor stays open until the process ends, beside the one that listens.
  ///
  /// Errors: throws the `const char*` "INVALID_SOCKET", also for a port that is, or was a moment ago,
  /// in use.
  SocketServer(int port, int backlog, TypeSocket type);

  /// Waits for the next connection.
  ///
  /// Owner: new; the caller deletes it.
  /// Errors: throws the `const char*` "Invalid Socket"; `errno` says why. So it does when the server
  /// does not wait and nobody has connected (EAGAIN).
  Socket* Accept();
};

/// Connects to a server.
class BIX_EXPORT SocketClient : public Socket {
 public:
  /// Connects to the first IPv4 address of `host`, a name or "127.0.0.1".
  ///
  /// Errors: throws a `std::string`: for an unknown host the system's message for the `errno` of the
  /// look-up, of at most 511 characters; when the connection fails "Unknown error -1", whatever the
  /// cause. "INVALID_SOCKET" as Socket().
  SocketClient(const std::string& host, int port);
};

/// Asks which of two sockets can be read. On this platform the answer is none, see the constructor.
class BIX_EXPORT SocketSelect {
 public:
  /// Selects with an empty range of descriptors, as hosts expect. So on this platform no socket is
  /// ever reported: with `NonBlockingSocket` it returns at once, with `BlockingSocket` it waits until
  /// a signal comes. Use poll on GetDescriptor() to wait for a socket.
  ///
  /// Owner: both are borrowed for the call; `s2` may be null.
  /// Errors: throws the `const char*` "Error in select"; `errno` says why.
  SocketSelect(const Socket* s1, const Socket* s2, TypeSocket type);

  /// Whether the socket was found readable; false for null.
  ///
  /// Owner: borrowed for the call.
  bool Readable(const Socket* s) const;

 private:
  std::uint32_t m_set[32] = {};  // one bit for each descriptor
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_SOCKETS_H_
