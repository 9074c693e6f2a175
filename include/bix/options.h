#ifndef BIX_OPTIONS_H_
#define BIX_OPTIONS_H_

/// Options: named settings in categories, read from a stack of option files.
///
///   const bix::COption kOptions[] = {{"Font", 1, "Sans 10"}, {"TabWidth", 2, "8"}, {}};
///   const bix::COptionSet kSet = {"Display", kOptions, 2};
///   const bix::CCategory kDisplay = {"Display", nullptr, 0, &kSet};
///
///   bix::COptionManager manager;
///   manager.AddCategory(&kDisplay);
///   manager.LoadPredefinedOptionFiles();
///   int width = manager.GetIntValue("Display", "TabWidth", 8);
///   manager.SetIntValue("Display", "TabWidth", 4);
///   manager.SaveAllFiles();
///
/// A category is addressed by the names on the way to it, joined by "/"; an option by that path and
/// its name. Names compare byte by byte.
///
/// Encoding: bytes in the process's multibyte encoding, kept as they are.
/// Owner: declarations are borrowed for the life of every manager that they are added to. Texts
///   that a look-up returns are owned by the option file or the declaration they come from, valid
///   until the option changes.
/// Errors: nothing here writes messages. Look-ups of what is not there return null or "".
/// Threads: no lock; a manager and its files belong to one thread at a time. Threads may use
///   managers of their own at the same time.

#include "bix/hostmacros_off.h"

#include <cstddef>

#include "bix/containers.h"
#include "bix/export.h"
#include "bix/pathname.h"
#include "bix/text.h"

namespace bix {

class COptionFile;
class COptionManager;
class COptRgKey;
class CRgKey;
class CRgValue;

// Declarations: constant data of the component that owns the options.

/// One declared option. An array of them ends with an all-zero record.
struct BIX_EXPORT COption {
  const char* name = nullptr;          // how it is found in its category
  int kind = 0;                        // 1 is text; 2 and 3 are written bare in option files
  const char* defaultValue = nullptr;  // its value where no file holds it; null counts as ""
  unsigned long reserved1 = 0;         // stays 0
  unsigned long reserved2 = 0;         // stays 0

  /// True when the default begins with a lower-case "t".
  bool GetBoolValue() const;
  /// The default read as a decimal number, clamped to 32 bits.
  ///
  ///   "12"          => 12
  ///   "12ab"        => 12
  ///   "x", ""       => 0
  ///   "99999999999" => 2147483647      on 32-bit and 64-bit platforms alike
  int GetIntValue() const;
  /// True when `text` equals the default exactly. Null counts as "".
  bool IsDefaultValue(const char* text) const;
  /// The default.
  operator const char*() const { return defaultValue; }
};

/// The declared options of one category.
struct BIX_EXPORT COptionSet {
  const char* name = nullptr;
  const COption* options = nullptr;  // null when there are none
  int count = 0;                     // without the all-zero record
  unsigned long reserved = 0;        // stays 0
};

/// A declared category.
struct BIX_EXPORT CCategory {
  const char* name = nullptr;  // without "/", which no path could reach
  const CCategory* const* categories =
      nullptr;                            // ended by a null pointer; null when there are none
  int count = 0;                          // of the sub-categories
  const COptionSet* optionSet = nullptr;  // null when there is none
};

// What the library declares itself: where the predefined option files are named.

extern BIX_EXPORT const COption optPredefined[2];  // "OptionFiles", "user.tot;company.tot"
extern BIX_EXPORT const COptionSet setSettings;    // no options
extern BIX_EXPORT const COptionSet setInitial;     // no options
extern BIX_EXPORT const COptionSet setPredefined;  // optPredefined
extern BIX_EXPORT const CCategory catSettings;     // "Settings"
extern BIX_EXPORT const CCategory catInitial;      // "Initial", with catPredefined below
extern BIX_EXPORT const CCategory catPredefined;   // "Initial/Predefined"

/// The options of a category at run time: an index of declared records.
class BIX_EXPORT CMgrOptionSet {
 public:
  /// A set without options.
  explicit CMgrOptionSet(const char* name) : m_name(name) {}
  CMgrOptionSet(const CMgrOptionSet&) = delete;
  CMgrOptionSet& operator=(const CMgrOptionSet&) = delete;

  /// The name of the declared set; of the first one, where several have joined.
  const char* GetName() const { return m_name.c_str(); }
  /// How many options are declared; two of one name count once.
  int GetOptionCount() const { return m_options.GetCount(); }
  /// The position of the first option, or null. The order is that of MMap.
  void* GetFirstOptionPosition() const { return m_options.GetStartPosition(); }
  /// The option at `position`, which is not null, and moves `position` on.
  const COption* GetNextOption(void*& position) const;
  /// The option of that name, or null.
  const COption* FindOption(const char* name) const;

