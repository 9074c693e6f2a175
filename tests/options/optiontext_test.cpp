#include "options/option_text.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "bix/settingsfile.h"
#include "options/read_back.h"
#include "support/temp_directory.h"

namespace {

TEST(OptionText, IsReadableBareWhenTheReaderMakesTheSameTextOfIt) {
  const struct {
    const char* text;
    bool want;
  } cases[] = {{"5", true},
               {"0", true},
               {"2147483647", true},
               {"2147483648", false},
               {"007", false},
               {"4294967301", false},
               {"99999999999999999999", false},
               {"18446744073709551617", false},  // 1 beyond 64 bits
               {"-5", false},
               {"1.5", false},
               {"12ab", false},
               {"true", true},
               {"TRUE", true},
               {"word_9", true},
               {"_word", false},
               {"a b", false},
               {"a-b", false},
               {"", false},
               {"(", false},
               {"\xC3\xA9", false},
               {"a\xC3\xA9", false},
               {"a\n", false},
               {"\"", false}};
  for (const auto& c : cases) EXPECT_EQ(c.want, bix::impl::IsReadableBare(c.text)) << c.text;
}

TEST(OptionText, ReaderAgreesWithWhatIsReadableBare) {
  const bix_test::TempDirectory directory;
  for (const char* text : {"5", "0", "2147483647", "2147483648", "007", "-5", "1.5", "12ab", "true",
                           "TRUE", "word_9", "_word", "a b", ""}) {
    bix_test::WriteWholeFile(directory / "f", "[A]\n\"n\"=" + std::string(text) + " \n");
    bix::CRgFile file;
    const bool isRead = file.Load((directory / "f").c_str()) == 0 &&
                        file.GetValue("A", "n") != nullptr &&
                        std::string(text) == file.GetValue("A", "n");
    EXPECT_EQ(bix::impl::IsReadableBare(text), isRead) << text;
  }
}

std::uint64_t SumOf(const char* path, const char* name, const char* text) {
  bix::impl::SettingsDigest digest;
  digest.AddSection(path);
  digest.AddValue(name, text, nullptr);
  return digest.GetSum();
}

TEST(SettingsReadBack, FindsEveryDifference) {
  const bix_test::TempDirectory directory;
  const std::string file = directory / "f";
  bix_test::WriteWholeFile(file, "[A/B]\n\"n\"=\"text\"\n");
  const std::uint64_t sum = SumOf("A/B", "n", "text");
  EXPECT_TRUE(bix::impl::ReadsBackAs(file.c_str(), sum));
  for (const char* other :
       {"[A/C]\n\"n\"=\"text\"\n", "[A]\n\"n\"=\"text\"\n", "[A/B]\n\"m\"=\"text\"\n",
        "[A/B]\n\"n\"=\"texu\"\n", "[A/B]\n\"n\"=\"text\" (\"a\"=\"b\")\n",
        "[A/B] (k=v)\n\"n\"=\"text\"\n", "[A/B]\n\"n\"=\"text\"\n\"n\"=\"text\"\n",
        "[A/B]\n\"n\"=\"text\"\n[C]\n\"x\"=\"\"\n", "", "[A/B]\n\"n\"=\"text\"\n-"}) {
    bix_test::WriteWholeFile(file, other);
    EXPECT_FALSE(bix::impl::ReadsBackAs(file.c_str(), sum)) << other;
  }
  EXPECT_FALSE(bix::impl::ReadsBackAs((directory / "missing").c_str(), sum));
  bix_test::WriteWholeFile(file,
                           "[E]\n[A/B]\n\"n\"=\"text\"\n[F]\n");  // empty sections are nothing
  EXPECT_TRUE(bix::impl::ReadsBackAs(file.c_str(), sum));
}

TEST(SettingsReadBack, TreeSumIsThatOfItsDump) {
  const bix_test::TempDirectory directory;
  bix::CRgFile tree;
  tree.SetValue("A/B", "x", "1");
  tree.SetValue("A", "y", "2");
  tree.SetValue("C/D/E", "z", "");
  tree.SetAttributeValue("C", "w", "5", "k", "v");
  ASSERT_EQ(0, tree.Save((directory / "f").c_str()));
  bix::impl::SettingsDigest digest;
  bix::impl::AddTree(digest, *tree.GetKeyRoot());
  EXPECT_TRUE(bix::impl::ReadsBackAs((directory / "f").c_str(), digest.GetSum()));
  tree.SetValue("", "root", "value");  // an empty name cannot be read back
  bix::impl::SettingsDigest other;
  bix::impl::AddTree(other, *tree.GetKeyRoot());
  EXPECT_FALSE(bix::impl::ReadsBackAs((directory / "f").c_str(), other.GetSum()));
}

}  // namespace
