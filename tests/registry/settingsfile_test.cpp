#include "bix/settingsfile.h"

#include <cerrno>
#include <clocale>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "registry/registry_test_support.h"
#include "support/scoped_locale.h"

namespace {

using namespace std::string_view_literals;
using bix::CDefRgKey;
using bix::CDefRgValue;
using bix::CRgAttribute;
using bix::CRgFile;
using bix::CRgKey;
using bix::CRgLoader;
using bix::CRgValue;
using bix::MList;
using bix_test::Describe;
using bix_test::Directory;

using Attributes = MList<CRgAttribute*>;

struct ReadCase {
  std::string_view text;
  int result;
  const char* tree;
};

/// Reads every text through a loader of the default layer.
template <std::size_t N>
void ExpectReads(const ReadCase (&cases)[N]) {
  Directory directory;
  for (const ReadCase& c : cases) {
    SCOPED_TRACE(std::string(c.text));
    const std::string path = directory.Write("case.tot", c.text);
    CDefRgKey root("");
    CRgLoader loader(root);
    EXPECT_EQ(c.result, loader.Load(path.c_str()));
    EXPECT_EQ(c.tree, Describe(&root));
  }
}

TEST(SettingsReader, SectionsMakeKeysAndValues) {
  ExpectReads({
      {"[A/B]\n\"x\"=\"1\"\n", 0, "A\n B\n  x=1:0\n"},
      {"[A]\n\"x\"=\"1\"\n[A/B]\n\"y\"=\"2\"\n[C]", 0, "A\n x=1:0\n B\n  y=2:0\nC\n"},
      {"[A]\"x\"=\"1\"\"y\"=\"2\"[B]\"z\"=\"3\"", 0, "A\n x=1:0\n y=2:0\nB\n z=3:0\n"},
      {"[A]\n\"x\"=\"1\"\n[B]\n[A]\n\"y\"=\"2\"", 0, "A\n x=1:0\n y=2:0\nB\n"},
      {"[A]\r\n\t\"x\"\v=\f\"1\" \r\n", 0, "A\n x=1:0\n"},
      {"[a]\n[A]\n", 0, "a\nA\n"},
      {"[A]\n\"\"=\"\"\n", 0, "A\n =:0\n"},
      {"[A]\"x\"=\"1\"\"x\"=\"2\"", 0, "A\n x=1:0\n x=2:0\n"},
  });
}

TEST(SettingsReader, EmptyAndBlankFilesAreEmptyTrees) {
  ExpectReads({{"", 0, ""}, {" \t\r\n\v\f\n", 0, ""}, {"[A]", 0, "A\n"}});
}

TEST(SettingsReaderCompat, HeaderKeepsTrailingBlanks) {
  ExpectReads({
      {"[ A ]", 0, "A \n"},
      {"[ A / B C /\n D]", 0, "A \n B C \n  D\n"},
      {"[A\nB]", 0, "A\nB\n"},
      {"[A\r\n]", 0, "A\r\n\n"},
      {"[\"A\"]", 0, "\"A\"\n"},
      {"[A=(B,C)[D]", 0, "A=(B,C)[D\n"},
  });
}

TEST(SettingsReader, HeaderWithoutAComponentStopsTheReading) {
  ExpectReads({
      {"[]\"x\"=\"1\"", 1, ""},
      {"[ ]", 1, ""},
      {"[/A]", 1, ""},
      {"[A//B]\"x\"=\"1\"", 1, "A\n"},
      {"[A/]\"x\"=\"1\"", 1, "A\n"},
      {"[A/ ]", 1, "A\n"},
  });
}

TEST(SettingsReader, NumbersAndWordsAreTakenAsTheirTexts) {
  ExpectReads({
      {"[A]\"n\"=007", 0, "A\n n=7:0\n"},
      {"[A]\"n\"=0", 0, "A\n n=0:0\n"},
      {"[A]\"n\"=TRUE\"m\"=False\"l\"=true", 0, "A\n n=TRUE:0\n m=False:0\n l=true:0\n"},
      {"[A]\"n\"=a_B9 ", 0, "A\n n=a_B9:0\n"},
      {"[A]\"n\"=12\"m\"=word\n", 0, "A\n n=12:0\n m=word:0\n"},
  });
}

TEST(SettingsReaderCompat, NumbersAre32BitAndSigned) {
  ExpectReads({
      {"[A]\"n\"=2147483647", 0, "A\n n=2147483647:0\n"},
      {"[A]\"n\"=2147483648", 0, "A\n n=-2147483648:0\n"},
      {"[A]\"n\"=4294967295", 0, "A\n n=-1:0\n"},
      {"[A]\"n\"=4294967296", 0, "A\n n=0:0\n"},
      {"[A]\"n\"=42949672965", 0, "A\n n=5:0\n"},
      {"[A]\"n\"=99999999999999999999", 0, "A\n n=1661992959:0\n"},
  });
}

TEST(SettingsReaderCompat, TokenWithoutTextLeavesTheLastTextStanding) {
  ExpectReads({
      {"[A]\"n\"=-5", 1, "A\n n=n:0\n"},
      {"[A]\"n\"=-", 0, "A\n n=n:0\n"},
      {"[A]\"x\"=", 0, "A\n x=x:0\n"},
      {"[A]\"x\"==\"y\"=\"1\"", 0, "A\n x=x:0\n y=1:0\n"},
      {"[A]\"n\"=\"a\" (,=, )", 0, "A\n n=a:0(a=a)\n"},
      {"[A]\"n\"=_a", 1, "A\n n=n:0\n"},
      {"[A](K=)\"x\"=\"1\"\"y\"=\"2\"", 0, "A(K=K)\n y=2:0\n"},
  });
}

TEST(SettingsReader, EndOfFileAnywhereIsASuccess) {
  ExpectReads({
      {"[", 0, ""},
      {"[A", 0, "A\n"},
      {"[A/", 0, "A\n"},
      {"[A/B", 0, "A\n B\n"},
      {"[A]\"x\"", 0, "A\n"},
      {"[A]\"x", 0, "A\n"},
      {"[A]\"x\"=\"y", 0, "A\n x=y:0\n"},
      {"[A]\"x\"=\"", 0, "A\n x=:0\n"},
      {"[A]\"n\"=\"a\" (", 0, "A\n n=a:0\n"},
      {"[A]\"n\"=\"a\" (\"p\"", 0, "A\n n=a:0\n"},
      {"[A]\"n\"=\"a\" (\"p\"=", 0, "A\n n=a:0(p=p)\n"},
      {"[A]\"n\"=\"a\" (\"p\"=\"q", 0, "A\n n=a:0(p=q)\n"},
      {"[A] (", 0, "A\n"},
      {"[A] (K", 0, "A\n"},
      {"[A] (K=", 0, "A(K=K)\n"},
      {"[A] (K=V", 0, "A(K=V)\n"},
      {"[A] (K=V,", 0, "A(K=V)\n"},
  });
}

TEST(SettingsReaderCompat, NulByteEndsTheFile) {
  ExpectReads({
      {"\0[A]"sv, 0, ""},
      {"[A]\0[B]"sv, 0, "A\n"},
      {"[A\0]\"x\"=\"1\""sv, 0, "A\n"},
      {"[A]\"x\"=\"1\0\"\"y\"=\"2\""sv, 0, "A\n x=1:0\n"},
      {"[A]\"x\"=\"1\"\0 junk"sv, 0, "A\n x=1:0\n"},
      {"[A]\"x\"=12\0"
       "3"sv,
       0, "A\n x=12:0\n"},
      {"[A](K=V\0)\"x\"=\"1\""sv, 0, "A(K=V)\n"},
      {"[A](K\0\"x\"=\"1\""sv, 0, "A\n"},
      {"[A]\"x\"=\"1\"(\0\"y\"=\"1\""sv, 0, "A\n x=1:0\n"},
  });
}

TEST(SettingsReaderCompat, StrayCharactersBeforeTheFirstSectionAreSkipped) {
  ExpectReads({
      {"\xef\xbb\xbf[A]\"x\"=\"1\"", 0, "A\n x=1:0\n"},
      {"; # - ! * {}\n[A]", 0, "A\n"},
      {"-", 0, ""},
      {"word [A]", 1, ""},
      {"1 [A]", 1, ""},
      {"\"x\"=\"1\"\n[A]", 1, ""},
      {"=[A]", 1, ""},
      {"][A]", 1, ""},
      {"[A]\n; comment\n\"x\"=\"1\"", 1, "A\n"},
      {"[A]\"x\"=\"1\"\n;", 1, "A\n x=1:0\n"},
  });
}

TEST(SettingsReader, WhatTheGrammarDoesNotExpectStopsTheReading) {
  ExpectReads({
      {"[A]x=\"1\"[B]", 1, "A\n"},
      {"[A]\"x\" \"1\"[B]", 1, "A\n"},
      {"[A]\"x\"=\"1\",\"y\"=\"2\"", 1, "A\n x=1:0\n"},
      {"[A]\"x\"=12ab", 1, "A\n x=12:0\n"},
      {"[A]\"x\"=1.5", 1, "A\n x=1:0\n"},
      {"[A]\"x\"=a-b", 1, "A\n x=a:0\n"},
      {"[A]\"x\"=\"1\"[B]\"y\"=\"2\"]", 1, "A\n x=1:0\nB\n y=2:0\n"},
      {"[A](K=V)(L=W)", 1, "A(K=V)\n"},
      {"[A]\"x\"=\"1\"(p=1)(q=2)", 1, "A\n x=1:0(p=1)\n"},
      {"[A]()\"x\"=\"1\"", 1, "A\n"},
      {"[A]\"x\"=\"1\"()\"y\"=\"2\"", 1, "A\n x=1:0\n"},
  });
}

TEST(SettingsReader, KeyAttributesAreRawTexts) {
  ExpectReads({
      {"[A] (Kind=Base, Color = red )", 0, "A(Kind=Base,Color =red )\n"},
      {"[A](K=V)\"x\"=\"1\"", 0, "A(K=V)\n x=1:0\n"},
      {"[A](\"K\"=\"V\")", 0, "A(\"K\"=\"V\")\n"},
      {"[A](K=a b/[c])", 0, "A(K=a b/[c])\n"},
      {"[A](K=\n V\n,\nL=W)", 0, "A(K=V\n,L=W)\n"},
      {"[A/B](K=V)[A](L=W)", 0, "A(L=W)\n B(K=V)\n"},
      {"[A](K=V)[A](L=W)", 0, "A(L=W)\n"},
      {"[A](K=V)[A]", 0, "A(K=V)\n"},
      {"[A](K=V=W)\"x\"=\"1\"", 0, "A(K=V)\n x=1:0\n"},
  });
}

TEST(SettingsReaderCompat, KeyAttributeWithoutEqualsIsDropped) {
  ExpectReads({
      {"[A] (K)\"x\"=\"1\"", 0, "A\n x=1:0\n"},
      {"[A] (K=V,L)\"x\"=\"1\"", 0, "A(K=V)\n x=1:0\n"},
  });
}

TEST(SettingsReader, ValueAttributesAreSingleTokens) {
  ExpectReads({
      {"[A]\"n\"=\"a\" (\"p\"=\"1\" )", 0, "A\n n=a:0(p=1)\n"},
      {"[A]\"n\"=\"a\" (\"p\"=\"1\", \"q\"=\"2\")", 0, "A\n n=a:0(p=1,q=2)\n"},
      {"[A]\"n\"=5(p=true,7=08)\"m\"=\"\"", 0, "A\n n=5:0(p=true,7=8)\n m=:0\n"},
      {"[A]\"n\"=\"a\"(p=1/q=2;r=3)", 0, "A\n n=a:0(p=1,q=2,r=3)\n"},
  });
}

TEST(SettingsReaderCompat, AttributesWithoutCommaStopTheReading) {
  ExpectReads({
      {"[A]\"n\"=\"a\" (\"p\"=\"1\" \"q\"=\"2\" )\"m\"=\"b\"", 1, "A\n n=a:0(p=1)\n"},
  });
}

TEST(SettingsReader, QuotedTextsSpanLinesAndKnowNoEscapes) {
  ExpectReads({
      {"[A]\"x\ny\"=\" 1\n2 \"", 0, "A\n x\ny= 1\n2 :0\n"},
      {"[A]\"x\"=\"a\\\"\"y\"=\"2\"", 0, "A\n x=a\\:0\n y=2:0\n"},
      {"[A]\"x\"=\"[B]\"", 0, "A\n x=[B]:0\n"},
      {"[A]\"\xff\xc3\xa4\"=\"\x80\"", 0, "A\n \xff\xc3\xa4=\x80:0\n"},
  });
}

TEST(SettingsReader, BytesAbove127AreNeitherBlankNorLetters) {
  ExpectReads({
      {"[A]\"x\"=\xe4", 0, "A\n x=x:0\n"},
      {"[A]\"x\"=a\xe4", 1, "A\n x=a:0\n"},
      {"[A]\"x\"=\"1\"\xa0\"y\"=\"2\"", 1, "A\n x=1:0\n"},
      {"[\xa0"
       "A]",
       0,
       "\xa0"
       "A\n"},
  });
}

/// Every place of a block's edge in a text that holds all tokens.
TEST(SettingsReader, TokensMayLieAcrossTheEdgeOfABlock) {
  constexpr std::size_t kBlock = 64 * 1024;
  const std::string section =
      "[First/Se cond] (Kind=Base, Color = red )\n\"a name\"=\"a text\" (\"p\"=\"1\",q=word)\n"
      "\"number\"=12345 \n\"word\"=TRUE\n";
  const std::string want =
      "First\n Se cond(Kind=Base,Color =red )\n  a name=a text:0(p=1,q=word)\n"
      "  number=12345:0\n  word=TRUE:0\n";
  // The blanks behind it overwrite all of the block before.
  Directory directory;
  for (std::size_t at = 0; at <= section.size(); ++at) {
    SCOPED_TRACE(at);
    const std::string path = directory.Write(
        "case.tot", std::string(kBlock - at, ' ') + section + std::string(kBlock, ' '));
    CDefRgKey root("");
    CRgLoader loader(root);
    EXPECT_EQ(0, loader.Load(path.c_str()));
    EXPECT_EQ(want, Describe(&root));
  }
}

TEST(SettingsReader, TextsMayBeLongerThanManyBlocks) {
  const std::string name(200001, 'n'), text(300001, 't'), key(150001, 'k'), word(70001, 'w');
  Directory directory;
  const std::string path =
      directory.Write("long.tot", "[" + key + "](" + name + "=" + text + ")\"" + name + "\"=\"" +
                                      text + "\"\"w\"=" + word + "(" + word + "=\"" + text + "\")");
  CDefRgKey root("");
  CRgLoader loader(root);
  EXPECT_EQ(0, loader.Load(path.c_str()));
  EXPECT_TRUE(key + "(" + name + "=" + text + ")\n " + name + "=" + text + ":0\n w=" + word +
                  ":0(" + word + "=" + text + ")\n" ==
              Describe(&root));
}

TEST(SettingsReader, AnEmptyNameAndAMissingFileAreFailures) {
  Directory directory;
  CDefRgKey root("");
  CRgLoader loader(root);
  EXPECT_EQ(1, loader.Load(""));
  EXPECT_EQ(0, loader.GetErrorLine());
  EXPECT_STREQ("the name of a file", loader.GetErrorExpected());
  EXPECT_EQ(1, loader.Load(nullptr));
  EXPECT_EQ(1, loader.Load(directory.GetPath("missing").c_str()));
  EXPECT_EQ(0, loader.GetErrorLine());
  EXPECT_EQ(0, loader.GetErrorColumn());
  EXPECT_EQ(ENOENT, loader.GetError().errorNumber);
  EXPECT_STREQ("a file that can be opened for reading", loader.GetErrorExpected());
}

TEST(SettingsReader, ADirectoryCannotBeRead) {
  Directory directory;
  CDefRgKey root("");
  CRgLoader loader(root);
  EXPECT_EQ(1, loader.Load(directory.GetPath("").c_str()));
  EXPECT_EQ(0, loader.GetErrorLine());
  EXPECT_EQ(EISDIR, loader.GetError().errorNumber);
  EXPECT_STREQ("a file that can be read to its end", loader.GetErrorExpected());
}

TEST(SettingsReader, AFileThatFailsWhileItIsReadIsAFailure) {
  // Reading from address 0 of the own process fails with EIO.
  CDefRgKey root("");
  CRgLoader loader(root);
  EXPECT_EQ(1, loader.Load("/proc/self/mem"));
  EXPECT_EQ(0, loader.GetErrorLine());
  EXPECT_EQ(EIO, loader.GetError().errorNumber);
  EXPECT_STREQ("a file that can be read to its end", loader.GetErrorExpected());
}

TEST(SettingsReader, TellsWhereAndWhyReadingStopped) {
  constexpr char kSection[] = "\"[\" at the start of a section";
  constexpr char kKeyName[] = "a key name in the section header";
  constexpr char kAfterHeader[] =
      "\"(\", a quoted value name, \"[\" or the end of the file after the section header";
  constexpr char kAfterKeyAttributes[] =
      "a quoted value name, \"[\" or the end of the file after the key attributes";
  constexpr char kAttributeEquals[] = "\"=\" after the attribute name";
  constexpr char kAttributeEnd[] = "\",\" or \")\" after the attribute";
  constexpr char kValueEquals[] = "\"=\" after the value name";
  constexpr char kValue[] = "a quoted text, a number or a word after \"=\"";
  constexpr char kAfterValue[] =
      "\"(\", a quoted value name, \"[\" or the end of the file after the value";
  constexpr char kAfterValueAttributes[] =
      "a quoted value name, \"[\" or the end of the file after the value attributes";
  const struct {
    std::string text;
    int line;
    int column;
    const char* expected;
  } cases[] = {
      {"word", 1, 1, kSection},
      {"\n\n  ;12", 3, 4, kSection},
      {"\"x\"=\"1\"\n[A]", 1, 1, kSection},
      {"[]", 1, 2, kKeyName},
      {"[A]\n[B/\n/C]", 3, 1, kKeyName},
      {"[A/]", 1, 4, kKeyName},
      {"[A]\nx=\"1\"", 2, 1, kAfterHeader},
      {"[A]]", 1, 4, kAfterHeader},
      {"[A]\n(K=V)\n(L=W)", 3, 1, kAfterKeyAttributes},
      {"[A] (K=V) word", 1, 11, kAfterKeyAttributes},
      {"[A]\n()\"x\"=\"1\"", 2, 3, kAttributeEquals},
      {"[A]\n(K)x", 2, 3, kAttributeEquals},
      {"[A]\n\"x\" \"1\"", 2, 5, kValueEquals},
      {"[A]\n\"x\"\n", 0, 0, ""},
      {"[A]\n\"n\"=-5", 2, 5, kValue},
      {"[A]\n\"n\"= \n\"m\"=\"1\"", 3, 4, kAfterValue},
      {"[A]\n\"x\"=\"1\",\"y\"=\"2\"", 2, 8, kAfterValue},
      {"[A]\n\"x\"=1.5", 2, 6, kAfterValue},
      {"[A]\n\"x\"=12ab", 2, 7, kAfterValue},
      {"[A]\n\"x\"=false;", 2, 10, kAfterValue},
      {"[A]\n\"x\"=true;", 2, 9, kAfterValue},
      {"[A]\n\"x\"=word;", 2, 9, kAfterValue},
      {"[A]\n\"x\"=\"1\"\n\"y\"=\"2\"\n]", 4, 1, kAfterValue},
      {"[A]\n\"x\"=\"1\" (\"p\"=\"1\" \"q\"=\"2\" )\n", 2, 18, kAttributeEnd},
      {"[A]\n\"x\"=\"1\" ()\"y\"=\"2\"", 2, 11, kAttributeEquals},
      {"[A]\n\"x\"=\"1\" (p,q)\"y\"=\"2\"", 2, 11, kAttributeEquals},
      {"[A]\n\"x\"=\"1\" (p=1) (q=2)\n", 2, 15, kAfterValueAttributes},
      {"[A]\n\"x\"=\"1\" (p=-5)\n\"y\"=\"2\"", 2, 12, kValue},
      {"[A]\n\"x\"=\"1\" (p=1, q=%5)\n\"y\"=\"2\"", 2, 17, kValue},
      {"[A]\n\"x\"=\"1\" (p=-)\n\"y\"=\"2\";", 3, 8, kAfterValue},
      // A quoted text in which the closing quote is missing ends at the next one.
      {"[A]\n\"x\"=\"1\n\"y\"=\"2\"\n", 3, 2, kAfterValue},
      // What reading took though it looks odd is not what stopped it later.
      {"[A](K)\"x\"=\"1\"\n[B]\n;", 3, 1, kAfterHeader},
      {"[A](K)[B]\n;", 2, 1, kAfterHeader},
      {"[A]\"n\"=-\"m\"=\"1\"\n;", 2, 1, kAfterValue},
      {"[A]\"x\"=\"1\"(p=1;q=2)\n;", 2, 1, kAfterValueAttributes},
      // Columns count bytes; lines end with a line feed.
      {"[A]\r\n\"\xc3\xa4\"=\"1\";", 2, 9, kAfterValue},
      {"[A]" + std::string(65536, '\n') + "\"x\"=\"" + std::string(70000, '\n') + "\";", 135537, 2,
       kAfterValue},
      {"[A]\"x\"=\"" + std::string(200000, 'x') + "\";", 1, 200010, kAfterValue},
      {"[A]\"x\"=" + std::string(65528, ' ') + ";" + std::string(70000, ' ') + ";", 1, 65536,
       kValue},
      {"[A]\"x\"=" + std::string(65529, ' ') + ";" + std::string(70000, ' ') + ";", 1, 65537,
       kValue},
      {"[A]\"x\"=\"1\"\n", 0, 0, ""},
      {"", 0, 0, ""},
  };
  Directory directory;
  CDefRgKey root("");
  CRgLoader loader(root);
  CRgFile file(nullptr);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text.substr(0, 60));
    const std::string path = directory.Write("case.tot", c.text);
    EXPECT_EQ(c.line == 0 ? 0 : 1, loader.Load(path.c_str()));
    EXPECT_EQ(c.line, loader.GetErrorLine());
    EXPECT_EQ(c.column, loader.GetErrorColumn());
    EXPECT_STREQ(c.expected, loader.GetErrorExpected());
    EXPECT_EQ(0, loader.GetError().errorNumber);