  /// Indexes every option of a declared set; a later declaration of a name takes the place of the
  /// earlier one. Null changes nothing.
  void MergeOptions(const COptionSet* set);
  /// Takes the options of a declared set out again, where their names still stand for its records.
  void UnMergeOptions(const COptionSet* set);

 private:
  friend class CMgrCategory;

  SString m_name;
  MMap<SString, const COption*> m_options;
};

/// A category at run time: its sub-categories, its options, and the keys of option files that show
/// it.
class BIX_EXPORT CMgrCategory {
 public:
  CMgrCategory(const CMgrCategory&) = delete;
  CMgrCategory& operator=(const CMgrCategory&) = delete;
  /// Detaches the keys that show the category and deletes its sub-categories.
  virtual ~CMgrCategory();

  /// The declared name; "" for a manager, whose own name is COptionManager::GetName.
  const char* GetName() const { return m_name.c_str(); }
  /// The category above; null for a manager.
  CMgrCategory* GetOwner() const { return m_owner; }
  /// The manager that this category is of; the manager itself for a manager.
  COptionManager* GetManager() const { return m_manager; }
  /// The options of the category; there is always a set, if an empty one.
  ///
  /// Owner: owned by this category, valid as long as it.
  CMgrOptionSet* GetOptionSet() { return &m_optionSet; }
  /// The same for reading.
  const CMgrOptionSet* GetOptionSet() const { return &m_optionSet; }
  /// How many sub-categories there are right below this one.
  int GetCategoryCount() const { return m_categories.GetCount(); }
  /// The position of the first sub-category, or null. The order is that of MMap.
  void* GetFirstCategoryPosition() const { return m_categories.GetStartPosition(); }
  /// The sub-category at `position`, which is not null, and moves `position` on.
  CMgrCategory* GetNextCategory(void*& position) const;
  /// The names from below the manager down to here, joined by "/"; "" for the manager itself.
  SString GetPath() const;

  /// The category at `path` below this one, or null; "" is this category itself.
  CMgrCategory* FindCategory(const char* path) const;
  /// The same for the first `length` bytes of `path`.
  CMgrCategory* FindCategory(const char* path, std::size_t length) const;
  /// The option at a path that ends, behind the last "/", in its name; null when it is not
  /// declared.
  const COption* FindOption(const char* path) const;

  /// Adds a declared category with all below it as a sub-category, joining it with one of that
  /// name.
  ///
  /// Owner: the result is owned by this category.
  CMgrCategory* MergeCategory(const CCategory* category);

  /// Called by a key that begins to show this category.
  ///
  /// Owner: `key` is borrowed until it is unregistered.
  void RegisterOptRgKey(COptRgKey* key);
  /// Called by a key that ceases to show this category; nothing happens for one that does not.
  void UnregisterOptRgKey(COptRgKey* key);
  /// Tells every key that shows this category to let go of it.
  // CHOICE(category-informs-keys): the keys are told that the category goes away; the destructor
  // calls it, so that files and categories of a manager may die in either order.
  // Test: OptionCategory.KeysLetGoOfACategoryThatDies
  void InformAllOptRgKeys();

 protected:
  /// A category without contents. The owner is null for a manager.
  CMgrCategory(const char* name, CMgrCategory* owner, COptionManager* manager);

  /// Joins the categories and options below `other`, a category of another manager, to this one.
  void MergeBelow(const CMgrCategory& other);
  /// Takes them out again; sub-categories that are left without contents are deleted.
  void RemoveBelow(const CMgrCategory& other);

 private:
  CMgrCategory* MakeSubCategory(const char* name);

  SString m_name;
  CMgrCategory* m_owner;
  MMap<SString, CMgrCategory*> m_categories;
  CMgrOptionSet m_optionSet;
  MList<COptRgKey*> m_keys;
  COptionManager* m_manager;
};

/// Where the value of an option comes from; see COptionManager::Explain.
struct COptionExplanation {
  /// What became of the text that one file holds.
  enum Verdict {
    NotHeld,    // the file does not hold the option
    WinsFirst,  // the first file that holds it gives the value
    WinsFixed,  // fixed: gives the value in place of the files before it
    Hidden,     // a file before it holds the option, and this one does not fix it
    Overruled,  // a file behind it holds the option fixed
  };

