#include "bix/directories.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "bix/library.h"
#include "bix/messages.h"
#include "bix/stringtable.h"
#include "support/recording_handler.h"
#include "support/scoped_environment.h"
#include "support/temp_directory.h"

namespace {

using bix::SPathName;
using bix::SString;
using bix_test::IsDirectory;
using bix_test::ScopedRecorder;
using bix_test::ScopedVariable;
using bix_test::TempDirectory;

// ---- environment and language ----

TEST(Environment, BothFormsFindTheValue) {
  const ScopedVariable variable("BIX_TEST_VARIABLE", "some value");
  EXPECT_STREQ("some value", bix::BixGetEnvironmentVariable("BIX_TEST_VARIABLE"));
  EXPECT_STREQ("some value", bix::BixGetEnvironmentVariable(SString("BIX_TEST_VARIABLE")));
  const ScopedVariable empty("BIX_TEST_EMPTY", "");
  EXPECT_STREQ("", bix::BixGetEnvironmentVariable("BIX_TEST_EMPTY"));
  EXPECT_STREQ("", bix::BixGetEnvironmentVariable(SString("BIX_TEST_EMPTY")));
}

TEST(Environment, WhatIsUnsetIsNull) {
  const ScopedVariable variable("BIX_TEST_VARIABLE", nullptr);
  EXPECT_EQ(nullptr, bix::BixGetEnvironmentVariable("BIX_TEST_VARIABLE"));
  EXPECT_EQ(nullptr, bix::BixGetEnvironmentVariable(SString("BIX_TEST_VARIABLE")));
  EXPECT_EQ(nullptr, bix::BixGetEnvironmentVariable(""));
  EXPECT_EQ(nullptr, bix::BixGetEnvironmentVariable(static_cast<const char*>(nullptr)));
}

TEST(Environment, TheTextFormReturnsTheLiveValue) {
  const ScopedVariable variable("BIX_TEST_VARIABLE", "live");
  EXPECT_EQ(getenv("BIX_TEST_VARIABLE"),
            bix::BixGetEnvironmentVariable(SString("BIX_TEST_VARIABLE")));
}

TEST(EnvironmentCompat, TheLiteralFormReturnsOneSharedBuffer) {
  const ScopedVariable first("BIX_TEST_FIRST", "1st");
  const ScopedVariable second("BIX_TEST_SECOND", "2nd");
  const char* const text = bix::BixGetEnvironmentVariable("BIX_TEST_FIRST");
  EXPECT_NE(getenv("BIX_TEST_FIRST"), text);
  EXPECT_STREQ("1st", text);
  bix::BixGetEnvironmentVariable("BIX_TEST_SECOND");
  EXPECT_STREQ("2nd", text);
  bix::BixGetEnvironmentVariable("BIX_TEST_NOT_SET");
  EXPECT_STREQ("2nd", text) << "an unset variable leaves it";
}

TEST(Environment, NoOtherFunctionTouchesTheSharedBuffer) {
  const TempDirectory home;
  const ScopedVariable variables[] = {
      {"HOME", home.Path().c_str()}, {"ZROOT", home.Path().c_str()}, {"BIX_TEST_FIRST", "kept"}};
  const char* const text = bix::BixGetEnvironmentVariable("BIX_TEST_FIRST");
  SPathName path;
  bix::BixGetLocale();
  bix::BixGetModuleFileName();
  bix::BixGetUserDir();
  bix::BixGetUserAddinsDir();
  bix::BixGetCompanyAddinsDir();
  bix::BixGetAllUsersSharedDataDirectory(path);
  EXPECT_STREQ("kept", text);
}

TEST(Language, IsEnglishUnlessSet) {
  ScopedVariable language("KESTRANE_ATELAN_LANGUAGE", nullptr);
  EXPECT_STREQ("en", bix::BixGetLocale());
  language.Set("");
  EXPECT_STREQ("en", bix::BixGetLocale());
  language.Set("de");
  EXPECT_STREQ("de", bix::BixGetLocale());
  language.Set("EN");
  EXPECT_STREQ("EN", bix::BixGetLocale());
}

TEST(ModuleFileName, IsTheInstallationVariable) {
  ScopedVariable installation("KESTRANE_INSTALLATION", nullptr);
  EXPECT_STREQ("", bix::BixGetModuleFileName());
  installation.Set("");
  EXPECT_STREQ("", bix::BixGetModuleFileName());
  installation.Set("/opt//x/");
  EXPECT_STREQ("/opt//x/", bix::BixGetModuleFileName());
}

// ---- user and shared directories ----

TEST(UserDirectories, LieBelowHome) {
  const TempDirectory home;
  const ScopedVariable variable("HOME", home.Path().c_str());
  SPathName path;
  EXPECT_TRUE(bix::BixGetUserPersonalDirectory(path));
  EXPECT_EQ(home.Path(), std::string(path));
  EXPECT_TRUE(std::filesystem::is_empty(home.Path())) << "nothing is created for that";

  EXPECT_TRUE(bix::BixGetSharedDataDirectory(path));
  EXPECT_EQ(home / "Kestrane/Shared", std::string(path));
  EXPECT_TRUE(IsDirectory(home / "Kestrane/Shared"));

  EXPECT_EQ(home / "Kestrane/Vorn 4.2", bix::BixGetUserDir());
  EXPECT_TRUE(IsDirectory(home / "Kestrane/Vorn 4.2"));

  EXPECT_TRUE(bix::BixGetDefaultUserProjectPath(path));
  EXPECT_EQ(home / "My Projects", std::string(path));
  EXPECT_TRUE(IsDirectory(home / "My Projects"));
}

TEST(UserDirectories, TheUserDirectoryMakesItsParentToo) {
  const TempDirectory home;
  const ScopedVariable variable("HOME", home.Path().c_str());
  EXPECT_EQ(home / "Kestrane/Vorn 4.2", bix::BixGetUserDir());
  EXPECT_TRUE(IsDirectory(home / "Kestrane/Vorn 4.2"));
}

TEST(UserDirectories, WithoutHomeThereAreNone) {
  const TempDirectory home;
  ScopedVariable variable("HOME", home.Path().c_str());
  const std::string last = bix::BixGetUserDir();
  variable.Set(nullptr);
  SPathName path("/as/it/was");
  EXPECT_FALSE(bix::BixGetUserPersonalDirectory(path));
  EXPECT_FALSE(bix::BixGetSharedDataDirectory(path));
  EXPECT_FALSE(bix::BixGetDefaultUserProjectPath(path));
  EXPECT_EQ("/as/it/was", std::string(path));
  EXPECT_EQ(last, bix::BixGetUserDir()) << "the previous value stays";
}

TEST(UserDirectories, AnEmptyHomeCountsAsSet) {
  const TempDirectory elsewhere;
  const std::string here = std::filesystem::current_path().string();
  std::filesystem::current_path(elsewhere.Path());
  const ScopedVariable variable("HOME", "");
  SPathName path("before");
  EXPECT_TRUE(bix::BixGetUserPersonalDirectory(path));
  EXPECT_EQ("", std::string(path));
  EXPECT_TRUE(bix::BixGetSharedDataDirectory(path));
  EXPECT_EQ("Kestrane/Shared", std::string(path));
  std::filesystem::current_path(here);
}

TEST(UserDirectories, AreComputedAtEachCallIntoTheSameText) {
  const TempDirectory home;
  const std::string longer = home / std::string(200, 'x');
  std::filesystem::create_directory(longer);
  ScopedVariable variable("HOME", home.Path().c_str());
  const ScopedVariable defaults[] = {{"VORN_USER_ADDINS_DIR", nullptr},
                                     {"VORN_TEAM_ADDINS_DIR", nullptr},
                                     {"VORN_COMPANY_ADDINS_DIR", nullptr}};
  const struct {
    const char* (*function)();
    const char* below;
  } cases[] = {{&bix::BixGetUserDir, "/Kestrane/Vorn 4.2"},
               {&bix::BixGetUserAddinsDir, "/Kestrane/Vorn 4.2/addins"},
               {&bix::BixGetCompanyAddinsDir, "/Kestrane/Shared/CompanyAddins"},
               {&bix::BixGetTeamAddinsDir, "/Kestrane/Shared/TeamAddins"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.below);
    variable.Set(home.Path().c_str());
    const char* const text = c.function();
    EXPECT_EQ(home.Path() + c.below, text);
    variable.Set(longer.c_str());
    EXPECT_EQ(text, c.function()) << "the pointer handed out earlier";
    EXPECT_EQ(longer + c.below, text);
  }
}

TEST(UserDirectoriesCompat, AFailureToCreateChangesNoResult) {
  const TempDirectory home;
  bix_test::WriteWholeFile(home / "Kestrane", "a file in the way");
  bix_test::WriteWholeFile(home / "My Projects", "as well");
  bix_test::WriteWholeFile(home / "tools", "as well");
  const ScopedVariable variables[] = {{"HOME", home.Path().c_str()},
                                      {"ZROOT", home.Path().c_str()}};
  ScopedRecorder reports;
  SPathName path;
  EXPECT_TRUE(bix::BixGetSharedDataDirectory(path));
  EXPECT_EQ(home / "Kestrane/Shared", std::string(path));
  EXPECT_TRUE(bix::BixGetDefaultUserProjectPath(path));
  EXPECT_EQ(home / "My Projects", std::string(path));
  EXPECT_TRUE(bix::BixGetAllUsersSharedDataDirectory(path));
  EXPECT_EQ(home / "tools/Shared", std::string(path));
  EXPECT_EQ(home / "Kestrane/Vorn 4.2", bix::BixGetUserDir());
  EXPECT_EQ("", reports.Text());
}

TEST(UserDirectories, OnlyOneMissingLevelAboveIsMade) {
  const TempDirectory home;
  const ScopedVariable variable("HOME", (home / "not/there").c_str());
  SPathName path;
  EXPECT_TRUE(bix::BixGetSharedDataDirectory(path));
  EXPECT_EQ(home / "not/there/Kestrane/Shared", std::string(path));
  EXPECT_TRUE(std::filesystem::is_empty(home.Path()));
}

TEST(UserDirectories, APathThatIsTooLongIsEmpty) {
  ScopedVariable variable("HOME", ("/" + std::string(1022, 'x')).c_str());
  SPathName path;
  EXPECT_TRUE(bix::BixGetUserPersonalDirectory(path));
  EXPECT_EQ("/" + std::string(1022, 'x'), std::string(path));
  variable.Set(("/" + std::string(1023, 'x')).c_str());
  EXPECT_TRUE(bix::BixGetUserPersonalDirectory(path)) << "and no failure";
  EXPECT_EQ("", std::string(path));
}

TEST(SharedTools, LieBelowTheirRoot) {
  const TempDirectory root;
  ScopedVariable variable("ZROOT", root.Path().c_str());
  SPathName path;
  EXPECT_TRUE(bix::BixGetAllUsersSharedDataDirectory(path));
  EXPECT_EQ(root / "tools/Shared", std::string(path));
  EXPECT_TRUE(IsDirectory(root / "tools/Shared"));
  variable.Set(nullptr);
  path = "/as/it/was";
  EXPECT_FALSE(bix::BixGetAllUsersSharedDataDirectory(path));
  EXPECT_EQ("/as/it/was", std::string(path));
}

TEST(DefaultProjects, TheCurrentHandleIsPutBackWhateverHappens) {
  const TempDirectory home;
  ScopedVariable variable("HOME", home.Path().c_str());
  int anchor = 0;
  HINSTANCE const module = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&anchor));
  bix::SStringTable table(module);
  table.Add(8, "Of another module");
  HINSTANCE const before = bix::BixGetResourceHandle();
  bix::BixSetResourceHandle(module);
  SPathName path;
  EXPECT_TRUE(bix::BixGetDefaultUserProjectPath(path));
  EXPECT_EQ(home / "My Projects", std::string(path)) << "the library's own text";
  EXPECT_EQ(module, bix::BixGetResourceHandle());
  variable.Set(nullptr);
  EXPECT_FALSE(bix::BixGetDefaultUserProjectPath(path));
  EXPECT_EQ(module, bix::BixGetResourceHandle());

  variable.Set(home.Path().c_str());
  ScopedRecorder reports;
  HINSTANCE const own = bix::BixhDllInstance;
  int without = 0;
  bix::BixhDllInstance = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&without));
  path = "/as/it/was";
  EXPECT_FALSE(bix::BixGetDefaultUserProjectPath(path)) << "without a text there is no name";
  bix::BixhDllInstance = own;
  EXPECT_EQ(module, bix::BixGetResourceHandle());
  EXPECT_EQ("/as/it/was", std::string(path));
  EXPECT_EQ(1u, reports.messages.size());
  bix::BixSetResourceHandle(before);
}