    EXPECT_EQ(c.line == 0 ? 0 : 1, file.Load(path.c_str()));
    EXPECT_EQ(c.line, file.GetLoadError().line);
    EXPECT_EQ(c.column, file.GetLoadError().column);
    EXPECT_STREQ(c.expected, file.GetLoadError().expected);
  }
}

TEST(SettingsReader, WhatIsALetterIsUpToTheLocale) {
  Directory directory;
  const std::string path = directory.Write("a", "[A]\"x\"=\xE9t\xE9_2 \"y\"=aBc\xDF");
  const auto read = [&path] {
    CDefRgKey root("");
    const int result = CRgLoader(root).Load(path.c_str());
    return std::to_string(result) + " " + Describe(&root);
  };
  {
    const bix_test::ScopedLocale locale(bix_test::kLatin1Locale);
    EXPECT_EQ("0 A\n x=\xE9t\xE9_2:0\n y=aBc\xDF:0\n", read());
  }
  // Elsewhere it is a character that starts no token, and the text of the name stands.
  for (const char* const name : {bix_test::kUtf8Locale, "C"}) {
    const bix_test::ScopedLocale locale(name);
    EXPECT_EQ("1 A\n x=x:0\n", read());
  }
}

TEST(SettingsReader, OneLoaderReadsSeveralFilesIntoOneRoot) {
  Directory directory;
  const std::string first = directory.Write("1", "[A]\"x\"=\"1\"");
  const std::string broken = directory.Write("2", "[B]\"y\"=-5");
  const std::string last = directory.Write("3", "[A]\"x\"=\"2\"[C](K=V)");
  CDefRgKey root("");
  CRgLoader loader(root);
  EXPECT_EQ(0, loader.Load(first.c_str()));
  EXPECT_EQ(1, loader.Load(broken.c_str()));
  EXPECT_EQ(1, loader.GetErrorLine());
  EXPECT_EQ(0, loader.Load(last.c_str()));
  EXPECT_EQ(0, loader.GetErrorLine());
  EXPECT_STREQ("", loader.GetErrorExpected());
  EXPECT_EQ("A\n x=1:0\n x=2:0\nB\n y=y:0\nC(K=V)\n", Describe(&root));
}

