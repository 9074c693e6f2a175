// What class an object is of, also when whoever made it does not say.
#ifndef BIX_SRC_SUPPORT_RUNTIME_TYPE_H_
#define BIX_SRC_SUPPORT_RUNTIME_TYPE_H_

#include <type_traits>
#include <typeinfo>

namespace bix::impl {

/// The type information in front of the object's slots; null when there is none.
// CHOICE(addin-without-rtti): add-ins may be compiled without type information, or have made their
// table of slots by hand. `typeid` and `dynamic_cast` follow the null pointer there; asked like this,
// such an object is simply of no class of the library.
// Test: SlotOrder.KeysAndValuesOfAnAddInNeedNoTypeInformation
template <class Object>
const std::type_info* TypeOf(const Object& object) {
  static_assert(std::is_polymorphic_v<Object>);
  using Table = const std::type_info* const*;
  return (*reinterpret_cast<const Table*>(&object))[-1];
}

/// Whether the object is of that very class of the library, and of nothing derived from it.
template <class Class, class Object>
bool IsExactly(const Object& object) {
  return TypeOf(object) == &typeid(Class);
}

/// The object as one of that class, or null when it is not, or is null itself.
template <class Class, class Object>
Class* CastTo(Object* object) {
  return object != nullptr && TypeOf(*object) != nullptr ? dynamic_cast<Class*>(object) : nullptr;
}

}  // namespace bix::impl

#endif  // BIX_SRC_SUPPORT_RUNTIME_TYPE_H_
