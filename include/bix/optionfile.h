#ifndef BIX_OPTIONFILE_H_
#define BIX_OPTIONFILE_H_

/// Option files: settings files that hold declared options, and the keys and values of their trees.
///
///   bix::COptionFile* user = manager.Load("/home/me/user.tot");
///   user->SetValue("Display", "Font", "Mono 12");
///   user->Save(nullptr);
///
/// Loading keeps what the manager's categories declare and passes over the rest. Saving over an
/// existing file keeps that rest: undeclared sections, values, texts and attributes are copied from
/// the old file.
///
/// Encoding: bytes in the process's multibyte encoding, kept as they are.
/// Threads: no lock; a file and its manager belong to one thread. Threads may load and save files
///   of managers of their own at the same time, and so may processes with one file.

#include "bix/hostmacros_off.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "bix/containers.h"
#include "bix/export.h"
#include "bix/options.h"
#include "bix/registry.h"
#include "bix/text.h"

namespace bix {

namespace impl {
class DurableFile;
class SplitPath;
}  // namespace impl

class CIncrSaveContext;
class CStyleFile;

/// A value that stands for a declared option.
class BIX_EXPORT COptRgValue : public CRgValue {
 public:
  /// Owner: `option` is borrowed for the life of the value.
  COptRgValue(const COption* option, const char* text);
  ~COptRgValue() override;
  const char* GetName() const override;
  const char* GetValue() const override;
  /// 1 for an option of kind 2, 2 for kind 3, otherwise 0: only kinds 2 and 3 are written bare.
  RvType GetType() const override;
  /// Changes nothing: the name is the option's.
  void SetName(const char* name) override;
  /// Changes nothing: the type is that of the option's kind.
  void SetType(RvType type) override;
  void SetValue(const char* value) override;
  /// Writes the value so that it reads back as it is: a bare text that the reader would take for
  /// something else is written with quotes, and attributes are separated by ", ".
  bool Dump(std::FILE* file) override;

  /// The declared option that it stands for.
  const COption* GetOption() const { return m_option; }
  /// True when the value carries the attribute "fixed" with the exact text "true".
  bool IsFixed() const;

 private:
  friend class CIncrSaveContext;
  friend class impl::NameIndex<COptRgValue>;

  std::string_view GetIndexName() const {
    return m_option->name != nullptr ? m_option->name : std::string_view();
  }
  bool IsIndexedAs(std::string_view name) const { return GetIndexName() == name; }

  const COption* m_option;
  SString m_text;
  std::uint32_t m_savedIn = 0;  // the save that wrote the value last
};

/// A key that shows a category.
class BIX_EXPORT COptRgKey : public CRgKey {
 public:
  /// A key without contents that shows no category yet.
  explicit COptRgKey(const char* name);
  ~COptRgKey() override;

  /// Shows a category, or none (null), and registers there.
  void SetCategory(CMgrCategory* category);
  /// The category it shows; null when there is none or it has gone.
  CMgrCategory* GetCategory() const { return m_category; }
  /// Ceases to show the category.
  void Detach() { SetCategory(nullptr); }

  const char* GetName() const override;
  /// The sub-key for a declared sub-category, made where it is missing.
  ///
  /// Owner: `attributes` may be null. When the sub-category is not declared the result is null and
  ///   the attributes have been deleted; otherwise the key takes them.
  // CHOICE(option-key-takes-attributes): given attributes replace those of a key that exists.
  // Test: OptionKey.AttributesReplaceThoseOfAnExistingKey
  CRgKey* CreateKey(const char* name, MList<CRgAttribute*>* attributes) override;
  CRgKey* FindKey(const char* name) const override;
  /// Also sets the added key's parent.
  bool AddKey(CRgKey* key) override;
  bool RemoveKey(CRgKey* key) override;
  /// A new value for a declared option.
  ///
  /// Owner: `attributes` may be null. When the option is not declared the result is null and the
  ///   caller keeps the attributes; otherwise the value takes them.
  CRgValue* CreateValue(const char* name, CRgValue::RvType type, const char* value,
                        MList<CRgAttribute*>* attributes) override;
  CRgValue* FindValue(const char* name) const override;
  bool AddValue(CRgValue* value) override;
  bool RemoveValue(CRgValue* value) override;
  void SetAttributes(MList<CRgAttribute*>* attributes) override;
  void Empty() override;

 protected:
  CMgrCategory* m_category = nullptr;
  std::uint32_t m_state = 0;  // of no use yet
  // Elements of derived classes.
  MMap<SString, CRgKey*> m_keyIndex;
  MMap<SString, CRgValue*> m_valueIndex;
  SString m_name;

