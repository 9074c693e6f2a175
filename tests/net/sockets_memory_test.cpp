// What sockets do when there is no memory left.

#include <cerrno>
#include <memory>
#include <vector>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bix/sockets.h"
#include "proc/children.h"
#include "support/failing_allocations.h"

namespace bix_test {
namespace {

using bix::Socket;

sockaddr_in AddressOf(const bix::SocketServer& server) {
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  EXPECT_EQ(0, getsockname(server.GetDescriptor(), reinterpret_cast<sockaddr*>(&address), &size));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

TEST(SocketMemory, WhatCannotBeMadeLeavesNoDescriptorAndNoHandle) {
  const std::size_t descriptors = OpenDescriptors();
  const int handles = Socket::nofSockets_;
  const auto isAsBefore = [&] {
    EXPECT_EQ(descriptors, OpenDescriptors());
    EXPECT_EQ(handles, Socket::nofSockets_);
  };
  EXPECT_LT(0, FailEachAllocation([] { Socket(); }, isAsBefore));
  isAsBefore();
}

TEST(SocketMemory, AConnectionThatCannotBeHandedOverIsClosed) {
  bix::SocketServer server(0, 5, bix::BlockingSocket);
  const sockaddr_in address = AddressOf(server);
  std::vector<int> peers;
  std::unique_ptr<Socket> accepted;
  const std::size_t descriptors = OpenDescriptors();
  const int handles = Socket::nofSockets_;
  const auto connect = [&] {
    peers.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(0,
              ::connect(peers.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
  };
  connect();
  const int failures = FailEachAllocation([&] { accepted.reset(server.Accept()); },
                                          [&] {
                                            EXPECT_EQ(handles, Socket::nofSockets_);
                                            char byte;
                                            EXPECT_EQ(0, recv(peers.back(), &byte, 1, 0));
                                            connect();
                                          });
  EXPECT_LT(0, failures);
  EXPECT_EQ(handles + 1, Socket::nofSockets_);
  EXPECT_EQ(descriptors + peers.size() + 1, OpenDescriptors());
  for (const int peer : peers) close(peer);
}

}  // namespace
}  // namespace bix_test
