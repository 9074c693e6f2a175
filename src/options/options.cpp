// The option manager: look-up, change and explanation over the stack of option files.

#include "bix/options.h"

#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include <unistd.h>

#include "bix/optionfile.h"
#include "options/option_text.h"
#include "options/split_path.h"
#include "support/runtime_type.h"
#include "support/text_view.h"

namespace bix {

using impl::View;

namespace {

// COMPAT(fixed-exact-text): only the exact text "true" fixes an option; "True" and "1" do not.
// Test: OptionManagerCompat.OnlyTheExactTextTrueFixes
bool IsMarkedFixed(const CRgValue& value) {
  if (value.GetAttributeCount() == 0) return false;
  const char* mark = value.GetAttributeValue("fixed");
  return mark != nullptr && View(mark) == "true";
}

}  // namespace

/// The place of an option in every file of the stack, split once.
class COptionManager::Place {
 public:
  /// The texts are borrowed for the life of this object.
  Place(const char* category, const char* name)
      : m_category(category), m_name(name), m_path(View(category)), m_nameView(View(name)) {}

  /// The value object for the option in a file, or null.
  const CRgValue* FindIn(const COptionFile& file) const {
    bool isKnown = false;
    const COptRgKey* key =
        static_cast<const COptRgKey*>(file.GetKeyRoot())->WalkTo(m_path, isKnown);
    if (key != nullptr) return key->FindValueOf(m_nameView);
    if (isKnown) return nullptr;
    // Hosts may have added keys of their own classes.
    const CRgKey* other = file.FindKey(m_category);
    return other != nullptr ? other->FindValue(m_name) : nullptr;
  }