/// Logs the calls of the loader. Names that begin with "-" are refused, and attributes are treated
/// as the name says.
class LayerKey : public CDefRgKey {
 public:
  LayerKey(const char* name, std::string& log) : CDefRgKey(name), m_log(log) {}

  CRgKey* CreateKey(const char* name, Attributes* attributes) override {
    m_log += std::string("key ") + name + (attributes != nullptr ? " with list\n" : "\n");
    if (name[0] == '-') return nullptr;
    CRgKey* key = FindKey(name);
    if (key == nullptr) AddKey(key = new LayerKey(name, m_log));
    return key;
  }
  CRgValue* CreateValue(const char* name, CRgValue::RvType type, const char* value,
                        Attributes* attributes) override {
    m_log += std::string(GetName()) + " value " + name + " " + std::to_string(type) + " " + value +
             bix_test::DescribeAttributes(*attributes) + "\n";
    if (name[0] == '-') return nullptr;
    auto* made = new CDefRgValue(name, type, value);
    // "all" takes every attribute, "one" the last, any other none.
    for (void* position = attributes->GetHeadPosition(); position != nullptr;) {
      CRgAttribute* attribute = attributes->GetNext(position);
      if (std::strcmp(name, "all") == 0 || (std::strcmp(name, "one") == 0 && position == nullptr))
        made->AddAttribute(attribute);
    }
    AddValue(made);
    return made;
  }
  void SetAttributes(Attributes* attributes) override {
    m_log +=
        std::string(GetName()) + " attributes" + bix_test::DescribeAttributes(*attributes) + "\n";
    CDefRgKey::SetAttributes(attributes);
  }
  CRgKey* UseAttributes(Attributes* attributes, const char* name) override {
    m_log +=
        std::string(GetName()) + " uses " + name + bix_test::DescribeAttributes(*attributes) + "\n";
    if (std::strcmp(name, "-made") != 0 && std::strcmp(name, "-bare") != 0) return nullptr;
    auto* key = new LayerKey(name, m_log);
    if (std::strcmp(name, "-made") == 0) key->CRgKey::SetAttributes(attributes);
    AddKey(key);
    return key;
  }

