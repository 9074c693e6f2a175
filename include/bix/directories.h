#ifndef BIX_DIRECTORIES_H_
#define BIX_DIRECTORIES_H_

/// Installation, user and add-in directories, the environment, the language and the program's
/// arguments.
///
///   bix::SPathName file(bix::BixGetUserDir());     // <HOME>/Kestrane/Vorn 4.2
///   file.AddPathElement("colours.txt");
///
/// A variable that is set but empty counts as set, but for the language.
///
/// Owner: a text is owned by the function that returns it, and shows the new value after its next
/// call.
/// Errors: a missing variable is no error: the functions return false and leave `out` as it was, or
/// return the text of the call before, at first "". Failures to create a directory change no result.
/// Encoding: bytes, handed to the system unchanged.
/// Threads: no lock; callers on several threads serialise their calls.

#include "bix/hostmacros_off.h"

#include "bix/export.h"
#include "bix/pathname.h"
#include "bix/text.h"

namespace bix {

/// Keeps the arguments of the program; its entry point calls this once, before all that needs them.
///
/// Owner: the vector is borrowed for the rest of the process, not copied.
/// Errors: when `argc` is below 1, or `argv` or its first element is null, reports "Internal error:
/// file <f>, line <n>: Internal error." on `bixerr` and keeps what was saved before.
BIX_EXPORT void BixSaveMainArguments(int argc, const char** argv);

/// Gives back what BixSaveMainArguments was given; 0 and null before.
///
/// Owner: `argv` is owned by the program.
BIX_EXPORT void BixGetMainArguments(int& argc, const char**& argv);

/// The path of the program: the first saved argument, normalised like every path name but not made
/// absolute. "" before BixSaveMainArguments.
///
/// Owner: shared static; valid until the next BixSaveMainArguments.
BIX_EXPORT const char* TMPBixGetAbsoluteArgv0();

/// The value of an environment variable, or null.
///
/// Owner: the environment, valid until it is changed.
BIX_EXPORT char* BixGetEnvironmentVariable(const SString& name);

/// The value of an environment variable, or null. A literal name selects this overload.
///
/// Owner: shared static; valid until the next call.
BIX_EXPORT const char* BixGetEnvironmentVariable(const char* name);

/// The user's language: "KESTRANE_ATELAN_LANGUAGE"; "en" when that is unset or empty.
///
/// Owner: the environment, valid until it is changed.
BIX_EXPORT const char* BixGetLocale();

/// "KESTRANE_INSTALLATION"; "" when that is unset.
///
/// Owner: the environment, valid until it is changed.
BIX_EXPORT const char* BixGetModuleFileName();

/// The user's home directory: "HOME".
///
/// Errors: false when HOME is unset.
BIX_EXPORT bool BixGetUserPersonalDirectory(SPathName& out);

/// <HOME>/My Projects, the last element in the user's language (text 8 of the library). The
/// directory is created.
///
/// Errors: false when HOME is unset or the text cannot be loaded, which is reported on `bixerr`.
BIX_EXPORT bool BixGetDefaultUserProjectPath(SPathName& out);

/// <HOME>/Kestrane/Shared. The directory is created, with one missing level above it.
///
/// Errors: false when HOME is unset.
BIX_EXPORT bool BixGetSharedDataDirectory(SPathName& out);

/// <ZROOT>/tools/Shared. The directory is created, with one missing level above it.
///
/// Errors: false when ZROOT is unset.
BIX_EXPORT bool BixGetAllUsersSharedDataDirectory(SPathName& out);

/// <HOME>/Kestrane/Vorn 4.2. The directory is created, with one missing level above it.
BIX_EXPORT const char* BixGetUserDir();

/// Where the user's add-ins are. Not created.
///
///   VORN_USER_ADDINS_DIR="/x"  => "/x/addins"    the variable names the folder that holds "addins"
///   unset                      => <BixGetUserDir()>/addins
BIX_EXPORT const char* BixGetUserAddinsDir();

/// Where the company's add-ins are. Not created.
///
///   VORN_COMPANY_ADDINS_DIR="/x"  => "/x"
///   unset                         => <HOME>/Kestrane/Shared/CompanyAddins
BIX_EXPORT const char* BixGetCompanyAddinsDir();

/// Where the team's add-ins are. Not created.
///
///   VORN_TEAM_ADDINS_DIR="/x"  => "/x"
///   unset                      => <HOME>/Kestrane/Shared/TeamAddins
BIX_EXPORT const char* BixGetTeamAddinsDir();

/// The directory of the library's own file, as the dynamic loader names it; the working directory
/// in place of ".". Computed once, again only while it is empty.
BIX_EXPORT const char* BixGetInstallationBin();

/// The same as BixGetInstallationBin.
BIX_EXPORT const char* BixGetInstallationDirectory();

/// The directory above BixGetInstallationBin. It is empty when that is unknown or the library lies
/// directly in a directory such as "/lib"; then every directory below stays empty as well.
BIX_EXPORT const char* BixGetInstallationRoot();
BIX_EXPORT const char* BixGetInstallationInclude();  ///< <root>/include
BIX_EXPORT const char* BixGetInstallationLib();      ///< <root>/lib
BIX_EXPORT const char* BixGetInstallationEtc();      ///< <root>/etc
BIX_EXPORT const char* BixGetDefaultLocaleDir();     ///< <root>/locale/en

/// <root>/locale/<BixGetLocale()>. A later change of the language has no effect on it.
BIX_EXPORT const char* BixGetLocaleDir();

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_DIRECTORIES_H_
