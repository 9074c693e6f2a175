#ifndef BIX_SRC_STYLES_STYLE_REGISTRY_H_
#define BIX_SRC_STYLES_STYLE_REGISTRY_H_

/// The kinds that styles are found by.

#include "bix/containers.h"
#include "bix/styles.h"

namespace bix::impl {

struct StyleRegistry {
  MList<CStyleKind*> kinds;  // one entry for each live style
  MList<CStyleKind*> known;  // each kind in `kinds` once, in the order of its first entry there
};

/// Process lifetime.
StyleRegistry& Styles();

}  // namespace bix::impl

#endif  // BIX_SRC_STYLES_STYLE_REGISTRY_H_
