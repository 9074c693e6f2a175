// filename_expand against a plain model without a limit: where the model's text has room, both are
// the same; where it has not, errno tells.

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include <pwd.h>
#include <unistd.h>

#include "bix/pathname.h"

namespace {

struct Variable {
  const char* name;
  std::string value;
};

const Variable kVariables[] = {{"A", "a"},
                               {"EMPTY", ""},
                               {"TILDE", "~"},
                               {"REF", "$(A)"},
                               {"DOLLAR", "$"},
                               {"CLOSE", ")"},
                               {"USER", "~root"},
                               {"L", std::string(500, 'l')},
                               {"XL", std::string(3000, 'x')}};

void Check(bool isRight, const std::string& input, const char* what) {
  if (isRight) return;
  std::fprintf(stderr, "%s: \"%s\" gives \"%s\"\n", what, input.c_str(),
               filename_expand(input.c_str()));
  std::abort();
}

const std::string* ValueOf(const std::string& name) {
  for (const Variable& variable : kVariables) {
    if (name == variable.name) return &variable.value;
  }
  return nullptr;
}

/// `hasRoom` turns false when the text would at any time be longer than the storage.
std::string Model(const std::string& in, bool& hasRoom) {
  std::string out;
  for (std::size_t at = 0; at < in.size(); ++at) {
    if (in[at] != '$') {
      out += in[at];
    } else if (at + 1 == in.size()) {
      out += '$';
    } else if (in[at + 1] != '(') {
      out += in[at];
      out += in[++at];
    } else {
      const std::size_t close = in.find(')', at);
      const std::string name =
          in.substr(at + 2, close == std::string::npos ? close : close - at - 2);
      const std::string* const value = ValueOf(name);
      out += value != nullptr ? *value : "$(" + name + ")";
      if (close == std::string::npos) break;
      at = close;
    }
  }
  hasRoom = out.size() < 1024;
  if (out.empty() || out[0] != '~') return out;
  const std::string user =
      out.substr(1, out.find('/') == std::string::npos ? std::string::npos : out.find('/') - 1);
  const passwd* const entry = user.empty() ? getpwuid(geteuid()) : getpwnam(user.c_str());
  if (entry == nullptr) return out;
  out = entry->pw_dir + out.substr(1 + user.size());
  if (out.size() >= 1024) hasRoom = false;
  return out;
}

/// Exactly the variables of the model.
bool SetVariables() {
  clearenv();
  for (const Variable& variable : kVariables) setenv(variable.name, variable.value.c_str(), 1);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool s_isSet = SetVariables();
  (void)s_isSet;
  const std::string input = std::string(data, data + size).c_str();

  bool hasRoom = true;
  const std::string want = Model(input, hasRoom);
  errno = 0;
  const std::string result = filename_expand(input.c_str());
  const int error = errno;
  Check(result.size() < 1024, input, "too long");
  if (hasRoom)
    Check(result == want, input, "not expanded");
  else
    Check(error == ERANGE, input, "nothing tells that it has no room");

  // Its own result is an argument like any other.
  const std::string again = filename_expand(result.c_str());
  Check(filename_expand(filename_expand(input.c_str())) == again, input, "its own result");
  return 0;
}
