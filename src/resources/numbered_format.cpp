// The form of SFmt that takes its text by number. It stands here because the string tables are
// built on top of the message channels.

#include "bix/messages.h"
#include "bix/stringtable.h"
#include "diag/report.h"

namespace bix {

SFmt::SFmt(HINSTANCE module, unsigned int id) {
  // COMPAT(format-empty-text): the length of an empty text reads as a failure, so it is reported as
  // not found. Test: NumberedFormatCompat.AnEmptyTextCountsAsNotFound
  if (BixLoadString(module, id, m_text) != 0) return;
  impl::ReportInternalError(bixerr, "Bix::SFmt::LoadString(", static_cast<long>(id),
                            "): resource id not found");
}

}  // namespace bix
