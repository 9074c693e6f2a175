#ifndef BIX_REGISTRY_H_
#define BIX_REGISTRY_H_

/// A settings document in memory: a tree of named keys with values and attributes, and its file.
///
///   bix::CRgFile settings(nullptr);
///   if (settings.Load("editor.tot") != 0) Report(settings.GetLoadError());
///   const char* font = settings.GetValue("Display/Text", "Font");
///   settings.SetValue("Display/Text", "Font", "Mono 12");
///   settings.Save(nullptr);
///
/// CRgKey and CRgValue fix the shape of the tree and what is done with it; a layer derived from
/// them decides what is kept and how it is found. CDefRgKey and CDefRgValue are the default layer:
/// they keep everything and find it by an index of names. docs/settings-format.md describes the
/// file.
///
/// Names: compared exactly, byte by byte and case-sensitively. A null text counts as "".
/// Positions: an opaque position is null when there is no element, and behind the last one. It
///   stays valid until its own element is removed.
///     for (void* position = key->GetFirstValuePosition(); position != nullptr;)
///       Show(key->GetNextValue(position));
/// Owner: a key owns its sub-keys, values and attributes, a value its attributes, a file its root.
///   Removing only unlinks; Empty and the destructors delete. Elements are heap objects made with
///   `new`. Texts handed out are owned by their element, valid until it is changed or deleted.
/// Errors: look-ups return null, removals false. std::bad_alloc when there is no memory; what was
///   being made is released then.
/// Encoding: bytes in the process's multibyte encoding, kept as they are.
/// Threads: one tree is not changed from two threads at once. Several threads may read one that
///   nobody changes.

#include "bix/hostmacros_off.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "bix/containers.h"
#include "bix/export.h"
#include "bix/text.h"

namespace bix {

namespace impl {

class LoadMemory;
template <class Value>
class InBlock;

/// A table from the names of elements to the elements, which hold the names themselves.
class BIX_EXPORT NameIndexBase {
 public:
  NameIndexBase() = default;
  NameIndexBase(const NameIndexBase&) = delete;
  NameIndexBase& operator=(const NameIndexBase&) = delete;
  ~NameIndexBase();

  void RemoveAll();

 protected:
  /// Hash and entry stand together: a search reads one place and the entry itself.
  struct Slot {
    std::uint32_t hash;  // 0 marks a free slot
    void* entry;
  };

  std::uint32_t Hash(std::string_view name) const {
    const std::uint32_t hash =
        HashBytes(name, static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(this) >> 4));
    return hash != 0 ? hash : 1;
  }
  std::uint32_t Home(std::uint32_t hash) const {
    return hash >> static_cast<std::uint32_t>(__builtin_clz(m_slotCount - 1));
  }
  std::uint32_t Next(std::uint32_t slot) const { return (slot + 1) & (m_slotCount - 1); }
  void Reserve(std::uint32_t more = 1);
  void Add(std::uint32_t hash, void* entry) noexcept;
  void RemoveSlot(Slot* slot) noexcept;

  Slot* m_slots = nullptr;
  std::uint32_t m_slotCount = 0;
  std::uint32_t m_count = 0;
};

template <class Element>
class NameIndex : public NameIndexBase {
 public:
  Element* Find(std::string_view name) const {
    const Slot* const slot = FindSlot(name, Hash(name));
    return slot != nullptr ? static_cast<Element*>(slot->entry) : nullptr;
  }
  /// Makes room for more elements, so that Set does not fail.
  using NameIndexBase::Reserve;
  bool IsEmpty() const { return m_count == 0; }
  /// Puts `element` in under its name, in the place of an earlier one of that name.
  void Set(Element* element) noexcept {
    const std::string_view name = element->GetIndexName();
    const std::uint32_t hash = Hash(name);
    if (Slot* const slot = FindSlot(name, hash))
      slot->entry = element;
    else
      Add(hash, element);
  }
  /// Removes the entry of `name` and returns what it pointed at, or null.
  Element* Remove(std::string_view name) noexcept {
    Slot* const slot = FindSlot(name, Hash(name));
    if (slot == nullptr) return nullptr;
    Element* const element = static_cast<Element*>(slot->entry);
    RemoveSlot(slot);
    return element;
  }

