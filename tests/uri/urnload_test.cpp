// The URN map as loading the library makes it, in fresh processes.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/program.h"
#include "support/temp_directory.h"
#include "uri/urn_test_support.h"

namespace {

using bix_test::AlreadyDefined;
using bix_test::Program;
using bix_test::ProgramResult;
using bix_test::TempDirectory;
using bix_test::WriteWholeFile;

Program Urns(const std::vector<std::string>& commands) { return Program(BIX_URNS, commands); }

TEST(UrnMapAtLoad, HoldsThePredefinedNames) {
  const TempDirectory home;
  const ProgramResult result =
      Urns({"resolve", "urn:qvuser:a", "resolve", "urn:qvuseraddins:", "resolve",
            "urn:qvteamaddins:", "resolve", "urn:qvcompanyaddins:", "resolve",
            "urn:qvvornprojects:", "variable"})
          .Set("HOME", home.Path())
          .Set("VORN_TEAM_ADDINS_DIR", "/team")
          .Run();
  EXPECT_EQ("true 0 " + (home / "Kestrane/Vorn 4.2/a\n") + "true 0 " +
                (home / "Kestrane/Vorn 4.2/addins/\n") + "true 0 /team/\n" + "true 0 " +
                (home / "Kestrane/Shared/CompanyAddins/\n") + "true 0 " +
                (home / "My Projects/\n") + "<unset>\n",
            result.output);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(0, result.exitCode);
}

TEST(UrnMapAtLoad, WithoutHomeAllSixNamesAreThere) {
  const ProgramResult result = Urns({"encode"}).Run();
  const std::string end =
      "/;qvcompanyaddins:;qvteamaddins:;qvuser:;qvuseraddins:addins/;qvvornprojects:\n";
  EXPECT_EQ(0u, result.output.find("qv:/"));
  ASSERT_LT(end.size(), result.output.size());
  EXPECT_EQ(end, result.output.substr(result.output.size() - end.size()));
  EXPECT_EQ("", result.errors);
}

TEST(UrnMapAtLoadCompat, OnlyTheFileOfTheEnvironmentIsRead) {
  const TempDirectory home;
  std::filesystem::create_directories(home / "Kestrane/Shared");
  WriteWholeFile(home / "Kestrane/Shared/urnmap.txt", "default:/default\n");
  const std::vector<std::string> commands = {"resolve", "urn:default:a", "resolve", "urn:mine:a",
                                             "variable"};
  const std::string unknown =
      "' was not found. Please define it in VORN->Options->General->URNMap.\n";
  {
    const ProgramResult result = Urns(commands).Set("HOME", home.Path()).Run();
    EXPECT_EQ("false 3 urn:default:a\nfalse 3 urn:mine:a\n<unset>\n", result.output);
    EXPECT_EQ("The URN Name 'default" + unknown + "The URN Name 'mine" + unknown, result.errors);
  }
  const TempDirectory place;
  WriteWholeFile(place / "my map", "mine:/mine\n");
  const ProgramResult result =
      Urns(commands).Set("HOME", home.Path()).Set("VORN_URN_MAP_FILE", place / "my map").Run();
  EXPECT_EQ("false 3 urn:default:a\ntrue 0 /mine/a\n" + (place / "my map\n"), result.output);
  EXPECT_EQ("The URN Name 'default" + unknown, result.errors);
  EXPECT_TRUE(bix_test::IsDirectory(home / "My Projects"));
}

TEST(UrnMapAtLoad, AFileThatCannotBeReadIsReported) {
  const TempDirectory home;
  for (const std::string& file : {home / "missing", std::string(), home.Path()}) {
    SCOPED_TRACE(file);
    const ProgramResult result = Urns({"resolve", "urn:qvuser:a"})
                                     .Set("HOME", home.Path())
                                     .Set("VORN_URN_MAP_FILE", file)
                                     .Run();
    EXPECT_EQ("Failed to open '" + file + "' for read.\n", result.errors);
    EXPECT_EQ("true 0 " + (home / "Kestrane/Vorn 4.2/a\n"), result.output);
    EXPECT_EQ(0, result.exitCode);
  }
}

TEST(UrnMapAtLoad, NamesThatAreDefinedAlreadyAreReported) {
  const TempDirectory home;
  WriteWholeFile(home / "map", "qvuser:/tmp\nQvTeamAddins:/team\nmine:/a\r\nmine:/b");
  const ProgramResult result =
      Urns({"resolve", "urn:qvuser:", "resolve", "urn:qvteamaddins:", "resolve", "urn:Mine:"})
          .Set("HOME", home.Path())
          .Set("VORN_URN_MAP_FILE", home / "map")
          .Run();
  EXPECT_EQ(AlreadyDefined("qvuser", "/tmp") + AlreadyDefined("mine", "/b"), result.errors);
  EXPECT_EQ("true 0 " + (home / "Kestrane/Vorn 4.2/\n") + "true 0 /team/\ntrue 0 /a/\n",
            result.output);
}

TEST(UrnMapAtLoad, MessagesObeyTheErrorSetting) {
  const TempDirectory home;
  const ProgramResult result = Urns({})
                                   .Set("HOME", home.Path())
                                   .Set("VORN_URN_MAP_FILE", home / "missing")
                                   .Set("BIX_ERR_OUT", "-q -o " + (home / "log"))
                                   .Run();
  EXPECT_EQ("", result.errors);
  EXPECT_EQ("Failed to open '" + (home / "missing") + "' for read.\n",
            bix_test::ReadWholeFile(home / ("log." + std::to_string(result.pid))));
}

// Each report is followed by another one then, which must not go on for ever.
TEST(UrnMapAtLoad, AReportWhileLoadingIsFollowedByThatOfTheSetting) {
  const TempDirectory home;
  const ProgramResult result = Urns({"resolve", "urn:qvuser:"})
                                   .Set("HOME", home.Path())
                                   .Set("VORN_URN_MAP_FILE", "/no/such/map")
                                   .Set("BIX_ERR_OUT", "-a")
                                   .Run();
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ(0u, result.errors.find("Failed to open '/no/such/map' for read.\n"));
  EXPECT_NE(std::string::npos, result.errors.find("assert dialog not available"));
  EXPECT_EQ("true 0 " + (home / "Kestrane/Vorn 4.2/\n"), result.output);
}

TEST(UrnMapAtLoad, AnEmptyHomeIsTheWorkingDirectory) {
  const TempDirectory here;
  const ProgramResult result = Urns({"resolve", "urn:qvuser:", "resolve", "urn:qvvornprojects:"})
                                   .Set("HOME", "")
                                   .In(here.Path())
                                   .Run();
  EXPECT_EQ("true 0 Kestrane/Vorn 4.2/\ntrue 0 My Projects/\n", result.output);
  EXPECT_EQ("", result.errors);
  EXPECT_TRUE(bix_test::IsDirectory(here / "Kestrane/Vorn 4.2"));
  EXPECT_TRUE(bix_test::IsDirectory(here / "My Projects"));
}

TEST(UrnMapAtLoad, WhatOneProcessSavesAnotherFinds) {
  const TempDirectory home;
  const ProgramResult first =
      Urns({"option", "Mine:/mine;other:/other", "append", "third", "/third", "variable"})
          .Set("HOME", home.Path())
          .Run();
  EXPECT_EQ((home / "Kestrane/Shared/urnmap.txt\n"), first.output);
  EXPECT_EQ("", first.errors);
  const std::vector<std::string> questions = {"resolve", "urn:mine:a", "resolve", "urn:third:a"};
  std::vector<std::string> rebuilt = {"rebuild"};
  rebuilt.insert(rebuilt.end(), questions.begin(), questions.end());
  const ProgramResult second = Urns(rebuilt).Set("HOME", home.Path()).Run();
  EXPECT_EQ("true 0 /mine/a\ntrue 0 /third/a\n", second.output);
  EXPECT_EQ("", second.errors);
  const ProgramResult third = Urns(questions)
                                  .Set("HOME", home.Path())
                                  .Set("VORN_URN_MAP_FILE", home / "Kestrane/Shared/urnmap.txt")
                                  .Run();
  EXPECT_EQ(second.output, third.output);
}

TEST(UrnMapOfTheUser, GoesFromTheOptionFileToOtherProcesses) {
  const struct {
    const char* option;
    const char* file;
  } cases[] = {{"Models:/m/Models;  tools:C:\\t", "Models:/m/Models\ntools:C:\\t\n"},
               {"Models:/m/Models\n tools:C:\\t", "Models:/m/Models\ntools:C:\\t\n"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.option);
    const TempDirectory home;
    WriteWholeFile(home / "user.tot", "[General]\n\"URNMap\"=\"" + std::string(c.option) + "\"\n");
    const ProgramResult first = Urns({"option-of", home / "user.tot", "resolve", "urn:models:a"})
                                    .Set("HOME", home.Path())
                                    .Run();
    EXPECT_EQ(0, first.exitCode);
    EXPECT_EQ("true 0 /m/Models/a\n", first.output);
    EXPECT_EQ("", first.errors);
    EXPECT_EQ(c.file, bix_test::ReadWholeFile(home / "Kestrane/Shared/urnmap.txt"));
    // One that is started anew, and one that the first has handed its environment.
    const ProgramResult second =
        Urns({"rebuild", "resolve", "urn:MODELS:a/b", "resolve", "urn:tools:c"})
            .Set("HOME", home.Path())
            .Run();
    EXPECT_EQ("true 0 /m/Models/a/b\ntrue 0 C:/t/c\n", second.output);
    EXPECT_EQ("", second.errors);
    const ProgramResult third = Urns({"resolve", "urn:MODELS:a/b", "resolve", "urn:tools:c"})
                                    .Set("HOME", home.Path())
                                    .Set("VORN_URN_MAP_FILE", home / "Kestrane/Shared/urnmap.txt")
                                    .Run();
    EXPECT_EQ(second.output, third.output);
    EXPECT_EQ("", third.errors);
  }
}

TEST(UrnMapAfterItsEnd, KnowsNoName) {
  const TempDirectory home;
  const ProgramResult result =
      Program(BIX_URNS_INSIDE, {"resolve", "urn:qvuser:a", "ask-after-the-end"})
          .Set("HOME", home.Path())
          .Run();
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ(0, result.exitCode);
  EXPECT_EQ("true 0 " + (home / "Kestrane/Vorn 4.2/a\n") + "false 3 urn:qv:a\nunknown\n",
            result.output);
}

}  // namespace
