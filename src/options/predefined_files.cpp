// The predefined option files: where they are named, and how each gets into the stack.

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "bix/directories.h"
#include "bix/optionfile.h"
#include "bix/options.h"
#include "support/above_standard.h"
#include "support/durable_file.h"
#include "support/scoped_fd.h"

namespace bix {

namespace {

// Static storage: set once all files have been loaded, by managers of whatever thread.
constinit std::atomic<bool> s_isLoaded = false;

constexpr std::size_t kNameListSize = 4096;

// CHOICE(predefined-file-mode): settings that everybody in the group may change are made with all
// permission bits that the process's mask leaves, as hosts expect of a shared directory.
// Test: PredefinedFilesChoice.MissingFilesAreMadeWithAllPermissionBits
constexpr mode_t kMode = 0777;

/// Opens a file without waiting for whoever may be at its other end.
int OpenToWrite(const SPathName& path, int flags) {
  return impl::AboveStandard(
      open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | flags, kMode));
}

/// Makes an empty file unless there is one, also where a link leads to. Another process may do the
/// same at this moment, and may have written to it already, so an existing file is not emptied.
void CreateIfMissing(const SPathName& path) {
  if (access(path.c_str(), F_OK) == 0) return;
  const impl::ScopedFd file(OpenToWrite(path, O_CREAT));
}

/// Empties a file that cannot be parsed, once its bytes are safe beside it. What may not be emptied
/// is not copied either: every start of a program would add another copy.
bool SetAsideAndEmpty(const SPathName& path) {
  const impl::ScopedFd file(OpenToWrite(path, 0));
  std::string copy;
  if (!file.IsOpen() || impl::CopyAside(path.c_str(), &copy) != 0) return false;
  if (ftruncate(file.Get(), 0) == 0) return true;
  (void)unlink(copy.c_str());  // the file has the bytes still
  return false;
}

/// The names of a list separated by ";"; empty ones are skipped.
SVector<SPathName> SplitNames(const char* list, const SPathName& directory) {
  SVector<SPathName> paths;
  if (list == nullptr) {
    errno = EINVAL;
    return paths;
  }
  char names[kNameListSize];
  if (std::strlen(list) >= sizeof names) {
    errno = ERANGE;
    return paths;
  }
  std::strcpy(names, list);
  char* rest = nullptr;
  for (const char* name = strtok_r(names, ";", &rest); name != nullptr;
       name = strtok_r(nullptr, ";", &rest)) {
    SPathName path(name);
    if (!path.IsAbsolutePath()) {
      path = directory;
      path.AddPathElement(name);
    }
    paths.push_back(path);
  }
  return paths;
}

}  // namespace

bool COptionManager::GetInitialOptionsPath(SPathName& out) {
  SPathName path;
  if (!BixGetAllUsersSharedDataDirectory(path)) return false;
  path.AddPathElement("init.tot");
  out = path;
  return true;
}

bool COptionManager::IsPredefinedOptionFilesLoaded() { return s_isLoaded; }

void COptionManager::LoadPredefinedOptionFiles() {
  COptionManager initial("Initial");
  initial.AddCategory(&catInitial);
  initial.AddCategory(&catSettings);

  // CHOICE(no-shared-directory): without an all-users directory the names would be taken below "/",
  // so nothing is loaded then, as without a shared data directory.
  // Test: PredefinedFilesChoice.WithoutAnAllUsersDirectoryNothingIsLoaded
  SPathName initialPath;
  SPathName sharedDirectory;
  if (!GetInitialOptionsPath(initialPath) || !BixGetSharedDataDirectory(sharedDirectory)) return;

  CreateIfMissing(initialPath);
  // COMPAT(broken-init-file): an init file that cannot be read is left as it is; its list is then
  // the default one. Test: PredefinedFilesCompat.BrokenInitFileIsLeftAsItIs
  (void)initial.Load(initialPath.c_str());

  // COMPAT(predefined-base): relative names start at the directory of the init file, not at the
  // shared data directory, which only has to exist.
  // Test: PredefinedFilesCompat.RelativeNamesStartAtTheInitFile
  const SPathName directory(initialPath.GetDirectory());
  const char* names = initial.GetValue("Initial/Predefined", "OptionFiles");
  for (const SPathName& path : SplitNames(names, directory)) AddPredefinedFile(path);
  s_isLoaded = true;
}

void COptionManager::AddPredefinedFile(const SPathName& path) {
  CreateIfMissing(path);
  COptionFile* file = AddOptionFile(path);
  if (file == nullptr) {
    // Under the lock of those who save, and tried once more: the file may have been replaced since.
    impl::DurableFile guard(path.c_str());
    (void)guard.Lock();  // emptying is safe without it too, for the bytes are set aside
    file = AddOptionFile(path);
    if (file == nullptr && SetAsideAndEmpty(path)) file = AddOptionFile(path);
  }
  if (file == nullptr) return;
  file->SetPredefined(1);
  if (m_predefinedFiles.Find(file) == nullptr) m_predefinedFiles.AddTail(file);
}

}  // namespace bix
