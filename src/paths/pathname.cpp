#include "bix/pathname.h"

#include <sys/stat.h>

namespace bix {

namespace {

/// Takes "/./" and "/.." out of an absolute path.
std::string Normalised(const std::string& in) {
  if (in.empty() || in[0] != '/') return in;
  std::string out;
  for (std::size_t i = 0; i < in.size();) {
    if (in.compare(i, 3, "/./") == 0) {
      i += 2;
    } else if (in.compare(i, 4, "/../") == 0 || in.substr(i) == "/..") {
      i += 3;
      const std::size_t slash = out.rfind('/');
      out.resize(slash != std::string::npos ? slash : 0);
    } else {
      out += in[i++];
    }
  }
  return out;
}

}  // namespace

SPathName::~SPathName() = default;
SPathName::SPathName(const char* text) : SString(Normalised(text != nullptr ? text : "")) {}
SPathName::SPathName(const SString& text) : SString(Normalised(text)) {}
SPathName& SPathName::operator=(const char* text) {
  SString::operator=(Normalised(text != nullptr ? text : ""));
  return *this;
}
SPathName& SPathName::operator=(const SString& text) {
  SString::operator=(Normalised(text));
  return *this;
}

SString SPathName::GetDirectory() const {
  const size_type slash = rfind('/');
  return slash == npos || slash == 0 ? SString("/") : SString(substr(0, slash));
}

void SPathName::AddPathElement(const char* element) {
  if (!empty() && back() != '/') append(1, '/');
  append(element != nullptr ? element : "");
  *this = c_str();
}
void SPathName::AddPathElement(const SString& element) { AddPathElement(element.c_str()); }

bool SPathName::CreateDirectoryA() {
  const SString parent = GetDirectory();
  (void)mkdir(parent.c_str(), 0777);  // one missing level above
  (void)mkdir(c_str(), 0777);
  struct stat status = {};
  return stat(c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace bix
