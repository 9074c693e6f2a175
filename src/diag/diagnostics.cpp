#include "bix/diagnostics.h"

#include <cstdlib>

#include "bix/messages.h"

namespace bix {
namespace {

/// What the first call found out about "QRD_ASSERT".
enum class AssertSetting { kUnread, kSilent, kReported };

// Static storage
AssertSetting s_assertSetting = AssertSetting::kUnread;

}  // namespace

void bix_assert(const char* expression, const char* file, int line) {
  // COMPAT(assert-read-once): looked up at the first failed assertion and never again; a change of
  // the variable after that has no effect. Test: AssertCompat.SettingIsReadAtTheFirstCallOnly
  if (s_assertSetting == AssertSetting::kUnread) {
    s_assertSetting =
        std::getenv("QRD_ASSERT") != nullptr ? AssertSetting::kReported : AssertSetting::kSilent;
  }
  if (s_assertSetting == AssertSetting::kSilent) return;
  // COMPAT(assert-no-prefix): without "Internal error: ": an assertion may be the host's own.
  // Test: AssertCompat.ReportHasNoPrefix
  bixerr << "Assertion failed: " << expression << ", file " << file << ", line "
         << static_cast<long>(line) << endl
         << flush;
}

}  // namespace bix
