#include "bix/globfilter.h"

#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>

#include <gtest/gtest.h>

#include "bix/library.h"
#include "bix/messages.h"
#include "bix/stringtable.h"
#include "support/recording_handler.h"

namespace bix_test {
namespace {

using bix::BixGlob;
using bix::SString;

/// The start of the message about an invalid filter; the reason is the engine's own text.
std::string InvalidFilter(const std::string& filter) {
  return "The filter '" + filter + "' is invalid.\n";
}

struct Case {
  std::string filter;
  std::string name;
  bool matches;
};

void ExpectCases(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE("\"" + c.filter + "\" and \"" + c.name + "\"");
    SString error = "old";
    EXPECT_EQ(c.matches, BixGlob::IsAMatch(c.filter.c_str(), c.name.c_str(), error));
    EXPECT_EQ("", error);
    // The translated filter is kept: it says the same once more.
    EXPECT_EQ(c.matches, BixGlob::IsAMatch(c.filter.c_str(), c.name.c_str(), error));
    EXPECT_EQ("", error);
  }
}

void ExpectInvalid(const std::string& filter, const std::string& shown) {
  SCOPED_TRACE(filter);
  for (int round = 0; round < 2; ++round) {
    SString error = "old";
    EXPECT_FALSE(BixGlob::IsGlobValid(filter.c_str(), error));
    EXPECT_EQ(InvalidFilter(shown), error.substr(0, InvalidFilter(shown).size()));
    EXPECT_GT(error.size(), InvalidFilter(shown).size());
    SString matchError = "old";
    EXPECT_FALSE(BixGlob::IsAMatch(filter.c_str(), "x", matchError));
    EXPECT_EQ(error, matchError);
  }
}

TEST(GlobFilter, MatchesTheNameAsAWhole) {
  ExpectCases({
      {"*.tot", "a.tot", true},      {"*.tot", ".tot", true},    {"*.tot", "a.b.tot", true},
      {"*.tot", "a.tot.bak", false}, {"*.tot", "a.TOT", false},  {"*.tot", "atot", false},
      {"*.tot", "tot", false},       {"*.tot", "", false},       {"a.tot", "a.tot", true},
      {"a.tot", "ba.tot", false},    {"a.tot", "a.totb", false}, {"a*", "a", true},
      {"a*", "abc", true},           {"a*", "ba", false},        {"a*c", "ac", true},
      {"a*c", "abc", true},          {"a*c", "abcd", false},     {"a*a", "a", false},
      {"a*a", "aa", true},           {"ab*ba", "aba", false},    {"*ab*", "cabd", true},
      {"*ab*", "cadb", false},       {"a*b*c", "axbxc", true},   {"a*b*c", "axcxb", false},
      {"*a*b", "abab", true},        {"*a*ab*", "aab", true},    {"*a*ab*", "ab", false},
      {"*aab*", "aaab", true},
  });
}

TEST(GlobFilter, NoCharacterIsMatchedTwice) {
  ExpectCases({
      {"a*a*", "ab", false},
      {"a*a*", "aba", true},
      {"*a*a", "ba", false},
      {"*ab*b", "xab", false},
      {"*ab*b", "xabb", true},
      {"*a*a*", "ba", false},
      {"*a*a*", "aba", true},
      {"*ab*ba*", "aba", false},
      {"*ab*ba*", "xaba", false},
      {"*ab*ba*", "xabba", true},
      {"a*ab*b", "aab", false},
      {"a*ab*b", "aabb", true},
      {"*a*b*a*", "xaab", false},
      {"*b*a*", "xab", false},
      {"*\n*a*a", "\nba", false},
      {"a*a*\n", "ab\n", false},
  });
}

TEST(GlobFilter, EmptyFilterMatchesOnlyTheEmptyName) {
  ExpectCases({{"", "", true}, {"", "a", false}, {"", "\n", false}, {"", " ", false}});
}

TEST(GlobFilter, StarMatchesEverythingInALine) {
  ExpectCases({
      {"*", "", true},
      {"*", "a", true},
      {"*", ".profile", true},
      {"*", "a/b", true},
      {"**", "", true},
      {"**", "abc", true},
      {"a**b", "ab", true},
      {"a***b", "axyzb", true},
      {"*", "\r", true},
      {"a*b", "a\r\tb", true},
  });
}

TEST(GlobFilter, NullCountsAsTheEmptyText) {
  SString error = "old";
  EXPECT_TRUE(BixGlob::IsAMatch(nullptr, nullptr, error));
  EXPECT_TRUE(BixGlob::IsAMatch("*", nullptr, error));
  EXPECT_FALSE(BixGlob::IsAMatch(nullptr, "a", error));
  EXPECT_TRUE(BixGlob::IsGlobValid(nullptr, error));
  EXPECT_EQ("", error);
}

TEST(GlobFilter, EveryOtherCharacterStandsForItself) {
  ExpectCases({
      {"a.b", "a.b", true},         {"a.b", "axb", false},
      {"(x", "(x", true},           {"(x", "x", false},
      {"x)", "x)", true},           {"x|y", "x|y", true},
      {"x|y", "x", false},          {"x|y", "y", false},
      {"^a$", "^a$", true},         {"^a$", "a", false},
      {"a+", "a+", true},           {"a+", "aa", false},
      {"[ab", "[ab", true},         {"[ab", "a", false},
      {"\\d", "\\d", true},         {"\\d", "1", false},
      {"\\", "\\", true},           {"\\\\", "\\", false},
      {"\\Q*", "\\Qx", true},       {"a b", "a b", true},
      {"a b", "ab", false},         {"a\tb", "a\tb", true},
      {"#a", "#a", true},           {"a-z", "a-z", true},
      {"a/b", "a/b", true},         {"(?i)a", "A", false},
      {"(?i)a", "(?i)a", true},     {"(*UTF8)a", "(UTF8)a", true},
      {"$(HOME)", "$(HOME)", true}, {"%1", "%1", true},
  });
}

TEST(GlobFilter, BracesThatRepeatNothingStandForThemselves) {
  ExpectCases({
      {"{", "{", true},
      {"}", "}", true},
      {"{}", "{}", true},
      {"{a}*", "{a}.tot", true},
      {"{9A1B-22}*", "{9A1B-22}", true},
      {"a{", "a{", true},
      {"a{2", "a{2", true},
      {"a{2,3", "a{2,3", true},
      {"a{x}", "a{x}", true},
      {"a{}", "a{}", true},
      {"a}", "a}", true},
  });
}

TEST(GlobFilterCompat, QuestionMarkStandsForItself) {
  ExpectCases({
      {"a?c", "a?c", true},
      {"a?c", "abc", false},
      {"a?c", "ac", false},
      {"?", "x", false},
      {"??", "??", true},
  });
}

TEST(GlobFilterCompat, ClosingBracketIsEscapedTwice) {
  ExpectCases({
      {"a]", "a\\]", true},
      {"a]", "a]", false},
      {"]", "\\]", true},
      {"]", "]", false},
      {"[ab]", "[ab\\]", true},
      {"[ab]", "[ab]", false},
      {"[ab]", "a", false},
      {"*]", "x\\]", true},
      {"*]*", "x]y", false},
      {"*]*", "x\\]y", true},
      {"]]", "\\]\\]", true},
      {"\\]", "\\\\]", true},
      {"\\]", "\\]", false},
      {"a]{2}", "a\\]]", true},
      {"a]{2}", "a\\]\\]", false},
  });
}

TEST(GlobFilterCompat, BracesRepeatTheCharacterInFront) {
  ExpectCases({
      {"a{2}", "aa", true},
      {"a{2}", "a", false},
      {"a{2}", "aaa", false},
      {"a{2}", "a{2}", false},
      {"a{2,}", "aaaa", true},
      {"a{2,}", "a", false},
      {"a{1,2}b", "ab", true},
      {"a{1,2}b", "aab", true},
      {"a{1,2}b", "aaab", false},
      {"a{0}b", "b", true},
      {"a{0,}", "", true},
      {"a{0,}", "b", false},
      {"*a{2}.tot", "xaa.tot", true},
      {"*a{2}.tot", "xba.tot", false},
      {"?{2}", "??", true},
      {"\\{2}", "\\\\", true},
      {".{2}", "..", true},
      {".{2}", "ab", false},
      {"\xC3\xA4{2}", "\xC3\xA4\xC3\xA4", true},
      {"\xC3\xA4{2}", "\xC3\xA4\xA4", false},
      {" {2}", "  ", true},
  });
}

TEST(GlobFilter, ALineFeedMatchesOnlyItself) {
  ExpectCases({
      {"*", "a\nb", false},       {"*", "\n", false},         {"a", "a\n", false},
      {"a*", "a\n", false},       {"a*", "ab\n", false},      {"*b", "a\nb", false},
      {"a\nb", "a\nb", true},     {"a\nb", "a b", false},     {"*\n*", "\n", true},
      {"*\n*", "a\nb", true},     {"*\n*", "a\nb\nc", false}, {"*\n*\n*", "a\nb\nc", true},
      {"*\n*\n*", "a\nb", false}, {"a*\nb*", "ax\nby", true}, {"a*\nb*", "ax\ncy", false},
      {"\n", "\n", true},         {"\n", "", false},          {"\na", "\na", true},
      {"a\n", "a\n", true},       {"a\n", "a", false},        {"a{2}*", "aa\n", false},
      {"a{2}\n*", "aa\nx", true},
  });
}

TEST(GlobFilter, MatchesCharactersOfSeveralBytes) {
  ExpectCases({
      {"\xC3\xA4*", "\xC3\xA4\xC3\xB6", true},
      {"\xC3\xA4*", "\xC3\xB6\xC3\xA4", false},
      {"*\xE2\x82\xAC.tot", "5 \xE2\x82\xAC.tot", true},
      {"*\xE2\x82\xAC*", "\xE2\x82\xAD", false},
      {"*\xF0\x9F\x8F\xA0", "x\xF0\x9F\x8F\xA0", true},
      {"*", "\xF4\x8F\xBF\xBF", true},
      {"*", "\xEF\xBF\xBF", true},
      {"*", "\xED\x9F\xBF\xEE\x80\x80", true},
  });
}

TEST(GlobFilter, ANameThatIsNotUtf8IsNoMatch) {
  const std::string names[] = {
      "\xFF",
      "a\x80",
      "a\xC3",
      "\xC3(",
      "\xE2\x82",
      "\xE2(\xAC",
      "\xC0\x80",
      "\xC1\xBF",
      "\xE0\x80\x80",
      "\xE0\x9F\xBF",
      "\xED\xA0\x80",
      "\xED\xBF\xBF",
      "\xF0\x80\x80\x80",
      "\xF0\x9F\x8F",
      "\xF4\x90\x80\x80",
      "\xF5\x80\x80\x80",
      "\xF8\x88\x80\x80\x80",
      "\xFE",
      "12345678\xFF",
      "\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\x80",
  };
  for (const std::string& name : names) {
    ExpectCases({{"*", name, false}, {"a{0,}*", name, false}, {"*x", name + "x", false}});
  }
}

TEST(GlobFilter, AFilterThatIsNotUtf8IsInvalid) {
  for (const std::string filter : {"\xFF", "*\x80", "a\xC3", "\xED\xA0\x80*"})
    ExpectInvalid(filter, filter);
}

TEST(GlobFilter, ARepetitionOfNothingIsInvalid) {
  for (const std::string filter : {"x{2,1}", "*{2}", "a{2}{3}", "x{99999}", "{2}", "{2}x"}) {
    ExpectInvalid(filter, filter);
  }
}

TEST(GlobFilter, ValidFiltersHaveNoErrorText) {
  for (const char* filter :
       {"", "*", "*.tot", "(x", "x|y", "[", "]", "a{2}", "\\", "+", "{", "a{1,2}*"}) {
    SCOPED_TRACE(filter);
    SString error = "old";
    EXPECT_TRUE(BixGlob::IsGlobValid(filter, error));
    EXPECT_EQ("", error);
    error = "old";
    EXPECT_TRUE(BixGlob::IsGlobValid(filter, error));
    EXPECT_EQ("", error);
  }
}

TEST(GlobFilter, AFilterThatIsTooLongIsInvalid) {
  const std::string filter(200'000, 'a');
  ExpectInvalid(filter, filter);
  ExpectInvalid(filter + "{2}", filter + "{2}");
}

TEST(GlobFilter, PlaceholdersInTheFilterAreFilledToo) {
  SString plain;
  EXPECT_FALSE(BixGlob::IsGlobValid("x{2,1}", plain));
  const std::string reason = plain.substr(InvalidFilter("x{2,1}").size());
  // The "%2" of the filter stands in front of that of the text and takes the reason in its place.
  ScopedRecorder errors;
  SString error;
  EXPECT_FALSE(BixGlob::IsGlobValid("%2x{2,1}", error));
  EXPECT_EQ("The filter '" + reason + "x{2,1}' is invalid.\n%2", error);
  EXPECT_EQ("Internal error: SFmt: actual parameter missing " + error + "\n", errors.Text());
}

TEST(GlobFilter, TheErrorTextMayBeTheFilterOrTheName) {
  SString text = "*.tot";
  EXPECT_TRUE(BixGlob::IsAMatch(text.c_str(), "a.tot", text));
  EXPECT_EQ("", text);
  text = "a.tot";
  EXPECT_TRUE(BixGlob::IsAMatch("*.tot", text.c_str(), text));
  EXPECT_EQ("", text);
  text = "b*.tot";  // not translated yet
  EXPECT_TRUE(BixGlob::IsAMatch(text.c_str(), "b.tot", text));
  text = "c.tot";
  EXPECT_TRUE(BixGlob::IsAMatch("c*.tot", text.c_str(), text));
  text = "x{2,1}";
  EXPECT_FALSE(BixGlob::IsGlobValid(text.c_str(), text));
  EXPECT_EQ(InvalidFilter("x{2,1}"), text.substr(0, InvalidFilter("x{2,1}").size()));
}

/// Remembers what the current resource handle is while a message is delivered.
class HandleWatcher : public qv::IMessageOutputHandler {
 public:
  HandleWatcher() { bix::bixerr.PushOutput(this); }
  ~HandleWatcher() { bix::bixerr.PopOutput(); }
  bool HandleOutput(const std::string&) override {
    handles.push_back(bix::BixGetResourceHandle());
    return true;
  }
  void OutputDone() override {}

  std::vector<HINSTANCE> handles;
};

TEST(GlobFilter, TheMessageComesFromTheLibrarysOwnTexts) {
  int module = 0;
  const HINSTANCE handle = reinterpret_cast<HINSTANCE>(&module);
  const HINSTANCE before = bix::BixGetResourceHandle();
  bix::BixSetResourceHandle(handle);
  ExpectInvalid("x{2,1}", "x{2,1}");
  EXPECT_EQ(handle, bix::BixGetResourceHandle());
  {
    // A placeholder that is left over is reported while the message is made.
    HandleWatcher watcher;
    SString error;
    EXPECT_FALSE(BixGlob::IsGlobValid("%3{2,1}", error));
    EXPECT_EQ(std::vector<HINSTANCE>{bix::BixhDllInstance}, watcher.handles);
  }
  EXPECT_EQ(handle, bix::BixGetResourceHandle());
  SString error;
  EXPECT_TRUE(BixGlob::IsAMatch("a*", "ab", error));
  EXPECT_EQ(handle, bix::BixGetResourceHandle());
  bix::BixSetResourceHandle(before);
}

TEST(GlobFilter, ManyStarsGiveTheRightAnswerAtOnce) {
  const std::string as(60, 'a');
  std::string stars;
  for (int i = 0; i < 5; ++i) stars += "*a";
  ExpectCases({
      {stars + "*b", as, false},
      {stars + "*b", as + "b", true},
      {stars + "*b", as + "bc", false},
      {stars + "*b", "aaaab", false},
      {stars + "*b", "aaaaab", true},
  });
  std::string more;
  for (int i = 0; i < 2'000; ++i) more += "*a";
  ExpectCases({{more + "*b", std::string(100'000, 'a'), false},
               {more + "*b", std::string(100'000, 'a') + "b", true}});
  // More stars than the engine could nest for.
  ExpectCases({{std::string(20'000, '*') + "b", std::string(50, 'a') + "b", true}});
}

TEST(GlobFilterQuantifiers, ManyRepetitionsGiveTheRightAnswerAtOnce) {
  std::string stars;
  std::string repetitions;
  for (int i = 0; i < 30; ++i) {
    stars += "*a{1,}";
    repetitions += "a{1,}";
  }
  const std::string as(60, 'a');
  const std::string manyAs(4'000, 'a');
  ExpectCases({{stars + "b", as, false},
               {stars + "b", as + "b", true},
               {stars + "b", as + "bc", false},
               {stars + "b", std::string(29, 'a') + "b", false},
               {stars + "b", std::string(30, 'a') + "b", true},
               {repetitions + "b", manyAs + "b", true},
               {repetitions + "b", manyAs + "bc", false},
               {"a{1,}a{1,}a{1,}b", manyAs + "bc", false},
               {"*a{2,}*a{2,}b", manyAs + "bc", false},
               {"a{1,65535}a{1,65535}b", std::string(131'070, 'a') + "b", true},
               {"a{1,65535}a{1,65535}b", std::string(131'071, 'a') + "b", false},
               {"a{1,}a{1,}b", std::string(1'000'000, 'a') + "bc", false}});
}

TEST(GlobFilterQuantifiers, AFilterThatBacktracksWithoutEndIsNoMatch) {
  // A line feed that is repeated makes it the engine's.
  std::string filter = "\n{1}";
  for (int i = 0; i < 30; ++i) filter += "*a{1,}";
  ExpectCases({{filter + "b", "\n" + std::string(60, 'a'), false},
               // It would match, at the end of all time.
               {filter + "b", "\n" + std::string(60, 'a') + "b", false},
               {"\n{1}*a{1,}*a{1,}*a{1,}b", "\n" + std::string(60, 'a') + "b", true},
               {"\n{1}*a{1,}*a{1,}*a{1,}b", "\n" + std::string(60, 'a') + "bc", false},
               // A few steps, each of which looks at all of the name.
               {"\n{1}a{1,}a{1,}a{1,}b", "\n" + std::string(4'000, 'a') + "bc", false},
               {"\n{1}a{1,}a{1,}b", "\n" + std::string(1'000'000, 'a') + "bc", false}});
}

/// Runs it in a thread with a stack of one MiB, as hosts give to theirs.
void RunOnASmallStack(void (*run)()) {
#ifdef __SANITIZE_THREAD__
  constexpr std::size_t kSize = std::size_t{4} << 20;  // the sanitizer's frames are larger
#else
  constexpr std::size_t kSize = std::size_t{1} << 20;
#endif
  pthread_attr_t attributes;
  ASSERT_EQ(0, pthread_attr_init(&attributes));
  ASSERT_EQ(0, pthread_attr_setstacksize(&attributes, kSize));
  const auto start = [](void* argument) -> void* {
    reinterpret_cast<void (*)()>(argument)();
    return nullptr;
  };
  pthread_t thread;
  ASSERT_EQ(0, pthread_create(&thread, &attributes, start, reinterpret_cast<void*>(run)));
  EXPECT_EQ(0, pthread_join(thread, nullptr));
  pthread_attr_destroy(&attributes);
}

TEST(GlobFilterQuantifiers, ADeepFilterDoesNotOverflowTheStack) {
  RunOnASmallStack([] {
    std::string filter = "a{1}";
    for (int i = 0; i < 8'000; ++i) filter += "*a";
    // Without a "b" in the name the engine would not even begin.
    ExpectCases({{filter + "b", std::string(100'000, 'a') + "bc", false},
                 // The first star takes all, and each of the others nothing, one level deeper.
                 {"a{1}" + std::string(15'000, '*') + "b", "abc", false}});
    std::string optional;
    for (int i = 0; i < 5'000; ++i) optional += "a{0,1}";
    ExpectCases({{optional + "b", std::string(5'000, 'a') + "bc", false}});
  });
}

TEST(GlobFilterQuantifiers, TakeLongNames) {
  ExpectCases({{"a{1,}", std::string(60'000, 'a'), true},
               {"a{1,}b", std::string(60'000, 'a'), false},
               {"a{1,}*b", std::string(60'000, 'a') + "b", true}});
}

TEST(GlobFilter, ManyFiltersInTurnKeepTheirMeaning) {
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 200; ++i) {
      const std::string extension = "." + std::to_string(i);
      ExpectCases({{"*" + extension, "a" + extension, true},
                   {"*" + extension, "a" + extension + "x", false},
                   {"a{2}" + extension, "aa" + extension, true}});
    }
    ExpectInvalid("x{2,1}", "x{2,1}");
  }
}

TEST(GlobFilter, ThreadsMatchBesideEachOther) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 2'000; ++i) {
        SString error;
        const std::string own = "*." + std::to_string(t);
        EXPECT_TRUE(BixGlob::IsAMatch("*.tot", "a.tot", error));
        EXPECT_TRUE(BixGlob::IsAMatch("a{2}*", "aab", error));
        EXPECT_FALSE(BixGlob::IsAMatch("a{2}*", "ab", error));
        EXPECT_TRUE(BixGlob::IsAMatch(own.c_str(), ("x." + std::to_string(t)).c_str(), error));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace bix_test