 private:
  const char* m_category;
  const char* m_name;
  impl::SplitPath m_path;
  std::string_view m_nameView;
};

const char* COptionExplanation::GetText(Verdict verdict) {
  switch (verdict) {
    case NotHeld:
      return "does not hold the option";
    case WinsFirst:
      return "the first file that holds it gives the value";
    case WinsFixed:
      return "fixed: wins over the files before it";
    case Hidden:
      return "hidden: a file before it holds the option";
    case Overruled:
      return "overruled: a file behind it fixes the option";
  }
  return "";
}

COptionManager::COptionManager(const char* name)
    : CMgrCategory("", nullptr, this), m_managerName(name) {}

COptionManager::~COptionManager() {
  // A file that goes takes itself out of the lists of all managers that have it.
  while (void* position = m_ownedFiles.GetHeadPosition()) delete m_ownedFiles.GetAt(position);
  while (void* position = m_knownFiles.GetHeadPosition()) Forget(m_knownFiles.GetAt(position));
}

// The stack.

/// Takes a file among those of this manager, and owns it unless another manager does.
void COptionManager::Own(COptionFile* file) {
  if (m_knownFiles.Find(file) == nullptr) {
    if (file->m_managers.IsEmpty()) m_ownedFiles.AddTail(file);
    m_knownFiles.AddTail(file);
    file->m_managers.AddTail(this);
  }
  NoteName(file);
}

/// Enters a file in the table under the name that it has now.
void COptionManager::NoteName(COptionFile* file) {
  RemoveFromTable(file);
  const SPathName path(file->GetPathName());
  if (!path.empty()) m_fileTable[path] = file;
}

void COptionManager::RemoveFromTable(const COptionFile* file) noexcept {
  try {
    SVector<SString> paths;
    for (void* position = m_fileTable.GetStartPosition(); position != nullptr;) {
      SString path;
      COptionFile* held = nullptr;
      m_fileTable.GetNextAssoc(position, path, held);
      if (held == file) paths.push_back(path);
    }
    for (const SString& path : paths) m_fileTable.RemoveKey(path);
  } catch (const std::bad_alloc&) {
    // A file that is not in the table is loaded anew when it is asked for; one that is gone must
    // not be found.
    m_fileTable.RemoveAll();
  }
}

/// Called by a file that goes, and by a manager that goes before a file that another one owns.
void COptionManager::Forget(COptionFile* file) {
  (void)m_knownFiles.Remove(file);
  (void)m_ownedFiles.Remove(file);
  (void)m_files.Remove(file);
  (void)m_predefinedFiles.Remove(file);
  RemoveFromTable(file);
  (void)file->m_managers.Remove(this);
}

bool COptionManager::AddFile(COptionFile* file) {
  // COMPAT(one-file-per-path): a second file of a path name is refused, and the empty name counts
  // as one. Test: OptionStackCompat.ASecondFileWithoutANameIsRefused
  if (file == nullptr) return false;
  if (m_files.Find(file) != nullptr || GetFile(SPathName(file->GetPathName())) != nullptr)
    return false;
  const bool isNew = m_knownFiles.Find(file) == nullptr;
  try {
    Own(file);
    m_files.AddTail(file);
  } catch (...) {
    if (isNew) Forget(file);  // it stays the caller's
    throw;
  }
  return true;
}

COptionFile* COptionManager::GetFile(const SPathName& path) const {
  for (void* position = GetFirstFilePosition(); position != nullptr;) {
    COptionFile* file = GetNextFile(position);
    if (SPathName(file->GetPathName()) == path) return file;
  }
  return nullptr;
}

bool COptionManager::RemoveFile(COptionFile* file) { return m_files.Remove(file); }

COptionFile* COptionManager::Load(const char* fileName) {
  auto file = std::make_unique<COptionFile>(this);
  if (file->Load(fileName) != 0) return nullptr;
  // CHOICE(load-listed-file): a path that is listed already keeps its file and what was changed in
  // it. Test: OptionManagerChoice.LoadingAListedPathReturnsTheListedFile
  if (!AddFile(file.get())) return GetFile(SPathName(file->GetPathName()));
  return file.release();  // owned by this manager since AddFile
}

COptionFile* COptionManager::FindOwned(const SPathName& path) const {
  COptionFile* const* found = m_fileTable.PLookup(path);
  return found != nullptr ? *found : nullptr;
}

COptionFile* COptionManager::AddOptionFile(SPathName path) {
  COptionFile* known = FindOwned(path);
  if (known == nullptr) return Load(path.c_str());
  // Refused when it is listed, or when another file of this path took its place meanwhile.
  return AddFile(known) ? known : GetFile(path);
}

bool COptionManager::RemoveOptionFile(SPathName path) {
  COptionFile* file = GetFile(path);
  return file != nullptr && RemoveFile(file);
}

int COptionManager::Reload(const char* fileName) {
  COptionFile* file = GetFile(SPathName(fileName));
  if (file == nullptr || *file->GetPathName() == 0) return 1;
  // Under its own name: the given one may be spelled in a way that only path names understand.
  return file->Load(SString(file->GetPathName()).c_str());
}

int COptionManager::ReloadAllFiles() {
  int result = 0;
  for (void* position = GetFirstFilePosition(); position != nullptr;) {
    COptionFile* file = GetNextFile(position);
    const SString name = file->GetPathName();
    // CHOICE(reload-keeps-nameless): what was never in a file cannot be read again, and stays.
    // Test: OptionStackChoice.ReloadingKeepsAFileWithoutAName
    if (name.empty()) continue;
    const int loaded = file->Load(name.c_str());
    if (result == 0) result = loaded;
  }
  return result;
}

// CHOICE(reset-in-memory): the file on the disk is as it was until it is saved.
// Test: OptionStackChoice.ResetChangesNothingOnTheDisk
int COptionManager::Reset() {
  void* position = GetFirstFilePosition();
  if (position == nullptr) return 1;
  COptionFile* file = GetNextFile(position);
  file->GetKeyRoot()->Empty();
  file->SetModifiedFlag();
  return 0;
}

int COptionManager::ResetAll() {
  for (void* position = GetFirstFilePosition(); position != nullptr;) {
    COptionFile* file = GetNextFile(position);
    file->GetKeyRoot()->Empty();
    file->SetModifiedFlag();
  }
  return 0;
}

int COptionManager::SaveAllFiles() {
  int result = 0;
  for (void* position = GetFirstFilePosition(); position != nullptr;) {
    const int saved = GetNextFile(position)->Save(nullptr);
    if (result == 0) result = saved;
  }
  return result;
}

// Look-up.

const CRgValue* COptionManager::FindHeld(const char* category, const char* name) const {
  const Place place(category, name);
  const CRgValue* result = nullptr;
  for (void* position = GetFirstFilePosition(); position != nullptr;) {
    const CRgValue* held = place.FindIn(*GetNextFile(position));
    // COMPAT(last-fixed-wins): without a fixed text the first file gives the value; with several
    // fixed ones the last. Companies rely on overruling teams and users.
    // Test: OptionManagerCompat.TheLastFixedTextWins
    if (held != nullptr && (result == nullptr || IsMarkedFixed(*held))) result = held;
  }
  return result;
}

const COption* COptionManager::FindDeclared(const char* category, const char* name) const {
  // COMPAT(declared-path-joined): the last "/" of path and name together parts them again, so a "/"
  // in the name counts as part of the path here, while in files it belongs to the name.
  // Test: OptionLookUpCompat.ASlashInTheNameBelongsToThePathOfTheDeclaration
  return FindOption(std::string(View(category)).append("/").append(View(name)).c_str());
}

const char* COptionManager::GetValue(const char* category, const char* name) const {
  if (const CRgValue* held = FindHeld(category, name)) return held->GetValue();
  const COption* option = FindDeclared(category, name);
  // COMPAT(no-null-value): an undeclared option that no file holds is "", so the typed access never
  // uses its default. Test: OptionManagerCompat.UndeclaredOptionIsTheEmptyText
  return option != nullptr && option->defaultValue != nullptr ? option->defaultValue : "";
}

COptionExplanation COptionManager::Explain(const char* category, const char* name) const {
  COptionExplanation explanation;
  explanation.value = GetValue(category, name);
  if (const COption* option = FindDeclared(category, name)) {
    explanation.isDeclared = true;
    explanation.defaultValue = option->defaultValue;
  }
  const Place place(category, name);
  constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::size_t winner = kNone;
  for (void* position = GetFirstFilePosition(); position != nullptr;) {
    COptionExplanation::FileEntry entry;
    entry.file = GetNextFile(position);
    entry.pathName = entry.file->GetPathName();
    if (const CRgValue* held = place.FindIn(*entry.file)) {
      entry.isHeld = true;
      entry.text = held->GetValue();
      entry.isFixed = IsMarkedFixed(*held);
      if (winner == kNone || entry.isFixed) winner = explanation.files.size();
    }
    explanation.files.push_back(entry);
  }
  if (winner == kNone) return explanation;
  explanation.file = explanation.files[winner].file;
  bool isHeldBefore = false;
  for (std::size_t i = 0; i < explanation.files.size(); ++i) {
    COptionExplanation::FileEntry& entry = explanation.files[i];
    if (!entry.isHeld) continue;
    if (i < winner)
      entry.verdict = COptionExplanation::Overruled;
    else if (i > winner)
      entry.verdict = COptionExplanation::Hidden;
    else
      entry.verdict = isHeldBefore ? COptionExplanation::WinsFixed : COptionExplanation::WinsFirst;
    isHeldBefore = true;
  }
  return explanation;
}

bool COptionManager::IsRedefined(const char* category, const char* name) const {
  const Place place(category, name);
  for (void* position = GetFirstFilePosition(); position != nullptr;)
    if (place.FindIn(*GetNextFile(position)) != nullptr) return true;
  return false;
}

const char* COptionManager::GetUnderneathValue(const COptionFile* file, const char* category,
                                               const char* name) const {
  // CHOICE(underneath-of-unlisted): nothing lies above a file that is not listed, so all files lie
  // beneath it. Test: OptionLookUpChoice.AllFilesLieBeneathOneThatIsNotListed
  bool isListed = false;
  for (void* position = GetFirstFilePosition(); position != nullptr && !isListed;)
    isListed = GetNextFile(position) == file;
  const Place place(category, name);
  bool isBehind = !isListed;
  for (void* position = GetFirstFilePosition(); position != nullptr;) {
    const COptionFile* next = GetNextFile(position);
    // COMPAT(underneath-ignores-fixed): the next file that holds the option gives the text, even if
    // one behind it fixes another. Test: OptionLookUpCompat.TheUnderneathTextIgnoresWhatIsFixed
    if (isBehind)
      if (const CRgValue* held = place.FindIn(*next)) return held->GetValue();
    if (next == file) isBehind = true;
  }
  const COption* option = FindDeclared(category, name);
  if (option == nullptr) return nullptr;
  return option->defaultValue != nullptr ? option->defaultValue : "";
}

bool COptionManager::IsEditable(const char* category, const char* name) const {
  void* position = GetFirstFilePosition();
  if (position == nullptr) return true;
  const COptionFile* first = GetNextFile(position);
  // COMPAT(missing-file-not-editable): a first file that has a name but does not exist may not be
  // written either, for the check asks for an existing file.
  // Test: OptionManagerCompat.MissingFirstFileIsNotEditable
  if (*first->GetPathName() != 0 && access(first->GetPathName(), W_OK) != 0) return false;
  const Place place(category, name);
  for (position = GetFirstFilePosition(); position != nullptr;) {
    const COptionFile* file = GetNextFile(position);
    const CRgValue* held = place.FindIn(*file);
    // COMPAT(first-fixed-decides): fixed in the first file leaves the option editable, even if a
    // later file fixes it too and the change does not show.
    // Test: OptionLookUpCompat.FixedInTheFirstFileIsEditable
    if (held != nullptr && IsMarkedFixed(*held)) return file == first;
  }
  return true;
}

// Change.

void COptionManager::DeleteValue(COptionFile& file, CRgKey& key, CRgValue* held) {
  const SString name = held->GetName();
  key.RemoveValue(held);
  delete held;
  // Values that it has hidden must not come to light.
  if (auto* optionKey = impl::CastTo<COptRgKey>(&key)) optionKey->DeleteHiddenValues(name.c_str());
  file.SetModifiedFlag();
}

bool COptionManager::SetValue(const char* category, const char* name, const char* value) {
  void* position = GetFirstFilePosition();
  if (position == nullptr || !IsEditable(category, name)) return false;
  COptionFile* file = GetNextFile(position);
  const char* const underneath = GetUnderneathValue(file, category, name);
  if (View(underneath) != View(value)) return file->SetValue(category, name, value);
  CRgKey* key = file->FindKey(category);
  CRgValue* held = key != nullptr ? key->FindValue(name) : nullptr;
  if (held == nullptr && underneath == nullptr) return false;  // not declared
  if (key == nullptr) return true;
  // COMPAT(fixed-value-stays): a text that the first file itself fixes stays as it is, not even
  // changed to the text beneath it. Test: OptionManagerCompat.FixedTextOfTheFirstFileStays
  if (held != nullptr && !IsMarkedFixed(*held)) {
    DeleteValue(*file, *key, held);
  }
  if (key->GetValueCount() == 0 && key->GetKeyCount() == 0 && key->GetParent() != nullptr) {
    file->RemoveKey(key);
    delete key;  // unlinked, so it was ours
  }
  return true;
}

// Typed access.

const char* COptionManager::GetStrValue(const char* category, const char* name,
                                        const char* defaultValue) const {
  const char* value = GetValue(category, name);
  return value != nullptr ? value : defaultValue;
}

bool COptionManager::GetBoolValue(const char* category, const char* name, bool defaultValue) const {
  const char* value = GetValue(category, name);
  return value != nullptr ? impl::ToBool(value) : defaultValue;
}

int COptionManager::GetIntValue(const char* category, const char* name, int defaultValue) const {
  const char* value = GetValue(category, name);
  return value != nullptr ? impl::ToInt(value) : defaultValue;
}

bool COptionManager::SetStrValue(const char* category, const char* name, const char* text) {
  return SetValue(category, name, text);
}

bool COptionManager::SetBoolValue(const char* category, const char* name, bool flag) {
  return SetValue(category, name, flag ? "true" : "false");
}

bool COptionManager::SetIntValue(const char* category, const char* name, int number) {
  char text[20];
  (void)std::snprintf(text, sizeof text, "%d", number);  // 11 characters at most
  return SetValue(category, name, text);
}

}  // namespace bix