 private:
  Slot* FindSlot(std::string_view name, std::uint32_t hash) const {
    if (m_count == 0) return nullptr;
    for (std::uint32_t i = Home(hash); m_slots[i].hash != 0; i = Next(i)) {
      if (m_slots[i].hash != hash) continue;
      const auto* const element = static_cast<const Element*>(m_slots[i].entry);
      // What is wanted of it stands behind its name, at its end: both are fetched at once.
      __builtin_prefetch(reinterpret_cast<const char*>(element + 1) - 1);
      if (element->IsIndexedAs(name)) return &m_slots[i];
    }
    return nullptr;
  }
};

}  // namespace impl

/// A named text attached to a key or a value.
class BIX_EXPORT CRgAttribute {
 public:
  /// Both texts are copied.
  CRgAttribute(const char* name, const char* value) : m_name(name), m_value(value) {}
  CRgAttribute(const CRgAttribute&) = delete;
  CRgAttribute& operator=(const CRgAttribute&) = delete;
  virtual ~CRgAttribute();

  const char* GetName() const { return m_name.c_str(); }
  const char* GetValue() const { return m_value.c_str(); }
  void SetValue(const char* value) { m_value = value; }

 private:
  SString m_name;
  SString m_value;
};

/// A value of a key: a name, a text, a type and attributes. How they are stored is up to the layer.
class BIX_EXPORT CRgValue {
 public:
  /// 0 for text, which is written quoted; the text of any other type is written bare. Option values
  /// use 1 and 2. What the loader and the operations by path make has type 0.
  using RvType = std::int32_t;

  CRgValue() = default;
  CRgValue(const CRgValue&) = delete;
  CRgValue& operator=(const CRgValue&) = delete;
  /// Deletes the attributes.
  virtual ~CRgValue();                           // slot 1
  virtual const char* GetName() const = 0;       // slot 2
  virtual const char* GetValue() const = 0;      // slot 3
  virtual RvType GetType() const = 0;            // slot 4
  virtual void SetName(const char* name) = 0;    // slot 5
  virtual void SetType(RvType type) = 0;         // slot 6
  virtual void SetValue(const char* value) = 0;  // slot 7
  /// Writes the line of this value, with the static Dump. True.
  virtual bool Dump(std::FILE* file);  // slot 8

  /// Writes the line of a value. The result is true; a failed write shows in `ferror` of the file.
  ///
  ///   "Name", 0, "Text", null        => "Name"="Text" LF       with a blank before the line feed
  ///   "Name", 1, "true", null        => "Name"=true LF
  ///   "Name", 0, "Text", (p=1)       => "Name"="Text" ("p"="1" )LF
  ///   "Name", 2, "5", (p=1, q=2)     => "Name"=5 ("p"=1 "q"=2 )LF
  ///
  /// Nothing is escaped, and attributes are separated by a blank: a value with a quote in its name
  /// or text, or with two attributes, does not read back.
  ///
  /// Owner: everything is borrowed for the call; `attributes` may be null.
  static bool Dump(std::FILE* file, const char* name, RvType type, const char* value,
                   MList<CRgAttribute*>* attributes);

  /// The list itself. Owner: owned by the value, valid as long as it.
  MList<CRgAttribute*>* GetAttributeList() { return &m_attributes; }
  int GetAttributeCount() const { return m_attributes.GetCount(); }
  void* GetFirstAttributePosition() const { return m_attributes.GetHeadPosition(); }
  CRgAttribute* GetNextAttribute(void*& position) const { return m_attributes.GetNext(position); }
  /// Appends an attribute. Owner: adopted; the value deletes it.
  void AddAttribute(CRgAttribute* attribute);
  /// The text of the first attribute of this name, or null.
  const char* GetAttributeValue(const char* name) const;
  /// Replaces the text of the first attribute of this name, or appends one.
  void SetAttributeValue(const char* name, const char* value);

