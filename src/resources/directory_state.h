#ifndef BIX_RESOURCES_DIRECTORY_STATE_H_
#define BIX_RESOURCES_DIRECTORY_STATE_H_

/// What the directory functions keep between calls, and internal directory functions.

#include <string>

#include "bix/pathname.h"

namespace bix::impl {

/// The texts that the functions of bix/directories.h hand out, one for each function.
struct DirectoryState {
  int argumentCount = 0;
  const char** arguments = nullptr;
  SPathName program;
  std::string environmentValue;

  SPathName user;
  SPathName userAddins;
  SPathName companyAddins;
  SPathName teamAddins;

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
