// Sockets: a server that answers GET requests, and curl as a child process that asks it.

#include <cstdio>
#include <map>
#include <memory>
#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "bix/sockets.h"
#include "bix/subproc.h"
#include "bix/url.h"

namespace {

/// Port 0 has given the server a free one.
int PortOf(const bix::SocketServer& server) {
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  getsockname(server.GetDescriptor(), reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

std::string MakeAnswer(const std::string& path, const std::map<std::string, std::string>& params) {
  std::string answer = "path " + path + "\n";
  for (const auto& [name, value] : params) answer += name + " is '" + value + "'\n";
  return answer;
}

/// Serves one request.
void Serve(bix::SocketServer& server) {
  const std::unique_ptr<bix::Socket> peer(server.Accept());
  std::string request = peer->ReceiveLine();
  for (std::string header = request; header != "\r\n" && !header.empty();)
    header = peer->ReceiveLine();
  if (request.compare(0, 4, "GET ") != 0) {
    peer->SendLine("HTTP/1.0 501 Not Implemented\r\n");
    return;
  }
  std::string path;
  std::map<std::string, std::string> params;
  bix::SplitGetReq(request.substr(4), path, params);
  peer->SendLine("HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n");
  peer->SendBytes(MakeAnswer(path, params));
}

/// Lets curl ask for a target, and prints what it gets.
bool Ask(bix::SocketServer& server, const std::string& target) {
  const std::string url = "http://127.0.0.1:" + std::to_string(PortOf(server)) + target;
  const char* arguments[] = {"curl",       "-s", "--noproxy", "*",
                             "--max-time", "60", url.c_str(), nullptr};
  bix::CSubProc curl;
  if (curl.launch("curl", arguments, nullptr, false) != 0) return false;
  Serve(server);
  char block[4096];
  for (int count; (count = curl.read(block, sizeof block)) > 0;)
    std::fwrite(block, 1, static_cast<std::size_t>(count), stdout);
  const bool isFine = curl.get_exit_status() == 0;
  curl.reset();
  return isFine;
}

}  // namespace

int main() {
  try {
    bix::SocketServer server(0, 5, bix::BlockingSocket);
    const bool isFine = Ask(server, "/find?name=a+b&path=%2Fhome%2fme&flag") && Ask(server, "/");
    return isFine ? 0 : 1;
  } catch (const char* text) {
    std::printf("%s\n", text);
    return 1;
  }
}