 private:
  MList<CRgAttribute*> m_attributes;
};

/// A value of the default layer: holds its name, text and type itself.
///
/// A key goes on finding it under the name it had when it was added: SetName changes what is
/// written, not what is found.
class BIX_EXPORT CDefRgValue : public CRgValue {
 public:
  CDefRgValue(const char* name, RvType type, const char* value);
  ~CDefRgValue() override;
  const char* GetName() const override;
  const char* GetValue() const override;
  RvType GetType() const override;
  void SetName(const char* name) override;
  void SetType(RvType type) override;
  void SetValue(const char* value) override;

 private:
  friend class CDefRgKey;
  friend class impl::InBlock<CDefRgValue>;
  friend class impl::NameIndex<CDefRgValue>;

  CDefRgValue(std::string_view name, std::string_view value);

  /// The name with which this value was made; keys index it under that.
  std::string_view GetIndexName() const {
    return m_isRenamed ? std::string_view(m_name).substr(std::strlen(m_name.c_str()) + 1)
                       : std::string_view(m_name);
  }
  bool IsIndexedAs(std::string_view name) const {
    return std::string_view(m_name) == name || (m_isRenamed && GetIndexName() == name);
  }

  SString m_name;
  SString m_value;
  RvType m_type;
  // Behind the fields that add-ins know: SetName was called. The first name then stands in m_name
  // behind the present one and its zero byte.
  bool m_isRenamed = false;
};

/// A key: a named node of the tree with sub-keys, values and attributes, each in insertion order.
///
/// A layer derives from it, makes the pure operations, and overrides what it does in its own way.
///
/// Attributes handed to CreateKey and CreateValue: a layer that makes or finds the element takes
/// the attributes by linking them to it, some, all or none; the caller deletes those that the
/// element does not hold afterwards. (The loader adds them to the value instead.) CreateKey that
/// returns null has deleted them; CreateValue that returns null has not. The list itself always
/// stays the caller's, and may be null.
class BIX_EXPORT CRgKey {
 public:
  CRgKey() = default;
  CRgKey(const CRgKey&) = delete;
  CRgKey& operator=(const CRgKey&) = delete;
  /// Deletes all contents.
  virtual ~CRgKey();  // slot 1
  /// The name of the key alone, without its path.
  virtual const char* GetName() const = 0;  // slot 2
  /// Finds or makes a direct sub-key; null when the layer refuses it.
  virtual CRgKey* CreateKey(const char* name, MList<CRgAttribute*>* attributes) = 0;  // slot 3
  /// The direct sub-key of this name, or null. The base takes the first in the list.
  virtual CRgKey* FindKey(const char* name) const;  // slot 4
  /// Appends a sub-key; true. The base does not set its parent link. Owner: adopted by this key.
  virtual bool AddKey(CRgKey* key);  // slot 5
  /// Unlinks a sub-key and clears its parent link; false when it is not listed here.
  /// Owner: `key` becomes the caller's.
  virtual bool RemoveKey(CRgKey* key);  // slot 6
  /// Makes a value and adds it; null when the layer refuses it.
  virtual CRgValue* CreateValue(const char* name, CRgValue::RvType type, const char* value,
                                MList<CRgAttribute*>* attributes) = 0;  // slot 7
  /// The value of this name, or null. The base takes the first in the list.
  virtual CRgValue* FindValue(const char* name) const;  // slot 8
  /// Appends a value; true. Owner: adopted by this key.
  virtual bool AddValue(CRgValue* value);  // slot 9
  /// Unlinks a value; false when it is not listed here. Owner: `value` becomes the caller's.
  virtual bool RemoveValue(CRgValue* value);  // slot 10
  /// Deletes the attributes of the key and takes those of the list, which itself stays the
  /// caller's. The key's own list changes nothing; null leaves the key without attributes.
  virtual void SetAttributes(MList<CRgAttribute*>* attributes);  // slot 11
  /// Asked by the loader, on the last key that was made, when a section has attributes and its next
  /// component `name` was refused: a layer may return the key that gets the attributes and values
  /// of the section, and may have linked the attributes to it. Null in the base: the section is
  /// passed over.
  virtual CRgKey* UseAttributes(MList<CRgAttribute*>* attributes, const char* name);  // slot 12
  /// Deletes all sub-keys, values and attributes. Sub-keys more than 64 levels below are deleted
  /// after their parents are gone.
  virtual void Empty();  // slot 13
  /// Writes the key and everything below it: a header "LF[path]LF LF" (no blank) when the key has
  /// values, the values, then the sub-keys. `parentPath` is null for a root, which has no header,
  /// and "" for a key directly below one. Key attributes are not written. More than 64 levels
  /// below the key that is written first, sub-keys are written after the Dump of their parent has
  /// returned.
  virtual void Dump(std::FILE* file, const char* parentPath) const;  // slot 14

