// The predefined option files.

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "options/option_test_support.h"
#include "support/program.h"
#include "support/scoped_environment.h"
#include "support/working_directory.h"

namespace {

using bix_test::Exists;
using bix_test::OptionFixture;

/// A home and an all-users area in the test's directory; the init file lies in "z/tools/Shared".
class PredefinedFiles : public OptionFixture {
 protected:
  PredefinedFiles() { mkdir((directory / "z").c_str(), 0777); }

  std::string Shared(const std::string& name) { return directory / ("z/tools/Shared/" + name); }
  void MakeShared() {
    mkdir((directory / "z/tools").c_str(), 0777);
    mkdir((directory / "z/tools/Shared").c_str(), 0777);
  }
  std::vector<std::string> ListedPaths() const {
    std::vector<std::string> paths;
    for (void* position = manager.GetFirstFilePosition(); position != nullptr;)
      paths.push_back(manager.GetNextFile(position)->GetPathName());
    return paths;
  }

  bix_test::ScopedVariable home{"HOME", directory.Path().c_str()};
  bix_test::ScopedVariable zroot{"ZROOT", (directory / "z").c_str()};
};
class PredefinedFilesCompat : public PredefinedFiles {};
class PredefinedFilesChoice : public PredefinedFiles {};

TEST_F(PredefinedFiles, MissingInitFileIsMadeEmptyAndTheDefaultListApplies) {
  manager.LoadPredefinedOptionFiles();
  EXPECT_EQ("", bix_test::ReadWholeFile(Shared("init.tot")));
  EXPECT_EQ((std::vector<std::string>{Shared("user.tot"), Shared("company.tot")}), ListedPaths());
  EXPECT_EQ("", bix_test::ReadWholeFile(Shared("user.tot")));
  EXPECT_EQ("", bix_test::ReadWholeFile(Shared("company.tot")));
  EXPECT_EQ(2, manager.GetPredefinedFileCount());
  for (void* position = manager.GetFirstPredefinedFilePosition(); position != nullptr;)
    EXPECT_TRUE(manager.GetNextPredefinedFile(position)->IsPredefined());
  EXPECT_TRUE(manager.SetValue("Editor/Display", "Font", "Mono"));
  EXPECT_EQ(0, manager.SaveAllFiles());
  EXPECT_EQ("\n[Editor/Display]\n\n\"Font\"=\"Mono\" \n",
            bix_test::ReadWholeFile(Shared("user.tot")));
  EXPECT_EQ("", bix_test::ReadWholeFile(Shared("company.tot")));
}

TEST_F(PredefinedFiles, FileThatItsOwnerDeletesIsNoLongerAmongThem) {
  manager.LoadPredefinedOptionFiles();
  void* position = manager.GetFirstFilePosition();
  delete manager.GetNextFile(position);
  EXPECT_EQ(std::vector<std::string>{Shared("company.tot")}, ListedPaths());
  ASSERT_EQ(1, manager.GetPredefinedFileCount());
  position = manager.GetFirstPredefinedFilePosition();
  EXPECT_EQ(Shared("company.tot"), manager.GetNextPredefinedFile(position)->GetPathName());
}

TEST_F(PredefinedFiles, InitialOptionsPathIsBelowTheAllUsersDirectory) {
  bix::SPathName path;
  EXPECT_TRUE(bix::COptionManager::GetInitialOptionsPath(path));
  EXPECT_EQ(Shared("init.tot"), path);
  zroot.Set(nullptr);
  path = "/before";
  EXPECT_FALSE(bix::COptionManager::GetInitialOptionsPath(path));
  EXPECT_EQ("/before", path);
}

TEST_F(PredefinedFiles, NamesComeFromTheInitFileInOrder) {
  MakeShared();
  bix_test::WriteWholeFile(
      Shared("init.tot"),
      "[Initial/Predefined]\n\"OptionFiles\"=\";b.tot;;sub/a.tot; c.tot;$(HOME).tot;" +
          (directory / "own.tot") + ";\"\n");
  mkdir(Shared("sub").c_str(), 0777);
  manager.LoadPredefinedOptionFiles();
  EXPECT_EQ((std::vector<std::string>{Shared("b.tot"), Shared("sub/a.tot"), Shared(" c.tot"),
                                      Shared("$(HOME).tot"), directory / "own.tot"}),
            ListedPaths());
  EXPECT_FALSE(Exists(Shared("user.tot")));
}

TEST_F(PredefinedFiles, NameOfADriveIsAbsolute) {
  MakeShared();
  bix_test::WriteWholeFile(Shared("init.tot"),
                           "[Initial/Predefined]\n\"OptionFiles\"=\"C:/own.tot\"\n");
  mkdir((directory / "C:").c_str(), 0777);
  const bix_test::ScopedWorkingDirectory working(directory.Path());
  manager.LoadPredefinedOptionFiles();
  EXPECT_EQ(std::vector<std::string>{"C:/own.tot"}, ListedPaths());
  EXPECT_TRUE(Exists(directory / "C:/own.tot"));
}

TEST_F(PredefinedFiles, FileThatIsNamedTwiceIsListedOnce) {
  MakeShared();
  bix_test::WriteWholeFile(Shared("init.tot"),
                           "[Initial/Predefined]\n\"OptionFiles\"=\"a.tot;b.tot;a.tot\"\n");
  for (int i = 0; i < 2; ++i) {
    manager.LoadPredefinedOptionFiles();
    EXPECT_EQ((std::vector<std::string>{Shared("a.tot"), Shared("b.tot")}), ListedPaths());
    EXPECT_EQ(2, manager.GetPredefinedFileCount());
  }
}

TEST_F(PredefinedFilesCompat, RelativeNamesStartAtTheInitFile) {
  manager.LoadPredefinedOptionFiles();
  EXPECT_FALSE(Exists(directory / "Kestrane/Shared/user.tot"));
  EXPECT_TRUE(bix_test::IsDirectory(directory / "Kestrane/Shared"));
  EXPECT_TRUE(Exists(Shared("user.tot")));
}

TEST_F(PredefinedFiles, ListOf4096BytesNamesNothing) {
  MakeShared();
  const std::string tooLong = "user.tot;" + std::string(4096 - 9, 'x');
  bix_test::WriteWholeFile(Shared("init.tot"),
                           "[Initial/Predefined]\n\"OptionFiles\"=\"" + tooLong + "\"\n");
  errno = 0;
  manager.LoadPredefinedOptionFiles();
  EXPECT_EQ(ERANGE, errno);
  EXPECT_EQ(0, manager.GetFileCount());
}

TEST_F(PredefinedFiles, ListOf4095BytesIsTaken) {
  MakeShared();
  const std::string list = "user.tot;" + std::string(4095 - 9, ';');
  bix_test::WriteWholeFile(Shared("init.tot"),
                           "[Initial/Predefined]\n\"OptionFiles\"=\"" + list + "\"\n");
  manager.LoadPredefinedOptionFiles();
  EXPECT_EQ(std::vector<std::string>{Shared("user.tot")}, ListedPaths());
}

TEST_F(PredefinedFilesCompat, BrokenInitFileIsLeftAsItIs) {
  MakeShared();
  bix_test::WriteWholeFile(Shared("init.tot"), "[Initial/Predefined]\n\"OptionFiles\" \"a.tot\"");
  manager.LoadPredefinedOptionFiles();
  EXPECT_EQ((std::vector<std::string>{Shared("user.tot"), Shared("company.tot")}), ListedPaths());
  EXPECT_EQ("[Initial/Predefined]\n\"OptionFiles\" \"a.tot\"",
            bix_test::ReadWholeFile(Shared("init.tot")));
  EXPECT_FALSE(Exists(Shared("init.tot.bad-1")));
}

TEST_F(PredefinedFiles, BrokenFileIsSetAsideEmptiedAndUsed) {
  MakeShared();
  bix_test::WriteWholeFile(Shared("user.tot"), "[Editor/Display]\n\"Font\"=-5\n");
  bix_test::WriteWholeFile(Shared("user.tot.bad-1"), "an earlier one");
  bix_test::WriteWholeFile(Shared("company.tot"), "[Editor/Display]\n\"TabWidth\"=3\n");
  manager.LoadPredefinedOptionFiles();
  EXPECT_EQ((std::vector<std::string>{Shared("user.tot"), Shared("company.tot")}), ListedPaths());
  EXPECT_EQ("", bix_test::ReadWholeFile(Shared("user.tot")));
  EXPECT_EQ("an earlier one", bix_test::ReadWholeFile(Shared("user.tot.bad-1")));
  EXPECT_EQ("[Editor/Display]\n\"Font\"=-5\n", bix_test::ReadWholeFile(Shared("user.tot.bad-2")));
  EXPECT_STREQ("3", manager.GetValue("Editor/Display", "TabWidth"));
  EXPECT_TRUE(manager.SetValue("Editor/Display", "Font", "Mono"));
  EXPECT_EQ(0, manager.SaveAllFiles());
}

TEST_F(PredefinedFiles, WhatCannotBeReadIsSkippedAndStays) {
  MakeShared();
  mkdir(Shared("user.tot").c_str(), 0777);
  bix_test::WriteWholeFile(Shared("company.tot"), "[Editor/Display]\n\"TabWidth\"=3\n");
  manager.LoadPredefinedOptionFiles();
  EXPECT_EQ(std::vector<std::string>{Shared("company.tot")}, ListedPaths());
  EXPECT_TRUE(bix_test::IsDirectory(Shared("user.tot")));
}

TEST_F(PredefinedFiles, LinksToMissingFilesAreFollowedAndStay) {
  MakeShared();
  ASSERT_EQ(0, mkdir((directory / "own").c_str(), 0777));
  for (const char* name : {"init.tot", "user.tot"})
    ASSERT_EQ(0, symlink((directory / ("own/" + std::string(name))).c_str(), Shared(name).c_str()));
  manager.LoadPredefinedOptionFiles();
  EXPECT_EQ((std::vector<std::string>{Shared("user.tot"), Shared("company.tot")}), ListedPaths())
      << "otherwise the user's changes would go to the company's file";
  EXPECT_EQ("", Read("own/init.tot"));
  EXPECT_EQ("", Read("own/user.tot"));
  EXPECT_TRUE(manager.SetValue("Editor/Display", "Font", "Mono"));
  EXPECT_EQ(0, manager.SaveAllFiles());
  EXPECT_EQ("\n[Editor/Display]\n\n\"Font\"=\"Mono\" \n", Read("own/user.tot"));
  struct stat status = {};
  ASSERT_EQ(0, lstat(Shared("user.tot").c_str(), &status));
  EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(PredefinedFilesChoice, MissingFilesAreMadeWithAllPermissionBits) {
  const mode_t old = umask(027);
  manager.LoadPredefinedOptionFiles();
  umask(old);
  for (const char* name : {"init.tot", "user.tot", "company.tot"}) {
    struct stat status = {};
    ASSERT_EQ(0, stat(Shared(name).c_str(), &status)) << name;
    EXPECT_EQ(0750u, status.st_mode & 07777u) << name;
  }
}

TEST_F(PredefinedFilesChoice, WithoutAnAllUsersDirectoryNothingIsLoaded) {
  zroot.Set(nullptr);
  manager.LoadPredefinedOptionFiles();
  EXPECT_EQ(0, manager.GetFileCount());
  EXPECT_FALSE(Exists("/user.tot"));
  zroot.Set((directory / "z").c_str());
  home.Set(nullptr);  // no shared data directory
  manager.LoadPredefinedOptionFiles();
  EXPECT_EQ(0, manager.GetFileCount());
  EXPECT_FALSE(Exists(Shared("init.tot")));
}

TEST_F(PredefinedFiles, ThreadsLoadThemIntoManagersOfTheirOwn) {
  MakeShared();
  bix_test::WriteWholeFile(Shared("user.tot"), "broken");
  constexpr std::size_t kThreads = 4;
  std::vector<int> counts(kThreads);
  std::vector<std::thread> threads;
  for (int& count : counts) {
    threads.emplace_back([&count] {
      bix::COptionManager own;
      own.AddCategory(&bix_test::kEditor);
      own.LoadPredefinedOptionFiles();
      if (bix::COptionManager::IsPredefinedOptionFilesLoaded()) count = own.GetFileCount();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(std::vector<int>(kThreads, 2), counts);
  EXPECT_EQ("", bix_test::ReadWholeFile(Shared("user.tot")));
  EXPECT_EQ("broken", bix_test::ReadWholeFile(Shared("user.tot.bad-1")));
  EXPECT_FALSE(Exists(Shared("user.tot.bad-2"))) << "one of them has set it aside";
}

TEST_F(PredefinedFiles, LoadedFlagIsSetAtTheEndOnly) {
  bix_test::Program program(PREDEFINED_FLAG_PROGRAM, {directory / "z"});
  const bix_test::ProgramResult result = program.Set("HOME", directory.Path()).Run();
  EXPECT_EQ("at the start: 0\nwithout an all-users directory: 0\nloaded: 1\n", result.output);
  EXPECT_EQ("", result.errors);
  EXPECT_EQ(0, result.exitCode);
}

}  // namespace