 private:
  std::string& m_log;
};

struct LayerCase {
  const char* text;
  const char* log;
  const char* tree;
};

template <std::size_t N>
void ExpectLayerCalls(const LayerCase (&cases)[N]) {
  Directory directory;
  for (const LayerCase& c : cases) {
    SCOPED_TRACE(c.text);
    const std::string path = directory.Write("case.tot", c.text);
    std::string log;
    LayerKey root("root", log);
    CRgLoader loader(root);
    EXPECT_EQ(0, loader.Load(path.c_str()));
    EXPECT_EQ(c.log, log);
    EXPECT_EQ(c.tree, Describe(&root));
  }
}

TEST(SettingsReaderLayers, CreateKeyIsCalledForEveryComponentWithoutAList) {
  ExpectLayerCalls({
      {"[A/B](K=V)", "key A\nkey B\nB attributes(K=V)\n", "A\n B(K=V)\n"},
      {"[A](K=V)[A]", "key A\nA attributes(K=V)\nkey A\n", "A(K=V)\n"},
      {"[A/B][A/B]", "key A\nkey B\nkey A\nkey B\n", "A\n B\n"},
  });
}

TEST(SettingsReaderLayers, RefusedSectionIsPassedOver) {
  ExpectLayerCalls({
      {"[-A]\"x\"=\"1\"[B]\"y\"=\"2\"", "key -A\nkey B\nB value y 0 2\n", "B\n y=2:0\n"},
      {"[A/-B/C]\"x\"=\"1\"(p=1)", "key A\nkey -B\n", "A\n"},
      {"[-A](K=V)\"x\"=\"1\"", "key -A\n", ""},
  });
}

