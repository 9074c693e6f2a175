// Styles in processes of their own: files that one writes and another one reads, and the end.

#include <gtest/gtest.h>

#include <string>

#include "support/program.h"
#include "support/temp_directory.h"

namespace bix_test {
namespace {

constexpr const char* kShown =
    "House/Styles/Class/Bold|Base|Serif 12|3|\n"
    "House/Styles/Class/Base|none|Serif 12|1|\n"
    "House/Styles/Arrow/Base|none||4|full\n"
    "Mine/Styles/Arrow/Own|Base||1|full\n";

ProgramResult RunWith(const char* kinds, const char* what, const std::string& path) {
  return Program(STYLE_PROCESS_PROGRAM, {kinds, what, path}).Run();
}

TEST(StyleProcesses, ReadEachOthersFilesWhateverTheOrderOfTheirKinds) {
  for (const char* writer : {"Class,Arrow", "Arrow,Class"}) {
    const TempDirectory directory;
    const std::string path = directory / "house.sty";
    EXPECT_EQ(0, RunWith(writer, "write", path).exitCode);
    for (const char* reader : {"Class,Arrow", "Arrow,Class"}) {
      SCOPED_TRACE(std::string(writer) + " then " + reader);
      const ProgramResult shown = RunWith(reader, "show", path);
      EXPECT_EQ(0, shown.exitCode);
      EXPECT_EQ(kShown, shown.output);
      EXPECT_EQ("", shown.errors);
    }
    // Written over, too.
    const std::string content = ReadWholeFile(path);
    EXPECT_EQ(0, RunWith("Arrow,Class", "write", path).exitCode);
    EXPECT_EQ(content, ReadWholeFile(path));
  }
}

TEST(StylesAtTheEnd, MayGoWhenTheLibraryHasEnded) {
  const ProgramResult result = Program(BIX_LATE_HOST, {BIX_LATE_STYLES, "7"}).Run();
  EXPECT_EQ("0\n", result.output) << result.errors;
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(0, result.exitCode);
}

}  // namespace
}  // namespace bix_test