 private:
  friend class CIncrSaveContext;
  friend class impl::NameIndex<COptRgKey>;

  friend class COptionManager;

  std::string_view GetIndexName() const { return m_name; }
  bool IsIndexedAs(std::string_view name) const { return m_name == name; }
  /// The key at a path below this one; null when there is none. `isKnown` is false when only the
  /// virtual look-ups can tell.
  const COptRgKey* WalkTo(const impl::SplitPath& path, bool& isKnown) const;
  const CRgValue* FindValueOf(std::string_view name) const;
  /// Deletes the values of a name of which none is found any more.
  void DeleteHiddenValues(const char* name);

  // Behind the fields that add-ins know: the elements of this layer, which are nearly all. A name is
  // in one of its two indexes at most.
  impl::NameIndex<COptRgKey> m_plainKeys;
  impl::NameIndex<COptRgValue> m_plainValues;
  std::uint32_t m_savedIn = 0;     // the save that wrote the rest of the values last
  bool m_hasHiddenValues = false;  // two values of one name were added
};

/// The root of an option file's tree; its category is the manager.
class BIX_EXPORT COptRootRgKey : public COptRgKey {
 public:
  /// Shows the manager; null is allowed, and declares nothing.
  explicit COptRootRgKey(COptionManager* manager);
  ~COptRootRgKey() override;
  CRgKey* CreateKey(const char* name, MList<CRgAttribute*>* attributes) override;
};

/// Follows the sections of the old file that the tree has no key for, while a file is saved.
class BIX_EXPORT COptDummyRgKey : public COptRgKey {
 public:
  /// Owner: `context` is borrowed; the key is a part of it.
  explicit COptDummyRgKey(CIncrSaveContext* context);
  ~COptDummyRgKey() override;
  CRgKey* CreateKey(const char* name, MList<CRgAttribute*>* attributes) override;
  CRgValue* CreateValue(const char* name, CRgValue::RvType type, const char* value,
                        MList<CRgAttribute*>* attributes) override;
  void SetAttributes(MList<CRgAttribute*>* attributes) override;

 private:
  friend class CIncrSaveContext;

  CIncrSaveContext* m_context;
};

/// One incremental save: while the old file is read again, the keys of the tree write the new one.
///
/// What is written is summed up on the way, so that the new file can be read back and compared.
class BIX_EXPORT CIncrSaveContext {
 public:
  /// Owner: stream and root are borrowed for the life of the context.
  CIncrSaveContext(std::FILE* stream, COptRgKey* root);
  CIncrSaveContext(const CIncrSaveContext&) = delete;
  CIncrSaveContext& operator=(const CIncrSaveContext&) = delete;
  ~CIncrSaveContext();

  /// The save under way in this thread, or null.
  static CIncrSaveContext* GetCurrent();

  /// Makes a context the current one for the length of a scope.
  class BIX_EXPORT Scope {
   public:
    /// Owner: `context` is borrowed for the scope.
    explicit Scope(CIncrSaveContext& context);
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope();
  };

  /// The old file begins a section: what the section before left unsaved is written.
  void BeginSection();
  /// The header goes on with a component; `parent` is the key it was met on.
  CRgKey* AddSubPath(COptRgKey& parent, const char* name);
  /// The section's attributes in the old file. The attributes are deleted.
  void SetSectionAttributes(COptRgKey& key, MList<CRgAttribute*>* attributes);
  /// A value of the section in the old file: it is written as the tree has it, left out, or copied.
  void SaveValue(COptRgKey& key, const char* name, CRgValue::RvType type, const char* text,
                 MList<CRgAttribute*>* attributes);

  // For keys of other layers, which build their tree while they write.

  /// The header goes on with a component.
  void AddStep(const char* name);
  /// The section's attributes, which stay the caller's.
  void SaveSectionAttributes(const MList<CRgAttribute*>& attributes);
  /// A value of the section, as it is.
  void SaveOwnValue(CRgValue& value);
  /// The same for a value that is no object; the attributes stay the caller's.
  void SaveOwnValue(const char* name, CRgValue::RvType type, const char* text,
                    const MList<CRgAttribute*>* attributes);

  /// Writes the values of a key that this save has not written yet.
  void SaveUnsavedValues(CRgKey& key);
  /// Writes the unsaved values of a key and of all keys below it.
  void SaveUnsavedKeys(CRgKey& key);
  /// Ends the last section and writes what the old file did not contain.
  void FlushUnsavedKeys();

  /// A sum over all that was written, in order.
  std::uint64_t GetDigest() const;

 private:
  class Writing;

