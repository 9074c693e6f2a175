#ifndef BIX_RESOURCES_TRACE_H_
#define BIX_RESOURCES_TRACE_H_

/// Tracing of operations on string tables and resource libraries.

#include <cstdlib>

#include "diag/report.h"

namespace bix::impl {

/// A handle or an address as it is shown in reports: decimal, and negative where the sign bit is
/// set.
inline long Shown(const void* address) { return reinterpret_cast<long>(address); }

/// Writes the pieces as one trace line, when "QRD_DEBUG_RESOURCE" is set at this moment.
template <class... Pieces>
void TraceResource(const SourcePlace& place, const Pieces&... pieces) {
  // COMPAT(trace-any-value): any value counts, the empty one too, and it is looked up each time.
  // Test: ResourceTraceCompat.AnyValueSwitchesItOnAtOnce
  if (std::getenv("QRD_DEBUG_RESOURCE") != nullptr) ReportAt(place, pieces...);
}

}  // namespace bix::impl

#endif  // BIX_RESOURCES_TRACE_H_
