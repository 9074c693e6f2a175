#ifndef BIX_GEOMETRY_H_
#define BIX_GEOMETRY_H_

/// The bases of points and sizes on diagrams.
///
///   class GridPoint : public bix::CRPoint {
///    public:
///     int x = 0, y = 0;
///   };
///
/// The coordinates belong to where they are used; what all share is that they can be deleted
/// through these.
///
/// Threads: re-entrant.

#include "bix/hostmacros_off.h"

#include "bix/export.h"

namespace bix {

/// A point.
class BIX_EXPORT CRPoint {
 public:
  virtual ~CRPoint();  // slot 1
};

/// A size.
class BIX_EXPORT CRSize {
 public:
  virtual ~CRSize();  // slot 1
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_GEOMETRY_H_
