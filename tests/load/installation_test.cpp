// Where the library finds itself installed, and what is not known in a fresh process.

#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "load/installation.h"
#include "support/program.h"
#include "support/working_directory.h"

namespace {

using bix_test::Installation;
using bix_test::Program;
using bix_test::ProgramResult;
using bix_test::ScopedWorkingDirectory;
using bix_test::TempDirectory;

TEST(InstallationDirectories, AreFoundFromTheLibrarysOwnFile) {
  const Installation installation;
  const ProgramResult result = Program(BIX_WHERE, {"bin", "directory", "root", "include", "lib",
                                                   "etc", "default-locale", "locale"})
                                   .Set("LD_LIBRARY_PATH", installation.Bin())
                                   .Run();
  const std::string& root = installation.Root();
  EXPECT_EQ(root + "/bin\n" + root + "/bin\n" + root + "\n" + root + "/include\n" + root +
                "/lib\n" + root + "/etc\n" + root + "/locale/en\n" + root + "/locale/en\n",
            result.output);
  EXPECT_EQ("", result.errors);
}

TEST(InstallationDirectories, DoNotDependOnTheOrderOfCalls) {
  const Installation installation;
  const std::string& root = installation.Root();
  const ProgramResult result = Program(BIX_WHERE, {"locale", "etc", "root", "bin", "locale"})
                                   .Set("LD_LIBRARY_PATH", installation.Bin())
                                   .Run();
  EXPECT_EQ(root + "/locale/en\n" + root + "/etc\n" + root + "\n" + root + "/bin\n" + root +
                "/locale/en\n",
            result.output);
}

TEST(InstallationDirectories, ALibraryOfTheWorkingDirectoryLiesThere) {
  const Installation installation;
  const ProgramResult result =
      Program(BIX_WHERE, {"bin", "root"}).Set("LD_LIBRARY_PATH", ".").In(installation.Bin()).Run();
  EXPECT_EQ(installation.Bin() + "\n" + installation.Root() + "\n", result.output);
}

TEST(InstallationDirectories, AWorkingDirectoryThatIsTooDeepIsADot) {
  const TempDirectory top;
  const ScopedWorkingDirectory working(top.Path());
  const std::string name(200, 'd');
  for (int i = 0; i < 21; ++i) {
    ASSERT_EQ(0, mkdir(name.c_str(), 0777));
    ASSERT_EQ(0, chdir(name.c_str()));
  }
  ASSERT_EQ(0, symlink(BIX_LIBRARY, "libbix.so.10"));
  void* const library = dlopen("./libbix.so.10", RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(nullptr, library) << dlerror();
  using Directory = const char*();
  const std::string bin =
      reinterpret_cast<Directory*>(dlsym(library, "_ZN3bix21BixGetInstallationBinEv"))();
  EXPECT_EQ(0, dlclose(library));
  EXPECT_EQ(".", bin);
}

TEST(InstallationDirectories, AreKeptFromTheFirstCallOnWhereverTheProcessGoes) {
  const TempDirectory top;
  const ScopedWorkingDirectory working(top.Path());
  ASSERT_EQ(0, symlink(BIX_LIBRARY, "libbix.so.10"));
  void* const library = dlopen("./libbix.so.10", RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(nullptr, library) << dlerror();
  const auto ask = [library](const char* symbol) {
    using Directory = const char*();
    return std::string(reinterpret_cast<Directory*>(dlsym(library, symbol))());
  };
  EXPECT_EQ(top.Path(), ask("_ZN3bix21BixGetInstallationBinEv"));
  ASSERT_EQ(0, chdir("/"));
  EXPECT_EQ(top.Path(), ask("_ZN3bix21BixGetInstallationBinEv"));
  EXPECT_EQ(top.Path().substr(0, top.Path().rfind('/')), ask("_ZN3bix22BixGetInstallationRootEv"));
  EXPECT_EQ(0, dlclose(library));
}

TEST(InstallationDirectories, OtherRelativeNamesStayRelative) {
  const Installation installation;
  const ProgramResult result = Program(BIX_WHERE, {"bin", "directory"})
                                   .Set("LD_LIBRARY_PATH", "bin")
                                   .In(installation.Root())
                                   .Run();
  EXPECT_EQ("bin\nbin\n", result.output);
}

TEST(InstallationDirectoriesCompat, ALaterChangeOfTheLanguageHasNoEffect) {
  const Installation installation;
  const std::string& root = installation.Root();
  const ProgramResult result =
      Program(BIX_WHERE, {"KESTRANE_ATELAN_LANGUAGE=fr", "locale", "KESTRANE_ATELAN_LANGUAGE=de",
                          "locale", "language", "default-locale"})
          .Set("LD_LIBRARY_PATH", installation.Bin())
          .Run();
  EXPECT_EQ(root + "/locale/fr\n" + root + "/locale/fr\nde\n" + root + "/locale/en\n",
            result.output);
}

TEST(FreshProcess, KnowsNoHome) {
  const Installation installation;
  const TempDirectory elsewhere;
  const ProgramResult result = Program(BIX_WHERE, {"user", "company-addins", "team-addins",
                                                   "user-addins", "default-projects"})
                                   .Set("LD_LIBRARY_PATH", installation.Bin())
                                   .In(elsewhere.Path())
                                   .Run();
  EXPECT_EQ("\n\n\naddins\n<none>\n", result.output);
  EXPECT_EQ("", result.errors);
  EXPECT_TRUE(std::filesystem::is_empty(elsewhere.Path()));
}

TEST(FreshProcess, HasNoThreadOfTheLibrary) {
  const Installation installation;
  const TempDirectory home;
  const ProgramResult result =
      Program(BIX_WHERE, {"threads", "user", "default-projects", "own-text", "threads"})
          .Set("LD_LIBRARY_PATH", installation.Bin())
          .Set("HOME", home.Path())
          .Run();
  EXPECT_EQ(
      "1\n" + home.Path() + "/Kestrane/Vorn 4.2\n" + home.Path() + "/My Projects\nMy Projects\n1\n",
      result.output);
}

TEST(FreshProcess, KnowsNoArguments) {
  const Installation installation;
  const ProgramResult result =
      Program(BIX_WHERE, {"arguments"}).Set("LD_LIBRARY_PATH", installation.Bin()).Run();
  EXPECT_EQ("none\n", result.output);
  EXPECT_EQ(0u, result.errors.find("Internal error: file directories.cpp, line "));
  EXPECT_NE(std::string::npos, result.errors.find(": Internal error.\n"));
}

}  // namespace
