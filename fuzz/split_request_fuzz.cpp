// Requests against the rules as they are stated, step by step.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "bix/url.h"

namespace {

using Params = std::map<std::string, std::string>;

void ModelSplit(std::string request, std::string& path, Params& params) {
  for (int i = 0; i < 2; ++i)
    if (!request.empty() && (request.back() == '\r' || request.back() == '\n')) request.pop_back();
  if (request.size() > 7 && request.substr(request.size() - 8, 7) == "HTTP/1.")
    request = request.size() > 9 ? request.substr(0, request.size() - 9) : "";
  std::vector<std::string> parts(1);
  bool isPath = true;
  for (const char c : request) {
    if ((isPath && c == '?') || (!isPath && c == '&')) {
      isPath = false;
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  path = parts[0];
  for (std::size_t i = 1; i < parts.size(); ++i) {
    std::string name, value;
    bool isValue = false;
    for (const char c : parts[i]) {
      if (!isValue && c == '=')
        isValue = true;
      else
        (isValue ? value : name) += c;
    }
    if (!isValue) value = name;
    for (char& c : value)
      if (c == '+') c = ' ';
    bix::UTF8String decoded;
    bix::DecodeURL(value, decoded);
    if (params.count(name) == 0) params[name] = decoded;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string request(data, data + size);
  for (const char* end : {"", "\r\n", " HTTP/1.1\r\n", "&a=1 HTTP/1.0\n"}) {
    std::string path = "?", modelPath = "?";
    Params params{{"a", "kept"}}, modelParams = params;
    bix::SplitGetReq(request + end, path, params);
    ModelSplit(request + end, modelPath, modelParams);
    if (path != modelPath || params != modelParams) std::abort();
  }
  return 0;
}
