// Sockets whose other end is not the library: curl, nc and a Python program.

#include "bix/sockets.h"

#include <memory>
#include <string>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include "bix/subproc.h"
#include "proc/children.h"

namespace bix_test {
namespace {

using bix::BlockingSocket;
using bix::CSubProc;
using bix::NonBlockingSocket;
using bix::Socket;
using bix::SocketClient;
using bix::SocketServer;

std::string PortOf(const SocketServer& server) {
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  EXPECT_EQ(0, getsockname(server.GetDescriptor(), reinterpret_cast<sockaddr*>(&address), &size));
  return std::to_string(ntohs(address.sin_port));
}

/// Waits until something can be read, or somebody has connected.
void AwaitInput(const Socket& socket) {
  pollfd event = {socket.GetDescriptor(), POLLIN, 0};
  EXPECT_EQ(1, poll(&event, 1, 60000));
}

/// A Python program that prints the port on which it listens, and then serves one connection "c".
class PythonServer {
 public:
  explicit PythonServer(const std::string& serve) {
    EXPECT_EQ(0, Launch(m_child, {"python3", "-uc",
                                  "import socket, struct\n"
                                  "s = socket.socket()\n"
                                  "s.bind(('127.0.0.1', 0))\n"
                                  "s.listen()\n"
                                  "print(s.getsockname()[1])\n"
                                  "c, a = s.accept()\n" +
                                      serve}));
    m_port = std::atoi(ReadLine(m_child).c_str());
    EXPECT_LT(0, m_port);
  }
  PythonServer(const PythonServer&) = delete;
  PythonServer& operator=(const PythonServer&) = delete;
  ~PythonServer() {
    EXPECT_EQ("", ReadAll(m_child));
    EXPECT_EQ(0, m_child.get_exit_status());
    m_child.reset();
  }

  int Port() const { return m_port; }

 private:
  CSubProc m_child;
  int m_port = 0;
};

TEST(SocketPeers, CurlGetsItsAnswer) {
  SocketServer server(0, 5, BlockingSocket);
  CSubProc curl;
  ASSERT_EQ(0, Launch(curl, {"curl", "-s", "--noproxy", "*", "--max-time", "60",
                             "http://127.0.0.1:" + PortOf(server) + "/find?name=a+b&x=%2f"}));
  {
    const std::unique_ptr<Socket> peer(server.Accept());
    EXPECT_EQ("GET /find?name=a+b&x=%2f HTTP/1.1\r\n", peer->ReceiveLine());
    int headers = 0;
    for (std::string line; (line = peer->ReceiveLine()) != "\r\n"; ++headers) {
      ASSERT_LT(2U, line.size());
      EXPECT_EQ("\r\n", line.substr(line.size() - 2));
    }
    EXPECT_LT(0, headers);
    EXPECT_EQ(17, peer->SendLine("HTTP/1.1 200 OK"));
    EXPECT_EQ(21, peer->SendLine("Content-Length: 100"));
    EXPECT_EQ(2, peer->SendLine(""));
    EXPECT_EQ(100, peer->SendBytes(std::string(100, 'x')));
  }
  EXPECT_EQ(std::string(100, 'x'), ReadAll(curl));
  EXPECT_EQ(0, curl.get_exit_status());
  curl.reset();
}

TEST(SocketPeers, NetcatSendsLinesAndGoes) {
  SocketServer server(0, 5, NonBlockingSocket);
  CSubProc nc;
  ASSERT_EQ(0, Launch(nc, {"nc", "-N", "127.0.0.1", PortOf(server)}));
  AwaitInput(server);
  const std::unique_ptr<Socket> peer(server.Accept());
  EXPECT_EQ(16, nc.write("first\r\nsecond\nth", 16));
  EXPECT_EQ("first\r\n", peer->ReceiveLine());
  EXPECT_EQ(3, nc.write("ird", 3));
  EXPECT_EQ("second\n", peer->ReceiveLine());
  EXPECT_EQ(6, peer->SendLine("back"));
  EXPECT_EQ("back\r\n", ReadLine(nc));
  nc.close_write();
  EXPECT_EQ("third", peer->ReceiveLine());  // until it has gone
  EXPECT_EQ("", peer->ReceiveLine());
  EXPECT_EQ("", peer->ReceiveBytes());
  peer->Close();
  EXPECT_EQ(0, nc.get_exit_status());
  nc.reset();
}

TEST(SocketPeers, PythonAnswersLineByLine) {
  const PythonServer python(
      "for line in c.makefile('rb'): c.sendall(line.rstrip()[::-1] + b'\\r\\n')\n");
  SocketClient client("127.0.0.1", python.Port());
  for (int i = 100; i < 200; ++i) {
    const std::string text = std::to_string(i);
    EXPECT_EQ(5, client.SendLine(text));
    EXPECT_EQ((std::string{text[2], text[1], text[0], '\r', '\n'}), client.ReceiveLine());
  }
  client.Close();
}

TEST(SocketPeers, PythonSendsMegabytesInSmallPieces) {
  const PythonServer python(
      "c.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)\n"
      "d = b''.join(b'%d,' % i for i in range(500000))\n"
      "for i in range(0, len(d), 777): c.sendall(d[i:i + 777])\n"
      "c.close()\n");
  SocketClient client("127.0.0.1", python.Port());
  std::string want, got;
  for (int i = 0; i < 500000; ++i) want += std::to_string(i) + ",";
  for (;;) {
    AwaitInput(client);
    const std::string some = client.ReceiveBytes();
    if (some.empty()) break;
    got += some;
  }
  EXPECT_TRUE(want == got);
}

TEST(SocketPeers, PythonVanishesInTheMiddleOfALine) {
  const PythonServer python(
      "c.sendall(b'whole\\nhalf')\n"
      "c.recv(1)\n"
      "c.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack('ii', 1, 0))\n"
      "c.close()\n");
  SocketClient client("127.0.0.1", python.Port());
  EXPECT_EQ("whole\n", client.ReceiveLine());
  EXPECT_EQ(1, client.SendBytes("x"));
  // What had come may be lost with the connection.
  const std::string rest = client.ReceiveLine();
  EXPECT_TRUE(rest == "half" || rest.empty()) << rest;
  EXPECT_EQ("", client.ReceiveLine());
  while (client.SendBytes("y") > 0) {
  }
  EXPECT_EQ(-1, client.SendBytes("z"));
}

}  // namespace
}  // namespace bix_test