// ---- add-ins ----

TEST(AddinDirectoriesCompat, OnlyTheUsersVariableNamesTheParent) {
  const TempDirectory home;
  const ScopedVariable variables[] = {{"HOME", home.Path().c_str()},
                                      {"VORN_USER_ADDINS_DIR", "/x"},
                                      {"VORN_TEAM_ADDINS_DIR", "/t"},
                                      {"VORN_COMPANY_ADDINS_DIR", "/c"}};
  EXPECT_STREQ("/x/addins", bix::BixGetUserAddinsDir());
  EXPECT_STREQ("/t", bix::BixGetTeamAddinsDir());
  EXPECT_STREQ("/c", bix::BixGetCompanyAddinsDir());
  EXPECT_TRUE(std::filesystem::is_empty(home.Path())) << "nothing is created";
}

TEST(AddinDirectories, LieBelowHomeByDefault) {
  const TempDirectory home;
  const ScopedVariable variables[] = {{"HOME", home.Path().c_str()},
                                      {"VORN_USER_ADDINS_DIR", nullptr},
                                      {"VORN_TEAM_ADDINS_DIR", nullptr},
                                      {"VORN_COMPANY_ADDINS_DIR", nullptr}};
  EXPECT_EQ(home / "Kestrane/Vorn 4.2/addins", bix::BixGetUserAddinsDir());
  EXPECT_TRUE(IsDirectory(home / "Kestrane/Vorn 4.2"));
  EXPECT_FALSE(bix_test::Exists(home / "Kestrane/Vorn 4.2/addins"));
  EXPECT_EQ(home / "Kestrane/Shared/CompanyAddins", bix::BixGetCompanyAddinsDir());
  EXPECT_EQ(home / "Kestrane/Shared/TeamAddins", bix::BixGetTeamAddinsDir());
  EXPECT_TRUE(IsDirectory(home / "Kestrane/Shared"));
  EXPECT_TRUE(std::filesystem::is_empty(home / "Kestrane/Shared"));
}

