#ifndef BIX_DIRECTORIES_H_
#define BIX_DIRECTORIES_H_

/// Installation, user and add-in directories, the environment and the language.

#include "bix/export.h"
#include "bix/pathname.h"
#include "bix/text.h"

namespace bix {

BIX_EXPORT char* BixGetEnvironmentVariable(const SString& name);
BIX_EXPORT const char* BixGetEnvironmentVariable(const char* name);
BIX_EXPORT const char* BixGetLocale();
BIX_EXPORT bool BixGetSharedDataDirectory(SPathName& out);
BIX_EXPORT bool BixGetAllUsersSharedDataDirectory(SPathName& out);

}  // namespace bix

#endif  // BIX_DIRECTORIES_H_
