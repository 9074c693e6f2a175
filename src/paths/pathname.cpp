#include "bix/pathname.h"

#include <sys/stat.h>

namespace bix {

SPathName::~SPathName() = default;
SPathName::SPathName(const char* text) : SString(text) {}
SPathName::SPathName(const SString& text) : SString(text) {}
SPathName& SPathName::operator=(const char* text) {
  SString::operator=(text);
  return *this;
}
SPathName& SPathName::operator=(const SString& text) {
  SString::operator=(text);
  return *this;
}

SString SPathName::GetDirectory() const {
  const size_type slash = rfind('/');
  return slash == npos || slash == 0 ? SString("/") : SString(substr(0, slash));
}

void SPathName::AddPathElement(const char* element) {
  if (!empty() && back() != '/') append(1, '/');
  append(element != nullptr ? element : "");
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