TEST(SettingsReaderLayers, UseAttributesGetsTheRefusedComponent) {
  ExpectLayerCalls({
      // Null: the attributes are deleted and the values passed over.
      {"[A/-B/C](K=V)\"x\"=\"1\"", "key A\nkey -B\nA uses -B(K=V)\n", "A\n"},
      // A key made with the attributes keeps them; one made without gets them.
      {"[A/-made/C](K=V,L=W)\"x\"=\"1\"",
       "key A\nkey -made\nA uses -made(K=V,L=W)\n-made value x 0 1\n",
       "A\n -made(K=V,L=W)\n  x=1:0\n"},
      {"[A/-bare](K=V)\"x\"=\"1\"",
       "key A\nkey -bare\nA uses -bare(K=V)\n-bare attributes(K=V)\n-bare value x 0 1\n",
       "A\n -bare(K=V)\n  x=1:0\n"},
      // Of several refused sections each names its own component.
      {"[A/-made](K=V)[A/-bare/C](L=W)",
       "key A\nkey -made\nA uses -made(K=V)\n"
       "key A\nkey -bare\nA uses -bare(L=W)\n-bare attributes(L=W)\n",
       "A\n -made(K=V)\n -bare(L=W)\n"},
      // Where the first component is refused there is no key to ask, whatever came before.
      {"[A][-made](K=V)\"x\"=\"1\"", "key A\nkey -made\n", "A\n"},
      // Without attributes it is not asked.
      {"[A/-made]\"x\"=\"1\"", "key A\nkey -made\n", "A\n"},
  });
}

TEST(SettingsReaderLayers, ValueGetsTheAttributesItsLayerLeft) {
  ExpectLayerCalls({
      {"[A]\"x\"=\"1\"(p=1,q=2)", "key A\nA value x 0 1(p=1,q=2)\n", "A\n x=1:0(p=1,q=2)\n"},
      {"[A]\"all\"=\"1\"(p=1,q=2)", "key A\nA value all 0 1(p=1,q=2)\n", "A\n all=1:0(p=1,q=2)\n"},
      {"[A]\"one\"=\"1\"(p=1,q=2,r=3)", "key A\nA value one 0 1(p=1,q=2,r=3)\n",
       "A\n one=1:0(r=3,p=1,q=2)\n"},
      {"[A]\"-x\"=\"1\"(p=1,q=2)\"y\"=\"2\"", "key A\nA value -x 0 1(p=1,q=2)\nA value y 0 2\n",
       "A\n y=2:0\n"},
  });
}

TEST(SettingsReaderLayers, ManyAttributesOfOneValueAreAllHandedOver) {
  constexpr int kCount = 100000;
  std::string text = "[A]\"all\"=\"1\"(a0=0";
  for (int i = 1; i < kCount; ++i) text += ",a" + std::to_string(i) + "=" + std::to_string(i);
  Directory directory;
  const std::string path = directory.Write("many.tot", text + ")");
  std::string log;
  LayerKey root("root", log);
  CRgLoader loader(root);
  EXPECT_EQ(0, loader.Load(path.c_str()));
  EXPECT_EQ(kCount, root.FindKey("A")->FindValue("all")->GetAttributeCount());
}

/// Looks at the descriptor of the file that is being loaded, and throws when told.
class WatchingKey : public CDefRgKey {
 public:
  WatchingKey(const std::string& path, bool throws)
      : CDefRgKey(""), m_path(path), m_throws(throws) {}
  CRgKey* CreateKey(const char*, Attributes*) override {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code error;
      if (std::filesystem::read_symlink(entry.path(), error) != m_path) continue;
      ++openCount;
      const int flags = fcntl(std::stoi(entry.path().filename()), F_GETFD);
      closesOnExec = flags >= 0 && (flags & FD_CLOEXEC) != 0;
    }
    if (m_throws) throw std::bad_alloc();
    return nullptr;
  }
  int openCount = 0;
  bool closesOnExec = false;

 private:
  std::string m_path;
  bool m_throws;
};

int CountDescriptors() {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    count += entry.path().empty() ? 0 : 1;
  return count;
}

TEST(SettingsReader, FileIsOpenDuringLoadOnlyAndClosesOnExec) {
  Directory directory;
  const std::string path = directory.Write("a.tot", "[A]");
  const int before = CountDescriptors();
  WatchingKey root(path, false);
  CRgLoader loader(root);
  EXPECT_EQ(0, loader.Load(path.c_str()));
  EXPECT_EQ(1, root.openCount);
  EXPECT_TRUE(root.closesOnExec);
  EXPECT_EQ(before, CountDescriptors());
}

TEST(SettingsReader, ExceptionOfALayerClosesTheFileAndTheLoaderStaysUsable) {
  Directory directory;
  const std::string path = directory.Write("a.tot", "[A]");
  const std::string blank = directory.Write("b.tot", "\n");
  const int before = CountDescriptors();
  WatchingKey root(path, true);
  CRgLoader loader(root);
  EXPECT_THROW(loader.Load(path.c_str()), std::bad_alloc);
  EXPECT_EQ(before, CountDescriptors());
  EXPECT_EQ(0, loader.Load(blank.c_str()));
}

TEST(SettingsReader, PipeIsReadNoFurtherThanTheSettings) {
  Directory directory;
  const std::string path = directory.GetPath("pipe");
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(fd, 0);
  const std::string_view text = "[A]\"x\"=\"1\"\0rest"sv;
  ASSERT_EQ(static_cast<ssize_t>(text.size()), write(fd, text.data(), text.size()));
  CDefRgKey root("");
  CRgLoader loader(root);
  EXPECT_EQ(0, loader.Load(path.c_str()));
  EXPECT_EQ("A\n x=1:0\n", Describe(&root));
  char rest[16] = "";
  EXPECT_EQ(4, read(fd, rest, sizeof rest - 1));
  EXPECT_STREQ("rest", rest);
  close(fd);
}

TEST(SettingsReader, PipeIsReadToItsEnd) {
  Directory directory;
  const std::string path = directory.GetPath("pipe");
  ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
  std::thread writer([&path] {
    const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    for (const char* piece : {"[A", "]\"x\"=\"1", "2\"", "\n"})
      EXPECT_EQ(static_cast<ssize_t>(std::strlen(piece)), write(fd, piece, std::strlen(piece)));
    close(fd);
  });
  CDefRgKey root("");
  CRgLoader loader(root);
  EXPECT_EQ(0, loader.Load(path.c_str()));
  writer.join();
  EXPECT_EQ("A\n x=12:0\n", Describe(&root));
}

// Writer.

std::string DumpedValue(const char* name, CRgValue::RvType type, const char* value,
                        Attributes* attributes) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* file = open_memstream(&text, &size);
  EXPECT_TRUE(CRgValue::Dump(file, name, type, value, attributes));
  std::fclose(file);
  std::string result(text, size);
  std::free(text);
  return result;
}

