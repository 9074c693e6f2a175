#ifndef QV_OBJECTINFO_H_
#define QV_OBJECTINFO_H_

/// What an object of the suite's model tells about itself, as far as the library uses it.

#include "bix/hostmacros_off.h"

#include <list>
#include <string>

#include "qv/unknown.h"

namespace qv {

/// The identifier of IObjectInfo: 961926D5-6FC1-4542-9056-BA3D2D280388.
inline constexpr GUID kIObjectInfo = {
    0x961926D5, 0x6FC1, 0x4542, {0x90, 0x56, 0xBA, 0x3D, 0x2D, 0x28, 0x03, 0x88}};

/// Asked of an object by those that need its description.
class IObjectInfo : public IUnknown {
 public:
  /// Appends the names of the object's interfaces, the most special one first.
  ///
  /// Owner: `names` is borrowed for the call.
  // CHOICE(object-info-names): the name of the operation and its place, right behind those of
  // IUnknown, are those of this stand-in; a host that has its own qv headers builds the library
  // with them. Test: ModelInterfaceCompat.ListsItsNamesInTheFourthSlot
  virtual void GetInterfaceNames(std::list<std::string>& names) = 0;  // slot 4

 protected:
  ~IObjectInfo() = default;
};

}  // namespace qv

#include "bix/hostmacros_on.h"

#endif  // QV_OBJECTINFO_H_
