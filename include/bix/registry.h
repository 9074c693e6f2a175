#ifndef BIX_REGISTRY_H_
#define BIX_REGISTRY_H_

/// A settings document in memory: a tree of keys with values and attributes.

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
    for (std::uint32_t i = Home(hash); m_slots[i].hash != 0; i = Next(i))
      if (m_slots[i].hash == hash && static_cast<Element*>(m_slots[i].entry)->IsIndexedAs(name))
        return &m_slots[i];
    return nullptr;
  }
};

}  // namespace impl

class BIX_EXPORT CRgAttribute {
 public:
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

class BIX_EXPORT CRgValue {
 public:
  using RvType = std::int32_t;

  CRgValue() = default;
  CRgValue(const CRgValue&) = delete;
  CRgValue& operator=(const CRgValue&) = delete;
  virtual ~CRgValue();                           // slot 1
  virtual const char* GetName() const = 0;       // slot 2
  virtual const char* GetValue() const = 0;      // slot 3
  virtual RvType GetType() const = 0;            // slot 4
  virtual void SetName(const char* name) = 0;    // slot 5
  virtual void SetType(RvType type) = 0;         // slot 6
  virtual void SetValue(const char* value) = 0;  // slot 7
  virtual bool Dump(std::FILE* file);            // slot 8

  static bool Dump(std::FILE* file, const char* name, RvType type, const char* value,
                   MList<CRgAttribute*>* attributes);

  MList<CRgAttribute*>* GetAttributeList() { return &m_attributes; }
  int GetAttributeCount() const { return m_attributes.GetCount(); }
  void* GetFirstAttributePosition() const { return m_attributes.GetHeadPosition(); }
  CRgAttribute* GetNextAttribute(void*& position) const { return m_attributes.GetNext(position); }
  void AddAttribute(CRgAttribute* attribute);
  const char* GetAttributeValue(const char* name) const;
  void SetAttributeValue(const char* name, const char* value);

 private:
  MList<CRgAttribute*> m_attributes;
};

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

  static void* operator new(std::size_t size);
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* room, std::size_t size) noexcept;

 private:
  friend class CDefRgKey;
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

class BIX_EXPORT CRgKey {
 public:
  CRgKey() = default;
  CRgKey(const CRgKey&) = delete;
  CRgKey& operator=(const CRgKey&) = delete;
  virtual ~CRgKey();                                                                  // slot 1
  virtual const char* GetName() const = 0;                                            // slot 2
  virtual CRgKey* CreateKey(const char* name, MList<CRgAttribute*>* attributes) = 0;  // slot 3
  virtual CRgKey* FindKey(const char* name) const;                                    // slot 4
  virtual bool AddKey(CRgKey* key);                                                   // slot 5
  virtual bool RemoveKey(CRgKey* key);                                                // slot 6
  virtual CRgValue* CreateValue(const char* name, CRgValue::RvType type, const char* value,
                                MList<CRgAttribute*>* attributes) = 0;                // slot 7
  virtual CRgValue* FindValue(const char* name) const;                                // slot 8
  virtual bool AddValue(CRgValue* value);                                             // slot 9
  virtual bool RemoveValue(CRgValue* value);                                          // slot 10
  virtual void SetAttributes(MList<CRgAttribute*>* attributes);                       // slot 11
  virtual CRgKey* UseAttributes(MList<CRgAttribute*>* attributes, const char* name);  // slot 12
  virtual void Empty();                                                               // slot 13
  virtual void Dump(std::FILE* file, const char* parentPath) const;                   // slot 14

  CRgKey* GetParent() const { return m_parent; }
  int GetKeyCount() const { return m_keys.GetCount(); }
  int GetValueCount() const { return m_values.GetCount(); }
  void* GetFirstKeyPosition() const { return m_keys.GetHeadPosition(); }
  CRgKey* GetNextKey(void*& position) const { return m_keys.GetNext(position); }
  void* GetFirstValuePosition() const { return m_values.GetHeadPosition(); }
  CRgValue* GetNextValue(void*& position) const { return m_values.GetNext(position); }
  MList<CRgAttribute*>* GetAttributeList() { return &m_attributes; }

 protected:
  /// For key layers that know parents: links `key` to the key that holds it.
  static void SetParent(CRgKey& key, CRgKey* parent) { key.m_parent = parent; }

  CRgKey* m_parent = nullptr;
  MList<CRgKey*> m_keys;
  MList<CRgValue*> m_values;
  MList<CRgAttribute*> m_attributes;
};

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

  static void* operator new(std::size_t size);
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* room, std::size_t size) noexcept;

  // For the library: the operations of this layer by names whose length is known.
  CRgKey* FindKeyByName(std::string_view name) const;
  CRgValue* FindValueByName(std::string_view name) const;
  CRgValue* CreateTextValue(std::string_view name, std::string_view text);

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

/// Why a settings file could not be read, and where reading stopped.
struct CRgLoadError {
  int line = 0;
  int column = 0;
  int errorNumber = 0;
  const char* expected = "";
};

class BIX_EXPORT CRgFile {
 public:
  explicit CRgFile(CRgKey* root = nullptr);
  CRgFile(const CRgFile&) = delete;
  CRgFile& operator=(const CRgFile&) = delete;
  virtual ~CRgFile();

  CRgKey* GetKeyRoot() const { return m_root; }
  CRgKey* FindKey(const char* path) const;
  CRgKey* CreateKey(const char* path, const char* attributeName, const char* attributeValue);
  void RemoveKey(CRgKey* key);
  void DestroyKey(CRgKey* key);
  const char* GetValue(const char* path, const char* valueName) const;
  bool SetValue(const char* path, const char* valueName, const char* value);
  const char* GetAttributeValue(const char* path, const char* valueName,
                                const char* attributeName) const;
  bool SetAttributeValue(const char* path, const char* valueName, const char* value,
                         const char* attributeName, const char* attributeValue);

  int Load(const char* fileName);
  int Merge(const char* fileName);
  int Save(const char* fileName);

  const CRgLoadError& GetLoadError() const { return m_loadError; }

 protected:
  CRgKey* m_root;
  SString m_fileName;

 private:
  CRgLoadError m_loadError;
};

}  // namespace bix

#endif  // BIX_REGISTRY_H_
