#ifndef BIX_MAPMARKER_H_
#define BIX_MAPMARKER_H_

/// Marks of the objects that a traversal has visited.
///
///   void Walk(const Node& start) {
///     bix::SMapMarker marker;
///     WalkFrom(start, marker);
///   }
///   void WalkFrom(const Node& node, bix::SMapMarker& marker) {
///     if (marker.Mark(&node)) return;            // visited already
///     for (const Node* next : node.neighbours) WalkFrom(*next, marker);
///   }
///
/// Marking costs the same however many objects are marked already.
///
/// Threads: process-wide data without a lock; traversals that use markers run on one thread at a
/// time.

#include "bix/hostmacros_off.h"

#include "bix/export.h"

namespace bix {

namespace impl {
class MarkerSet;
class MarkerStorage;
}  // namespace impl

/// A set of marked addresses for as long as the marker lives. Markers end in the reverse order of
/// their construction, as objects on the stack do. Whichever marker is asked, the set of the one
/// that was constructed last answers: it is the current one.
class BIX_EXPORT SMapMarker {
 public:
  /// Opens a new set, without marks, which is the current one from now on.
  SMapMarker();
  SMapMarker(const SMapMarker&) = delete;
  SMapMarker& operator=(const SMapMarker&) = delete;
  /// Drops the current set. The one before it is current again.
  virtual ~SMapMarker();  // slot 1

  /// Marks the address in the current set. Returns whether it was marked there already.
  ///
  /// Owner: only the address counts, null is one too; nothing is read from it.
  bool Mark(const void* p);

  /// Takes the mark off in the current set; one that is not there is no error. Returns 0.
  int Unmark(const void* p);

 private:
  friend class impl::MarkerStorage;

  static impl::MarkerSet* m_listMarkers;  // the current set, in front of the others
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_MAPMARKER_H_
