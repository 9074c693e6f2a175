#ifndef TESTS_JAVA_NATIVE_OBJECT_H_
#define TESTS_JAVA_NATIVE_OBJECT_H_

/// Objects of a host's model.

#include <atomic>
#include <cstring>
#include <list>
#include <string>
#include <utility>

#include "qv/objectinfo.h"

namespace bix_test {

inline bool IsSame(const qv::GUID& a, const qv::GUID& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

/// An object with two interfaces, whose pointers differ. Its identity is that of the first.
class NativeObject : public qv::IObjectInfo {
 public:
  explicit NativeObject(std::list<std::string> names = {"Model"}) : m_names(std::move(names)) {}
  NativeObject(const NativeObject&) = delete;
  NativeObject& operator=(const NativeObject&) = delete;
  virtual ~NativeObject() = default;

  void AddRef() override { ++references; }
  void Release() override {
    --references;
    ++releases;
  }
  void QueryInterface(const qv::GUID& iid, void** out) override {
    static constexpr qv::GUID kIdentity = {
        0x2F51008E, 0x98A4, 0x4939, {0xA5, 0xBF, 0x65, 0x29, 0xED, 0x63, 0x8D, 0x89}};
    static constexpr qv::GUID kInfo = {
        0x961926D5, 0x6FC1, 0x4542, {0x90, 0x56, 0xBA, 0x3D, 0x2D, 0x28, 0x03, 0x88}};
    *out = nullptr;
    if (IsSame(iid, kIdentity))
      *out = static_cast<qv::IUnknown*>(this);
    else if (hasInfo && IsSame(iid, kInfo))
      *out = static_cast<qv::IObjectInfo*>(this);
    if (!hasIdentity) *out = nullptr;
    if (*out != nullptr) ++references;
  }
  void GetInterfaceNames(std::list<std::string>& names) override {
    names.insert(names.end(), m_names.begin(), m_names.end());
  }

  /// Another interface pointer of the same object.
  qv::IUnknown* Other() { return &m_other; }

  // The references that others hold; the test's own is not counted.
  std::atomic<int> references{0};
  std::atomic<int> releases{0};
  bool hasInfo = true;
  bool hasIdentity = true;

 private:
  class OtherInterface : public qv::IUnknown {
   public:
    explicit OtherInterface(NativeObject& owner) : m_owner(owner) {}
    void AddRef() override { m_owner.AddRef(); }
    void Release() override { m_owner.Release(); }
    void QueryInterface(const qv::GUID& iid, void** out) override {
      m_owner.QueryInterface(iid, out);
    }

   private:
    NativeObject& m_owner;
  };

  OtherInterface m_other{*this};
  std::list<std::string> m_names;
};

}  // namespace bix_test

#endif  // TESTS_JAVA_NATIVE_OBJECT_H_