  /// What one file says about the option.
  struct FileEntry {
    const COptionFile* file = nullptr;  // owned by its manager
    SString pathName;                   // of the file; "" when it has none
    bool isHeld = false;                // the file holds the option
    SString text;                       // "" when not held
    bool isFixed = false;               // the file fixes the option
    Verdict verdict = NotHeld;          // why its text wins or loses
  };

  SString value;                      // what GetValue returns
  const COptionFile* file = nullptr;  // who gave it; null for the declared default and for none
  bool isDeclared = false;            // a category of the manager declares it
  SString defaultValue;               // "" when not declared
  SVector<FileEntry> files;           // the whole stack, in look-up order

  /// A verdict in words, such as "fixed: wins over the files before it".
  ///
  /// Owner: process lifetime.
  static BIX_EXPORT const char* GetText(Verdict verdict);
};

/// The root of the categories and the stack of option files.
///
/// The first file of the stack is the most personal one: it gives the value of an option that it
/// holds, and takes all changes. A file further down shows where those before it have nothing, and
/// wins over them where it marks an option as fixed.
class BIX_EXPORT COptionManager : public CMgrCategory {
 public:
  /// A manager without categories and files. Null counts as "".
  explicit COptionManager(const char* name = nullptr);
  /// Deletes the option files.
  ~COptionManager() override;  // slot 1

  /// Loads a file and appends it to the stack.
  ///
  /// Owner: the result is owned by the manager. Null when the file cannot be read or parsed. When a
  ///   file of that path name is listed already, that one comes back as it is.
  virtual COptionFile* Load(const char* fileName);  // slot 2
  /// Appends the file of that path to the stack: one that the manager has already, or loads it.
  ///
  /// Owner and Errors: as for Load.
  virtual COptionFile* AddOptionFile(SPathName path);  // slot 3
  /// Takes the file of that path off the stack; false when it is not listed.
  ///
  /// Owner: the manager keeps it, and AddOptionFile lists it again as it is.
  virtual bool RemoveOptionFile(SPathName path);  // slot 4
  /// Changes an option in the first file of the stack.
  ///
  /// The file stores only what differs from the files beneath it: a text that would show without it
  /// is removed from the file instead, unless the file itself marks the option as fixed.
  /// Errors: false, and nothing changes, without a file, when the option is not editable and when
  ///   it is not declared.
  virtual bool SetValue(const char* category, const char* name, const char* value);  // slot 5
  /// The value of an option: the text of the first file that holds it, or of the last one that
  /// fixes it; else the declared default, else "".
  ///
  /// Never null.
  virtual const char* GetValue(const char* category, const char* name) const;  // slot 6

  /// The manager's own name, which is no part of any path.
  const char* GetName() const { return m_managerName.c_str(); }
  /// Changes the manager's own name. Null counts as "".
  void SetName(const char* name) { m_managerName = name; }
  /// A word that hosts use as they like; 0 at first.
  unsigned long GetMode() const { return m_mode; }
  /// Changes that word.
  void SetMode(unsigned long mode) { m_mode = mode; }

  /// Declares a category with all below it; see MergeCategory.
  CMgrCategory* AddCategory(const CCategory* category) { return MergeCategory(category); }
  /// Declares all that another manager declares.
  void MergeManager(const COptionManager& other) { MergeBelow(other); }
  /// Takes back what another manager declares.
  void RemoveManager(const COptionManager& other) { RemoveBelow(other); }

  /// True when a file of the stack holds the option.
  bool IsRedefined(const char* category, const char* name) const;
  /// True when SetValue would change the option: nothing in the stack forbids it.
  ///
  ///   no files                                                   => true
  ///   the first file has a name and may not be written           => false, also when it is missing
  ///   the first file that fixes the option is further down       => false
  ///   otherwise                                                  => true
  bool IsEditable(const char* category, const char* name) const;
  /// What would show if `file` held nothing: the first text in the files behind it, fixed or not,
  /// else the declared default; null when the option is not declared. For a file that is not listed
  /// all files count.
  const char* GetUnderneathValue(const COptionFile* file, const char* category,
                                 const char* name) const;
  /// Tells where the value of an option comes from, and what every file of the stack says about it.
  COptionExplanation Explain(const char* category, const char* name) const;

  // Typed access. GetValue never gives null here, so the defaults serve managers that override it.
  // CHOICE(typed-defaults): without a default given, "", false and 0 stand for null.
  // Test: OptionTypesChoice.WithoutADefaultNullIsTheEmptyValue

