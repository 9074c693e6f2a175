// The headers after those of a Windows-compatibility layer: a record and a type of the same names,
// and macros that rename every function of two spellings.

struct HINSTANCE__ {
  int unused;
};
typedef struct HINSTANCE__* HINSTANCE;

#define AddAtom AddAtomA
#define CopyFile CopyFileA
#define CreateDirectory CreateDirectoryA
#define CreateFile CreateFileA
#define CreateProcess CreateProcessA
#define CreateSemaphore CreateSemaphoreA
#define CreateWindow(name, style) CreateWindowExA(0, name, style)
#define DeleteFile DeleteFileA
#define DrawText DrawTextA
#define FindResource FindResourceA
#define FormatMessage FormatMessageA
#define FreeModule(module) FreeLibrary((module))
#define GetClassName GetClassNameA
#define GetCommandLine GetCommandLineA
#define GetComputerName GetComputerNameA
#define GetCurrentDirectory GetCurrentDirectoryA
#define GetEnvironmentStrings GetEnvironmentStringsA
#define GetEnvironmentVariable GetEnvironmentVariableA
#define GetFullPathName GetFullPathNameA
#define GetMessage GetMessageA
#define GetModuleFileName GetModuleFileNameA
#define GetModuleHandle GetModuleHandleA
#define GetObject GetObjectA
#define GetProp GetPropA
#define GetTempPath GetTempPathA
#define GetUserName GetUserNameA
#define GetVersionEx GetVersionExA
#define LoadLibrary LoadLibraryA
#define LoadMenu LoadMenuA
#define LoadString LoadStringA
#define MoveFile MoveFileA
#define PostMessage PostMessageA
#define RemoveDirectory RemoveDirectoryA
#define RegisterClass RegisterClassA
#define ReplaceText ReplaceTextA
#define ReportEvent ReportEventA
#define SendMessage SendMessageA
#define SetCurrentDirectory SetCurrentDirectoryA
#define SetEnvironmentVariable SetEnvironmentVariableA
#define SetProp SetPropA
#define StartService StartServiceA
#define UpdateResource UpdateResourceA
#define Yield()
#define ERROR 0
#define NO_ERROR 0L
#define CONST const
#define DELETE (0x00010000L)

#include "bix/bix.h"

#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

TEST(WindowsMacros, TheHandleIsTheVeryType) {
  EXPECT_TRUE((std::is_same_v<HINSTANCE, decltype(bix::BixhDllInstance)>));
  HINSTANCE__ record = {1};
  EXPECT_EQ(&record, bix::GetDllHandle(&record));
}

TEST(WindowsMacros, DeclarationsKeepTheirNames) {
  // Each of these would not compile, or not link, had a macro renamed a declaration. The calls are
  // themselves subject to the macros, as they are in a host.
  bix::SString text;
  EXPECT_LE(0, text.FormatMessage("%d%s", 1, "ab"));
  EXPECT_STREQ("1ab", text.c_str());
  EXPECT_TRUE(bix::LoadStringA(bix::BixhDllInstance, 8, text));
  EXPECT_TRUE(bix::LoadString(bix::BixhDllInstance, 8, text));
  EXPECT_STREQ("My Projects", text.c_str());
  EXPECT_EQ(11, bix::BixLoadString(bix::BixhDllInstance, 8, text));
  bix::SPathName root("/");
  EXPECT_TRUE(root.CreateDirectoryA());
  EXPECT_TRUE(root.CreateDirectory());
  EXPECT_NE(nullptr, bix::BixGetModuleFileName());
  EXPECT_EQ(nullptr, bix::BixGetEnvironmentVariable("BIX_TEST_NO_SUCH_VARIABLE"));
}

}  // namespace
