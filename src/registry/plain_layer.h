#ifndef BIX_SRC_REGISTRY_PLAIN_LAYER_H_
#define BIX_SRC_REGISTRY_PLAIN_LAYER_H_

/// The short way to keys of the default layer: where an object is a CDefRgKey and nothing derived
/// from it, its virtual operations are known and need not be called.

#include "bix/registry.h"
#include "support/runtime_type.h"

namespace bix::impl {

/// `key` when it is exactly a CDefRgKey, otherwise null.
inline const CDefRgKey* AsPlainKey(const CRgKey* key) {
  return IsExactly<CDefRgKey>(*key) ? static_cast<const CDefRgKey*>(key) : nullptr;
}
inline CDefRgKey* AsPlainKey(CRgKey* key) {
  return IsExactly<CDefRgKey>(*key) ? static_cast<CDefRgKey*>(key) : nullptr;
}

}  // namespace bix::impl

#endif  // BIX_SRC_REGISTRY_PLAIN_LAYER_H_
