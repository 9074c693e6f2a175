#ifndef BIX_DIAG_REPORT_H_
#define BIX_DIAG_REPORT_H_

/// How the library reports its own errors: one complete sentence on a channel, opened by `IntErr`,
/// closed by `endl` and delivered by `flush`.

#include <string_view>

#include "bix/messages.h"

namespace bix::impl {

/// Where in the sources a report comes from; the file without its directories.
struct SourcePlace {
  constexpr explicit SourcePlace(const char* path = __builtin_FILE(), int at = __builtin_LINE())
      : file(path), line(at) {
    for (const char* c = path; *c != 0; ++c)
      if (*c == '/') file = c + 1;
  }

  const char* file;
  long line;
};

/// Writes "Internal error: " and the pieces as one message. Pieces are texts and `long` numbers.
template <class... Pieces>
void ReportInternalError(CMsgOut& channel, const Pieces&... pieces) {
  channel << IntErr;
  (channel << ... << pieces);
  channel << endl << flush;
}

/// Writes "Internal error: file <file>, line <line>: " and the pieces as one message on `bixerr`.
template <class... Pieces>
void ReportAt(const SourcePlace& place, const Pieces&... pieces) {
  ReportInternalError(bixerr, "file ", place.file, ", line ", place.line, ": ", pieces...);
}

}  // namespace bix::impl

#endif  // BIX_DIAG_REPORT_H_
