// The order in which the library's objects come and go, seen from what each of them writes in a
// fresh process.

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

/// Fails unless the pieces stand in the text one behind the other.
void ExpectInOrder(const std::string& text, const std::vector<std::string>& pieces) {
  std::size_t at = 0;
  for (const std::string& piece : pieces) {
    const std::size_t found = text.find(piece, at);
    ASSERT_NE(std::string::npos, found) << piece << "\nis not behind the others in\n" << text;
    at = found + piece.size();
  }
}

// The error channel reads its setting and reports it; then the library's own texts are registered;
// then the map of URNs needs both.
const std::vector<std::string> kEnglishOrder = {
    "Internal error: CErrOut: unknown option\n",
    ": BixHandleResourceDLL( BIX10_R.DLL, ",
    ": SStringTable( ",
    "Failed to open '/no/such/map' for read.\n",
    ": ~BixHandleResourceDLL( BIX10_R.DLL, ",
    ": ~SStringTable( ",
};

TEST(StartOrder, ChannelTextsAndUrnMapComeOneAfterTheOther) {
  const Installation installation;
  const TempDirectory home;
  const ProgramResult linked = Program(BIX_WHERE, {"current-handle", "projects-of-the-urn-map"})
                                   .Set("LD_LIBRARY_PATH", installation.Bin())
                                   .Set("HOME", home.Path())
                                   .Set("BIX_ERR_OUT", "-x")
                                   .Set("QRD_DEBUG_RESOURCE", "1")
                                   .Set("VORN_URN_MAP_FILE", "/no/such/map")
                                   .Run();
  EXPECT_EQ(0, linked.exitCode);
  EXPECT_EQ(0, linked.signal);
  EXPECT_EQ("own\n" + (home / "My Projects/\n"), linked.output);
  ExpectInOrder(linked.errors, kEnglishOrder);
  EXPECT_EQ(0u, linked.errors.find(kEnglishOrder[0])) << "nothing is written before";
}

TEST(StartOrder, IsTheSameForAHostThatLoadsTheLibraryByName) {
  const Installation installation;
  for (const char* end : {"keep", "close"}) {
    SCOPED_TRACE(end);
    const ProgramResult loaded = Program(BIX_LOADING_HOST, {installation.Library(), "local", end})
                                     .Set("BIX_ERR_OUT", "-x")
                                     .Set("QRD_DEBUG_RESOURCE", "1")
                                     .Set("VORN_URN_MAP_FILE", "/no/such/map")
                                     .Run();
    EXPECT_EQ(0, loaded.exitCode);
    EXPECT_EQ(0, loaded.signal);
    ExpectInOrder(loaded.errors, kEnglishOrder);
    EXPECT_EQ(0u, loaded.errors.find(kEnglishOrder[0]));
  }
}

TEST(StartOrder, TheUrnMapIsMadeWithTheTextsOfTheUsersLanguage) {
  Installation installation;
  installation.AddGerman(BIX_GERMAN_LINKED);
  const TempDirectory home;
  const ProgramResult result = Program(BIX_WHERE, {"projects-of-the-urn-map"})
                                   .Set("LD_LIBRARY_PATH", installation.Bin())
                                   .Set("HOME", home.Path())
                                   .Set("KESTRANE_ATELAN_LANGUAGE", "de")
                                   .Run();
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ(home / "Meine Projekte/\n", result.output);
  EXPECT_EQ("", result.errors);
}

TEST(StartOrder, ALibraryWithoutItsTextsReportsBeforeTheUrnMap) {
  const Installation installation;
  const TempDirectory home;
  const ProgramResult result = Program(BIX_WHERE, {"projects-of-the-urn-map"})
                                   .Set("LD_LIBRARY_PATH", installation.Bin())
                                   .Set("HOME", home.Path())
                                   .Set("KESTRANE_ATELAN_LANGUAGE", "de")
                                   .Set("VORN_URN_MAP_FILE", "/no/such/map")
                                   .Run();
  EXPECT_EQ(0, result.exitCode);
  // The two texts that the map looks for: the user's project directory, and that the file is not
  // there.
  ExpectInOrder(result.errors, {"Loading of resource DLL \"BIX10_R.DLL\" failed.\n",
                                ", 8): handle not found\n", ", 10): handle not found\n\n"});
  EXPECT_EQ("\n", result.output) << "the name is in the map, without a directory";
}

TEST(StartOrder, TheChannelsEndBehindTheTexts) {
  // Both streams in one, so that the order shows.
  const ProgramResult result =
      Program("/bin/sh", {"-c", "exec \"$0\" out-unflushed 'left on the channel' 2>&1", BIX_SPEAK})
          .Set("QRD_DEBUG_RESOURCE", "1")
          .Run();
  EXPECT_EQ(0, result.exitCode);
  ExpectInOrder(result.output,
                {": BixHandleResourceDLL( ", ": SStringTable( ", ": ~BixHandleResourceDLL( ",
                 ": ~SStringTable( ", "left on the channel"});
}

}  // namespace