  /// The parent, where the layer keeps links; null for a root and for all keys of the default
  /// layer.
  CRgKey* GetParent() const { return m_parent; }
  int GetKeyCount() const { return m_keys.GetCount(); }
  int GetValueCount() const { return m_values.GetCount(); }
  void* GetFirstKeyPosition() const { return m_keys.GetHeadPosition(); }
  CRgKey* GetNextKey(void*& position) const { return m_keys.GetNext(position); }
  void* GetFirstValuePosition() const { return m_values.GetHeadPosition(); }
  CRgValue* GetNextValue(void*& position) const { return m_values.GetNext(position); }
  /// The list itself. Owner: owned by the key, valid as long as it.
  MList<CRgAttribute*>* GetAttributeList() { return &m_attributes; }

 protected:
  /// For key layers that know parents: links `key` to the key that holds it.
  static void SetParent(CRgKey& key, CRgKey* parent) { key.m_parent = parent; }

  CRgKey* m_parent = nullptr;
  MList<CRgKey*> m_keys;
  MList<CRgValue*> m_values;
  MList<CRgAttribute*> m_attributes;
};

/// A key of the default layer: keeps everything, and finds it by an index of names.
///
/// CreateKey finds a key of the name or makes a CDefRgKey; CreateValue always makes another
/// CDefRgValue. Neither looks at the attributes. Of several elements of one name the latest is
/// found; once one of them is removed, none is found under that name, though the others stay
/// listed.
class BIX_EXPORT CDefRgKey : public CRgKey {
 public:
  explicit CDefRgKey(const char* name);
  ~CDefRgKey() override;
  const char* GetName() const override;
  CRgKey* CreateKey(const char* name, MList<CRgAttribute*>* attributes) override;
  CRgKey* FindKey(const char* name) const override;
  bool AddKey(CRgKey* key) override;
  bool RemoveKey(CRgKey* key) override;
  CRgValue* CreateValue(const char* name, CRgValue::RvType type, const char* value,
                        MList<CRgAttribute*>* attributes) override;
  CRgValue* FindValue(const char* name) const override;
  bool AddValue(CRgValue* value) override;
  bool RemoveValue(CRgValue* value) override;
  void Empty() override;

  // For the library: the operations of this layer by names whose length is known.
  CRgKey* FindKeyByName(std::string_view name) const;
  CRgValue* FindValueByName(std::string_view name) const;
  CRgValue* CreateTextValue(std::string_view name, std::string_view text, impl::LoadMemory& memory);

 private:
  friend class impl::NameIndex<CDefRgKey>;

  std::string_view GetIndexName() const { return m_name; }
  bool IsIndexedAs(std::string_view name) const { return std::string_view(m_name) == name; }
  bool MayLeaveUnindexed() const;
  void IndexValues() const;
  bool AddPlainValue(CDefRgValue* value);

  SString m_name;
  // Elements of derived classes and renamed values, whose names may change or differ.
  MMap<SString, CRgKey*> m_keyIndex;
  MMap<SString, CRgValue*> m_valueIndex;
  // Behind the fields that add-ins know: the elements of this layer, which are nearly all. A name
  // is in one of its two indexes at most.
  impl::NameIndex<CDefRgKey> m_plainKeys;
  mutable impl::NameIndex<CDefRgValue> m_plainValues;
  // All values are plain and wait for the first search to be indexed.
  mutable std::atomic<bool> m_areValuesUnindexed{false};
};

