#ifndef BIX_RESOURCES_DIRECTORY_STATE_H_
#define BIX_RESOURCES_DIRECTORY_STATE_H_

/// What the directory functions keep between calls, and internal directory functions.

#include <string>

#include "bix/pathname.h"

namespace bix::impl {

/// A path that is computed at every call. Its text keeps its place, so that a pointer handed out
/// earlier shows the new text.
struct KeptPath {
  SPathName path;
  std::string text;

  const char* Text() {
    constexpr std::size_t kLongest = 4095;  // far beyond what a path name holds
    if (text.capacity() < kLongest) text.reserve(kLongest);
    text.assign(path);
    return text.c_str();
  }
};

/// The texts that the functions of bix/directories.h hand out, one for each function.
struct DirectoryState {
  int argumentCount = 0;
  const char** arguments = nullptr;
  SPathName program;
  std::string environmentValue;

  KeptPath user;
  KeptPath userAddins;
  KeptPath companyAddins;
  KeptPath teamAddins;

  SPathName bin;
  SPathName root;
  SPathName include;
  SPathName lib;
  SPathName etc;
  SPathName defaultLocale;
  SPathName locale;
};

/// The one state of the process. Defined with all objects of process lifetime.
DirectoryState& Directories();

}  // namespace bix::impl

namespace bix {

/// The base of the shared and user directories: "HOME". False when that is unset.
bool GetApplicationDataDirectory(SPathName& out);

}  // namespace bix

#endif  // BIX_RESOURCES_DIRECTORY_STATE_H_