  CRgKey& TreeKeyOf(COptRgKey& key) const;
  COptRgValue* FindNext(COptRgKey& key, std::string_view name);
  void StartPath(std::string_view path);
  void WriteHeaderOnce();
  void WriteTreeValueOnce(CRgValue& value);

  std::FILE* m_stream;
  SString m_pendingPath;
  CRgKey* m_current = nullptr;  // the tree's key of the section; null where it has none
  COptDummyRgKey m_dummy;
  bool m_isPathWritten = false;
  COptRgKey* m_root;
  std::uint32_t m_generation;
  Writing* m_writing;      // owned
  void* m_next = nullptr;  // the value of the current key that is expected next
};

/// A settings file whose tree is made of option keys.
///
/// The operations on paths are those of CRgFile; those that change something mark the file as
/// modified.
class BIX_EXPORT COptionFile : public CRgFile {
 public:
  /// A file without name and contents.
  ///
  /// Owner: `manager` is borrowed and may go first. Until the file is added to a manager, the
  ///   caller owns it.
  explicit COptionFile(COptionManager* manager);
  ~COptionFile() override;

  /// The manager, or null when it is gone.
  COptionManager* GetManager() const;
  /// True when something has been changed; a save that succeeds and a load that fails end that.
  bool IsModified() const { return m_modified != 0; }
  /// Sets the flag, or takes it back with 0.
  void SetModifiedFlag(int modified = 1) { m_modified = modified; }
  /// True for the files of COptionManager::LoadPredefinedOptionFiles.
  bool IsPredefined() const { return m_predefined != 0; }
  /// Marks the file as one of those; 0 takes the mark back.
  void SetPredefined(int predefined) { m_predefined = predefined; }
  /// The stored file name; "" when there is none yet.
  const char* GetPathName() const { return m_fileName.c_str(); }
  /// Changes the stored file name; null counts as "". Managers find the file under it from now on.
  void SetPathName(const char* name);

  /// True when the file marks the option as fixed: its value carries the attribute "fixed" with the
  /// exact text "true".
  bool IsFixed(const char* category, const char* name) const;

  /// The key at a path, made where it is missing; with both attribute texts not null it has that
  /// one attribute afterwards.
  ///
  /// Owner: the result is owned by the tree.
  /// Errors: null when a component is no declared category.
  CRgKey* CreateKey(const char* path, const char* attributeName, const char* attributeValue);
  /// Unlinks a key that has neither sub-keys nor values; nothing happens to another.
  ///
  /// Owner: an unlinked key is the caller's.
  void RemoveKey(CRgKey* key);
  /// Empties and unlinks a key without sub-keys; nothing happens to another.
  ///
  /// Owner: an unlinked key is the caller's.
  void DestroyKey(CRgKey* key);
  /// Sets the text of an option, whatever the other files of the manager hold.
  ///
  /// Errors: false, and nothing changes, when the option is not declared.
  bool SetValue(const char* path, const char* valueName, const char* value);
  /// Sets an attribute of the value of an option, which is made with the text `value` where it is
  /// missing.
  ///
  /// Errors: as for SetValue.
  bool SetAttributeValue(const char* path, const char* valueName, const char* value,
                         const char* attributeName, const char* attributeValue);

  /// Loads the file as CRgFile does; a failed load also clears the modified flag.
  int Load(const char* fileName);
  /// Saves the tree to `fileName`, or to the stored name when that is null.
  ///
  ///   no name                              => 1
  ///   the target does not exist            => the whole tree is written, key attributes excepted
  ///   the target may not be written        => the error number, nothing is written
  ///   the target cannot be read or parsed  => 1, the target stays, the tree is emptied
  ///   the tree cannot be written readably  => 1, the target stays
  ///   a system call fails                  => its error number, the target stays
  ///   saved                                => 0, the modified flag is cleared
  ///
  /// An existing target is read again on the way, and what no declared category or option matches
  /// is copied from it. It is replaced by one rename, after the new file has reached the disk and
  /// has been read back. Names are not stored.
  int Save(const char* fileName);
  /// The same as Save.
  int SaveAs(const char* fileName) { return Save(fileName); }

 private:
  friend class COptionManager;
  friend class CStyleFile;

  void TellManagersTheName();
  /// What becomes of the attributes of keys when the target does not exist yet.
  enum KeyAttributes { Dropped, Kept };

  int SaveTo(const char* target, KeyAttributes attributes);
  int SaveAllSections(impl::DurableFile& file);
  int SaveIncrementally(impl::DurableFile& file, const char* target);

  int m_modified = 0;
  int m_predefined = 0;
  COptionManager* m_manager;
  // Behind the fields that add-ins know: the managers that have the file; the first one owns it.
  MList<COptionManager*> m_managers;
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_OPTIONFILE_H_