TEST(AddinDirectories, AnEmptyVariableCountsAsSet) {
  const TempDirectory home;
  const ScopedVariable variables[] = {{"HOME", home.Path().c_str()},
                                      {"VORN_USER_ADDINS_DIR", ""},
                                      {"VORN_TEAM_ADDINS_DIR", ""},
                                      {"VORN_COMPANY_ADDINS_DIR", ""}};
  EXPECT_STREQ("addins", bix::BixGetUserAddinsDir());
  EXPECT_STREQ("", bix::BixGetTeamAddinsDir());
  EXPECT_STREQ("", bix::BixGetCompanyAddinsDir());
}

TEST(AddinDirectories, WithoutHomeThePreviousValueStays) {
  const ScopedVariable home("HOME", nullptr);
  ScopedVariable team("VORN_TEAM_ADDINS_DIR", "/previous");
  ScopedVariable company("VORN_COMPANY_ADDINS_DIR", "/before");
  bix::BixGetTeamAddinsDir();
  bix::BixGetCompanyAddinsDir();
  team.Set(nullptr);
  company.Set(nullptr);
  EXPECT_STREQ("/previous", bix::BixGetTeamAddinsDir());
  EXPECT_STREQ("/before", bix::BixGetCompanyAddinsDir());
}

// ---- arguments ----

