// Option files: the operations that mark a file as modified, and saving.
//
// A save, in order:
//   1. the directory of the target is locked
//   2. a target that does not exist gets the whole tree, one that may not be written nothing
//   3. the new file is written beside the target and reaches the disk
//   4. it is read back and compared with what was meant to be written
//   5. one rename puts it in the target's place
// Whatever fails before the rename leaves the target as it was.

#include <cerrno>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bix/optionfile.h"
#include "options/read_back.h"
#include "support/durable_file.h"
#include "support/scoped_fd.h"
#include "support/text_view.h"

namespace bix {

using impl::View;

namespace {

/// What a pipe or socket held cannot be read again without taking it from somebody.
bool CanBeReadAgain(const char* target) {
  struct stat status;
  return stat(target, &status) != 0 || !(S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

/// Sets `holds` to whether a regular file holds a zero byte, behind which the reader sees nothing;
/// 0, or the error number of a file that cannot be read.
int FindZeroByte(const char* target, bool& holds) {
  holds = false;
  impl::ScopedFd file;
  do {
    file.Reset(open(target, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  } while (!file.IsOpen() && errno == EINTR);
  struct stat status;
  if (!file.IsOpen() || fstat(file.Get(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return 0;
  char block[1 << 14];
  for (;;) {
    const ssize_t size = read(file.Get(), block, sizeof block);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return errno;
    if (size == 0) return 0;
    holds = std::string_view(block, static_cast<std::size_t>(size)).find('\0') !=
            std::string_view::npos;
    if (holds) return 0;
  }
}

/// The steps before the rename: to the disk, and read back.
int FinishAndCheck(impl::DurableFile& file, std::uint64_t digest) {
  if (const int error = file.Finish()) return error;
  // CHOICE(save-reads-back): the format cannot carry a quote in a text or a "]" in a key name. Such
  // a tree must not take the place of a readable file. Test:
  // OptionFileChoice.TreeThatCannotBeWrittenReadablyKeepsTheOldFile
  return impl::ReadsBackAs(file.GetTemporaryName(), digest) ? 0 : 1;
}

int SaveWholeTree(impl::DurableFile& file, const CRgKey& root) {
  if (const int error = file.Open()) return error;
  // COMPAT(first-save-drops-key-attributes): the whole tree is written as every tree is, without
  // the attributes of keys; the next save, over the file that is there then, writes them.
  // Test: OptionSaveCompat.FirstSaveWritesNoKeyAttributesAndTheNextOneDoes
  impl::SettingsDigest digest;
  impl::WriteTree(file.GetStream(), digest, root);
  const int error = FinishAndCheck(file, digest.GetSum());
  return error != 0 ? error : file.Commit();
}

}  // namespace

COptionFile::COptionFile(COptionManager* manager)
    : CRgFile(new COptRootRgKey(manager)), m_manager(manager) {}

COptionFile::~COptionFile() {
  while (void* position = m_managers.GetHeadPosition()) m_managers.GetAt(position)->Forget(this);
}

COptionManager* COptionFile::GetManager() const {
  // The root key lets go of its category, the manager, when that dies.
  return static_cast<const COptRgKey*>(m_root)->GetCategory() != nullptr ? m_manager : nullptr;
}

void COptionFile::SetPathName(const char* name) {
  m_fileName = name;
  TellManagersTheName();
}

void COptionFile::TellManagersTheName() {
  for (void* position = m_managers.GetHeadPosition(); position != nullptr;)
    m_managers.GetNext(position)->NoteName(this);
}

bool COptionFile::IsFixed(const char* category, const char* name) const {
  const char* mark = GetAttributeValue(category, name, "fixed");
  return mark != nullptr && View(mark) == "true";
}

CRgKey* COptionFile::CreateKey(const char* path, const char* attributeName,
                               const char* attributeValue) {
  const bool isThere = FindKey(path) != nullptr;
  CRgKey* key = CRgFile::CreateKey(path, attributeName, attributeValue);
  const bool hasAttribute = attributeName != nullptr && attributeValue != nullptr;
  if (key != nullptr && (!isThere || hasAttribute)) m_modified = 1;
  return key;
}

void COptionFile::RemoveKey(CRgKey* key) {
  const CRgKey* parent = key != nullptr ? key->GetParent() : nullptr;
  CRgFile::RemoveKey(key);
  if (parent != nullptr && key->GetParent() == nullptr) m_modified = 1;
}

void COptionFile::DestroyKey(CRgKey* key) {
  const CRgKey* parent = key != nullptr ? key->GetParent() : nullptr;
  CRgFile::DestroyKey(key);
  if (parent != nullptr && key->GetParent() == nullptr) m_modified = 1;
}

bool COptionFile::SetValue(const char* path, const char* valueName, const char* value) {
  const char* old = GetValue(path, valueName);
  if (old != nullptr && View(old) == View(value)) return true;
  if (!CRgFile::SetValue(path, valueName, value)) return false;
  m_modified = 1;
  return true;
}

bool COptionFile::SetAttributeValue(const char* path, const char* valueName, const char* value,
                                    const char* attributeName, const char* attributeValue) {
  const char* old = GetAttributeValue(path, valueName, attributeName);
  if (old != nullptr && View(old) == View(attributeValue)) return true;
  if (!CRgFile::SetAttributeValue(path, valueName, value, attributeName, attributeValue))
    return false;
  m_modified = 1;
  return true;
}

int COptionFile::Load(const char* fileName) {
  const bool hadName = !m_fileName.empty();
  const int result = CRgFile::Load(fileName);
  if (!hadName && !m_fileName.empty()) TellManagersTheName();  // the first name is kept
  // COMPAT(load-and-modified): a successful load leaves the flag as it is.
  // Test: OptionFileCompat.OnlyAFailedLoadClearsTheModifiedFlag
  if (result != 0) m_modified = 0;
  return result;
}

int COptionFile::Save(const char* fileName) {
  // COMPAT(option-save-stores-no-name): a given name serves this call only.
  // Test: OptionSaveCompat.AGivenNameDoesNotBecomeTheFilesName
  const SString target = fileName != nullptr ? fileName : m_fileName.c_str();
  return SaveTo(target.c_str(), Dropped);
}

int COptionFile::SaveTo(const char* target, KeyAttributes attributes) {
  if (*target == 0) return 1;
  impl::DurableFile file(target);
  // Locked before the target is looked at: of two processes that find no file only one may write it
  // as a whole.
  if (const int error = file.Lock()) return error;
  int result;
  // Only what is known to be missing gets the whole tree: that would wipe out what others keep in a
  // file that merely cannot be looked at just now.
  const int accessError = access(target, F_OK) == 0 ? 0 : errno;
  if (accessError == ENOENT || (accessError == 0 && !CanBeReadAgain(target)))
    result = attributes == Kept ? SaveAllSections(file) : SaveWholeTree(file, *m_root);
  else if (accessError != 0)
    result = accessError;
  else if (access(target, W_OK) != 0)
    result = errno;
  else
    result = SaveIncrementally(file, target);
  if (result == 0) m_modified = 0;
  return result;
}

/// Writes a new file as a save over an empty one does.
int COptionFile::SaveAllSections(impl::DurableFile& file) {
  if (const int error = file.Open()) return error;
  CIncrSaveContext context(file.GetStream(), static_cast<COptRgKey*>(m_root));
  context.FlushUnsavedKeys();
  const int error = FinishAndCheck(file, context.GetDigest());
  return error != 0 ? error : file.Commit();
}

int COptionFile::SaveIncrementally(impl::DurableFile& file, const char* target) {
  if (const int error = file.Open()) return error;
  CIncrSaveContext context(file.GetStream(), static_cast<COptRgKey*>(m_root));
  {
    const CIncrSaveContext::Scope scope(context);
    // COMPAT(failed-save-empties-tree): the failure rule of Merge holds here as well, so a target
    // that cannot be read or parsed costs the tree, and the caller sees 1.
    // Tests: OptionFileCompat.SaveOverAnUnparsableTargetEmptiesTheTree,
    // OptionFileCompat.SaveOverAnUnreadableTargetEmptiesTheTree
    if (const int result = Merge(target)) return result;
  }
  bool holdsZeroByte = false;
  // A file that cannot be read counts as such in all of the save: 1.
  if (FindZeroByte(target, holdsZeroByte) != 0) return 1;
  context.FlushUnsavedKeys();
  if (const int error = FinishAndCheck(file, context.GetDigest())) return error;
  // CHOICE(save-over-zero-byte): the reader ends at a zero byte, with success. What a crash of the
  // machine left behind one would be gone with this save, so the bytes are kept beside the file,
  // once it is certain that nothing else keeps the save from replacing it.
  // Test: OptionFileChoice.BytesBehindAZeroByteAreSetAside
  std::string copy;
  if (holdsZeroByte)
    if (const int error = impl::CopyAside(target, &copy)) return error;
  const int error = file.Commit();
  // The target is as it was, and tried again and again it would be surrounded by its copies.
  if (error != 0 && !copy.empty() && !file.IsInPlace()) (void)unlink(copy.c_str());
  return error;
}

}  // namespace bix