TEST(SettingsWriter, ValueLinesQuoteTextsAndLeaveOtherTypesBare) {
  CRgAttribute p("p", "1"), q("q", "2");
  Attributes none, one, two;
  one.AddTail(&p);
  two.AddTail(&p);
  two.AddTail(&q);
  const struct {
    const char* name;
    int type;
    const char* value;
    Attributes* attributes;
    const char* want;
  } cases[] = {
      {"Name", 0, "Text", nullptr, "\"Name\"=\"Text\" \n"},
      {"Name", 0, "Text", &none, "\"Name\"=\"Text\" \n"},
      {"Name", 1, "true", nullptr, "\"Name\"=true \n"},
      {"Name", 2, "12", nullptr, "\"Name\"=12 \n"},
      {"Name", -1, "x", nullptr, "\"Name\"=x \n"},
      {"Name", 0, "Text", &one, "\"Name\"=\"Text\" (\"p\"=\"1\" )\n"},
      {"Name", 1, "true", &one, "\"Name\"=true (\"p\"=1 )\n"},
      {"Name", 0, "Text", &two, "\"Name\"=\"Text\" (\"p\"=\"1\" \"q\"=\"2\" )\n"},
      {"Name", 2, "5", &two, "\"Name\"=5 (\"p\"=1 \"q\"=2 )\n"},
      {"", 0, "", nullptr, "\"\"=\"\" \n"},
      {nullptr, 1, nullptr, nullptr, "\"\"= \n"},
      {"\xc3\xa4", 0, "\xff\x80", nullptr, "\"\xc3\xa4\"=\"\xff\x80\" \n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.want);
    EXPECT_EQ(c.want, DumpedValue(c.name, c.type, c.value, c.attributes));
  }
}

TEST(SettingsWriter, LinesOfAnyLengthAreWrittenWhole) {
  for (const std::size_t length : {100u, 500u, 505u, 511u, 512u, 513u, 1024u, 100000u}) {
    SCOPED_TRACE(length);
    const std::string name(length, 'n'), text(length, 't');
    EXPECT_TRUE("\"" + name + "\"=\"" + text + "\" \n" ==
                DumpedValue(name.c_str(), 0, text.c_str(), nullptr));
  }
}

TEST(SettingsWriterCompat, NothingIsEscaped) {
  EXPECT_EQ("\"a\"b\"=\"c\"d\\\n[e]\" \n", DumpedValue("a\"b", 0, "c\"d\\\n[e]", nullptr));
}

TEST(SettingsWriterCompat, TwoAttributesDoNotReadBack) {
  Directory directory;
  const std::string path = directory.GetPath("a.tot");
  CRgFile file(nullptr);
  file.SetAttributeValue("A", "x", "1", "p", "1");
  ASSERT_EQ(0, file.Save(path.c_str()));
  EXPECT_EQ(0, CRgFile(nullptr).Load(path.c_str()));
  file.SetAttributeValue("A", "x", "1", "q", "2");
  ASSERT_EQ(0, file.Save(path.c_str()));
  EXPECT_EQ("\n[A]\n\n\"x\"=\"1\" (\"p\"=\"1\" \"q\"=\"2\" )\n", bix_test::ReadWhole(path));
  EXPECT_EQ(1, CRgFile(nullptr).Load(path.c_str()));
}

TEST(SettingsWriter, ValuesStandBeforeSubKeysUnderTheirFullPath) {
  CRgFile file(nullptr);
  file.SetValue("Path/To/Key", "Name", "Text");
  file.SetValue("Path", "x", "1");
  file.SetValue("Path/To/Other", "y", "2");
  file.SetValue("Second", "z", "3");
  file.CreateKey("Path/Empty", nullptr, nullptr)
      ->GetAttributeList()
      ->AddTail(new CRgAttribute("k", "v"));
  EXPECT_EQ(
      "\n[Path]\n\n\"x\"=\"1\" \n"
      "\n[Path/To/Key]\n\n\"Name\"=\"Text\" \n"
      "\n[Path/To/Other]\n\n\"y\"=\"2\" \n"
      "\n[Second]\n\n\"z\"=\"3\" \n",
      bix_test::Dumped(*file.GetKeyRoot(), nullptr));
}

TEST(SettingsWriter, ParentPathStandsBeforeTheName) {
  CRgFile file(nullptr);
  file.SetValue("A/B", "x", "1");
  const CRgKey* key = file.FindKey("A");
  EXPECT_EQ("\n[A/B]\n\n\"x\"=\"1\" \n", bix_test::Dumped(*key, ""));
  EXPECT_EQ("\n[P/Q/A/B]\n\n\"x\"=\"1\" \n", bix_test::Dumped(*key, "P/Q"));
  EXPECT_EQ("\n[B]\n\n\"x\"=\"1\" \n", bix_test::Dumped(*key, nullptr));
}

TEST(SettingsWriterCompat, KeyWithoutValuesHasNoHeader) {
  CRgFile file(nullptr);
  file.CreateKey("Empty/Inner", nullptr, nullptr);
  EXPECT_EQ("", bix_test::Dumped(*file.GetKeyRoot(), nullptr));
  Directory directory;
  const std::string path = directory.GetPath("a.tot");
  file.SetValue("Kept", "x", "1");
  ASSERT_EQ(0, file.Save(path.c_str()));
  CRgFile back(nullptr);
  EXPECT_EQ(0, back.Load(path.c_str()));
  EXPECT_EQ("Kept\n x=1:0\n", Describe(back.GetKeyRoot()));
}

TEST(SettingsWriterCompat, RootValuesDoNotReadBack) {
  CRgFile file(nullptr);
  file.GetKeyRoot()->CreateValue("x", 0, "1", nullptr);
  file.SetValue("A", "y", "2");
  Directory directory;
  const std::string path = directory.GetPath("a.tot");
  ASSERT_EQ(0, file.Save(path.c_str()));
  EXPECT_EQ("\"x\"=\"1\" \n\n[A]\n\n\"y\"=\"2\" \n", bix_test::ReadWhole(path));
  EXPECT_EQ(1, CRgFile(nullptr).Load(path.c_str()));
}

TEST(SettingsWriterCompat, BareTypesAreQuotedAfterALoad) {
  Directory directory;
  const std::string path = directory.Write("a.tot", "[A]\"n\"=12 \"w\"=word \"b\"=true");
  CRgFile file(nullptr);
  ASSERT_EQ(0, file.Load(path.c_str()));
  ASSERT_EQ(0, file.Save(nullptr));
  EXPECT_EQ("\n[A]\n\n\"n\"=\"12\" \n\"w\"=\"word\" \n\"b\"=\"true\" \n",
            bix_test::ReadWhole(path));
}

TEST(SettingsWriter, AttributeOfALoadedValueIsWrittenBack) {
  Directory directory;
  const std::string text = "\n[A]\n\n\"x\"=\"1\" (\"fixed\"=\"true\" )\n\"y\"=\"2\" \n";
  const std::string path = directory.Write("a.tot", text);
  CRgFile file(nullptr);
  ASSERT_EQ(0, file.Load(path.c_str()));
  const std::string copy = directory.GetPath("b.tot");
  ASSERT_EQ(0, file.Save(copy.c_str()));
  EXPECT_EQ(text, bix_test::ReadWhole(copy));
}

/// Writes a mark before and after what its base writes.
class MarkingKey : public CDefRgKey {
 public:
  using CDefRgKey::CDefRgKey;
  void Dump(std::FILE* file, const char* parentPath) const override {
    std::fprintf(file, "<%s in %s>\n", GetName(), parentPath);
    CDefRgKey::Dump(file, parentPath);
    std::fprintf(file, "</%s in %s>\n", GetName(), parentPath);
  }
};

TEST(SettingsWriter, DumpOfADerivedKeyIsCalledWithItsParentPath) {
  CDefRgKey root("");
  auto* outer = new MarkingKey("Outer");
  auto* inner = new MarkingKey("Inner");
  root.AddKey(outer);
  outer->AddKey(inner);
  outer->CreateValue("x", 0, "1", nullptr);
  inner->CreateKey("Plain", nullptr)->CreateValue("y", 0, "2", nullptr);
  EXPECT_EQ(
      "<Outer in >\n\n[Outer]\n\n\"x\"=\"1\" \n<Inner in Outer>\n"
      "\n[Outer/Inner/Plain]\n\n\"y\"=\"2\" \n</Inner in Outer>\n</Outer in >\n",
      bix_test::Dumped(root, nullptr));
}

/// Gives its sub-keys another parent path than its own.
class MovingKey : public CDefRgKey {
 public:
  using CDefRgKey::CDefRgKey;
  void Dump(std::FILE* file, const char* parentPath) const override {
    CDefRgKey::Dump(file, (std::string(parentPath) + "!").c_str());
  }
};

TEST(SettingsWriter, DerivedKeyMayChangeTheParentPath) {
  CDefRgKey root("");
  auto* moving = new MovingKey("M");
  root.CreateKey("A", nullptr)->AddKey(moving);
  root.FindKey("A")->CreateKey("B", nullptr)->CreateValue("y", 0, "2", nullptr);
  moving->CreateKey("C", nullptr)->CreateValue("x", 0, "1", nullptr);
  EXPECT_EQ("\n[A!/M/C]\n\n\"x\"=\"1\" \n\n[A/B]\n\n\"y\"=\"2\" \n",
            bix_test::Dumped(root, nullptr));
}

/// A derived key far down: it must be called there as well, with its parent's path.
TEST(SettingsWriter, DumpKeepsOrderAndPathsAtAnyDepth) {
  for (const int depth : {1, 62, 63, 64, 65, 66, 67, 100, 300}) {
    SCOPED_TRACE(depth);
    // At every level: values, a first sub-key with the next level, and a second one.
    CDefRgKey root("");
    CRgKey* key = &root;
    std::string path, head, tail;
    for (int i = 0; i < depth; ++i) {
      const std::string name = "k" + std::to_string(i);
      const std::string parent = path;
      if (!path.empty()) path += "/";
      path += name;
      auto* next = new MarkingKey(name.c_str());
      key->AddKey(next);
      CRgKey* other = key->CreateKey("other", nullptr);
      other->CreateValue("o", 0, name.c_str(), nullptr);
      other->CreateKey("inner", nullptr)->CreateValue("i", 0, name.c_str(), nullptr);
      const std::string otherPath = parent.empty() ? "other" : parent + "/other";
      tail = "\n[" + otherPath + "]\n\n\"o\"=\"" + name + "\" \n\n[" + otherPath +
             "/inner]\n\n\"i\"=\"" + name + "\" \n" + tail;
      head += "<" + name + " in " + parent + ">\n";
      if (i % 3 == 0) {
        next->CreateValue("v", 0, name.c_str(), nullptr);
        head += "\n[" + path + "]\n\n\"v\"=\"" + name + "\" \n";
      }
      key = next;
    }
    // The closing marks come early far down; the rest has one order.
    std::string got = bix_test::Dumped(root, nullptr);
    for (std::size_t at; (at = got.find("</")) != std::string::npos;)
      got.erase(at, got.find('\n', at) + 1 - at);
    EXPECT_EQ(head + tail, got);
  }
}

TEST(SettingsFile, HundredThousandComponentsAreLoadedWrittenAndDeleted) {
  constexpr int kDepth = 100000;
  std::string header = "k";
  for (int i = 1; i < kDepth; ++i) header += "/k";
  const std::string text = "\n[" + header + "]\n\n\"x\"=\"1\" \n";
  Directory directory;
  const std::string path = directory.Write("deep.tot", text);
  const std::string copy = directory.GetPath("copy.tot");
  CRgFile file(nullptr);
  ASSERT_EQ(0, file.Load(path.c_str()));
  ASSERT_EQ(0, file.Save(copy.c_str()));
  EXPECT_TRUE(text == bix_test::ReadWhole(copy));
  EXPECT_STREQ("1", file.GetValue(header.c_str(), "x"));
  file.GetKeyRoot()->Empty();
  EXPECT_EQ(0, file.GetKeyRoot()->GetKeyCount());
  ASSERT_EQ(0, file.Load(path.c_str()));
}

TEST(SettingsFile, DumpStopsNowhereWhenTheStreamFails) {
  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(nullptr, full);
  CRgFile file(nullptr);
  for (int i = 0; i < 10000; ++i) file.SetValue("A", std::to_string(i).c_str(), "text");
  file.GetKeyRoot()->Dump(full, nullptr);
  EXPECT_NE(0, std::ferror(full));
  std::fclose(full);
}

// Files.

TEST(SettingsFile, LoadReplacesAndMergeAdds) {
  Directory directory;
  const std::string first = directory.Write("1", "[A]\"x\"=\"1\"");
  const std::string second = directory.Write("2", "[A]\"x\"=\"2\"[B]");
  CRgFile file(nullptr);
  EXPECT_EQ(0, file.Load(first.c_str()));
  EXPECT_EQ(0, file.Merge(second.c_str()));
  EXPECT_EQ("A\n x=1:0\n x=2:0\nB\n", Describe(file.GetKeyRoot()));
  EXPECT_EQ(0, file.Load(second.c_str()));
  EXPECT_EQ("A\n x=2:0\nB\n", Describe(file.GetKeyRoot()));
}

TEST(SettingsFileCompat, FailedMergeEmptiesTheTree) {
  Directory directory;
  const std::string good = directory.Write("1", "[A]\"x\"=\"1\"");
  const std::string broken = directory.Write("2", "[B]\"y\"=-5");
  for (const std::string& name : {broken, directory.GetPath("missing"), std::string()}) {
    SCOPED_TRACE(name);
    CRgFile file(nullptr);
    ASSERT_EQ(0, file.Load(good.c_str()));
    file.GetKeyRoot()->GetAttributeList()->AddTail(new CRgAttribute("k", "v"));
    EXPECT_EQ(1, file.Merge(name.c_str()));
    EXPECT_EQ("", Describe(file.GetKeyRoot()));
    EXPECT_EQ(0, file.GetKeyRoot()->GetAttributeList()->GetCount());
    ASSERT_EQ(0, file.Load(good.c_str()));
    EXPECT_EQ(1, file.Load(name.c_str()));
    EXPECT_EQ("", Describe(file.GetKeyRoot()));
    EXPECT_EQ(nullptr, file.FindKey("A"));
  }
}

TEST(SettingsFileCompat, LoadRemembersOnlyTheFirstName) {
  Directory directory;
  const std::string missing = directory.GetPath("missing");
  const std::string other = directory.Write("other", "[A]\"x\"=\"1\"");
  CRgFile file(nullptr);
  EXPECT_EQ(1, file.Load(missing.c_str()));
  EXPECT_EQ(0, file.Load(other.c_str()));
  file.SetValue("A", "y", "2");
  EXPECT_EQ(0, file.Save(nullptr));
  EXPECT_EQ("\n[A]\n\n\"x\"=\"1\" \n\"y\"=\"2\" \n", bix_test::ReadWhole(missing));
  EXPECT_EQ("[A]\"x\"=\"1\"", bix_test::ReadWhole(other));
}

TEST(SettingsFile, LoadTakesItsNameAlsoFromTheTreeThatItEmpties) {
  Directory directory;
  const std::string second = directory.Write("second", "[B]\"y\"=\"2\"");
  const std::string first = directory.Write("first", "[A]\"next\"=\"" + second + "\"");
  CRgFile file(nullptr);
  ASSERT_EQ(0, file.Merge(first.c_str()));
  EXPECT_EQ(0, file.Load(file.GetValue("A", "next")));
  EXPECT_STREQ("2", file.GetValue("B", "y"));
  file.SetValue("B", "y", "3");
  EXPECT_EQ(0, file.Save(nullptr));
  EXPECT_EQ("\n[B]\n\n\"y\"=\"3\" \n", bix_test::ReadWhole(second));
}

TEST(SettingsFile, MergeRemembersNoName) {
  Directory directory;
  const std::string path = directory.Write("a", "[A]\"x\"=\"1\"");
  CRgFile file(nullptr);
  EXPECT_EQ(0, file.Merge(path.c_str()));
  EXPECT_EQ(1, file.Save(nullptr));
}

TEST(SettingsFileCompat, SaveDoesNotRememberTheName) {
  Directory directory;
  const std::string path = directory.GetPath("a");
  CRgFile file(nullptr);
  file.SetValue("A", "x", "1");
  EXPECT_EQ(1, file.Save(nullptr));
  EXPECT_EQ(1, file.Save(""));
  EXPECT_EQ(0, file.Save(path.c_str()));
  EXPECT_EQ("\n[A]\n\n\"x\"=\"1\" \n", bix_test::ReadWhole(path));
  EXPECT_EQ(1, file.Save(nullptr));
}

TEST(SettingsFile, SaveReplacesWhatTheFileHeld) {
  Directory directory;
  const std::string path = directory.Write("a", std::string(100000, 'x'));
  CRgFile file(nullptr);
  EXPECT_EQ(0, file.Save(path.c_str()));
  EXPECT_EQ("", bix_test::ReadWhole(path));
  file.SetValue("A", "x", "1");
  EXPECT_EQ(0, file.Save(path.c_str()));
  EXPECT_EQ("\n[A]\n\n\"x\"=\"1\" \n", bix_test::ReadWhole(path));
  EXPECT_FALSE(std::filesystem::exists(path + "~"));
}

TEST(SettingsFile, SaveReturnsTheErrorNumberOfAFailure) {
  Directory directory;
  const std::string plain = directory.Write("plain", "");
  CRgFile file(nullptr);
  for (int i = 0; i < 10000; ++i) file.SetValue("A", std::to_string(i).c_str(), "text");
  EXPECT_EQ(ENOENT, file.Save(directory.GetPath("missing/a").c_str()));
  EXPECT_EQ(ENOTDIR, file.Save((plain + "/a").c_str()));
  EXPECT_EQ(EISDIR, file.Save(directory.GetPath("").c_str()));
  EXPECT_EQ(ENAMETOOLONG, file.Save(directory.GetPath(std::string(300, 'n')).c_str()));
  EXPECT_EQ(ENOSPC, file.Save("/dev/full"));
  EXPECT_EQ(10000, file.FindKey("A")->GetValueCount()) << "the tree stays";
}

TEST(SettingsFile, SaveLeavesNoDescriptor) {
  Directory directory;
  const int before = CountDescriptors();
  CRgFile file(nullptr);
  file.SetValue("A", "x", "1");
  EXPECT_EQ(0, file.Save(directory.GetPath("a").c_str()));
  EXPECT_EQ(ENOENT, file.Save(directory.GetPath("b/c").c_str()));
  EXPECT_EQ(before, CountDescriptors());
}

TEST(SettingsFile, LoadedObjectsOutliveTheirFile) {
  constexpr int kCount = 30000;  // several blocks of memory, large ones among them
  std::string text;
  for (int i = 0; i < kCount; ++i)
    text += (i % 10 == 0 ? "[S" + std::to_string(i) + "]" : "") + "\"n" + std::to_string(i) +
            "\"=\"text " + std::to_string(i) + "\"\n";
  Directory directory;
  const std::string path = directory.Write("a.tot", text);
  std::vector<CRgValue*> taken;
  CRgKey* takenKey = nullptr;
  {
    CRgFile file(nullptr);
    ASSERT_EQ(0, file.Load(path.c_str()));
    for (int i = 0; i < kCount; i += 100) {
      CRgKey* key = file.FindKey(("S" + std::to_string(i)).c_str());
      ASSERT_NE(nullptr, key);
      CRgValue* value = key->FindValue(("n" + std::to_string(i)).c_str());
      ASSERT_TRUE(key->RemoveValue(value));
      taken.push_back(value);
    }
    takenKey = file.FindKey("S10");
    ASSERT_TRUE(file.GetKeyRoot()->RemoveKey(takenKey));
  }
  EXPECT_EQ(10, takenKey->GetValueCount());
  EXPECT_STREQ("text 15", takenKey->FindValue("n15")->GetValue());
  for (std::size_t i = 0; i < taken.size(); ++i)
    ASSERT_EQ("text " + std::to_string(100 * i), taken[i]->GetValue());
  std::thread([&] {
    for (CRgValue* value : taken) delete value;
    delete takenKey;
  }).join();
}

TEST(SettingsFile, SavedTreeReadsBackAlike) {
  CRgFile file(nullptr);
  for (int i = 0; i < 300; ++i) {
    const std::string path = "Section " + std::to_string(i % 7) + "/Part." +
                             std::to_string(i % 31) + "/\xc3\xa4-" + std::to_string(i % 5);
    const std::string name = "Name " + std::to_string(i);
    file.SetValue(path.c_str(), name.c_str(), (name + "\n\t=[],()/ text").c_str());
    if (i % 3 == 0) file.SetAttributeValue(path.c_str(), name.c_str(), "", "fixed", "true");
  }
  Directory directory;
  const std::string path = directory.GetPath("a.tot");
  ASSERT_EQ(0, file.Save(path.c_str()));
  CRgFile back(nullptr);
  ASSERT_EQ(0, back.Load(path.c_str()));
  EXPECT_EQ(Describe(file.GetKeyRoot()), Describe(back.GetKeyRoot()));
}

}  // namespace
