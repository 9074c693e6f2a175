#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "helpers/home_witness.h"
#include "support/captured_output.h"
#include "support/private_home.h"
#include "support/program.h"
#include "support/temp_directory.h"
#include "support/working_directory.h"

namespace {

using namespace bix_test;

TEST(PrivateHome, IsThereBeforeSharedLibrariesAreConstructed) {
  ASSERT_NE("", PrivateHome());
  EXPECT_EQ(PrivateHome(), HomeSeenByConstructor());
  EXPECT_STREQ(PrivateHome().c_str(), std::getenv("HOME"));
  EXPECT_TRUE(IsDirectory(PrivateHome()));
}

TEST(PrivateHome, TheVariablesOfTheLibraryAreUnset) {
  TempDirectory directory;
  const ProgramResult result = Program(BIX_SHOW_ENVIRONMENT)
                                   .Set("TMPDIR", directory.Path())
                                   .Set("HOME", "/nowhere")
                                   .Set("BIX_ERR_OUT", "-o /nowhere")
                                   .Set("QRD_TRACE", "nowhere")
                                   .Set("QRD_ASSERT", "nowhere")
                                   .Set("ZROOT", "/nowhere")
                                   .Set("KESTRANE_INSTALLATION", "/nowhere")
                                   .Set("VORN_URN_MAP_FILE", "/nowhere")
                                   .Set("MORVEL_NO_CLOSE", "nowhere")
                                   .Set("R5_SAVED_LD_LIBRARY_PATH", "/nowhere")
                                   .Set("QRDX", "kept")
                                   .Unset("BIX_TEST_HOME")
                                   .Run();
  EXPECT_EQ(0, result.exitCode) << result.errors;
  const std::string home = directory.Path() + "/bix-test-home-";
  EXPECT_NE(std::string::npos, result.output.find("\nHOME=" + home)) << result.output;
  EXPECT_NE(std::string::npos, result.output.find("\nBIX_TEST_HOME=" + home)) << result.output;
  EXPECT_NE(std::string::npos, result.output.find("\nQRDX=kept\n")) << result.output;
  EXPECT_EQ(std::string::npos, result.output.find("nowhere")) << result.output;
  // It has gone: the directory is empty.
  EXPECT_EQ(0, rmdir(directory.Path().c_str()));
}

TEST(PrivateHome, AnInheritedOneIsKept) {
  TempDirectory directory;
  const ProgramResult result = Program(BIX_SHOW_ENVIRONMENT)
                                   .Set("BIX_TEST_HOME", directory.Path())
                                   .Set("QRD_TRACE", "kept")
                                   .Run();
  EXPECT_EQ(0, result.exitCode) << result.errors;
  EXPECT_NE(std::string::npos, result.output.find("BIX_TEST_HOME=" + directory.Path() + "\n"));
  EXPECT_NE(std::string::npos, result.output.find("QRD_TRACE=kept\n"));
  EXPECT_TRUE(IsDirectory(directory.Path()));
}

TEST(ScopedWorkingDirectory, GoesBackAtTheEnd) {
  const std::string before = std::filesystem::current_path();
  TempDirectory directory;
  {
    const ScopedWorkingDirectory there(directory.Path());
    EXPECT_EQ(directory.Path(), std::filesystem::current_path());
  }
  EXPECT_EQ(before, std::filesystem::current_path());
}

TEST(CapturedOutput, KeepsTheTwoDescriptorsApart) {
  std::string output;
  std::string errors;
  {
    const CapturedOutput captured;
    std::printf("one");
    std::fprintf(stderr, "two");
    ASSERT_EQ(3, write(1, "six", 3));
    output = captured.Output();
    errors = captured.Errors();
  }
  EXPECT_TRUE(output == "onesix" || output == "sixone") << output;
  EXPECT_EQ("two", errors);
}

}  // namespace
