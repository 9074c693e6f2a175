// Texts in the user's language, from a real resource library of a real installation.

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "load/installation.h"
#include "support/program.h"

namespace {

using bix_test::Installation;
using bix_test::Program;
using bix_test::ProgramResult;
using bix_test::TempDirectory;

Program Where(const Installation& installation, const std::vector<std::string>& questions) {
  return Program(BIX_WHERE, questions).Set("LD_LIBRARY_PATH", installation.Bin());
}

TEST(ResourceLanguage, GermanTextsComeFromTheResourceLibrary) {
  for (const char* german : {BIX_GERMAN_LINKED, BIX_GERMAN_UNLINKED}) {
    SCOPED_TRACE(german);
    Installation installation;
    installation.AddGerman(german);
    const ProgramResult result = Where(installation, {"own-text", "language", "locale"})
                                     .Set("KESTRANE_ATELAN_LANGUAGE", "de")
                                     .Run();
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(0, result.signal);
    EXPECT_EQ("Meine Projekte\nde\n" + installation.Root() + "/locale/de\n", result.output);
    EXPECT_EQ("", result.errors);
  }
}

TEST(ResourceLanguage, TheDefaultProjectFolderHasAGermanName) {
  Installation installation;
  installation.AddGerman(BIX_GERMAN_LINKED);
  const TempDirectory home;
  const ProgramResult result = Where(installation, {"default-projects"})
                                   .Set("KESTRANE_ATELAN_LANGUAGE", "de")
                                   .Set("HOME", home.Path())
                                   .Run();
  EXPECT_EQ(home / "Meine Projekte\n", result.output);
  EXPECT_TRUE(bix_test::IsDirectory(home / "Meine Projekte"));
}

TEST(ResourceLanguage, EnglishTextsNeedNoResourceLibrary) {
  Installation installation;
  installation.AddGerman(BIX_GERMAN_LINKED);
  for (const char* language : {"en", ""}) {
    const ProgramResult result = Where(installation, {"own-text", "current-text", "current-handle"})
                                     .Set("KESTRANE_ATELAN_LANGUAGE", language)
                                     .Run();
    EXPECT_EQ("My Projects\nMy Projects\nown\n", result.output);
    EXPECT_EQ("", result.errors);
  }
}

TEST(ResourceLanguageCompat, TheCurrentHandleStaysWithoutTexts) {
  Installation installation;
  installation.AddGerman(BIX_GERMAN_LINKED);
  const ProgramResult result = Where(installation, {"current-handle", "current-text"})
                                   .Set("KESTRANE_ATELAN_LANGUAGE", "de")
                                   .Run();
  EXPECT_EQ("other\n<missing>\n", result.output);
}

TEST(ResourceLanguageCompat, AMissingLibraryIsReported) {
  const Installation installation;
  const ProgramResult result = Where(installation, {}).Set("KESTRANE_ATELAN_LANGUAGE", "de").Run();
  EXPECT_EQ(0, result.exitCode);
  const std::string start =
      "Loading of resource DLL \"BIX10_R.DLL\" failed.\nError reported: " + installation.Root() +
      "/locale/de/BIX10_R.DLL: ";
  EXPECT_EQ(start, result.errors.substr(0, start.size()));
  // The name of the user's project directory is looked for next.
  const std::string end = ", 8): handle not found\n";
  ASSERT_LT(end.size(), result.errors.size());
  EXPECT_EQ(end, result.errors.substr(result.errors.size() - end.size()));
  EXPECT_EQ(3, std::count(result.errors.begin(), result.errors.end(), '\n')) << "once";
  EXPECT_EQ("", result.output);
}

TEST(ResourceLanguageCompat, AMissingLibraryLeavesNoTexts) {
  const Installation installation;
  const ProgramResult result =
      Where(installation, {"current-handle", "current-text", "own-text", "default-projects"})
          .Set("KESTRANE_ATELAN_LANGUAGE", "de")
          .Set("HOME", installation.Root())
          .Run();
  EXPECT_EQ("own\n<missing>\n<missing>\n<none>\n", result.output);
  std::size_t reports = 0;
  for (std::size_t at = result.errors.find("): handle not found\n"); at != std::string::npos;
       at = result.errors.find("): handle not found\n", at + 1))
    ++reports;
  EXPECT_EQ(3u, reports) << "one while loading, one for the text, one for the default projects";
}

TEST(ResourceLanguageCompat, OnlyTheExactNameIsEnglish) {
  const Installation installation;
  for (const char* language : {"EN", "en_US", "en ", "english"}) {
    SCOPED_TRACE(language);
    const ProgramResult result =
        Where(installation, {"own-text"}).Set("KESTRANE_ATELAN_LANGUAGE", language).Run();
    EXPECT_EQ("<missing>\n", result.output);
    EXPECT_EQ(0u, result.errors.find("Loading of resource DLL \"BIX10_R.DLL\" failed.\n"));
  }
}

TEST(ResourceLanguage, AFileThatIsNoLibraryIsReported) {
  Installation installation;
  std::filesystem::create_directories(installation.Root() + "/locale/de");
  bix_test::WriteWholeFile(installation.Root() + "/locale/de/BIX10_R.DLL", "no library");
  const ProgramResult result =
      Where(installation, {"own-text"}).Set("KESTRANE_ATELAN_LANGUAGE", "de").Run();
  EXPECT_EQ("<missing>\n", result.output);
  EXPECT_EQ(0u, result.errors.find("Loading of resource DLL \"BIX10_R.DLL\" failed.\n"));
}

TEST(ResourceLanguage, TheReportObeysTheErrorSetting) {
  const Installation installation;
  const ProgramResult result =
      Where(installation, {}).Set("KESTRANE_ATELAN_LANGUAGE", "de").Set("BIX_ERR_OUT", "-q").Run();
  EXPECT_EQ("", result.errors);
}

TEST(ResourceLanguage, StartAndEndAreTraced) {
  Installation installation;
  installation.AddGerman(BIX_GERMAN_LINKED);
  const ProgramResult result = Where(installation, {})
                                   .Set("KESTRANE_ATELAN_LANGUAGE", "de")
                                   .Set("QRD_DEBUG_RESOURCE", "")
                                   .Run();
  const char* const inOrder[] = {
      ": BixHandleResourceDLL( BIX10_R.DLL, ", ": SStringTable( ",
      ": ~BixHandleResourceDLL( BIX10_R.DLL, ",
      // The resource library takes its table away itself; then the guard finds none.
      ": BixUnregisterStringTable(", ": ~SStringTable( ", ": BixUnregisterStringTable("};
  std::size_t at = 0;
  for (const char* line : inOrder) {
    at = result.errors.find(line, at);
    ASSERT_NE(std::string::npos, at) << line << "\nin\n" << result.errors;
    ++at;
  }
}

TEST(ResourceGuardCompat, TheLibraryGoesBeforeItsTable) {
  Installation installation;
  installation.AddGerman(BIX_GERMAN_LINKED);
  const ProgramResult result = Where(installation, {})
                                   .Set("KESTRANE_ATELAN_LANGUAGE", "de")
                                   .Set("QRD_DEBUG_RESOURCE", "1")
                                   .Run();
  const std::size_t end = result.errors.find(": ~BixHandleResourceDLL( ");
  ASSERT_NE(std::string::npos, end) << result.errors;
  // Freeing the library has it take its table away itself, which deletes it; the guard, which comes
  // after that, finds none.
  const std::size_t goes = result.errors.find("The German library goes.\n", end);
  ASSERT_NE(std::string::npos, goes) << result.errors;
  const std::size_t byLibrary = result.errors.find(": BixUnregisterStringTable(", end);
  const std::size_t deleted = result.errors.find(": ~SStringTable( ", end);
  ASSERT_NE(std::string::npos, byLibrary);
  const std::size_t byGuard = result.errors.find(": BixUnregisterStringTable(", byLibrary + 1);
  ASSERT_NE(std::string::npos, byGuard) << result.errors;
  EXPECT_LT(goes, byLibrary);
  EXPECT_LT(byLibrary, deleted);
  EXPECT_LT(deleted, byGuard);
}

TEST(ResourceGuardCompat, TheGuardDeletesATableThatItsLibraryLeft) {
  Installation installation;
  installation.AddGerman(BIX_GERMAN_KEEPING);
  const ProgramResult result = Where(installation, {"own-text"})
                                   .Set("KESTRANE_ATELAN_LANGUAGE", "de")
                                   .Set("QRD_DEBUG_RESOURCE", "1")
                                   .Run();
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ("Meine Projekte\n", result.output);
  const std::size_t end = result.errors.find(": ~BixHandleResourceDLL( ");
  ASSERT_NE(std::string::npos, end) << result.errors;
  const std::size_t byGuard = result.errors.find(": BixUnregisterStringTable(", end);
  const std::size_t deleted = result.errors.find(": ~SStringTable( ", end);
  ASSERT_NE(std::string::npos, deleted) << result.errors;
  EXPECT_LT(byGuard, deleted);
  EXPECT_EQ(std::string::npos, result.errors.find(": BixUnregisterStringTable(", byGuard + 1));
}

/// How a host loads the library and leaves it.
struct Host {
  const char* scope;
  const char* end;
};

// Whatever the host does, its exit is clean: the resource library is linked against the library and
// keeps it loaded, until the library's own destructors free it.
TEST(ResourceLanguage, AHostThatLoadsTheLibraryByNameExitsCleanly) {
  Installation installation;
  installation.AddGerman(BIX_GERMAN_LINKED);
  for (const Host host : {Host{"local", "keep"}, Host{"local", "close"}, Host{"global", "keep"},
                          Host{"global", "close"}}) {
    SCOPED_TRACE(std::string(host.scope) + " " + host.end);
    const ProgramResult result =
        Program(BIX_LOADING_HOST, {installation.Library(), host.scope, host.end})
            .Set("KESTRANE_ATELAN_LANGUAGE", "de")
            .Run();
    EXPECT_EQ(0, result.signal);
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(host.end == std::string("close") ? "Meine Projekte\nloaded\n" : "Meine Projekte\n",
              result.output);
    EXPECT_EQ("", result.errors);
  }
}

TEST(ResourceLanguage, WithoutAResourceLibraryNothingStaysLoaded) {
  Installation installation;
  installation.AddGerman(BIX_GERMAN_LINKED);
  const struct {
    const char* language;
    const char* output;
  } cases[] = {{"en", "My Projects\ngone\n"}, {"fr", "<missing>\ngone\n"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.language);
    const ProgramResult result =
        Program(BIX_LOADING_HOST, {installation.Library(), "local", "close"})
            .Set("KESTRANE_ATELAN_LANGUAGE", c.language)
            .Run();
    EXPECT_EQ(0, result.signal);
    EXPECT_EQ(c.output, result.output);
  }
}

}  // namespace