TEST(MainArguments, AreKeptAsGiven) {
  const char* argv[] = {"./tool", "-x", nullptr};
  bix::BixSaveMainArguments(2, argv);
  int argc = 0;
  const char** saved = nullptr;
  bix::BixGetMainArguments(argc, saved);
  EXPECT_EQ(2, argc);
  EXPECT_EQ(argv, saved) << "the vector itself, not a copy";

  ScopedRecorder reports;
  const char* noProgram[] = {nullptr};
  bix::BixSaveMainArguments(0, argv);
  bix::BixSaveMainArguments(-1, argv);
  bix::BixSaveMainArguments(1, nullptr);
  bix::BixSaveMainArguments(1, noProgram);
  ASSERT_EQ(4u, reports.messages.size());
  for (const std::string& message : reports.messages) {
    EXPECT_EQ(0u, message.find("Internal error: file directories.cpp, line "));
    EXPECT_EQ(": Internal error.\n", message.substr(message.rfind(": Internal")));
  }
  bix::BixGetMainArguments(argc, saved);
  EXPECT_EQ(2, argc) << "what was saved before stays";
  EXPECT_EQ(argv, saved);
}

TEST(MainArgumentsCompat, TheProgramIsNotMadeAbsolute) {
  const char* argv[] = {"tool", nullptr};
  bix::BixSaveMainArguments(1, argv);
  EXPECT_STREQ("tool", bix::TMPBixGetAbsoluteArgv0());
  const char* absolute[] = {"/opt/x/../kestrane/./tool", nullptr};
  bix::BixSaveMainArguments(1, absolute);
  EXPECT_STREQ("/opt/kestrane/tool", bix::TMPBixGetAbsoluteArgv0());
}

}  // namespace
