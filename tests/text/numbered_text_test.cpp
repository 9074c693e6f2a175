// The operations of SString that take their text by number, with string tables of a module.

#include "bix/text.h"

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "bix/messages.h"
#include "bix/stringtable.h"
#include "support/recording_handler.h"

namespace {

using bix::SString;

/// A module with texts of its own, whose resource handle is the current one.
class NumberedText : public testing::Test {
 protected:
  static constexpr unsigned kMissing = 4711;

  NumberedText() : m_saved(bix::BixGetResourceHandle()), m_table(Module()) {
    bix::BixSetResourceHandle(Module());
  }
  ~NumberedText() override { bix::BixSetResourceHandle(m_saved); }

  static HINSTANCE Module() {
    static int module;
    return reinterpret_cast<HINSTANCE>(&module);
  }

  unsigned Add(const char* text) {
    m_table.Add(++m_lastId, text);
    return m_lastId;
  }

  /// What was reported on the error channel.
  std::string Reports() const { return m_reports.Text(); }

 private:
  bix_test::ScopedRecorder m_reports;
  const HINSTANCE m_saved;
  bix::SStringTable m_table;
  unsigned m_lastId = 0;
};

using LoadNumberedText = NumberedText;
using FormatNumberedText = NumberedText;
using FormatI18n = NumberedText;
using FormatI18nCompat = NumberedText;

TEST_F(LoadNumberedText, TakesItFromTheCurrentResourceHandle) {
  const unsigned id = Add("My Projects");
  SString text("before");
  EXPECT_EQ(11, text.LoadStringA(id));
  EXPECT_EQ("My Projects", text);
  EXPECT_EQ("", Reports());
}

TEST_F(LoadNumberedText, OfAnUnknownNumberFailsWithAReportAndLeavesTheText) {
  SString text("before");
  EXPECT_EQ(0, text.LoadStringA(kMissing));
  EXPECT_EQ("before", text);
  EXPECT_NE(std::string::npos, Reports().find(", 4711): resource not found")) << Reports();
}

TEST_F(LoadNumberedText, ThatIsEmptyReadsAsAFailure) {
  SString text("before");
  EXPECT_EQ(0, text.LoadStringA(Add("")));
  EXPECT_EQ("", text);
}

TEST_F(FormatNumberedText, FormatsWithTheLoadedText) {
  const unsigned id = Add("%s: %d");
  SString text;
  EXPECT_EQ(1 + 2 + 32, text.Format(id, "a", 5));
  EXPECT_EQ("a: 5", text);
  EXPECT_EQ(1 + 2 + 32, text.FormatMessage(id, "b", 6));
  EXPECT_EQ("b: 6", text);
  EXPECT_EQ(1 + 2 + 32, text.FormatMessageA(id, "c", 7));
  EXPECT_EQ("c: 7", text);
}

TEST_F(FormatNumberedText, TextMayBeItsOwnArgument) {
  SString text("abc");
  EXPECT_EQ(5, text.Format(Add("<%s>"), text.GetBuffer()));
  EXPECT_EQ("<abc>", text);
}

TEST_F(FormatNumberedText, OfAnUnknownNumberIsRefusedAndTheTextKept) {
  SString text("before");
  EXPECT_EQ(-1, text.Format(kMissing, 1));
  EXPECT_EQ("before", text);
  EXPECT_EQ(-1, text.FormatMessage(kMissing, 1));
  EXPECT_EQ("before", text);
  EXPECT_EQ(-1, text.FormatMessageA(kMissing, 1));
  EXPECT_EQ("before", text);
}

TEST_F(FormatI18n, ReordersTheArguments) {
  SString text;
  EXPECT_EQ(1 + 4 + 32, text.FormatI18n(Add("%$2s is %$1d"), 7, "x"));
  EXPECT_EQ("x is 7", text);
  text.FormatI18n(Add("%$1s %$1s"), "x", "y");
  EXPECT_EQ("x x", text);
  text.FormatI18n(Add("%$3s%$2s%$1s"), "a", "b", "c");
  EXPECT_EQ("cba", text);
  text.FormatI18n(Add("%$2-4s|%$1+05d|"), 7, "x");
  EXPECT_EQ("x   |+0007|", text);
  text.FormatI18n(Add("%$105d"), 7);
  EXPECT_EQ("00007", text);
  text.FormatI18n(Add("%$9d%$8d%$7d%$6d%$5d%$4d%$3d%$2d%$1d"), 1, 2, 3, 4, 5, 6, 7, 8, 9);
  EXPECT_EQ("987654321", text);
}

TEST_F(FormatI18n, WithoutReferencesTakesTheArgumentsInOrder) {
  SString text;
  EXPECT_EQ(1 + 1 + 32, text.FormatI18n(Add("%s %d"), "x", 7));
  EXPECT_EQ("x 7", text);
  EXPECT_EQ(3, text.FormatI18n(Add("abc")));
  EXPECT_EQ("abc", text);
}

TEST_F(FormatI18n, PassesDoubledPercentSigns) {
  SString text;
  text.FormatI18n(Add("100%% %$2s%%%$1d"), 7, "x");
  EXPECT_EQ("100% x%7", text);
  text.FormatI18n(Add("%%$1d %d"), 7);
  EXPECT_EQ("%$1d 7", text);
}

TEST_F(FormatI18n, TakesWholePointersAndLongs) {
  SString text;
  const std::string far(100, 'f');
  text.FormatI18n(Add("%$2ld %$1s"), far.c_str(), -2147483647L);
  EXPECT_EQ("-2147483647 " + far, text);
}

TEST_F(FormatI18n, OfAnUnknownNumberIsRefusedAndTheTextEmptied) {
  SString text("before");
  EXPECT_EQ(-1, text.FormatI18n(kMissing, 1));
  EXPECT_EQ("", text);
}

TEST_F(FormatI18n, RefusesReferencesOutsideTheArguments) {
  const char* const texts[] = {"%$3d", "%$2d", "%$0d", "%d %$3d", "%$1d %% %$3d", "%$9d"};
  for (const char* format : texts) {
    SCOPED_TRACE(format);
    SString text("before");
    EXPECT_EQ(-1, text.FormatI18n(Add(format), 1, 2));
    EXPECT_EQ("", text);
  }
}

TEST_F(FormatI18n, ReturnsWhatFormatReturns) {
  SString text;
  errno = 0;
  EXPECT_EQ(3, text.FormatI18n(Add("%10.3s"), "abcdef"));
  EXPECT_EQ("", text);
  EXPECT_EQ(EINVAL, errno);
}

TEST_F(FormatI18n, RefusesTextsWithTooManyConversions) {
  std::string format;
  for (int i = 0; i < 64; ++i) format += "%d";
  SString text;
  EXPECT_EQ(64 * 32, text.FormatI18n(Add(format.c_str()), 1, 2, 3, 4, 5, 6, 7, 8, 9));
  EXPECT_EQ("123456789" + std::string(55, '0'), text);
  const std::string longer = format + "%d";
  EXPECT_EQ(-1, text.FormatI18n(Add(longer.c_str()), 1, 2, 3, 4, 5, 6, 7, 8, 9));
  EXPECT_EQ("", text);
}

TEST_F(FormatI18n, CountsAStarOnlyInAConversion) {
  const std::string line(100, '*');
  SString text;
  EXPECT_EQ(101 + 1 + 2 + 32, text.FormatI18n(Add((line + "\n%s: %d").c_str()), "x", 7));
  EXPECT_EQ(line + "\nx: 7", text);
}

TEST_F(FormatI18n, RefusesTextsThatReadBehindTheWords) {
  const auto times = [](int count, const std::string& part) {
    std::string all;
    for (int i = 0; i < count; ++i) all += part;
    return all;
  };
  // A floating or longer number may take several words. The last two are of printf() itself.
  const std::string formats[] = {times(17, "%Lf"),  times(17, "%f"),  times(17, "%F "),
                                 times(17, "%lld"), times(33, "%*d"), times(22, "%*.*d"),
                                 "%65$d",           "%*65$d"};
  for (const std::string& format : formats) {
    SCOPED_TRACE(format);
    SString text("before");
    EXPECT_EQ(-1, text.FormatI18n(Add(format.c_str()), 1, 2, 3, 4, 5, 6, 7, 8, 9));
    EXPECT_EQ("", text);
  }
  SString text;
  EXPECT_EQ(32 * 32, text.FormatI18n(Add(times(32, "%*d").c_str()), 1, 2, 3, 4, 5, 6, 7, 8, 9));
}

TEST_F(FormatI18nCompat, ClearsTheStringFirst) {
  SString text("abc");
  EXPECT_EQ(2 + 1, text.FormatI18n(Add("<%s>"), text.GetBuffer()));
  EXPECT_EQ("<>", text);
}

TEST_F(FormatI18nCompat, PlainConversionTakesTheWordBehind) {
  SString text;
  text.FormatI18n(Add("%$2s %d %$1d"), 1, "b", 3);
  EXPECT_EQ("b 3 1", text);
  text.FormatI18n(Add("%$2d %$1d %d"), 1, 2, 3);
  EXPECT_EQ("2 1 2", text);
}

TEST_F(FormatI18nCompat, WordsBehindTheLastAreZero) {
  SString text;
  text.FormatI18n(Add("%$2d %d"), 1, 2);
  EXPECT_EQ("2 0", text);
  text.FormatI18n(Add("%$2d %s"), 1, 2);
  EXPECT_EQ("2 (null)", text);
  text.FormatI18n(Add("%d%d%d%d%d%d%d%d%d%d%s"), 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, "x");
  EXPECT_EQ("1234567890(null)", text);
  text.FormatI18n(Add("%$9d %d %d %d %d %d %d %d %s"), 1, 2, 3, 4, 5, 6, 7, 8, 9);
  EXPECT_EQ("9 0 0 0 0 0 0 0 (null)", text);
  // Floating values travel apart from words on some platforms, and are no arguments here.
  text.FormatI18n(Add("%g %g %g %g %g %g %g %g"), 0L, 0L, 0L, 0L, 0L, 0L, 0L, 0L);
  EXPECT_EQ("0 0 0 0 0 0 0 0", text);
  // One word is taken for the conversion, and "*" is the first to read one.
  text.FormatI18n(Add("%*d"), 3, 5);
  EXPECT_EQ("  0", text);
}

}  // namespace