/// Why a settings file could not be read.
struct CRgLoadError {
  /// Where reading stopped: line, from 1, and column, from 1 and in bytes. Both are 0 when the file
  /// itself failed, and after a success.
  int line = 0;
  int column = 0;
  /// The error number of the system when the file could not be opened or read, otherwise 0.
  int errorNumber = 0;
  /// What should have stood there, such as "a key name in the section header"; "" after a success.
  /// Owner: process lifetime.
  const char* expected = "";
};

/// A tree with its file, reached by paths: names of keys below the root joined by "/".
///
///   "General/Editor"  the key Editor of the key General
///   "/a"              the key a of the key with the empty name; "" is that key itself
///
/// There is no escape: a name holds any byte but "/". A component before the last that has 256
/// bytes or more is taken for the empty name, and `errno` is set to EINVAL.
class BIX_EXPORT CRgFile {
 public:
  /// Owner: `root` is adopted; null makes a CDefRgKey with the empty name.
  explicit CRgFile(CRgKey* root = nullptr);
  CRgFile(const CRgFile&) = delete;
  CRgFile& operator=(const CRgFile&) = delete;
  virtual ~CRgFile();

  /// Owner: owned by the file, valid as long as it; never null.
  CRgKey* GetKeyRoot() const { return m_root; }
  /// The key at `path`, or null.
  CRgKey* FindKey(const char* path) const;
  /// Asks every key on the way for the next one with CreateKey; the last one is handed an
  /// attribute, unless one of its texts is null. The default layer attaches none. Null when the
  /// layer refuses.
  CRgKey* CreateKey(const char* path, const char* attributeName, const char* attributeValue);
  /// Detaches `key` when it has a parent and neither sub-keys nor values; otherwise nothing
  /// happens. Owner: a detached key becomes the caller's. Null is allowed.
  void RemoveKey(CRgKey* key);
  /// Empties and detaches `key` when it has a parent and no sub-keys; otherwise nothing happens.
  /// Owner: the object stays alive and becomes the caller's. Null is allowed.
  void DestroyKey(CRgKey* key);
  /// The text of a value, or null.
  const char* GetValue(const char* path, const char* valueName) const;
  /// Sets the text of a value; a missing value, of type 0, and missing keys are made. Type and
  /// attributes of a value that is there stay. False, and nothing is set, when the layer refuses.
  bool SetValue(const char* path, const char* valueName, const char* value);
  /// The text of the first attribute of that name of a value, or null.
  const char* GetAttributeValue(const char* path, const char* valueName,
                                const char* attributeName) const;
  /// Sets an attribute of a value. `value` is used only when the value is missing and is made.
  /// False, and nothing is set, when the layer refuses.
  bool SetAttributeValue(const char* path, const char* valueName, const char* value,
                         const char* attributeName, const char* attributeValue);

  /// Empties the tree and reads a file into it. The first name given to Load is remembered for
  /// Save.
  ///
  /// Errors: 1 when the file cannot be read or parsed; the tree is empty then.
  int Load(const char* fileName);
  /// Reads a file into the tree.
  ///
  /// Errors: 1 when the file cannot be read or parsed; the tree is empty then, also of what it
  /// held.
  int Merge(const char* fileName);
  /// Writes the tree to `fileName`, or to the remembered name when that is null, so that the name
  /// leads to the whole old file or to the whole new one at any moment: a new file beside it takes
  /// its place. A target that is no regular file, or whose directory takes no new file, is written
  /// in place.
  ///
  /// Errors: 1 without a name; otherwise the error number of what failed. The tree stays as it is.
  int Save(const char* fileName);

  /// Why the last Load or Merge failed. Owner: owned by the file, valid until the next of them.
  const CRgLoadError& GetLoadError() const { return m_loadError; }

 protected:
  CRgKey* m_root;
  SString m_fileName;

 private:
  CRgLoadError m_loadError;
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_REGISTRY_H_
