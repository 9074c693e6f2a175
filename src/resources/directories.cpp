#include "bix/directories.h"

#include <cstdlib>

#include <dlfcn.h>
#include <unistd.h>

#include "bix/library.h"
#include "bix/product.h"
#include "diag/report.h"
#include "resources/directory_state.h"
#include "resources/own_texts.h"
#include "resources/scoped_resource_module.h"

namespace bix {
namespace {

using impl::Directories;

/// Fills `path` with the value of a variable. False, and no change, when it is unset.
bool AssignFromEnvironment(SPathName& path, const char* name) {
  const char* const value = std::getenv(name);
  if (value == nullptr) return false;
  path = value;
  return true;
}

/// <HOME>/Kestrane/<element>, created. False when HOME is unset.
bool MakeCompanyDirectory(SPathName& out, const SString& element) {
  SPathName path;
  if (!GetApplicationDataDirectory(path)) return false;
  path.AddPathElement(AtelanProduct::GetRegistryCompanyName());
  path.AddPathElement(element);
  // COMPAT(directory-failure): a directory that cannot be created is neither reported nor a
  // failure. Test: UserDirectoriesCompat.AFailureToCreateChangesNoResult
  (void)path.CreateDirectoryA();
  out = path;
  return true;
}

/// Where the add-ins of a company or a team are.
const char* SharedAddins(impl::KeptPath& kept, const char* variable, const char* element) {
  // COMPAT(addins-whole-value): the variable names the directory itself, unlike that for the user's
  // add-ins. Test: AddinDirectoriesCompat.OnlyTheUsersVariableNamesTheParent
  if (!AssignFromEnvironment(kept.path, variable) && BixGetSharedDataDirectory(kept.path))
    kept.path.AddPathElement(element);
  return kept.Text();
}

/// The installation directory with one more element, computed while it is still empty.
///
/// CHOICE(installation-rootless): without a root there is nothing to append to; "locale/de" would
/// be looked for in the working directory, wherever that is. So everything below stays empty as
/// well. Test: InstallationDirectoriesCompat.WithoutARootEverythingBelowIsEmpty
const char* BelowRoot(SPathName& path, const char* element) {
  if (!path.empty()) return path.c_str();
  const SPathName root(BixGetInstallationRoot());
  if (root.empty()) return path.c_str();
  SPathName below = root;
  below.AddPathElement(element);
  path = below;  // whole or not at all: it is kept
  return path.c_str();
}

const char* LocaleBelowRoot(SPathName& path, const char* language) {
  if (!path.empty()) return path.c_str();
  SPathName below;
  if (*BelowRoot(below, "locale") == 0) return path.c_str();
  below.AddPathElement(language);
  path = below;
  return path.c_str();
}

}  // namespace

void BixSaveMainArguments(int argc, const char** argv) {
  if (argc < 1 || argv == nullptr || argv[0] == nullptr) {
    impl::ReportAt(impl::SourcePlace(), "Internal error.");
    return;
  }
  Directories().argumentCount = argc;
  Directories().arguments = argv;
  Directories().program = argv[0];
}

void BixGetMainArguments(int& argc, const char**& argv) {
  argc = Directories().argumentCount;
  argv = Directories().arguments;
}

// COMPAT(argv0-not-absolute): normalised, but not made absolute, whatever the name says.
// Test: MainArgumentsCompat.TheProgramIsNotMadeAbsolute
const char* TMPBixGetAbsoluteArgv0() { return Directories().program.c_str(); }

char* BixGetEnvironmentVariable(const SString& name) { return std::getenv(name.c_str()); }

// COMPAT(environment-one-buffer): one buffer for all variables; a text handed out earlier shows the
// new value. Nothing in the library holds such a text. Test:
// EnvironmentCompat.TheLiteralFormReturnsOneSharedBuffer
const char* BixGetEnvironmentVariable(const char* name) {
  const char* const value = name != nullptr ? std::getenv(name) : nullptr;
  if (value == nullptr) return nullptr;
  Directories().environmentValue = value;
  return Directories().environmentValue.c_str();
}

const char* BixGetLocale() {
  const char* const language = std::getenv("KESTRANE_ATELAN_LANGUAGE");
  return language != nullptr && *language != 0 ? language : "en";
}

const char* BixGetModuleFileName() {
  const char* const installation = std::getenv("KESTRANE_INSTALLATION");
  return installation != nullptr ? installation : "";
}

bool BixGetUserPersonalDirectory(SPathName& out) { return AssignFromEnvironment(out, "HOME"); }

bool GetApplicationDataDirectory(SPathName& out) { return AssignFromEnvironment(out, "HOME"); }

bool BixGetDefaultUserProjectPath(SPathName& out) {
  SString name;
  {
    const impl::ScopedResourceModule own(BixhDllInstance);
    if (BixLoadString(BixGetResourceHandle(), impl::kMsgMyProjects, name) == 0) return false;
  }
  SPathName path;
  if (!BixGetUserPersonalDirectory(path)) return false;
  path.AddPathElement(name);
  (void)path.CreateDirectoryA();  // as everywhere: no failure of this function
  out = path;
  return true;
}

bool BixGetSharedDataDirectory(SPathName& out) { return MakeCompanyDirectory(out, "Shared"); }

bool BixGetAllUsersSharedDataDirectory(SPathName& out) {
  SPathName path;
  if (!AssignFromEnvironment(path, "ZROOT")) return false;
  path.AddPathElement("tools/Shared");
  (void)path.CreateDirectoryA();  // as everywhere: no failure of this function
  out = path;
  return true;
}

const char* BixGetUserDir() {
  SString folder = AtelanProduct::GetRegistryToolName();
  folder.append(1, ' ').append(AtelanProduct::GetRegistryToolVersion('.'));
  (void)MakeCompanyDirectory(Directories().user.path, folder);  // without HOME the value stays
  return Directories().user.Text();
}

const char* BixGetUserAddinsDir() {
  SPathName& path = Directories().userAddins.path;
  if (!AssignFromEnvironment(path, "VORN_USER_ADDINS_DIR")) path = BixGetUserDir();
  // COMPAT(addins-parent): appended to the variable's value too: it names the folder that holds
  // "addins". Test: AddinDirectoriesCompat.OnlyTheUsersVariableNamesTheParent
  path.AddPathElement("addins");
  return Directories().userAddins.Text();
}

const char* BixGetCompanyAddinsDir() {
  return SharedAddins(Directories().companyAddins, "VORN_COMPANY_ADDINS_DIR", "CompanyAddins");
}

const char* BixGetTeamAddinsDir() {
  return SharedAddins(Directories().teamAddins, "VORN_TEAM_ADDINS_DIR", "TeamAddins");
}

const char* BixGetInstallationBin() {
  SPathName& bin = Directories().bin;
  if (!bin.empty()) return bin.c_str();
  Dl_info info = {};
  if (dladdr(&bin, &info) == 0 || info.dli_fname == nullptr) return bin.c_str();
  bin = SPathName(info.dli_fname).GetDirectory();
  if (bin.Compare(".") != 0) return bin.c_str();
  char workingDirectory[4096];
  if (getcwd(workingDirectory, sizeof workingDirectory) != nullptr) bin = workingDirectory;
  return bin.c_str();
}

const char* BixGetInstallationDirectory() { return BixGetInstallationBin(); }

const char* BixGetInstallationRoot() {
  SPathName& root = Directories().root;
  if (!root.empty()) return root.c_str();
  SPathName above(BixGetInstallationBin());
  if (above.empty()) return root.c_str();
  above.AddPathElement("..");
  root = above;
  return root.c_str();
}

const char* BixGetInstallationInclude() { return BelowRoot(Directories().include, "include"); }

const char* BixGetInstallationLib() { return BelowRoot(Directories().lib, "lib"); }

const char* BixGetInstallationEtc() { return BelowRoot(Directories().etc, "etc"); }

const char* BixGetDefaultLocaleDir() { return LocaleBelowRoot(Directories().defaultLocale, "en"); }

// COMPAT(locale-frozen): kept from the first call on, whatever becomes of the language.
// Test: InstallationDirectoriesCompat.ALaterChangeOfTheLanguageHasNoEffect
const char* BixGetLocaleDir() { return LocaleBelowRoot(Directories().locale, BixGetLocale()); }

}  // namespace bix