  /// The text.
  ///
  /// Owner: as for GetValue; the default is the caller's.
  const char* GetStrValue(const char* category, const char* name,
                          const char* defaultValue = "") const;
  /// True exactly when the text begins with a lower-case "t".
  bool GetBoolValue(const char* category, const char* name, bool defaultValue = false) const;
  /// The text read as a decimal number, clamped to 32 bits; 0 when it is none.
  int GetIntValue(const char* category, const char* name, int defaultValue = 0) const;
  /// SetValue with the text, and with its result.
  bool SetStrValue(const char* category, const char* name, const char* text);
  /// SetValue with "true" or "false", and with its result.
  bool SetBoolValue(const char* category, const char* name, bool flag);
  /// SetValue with the number in decimal digits, such as "-5", and with its result.
  bool SetIntValue(const char* category, const char* name, int number);

  // The stack.

  /// Appends a file, unless it is listed or a listed file has the same path name.
  ///
  /// Owner: adopted when true; the first manager that a file is added to deletes it. With false the
  ///   caller keeps it. A file that is deleted by hand leaves all managers.
  bool AddFile(COptionFile* file);
  /// The listed file of that path name, or null.
  COptionFile* GetFile(const SPathName& path) const;
  /// How many files are listed.
  int GetFileCount() const { return m_files.GetCount(); }
  /// The position of the first file, which takes the changes; null when none is listed.
  void* GetFirstFilePosition() const { return m_files.GetHeadPosition(); }
  /// The file at `position`, which is not null, and moves `position` on.
  COptionFile* GetNextFile(void*& position) const { return m_files.GetNext(position); }
  /// Takes a file off the stack; false when it is not listed. The manager keeps it.
  bool RemoveFile(COptionFile* file);
  /// Takes all files off the stack. The manager keeps them.
  void RemoveAllFiles() { m_files.RemoveAll(); }

  /// Loads a listed file again; the result of its Load, 1 when it is not listed or has no name.
  int Reload(const char* fileName);
  /// Loads every listed file that has a name again; the first result that is not 0, else 0.
  int ReloadAllFiles();
  /// Empties the first file and marks it modified; 1 without a file.
  int Reset();
  /// Empties every file and marks it modified.
  int ResetAll();
  /// Saves every listed file under its own name; the first result that is not 0, else 0.
  int SaveAllFiles();

  /// Loads the option files that "init.tot" in the all-users shared data directory names, by
  /// default "user.tot;company.tot". Missing files are made; relative names start at that
  /// directory.
  ///
  /// A file that cannot be parsed is copied to `<file>.bad-1` (-2, ...), emptied and used. Without
  /// an all-users directory ("ZROOT") or a shared data directory ("HOME") nothing is loaded.
  /// Errors: a list of 4096 bytes or more names nothing and sets `errno` to ERANGE.
  void LoadPredefinedOptionFiles();
  /// True once LoadPredefinedOptionFiles of any manager has got to its end.
  static bool IsPredefinedOptionFilesLoaded();
  /// The path of "init.tot"; false, and `out` as it was, without an all-users directory.
  static bool GetInitialOptionsPath(SPathName& out);
  /// The files that LoadPredefinedOptionFiles added, in order.
  int GetPredefinedFileCount() const { return m_predefinedFiles.GetCount(); }
  /// The position of the first of them, or null.
  void* GetFirstPredefinedFilePosition() const { return m_predefinedFiles.GetHeadPosition(); }
  /// The file at `position`, which is not null, and moves `position` on.
  COptionFile* GetNextPredefinedFile(void*& position) const {
    return m_predefinedFiles.GetNext(position);
  }

 protected:
  /// The value that gives an option its text: that of the first file which holds the option, or of
  /// the last one which fixes it; null when no file holds it.
  const CRgValue* FindHeld(const char* category, const char* name) const;
  /// The declaration of an option, or null.
  const COption* FindDeclared(const char* category, const char* name) const;
  /// Deletes a value of a key of `file`, and with it all values of its name that it hides.
  static void DeleteValue(COptionFile& file, CRgKey& key, CRgValue* held);

 private:
  friend class COptionFile;

  class Place;

  void Own(COptionFile* file);
  void NoteName(COptionFile* file);
  void RemoveFromTable(const COptionFile* file) noexcept;
  void Forget(COptionFile* file);
  COptionFile* FindOwned(const SPathName& path) const;
  void AddPredefinedFile(const SPathName& path);

  SString m_managerName;
  MList<COptionFile*> m_files;
  MMap<SString, COptionFile*> m_fileTable;  // by path
  MList<COptionFile*> m_predefinedFiles;
  MList<COptionFile*> m_ownedFiles;
  MList<COptionFile*> m_knownFiles;
  unsigned long m_mode = 0;
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_OPTIONS_H_
