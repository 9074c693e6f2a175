#ifndef BIX_GMODE_H_
#define BIX_GMODE_H_

/// The global mode of the process.
///
///   enum bix::gmode::EVornGlobalMode : int { kInteractive = 1, kBatch = 2 };   // the host's own
///   bix::gmode::SetVornGlobalMode(bix::gmode::kBatch);
///
/// The library keeps the value for its hosts and does not look at it.
///
/// Threads: a plain process-wide value, without a lock.

#include "bix/hostmacros_off.h"

#include "bix/export.h"

namespace bix {

/// Holds the one value.
class BIX_EXPORT gmode {
 public:
  /// The modes are the hosts' own: they define the enumerators.
  enum EVornGlobalMode : int;

  /// Keeps the mode.
  static void SetVornGlobalMode(EVornGlobalMode mode);

  /// The mode that was set last; 0 at first.
  static EVornGlobalMode GetVornGlobalMode();
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_GMODE_H_
