#ifndef QV_UNKNOWN_H_
#define QV_UNKNOWN_H_

/// The base of every object of the suite's model, as far as the library uses it.
///
///   void* found = nullptr;
///   object->QueryInterface(qv::kIUnknown, &found);
///   auto* const identity = static_cast<qv::IUnknown*>(found);  // one per object, with a reference
///   if (identity != nullptr) identity->Release();
///
/// Owner: objects count their references. Threads: as the host's objects say.

#include "bix/hostmacros_off.h"

#include "qv/guid.h"

namespace qv {

/// The identifier of IUnknown: 2F51008E-98A4-4939-A5BF-6529ED638D89.
inline constexpr GUID kIUnknown = {
    0x2F51008E, 0x98A4, 0x4939, {0xA5, 0xBF, 0x65, 0x29, 0xED, 0x63, 0x8D, 0x89}};

/// A reference-counted object. The slots begin in this order, which is not that of other models
/// with an interface of this name; hosts are compiled against it.
class IUnknown {
 public:
  /// Adds a reference. The library never calls it.
  virtual void AddRef() = 0;  // slot 1

  /// Gives up a reference; the object may end with the last one.
  virtual void Release() = 0;  // slot 2

  /// Sets `*out` to the object's interface `iid`, with a reference that the caller releases, or to
  /// null when the object has no such interface. Asked for kIUnknown, all interfaces of one object
  /// give the same pointer.
  ///
  /// Owner: `iid` is borrowed for the call.
  virtual void QueryInterface(const GUID& iid, void** out) = 0;  // slot 3

 protected:
  // COMPAT(unknown-three-slots): no virtual destructor, although the class is a base: it would move
  // the slots that hosts are compiled against. Test: ModelInterfaceCompat.HasItsThreeSlotsInOrder
  ~IUnknown() = default;
};

}  // namespace qv

#include "bix/hostmacros_on.h"

#endif  // QV_UNKNOWN_H_
