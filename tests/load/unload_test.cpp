// Loading and unloading the real library in one process, which is not linked against it.

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include "support/scoped_environment.h"
#include "support/temp_directory.h"

namespace {

using bix_test::ScopedVariable;
using bix_test::TempDirectory;

/// Open descriptors by number, with what they refer to.
std::map<std::string, std::string> Descriptors() {
  std::map<std::string, std::string> descriptors;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const auto target = std::filesystem::read_symlink(entry.path(), gone);
    // All but the one that reads this very directory.
    if (!gone && target.string().find("/proc/") != 0)
      descriptors[entry.path().filename().string()] = target.string();
  }
  return descriptors;
}

bool IsMapped(const std::string& name) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);)
    if (line.find(name) != std::string::npos) return true;
  return false;
}

template <class Function>
Function* Symbol(void* library, const char* name) {
  void* const symbol = dlsym(library, name);
  EXPECT_NE(nullptr, symbol) << name;
  return reinterpret_cast<Function*>(symbol);
}

/// One life of the library, with something done in it that makes it keep memory and open its log.
void LoadUseAndUnload() {
  void* const library = dlopen(BIX_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(nullptr, library) << dlerror();
  using Text = const char*();
  EXPECT_STRNE("", Symbol<Text>(library, "_ZN3bix13BixGetUserDirEv")());
  EXPECT_STRNE("", Symbol<Text>(library, "_ZN3bix19BixGetUserAddinsDirEv")());
  EXPECT_STRNE("", Symbol<Text>(library, "_ZN3bix15BixGetLocaleDirEv")());
  EXPECT_STRNE("", Symbol<const char*(const char*)>(
                       library, "_ZN3bix25BixGetEnvironmentVariableEPKc")("HOME"));
  Symbol<void()>(library, "_ZN3bix12SUrnResolver26RegisterURNsWithoutOptionsEv")();
  void* const channel = dlsym(library, "_ZN3bix6bixerrE");
  ASSERT_NE(nullptr, channel);
  Symbol<void*(void*, const char*)>(library, "_ZN3bix7CMsgOutlsEPKc")(channel, "message");
  Symbol<void*(void*)>(library, "_ZN3bix5flushERNS_7CMsgOutE")(channel);
  char text[100] = "";
  void** const module = static_cast<void**>(dlsym(library, "_ZN3bix15BixhDllInstanceE"));
  ASSERT_NE(nullptr, module);
  EXPECT_EQ(*module, Symbol<void*()>(library, "_ZN3bix20BixGetResourceHandleEv")());
  EXPECT_EQ(12, Symbol<int(void*, unsigned, char*, int)>(
                    library, "_ZN3bix13BixLoadStringEP11HINSTANCE__jPci")(*module, 8, text, 100));
  EXPECT_STREQ("My Projects", text);
  using Register = bool(const char*, unsigned, unsigned);
  EXPECT_TRUE(
      Symbol<Register>(library, "_ZN3bix16BixModuleManager13RegisterRangeEPKcjj")("ULD", 100, 199));
  // The file scheme is there: the seventh slot of the composite tells what can be done.
  void** const* const composite = *static_cast<void** const**>(dlsym(library, "_ZN3bix4SUriE"));
  EXPECT_EQ(3, reinterpret_cast<int (*)(const void*)>((*composite)[6])(composite));
  EXPECT_EQ(0, dlclose(library));
  EXPECT_EQ(nullptr, dlopen(BIX_LIBRARY, RTLD_NOW | RTLD_NOLOAD)) << "really unloaded";
}

TEST(Unloading, HundredsOfTimesLeaveNothingBehind) {
  const TempDirectory home;
  const ScopedVariable variables[] = {
      {"HOME", home.Path().c_str()},     {"KESTRANE_ATELAN_LANGUAGE", nullptr},
      {"VORN_USER_ADDINS_DIR", nullptr}, {"QRD_DEBUG_RESOURCE", nullptr},
      {"VORN_URN_MAP_FILE", nullptr},    {"BIX_ERR_OUT", ("-q -o " + (home / "log")).c_str()}};
  std::filesystem::create_directories(home / "Kestrane/Shared");
  bix_test::WriteWholeFile(home / "Kestrane/Shared/urnmap.txt", "a:/a\nb:/b\n");
  const auto descriptors = Descriptors();
  // The first lives let the loader and the C library make what they keep for good.
  for (int i = 0; i < 20 && !HasFailure(); ++i) LoadUseAndUnload();
  constexpr std::size_t kLives = 200;
  constexpr std::size_t kSmallestBlock = 16;
  const auto heap = mallinfo2().uordblks;
  for (std::size_t i = 0; i < kLives && !HasFailure(); ++i) LoadUseAndUnload();
  // Under a sanitizer, which has a heap of its own, this is constant, and its leak check decides.
  const auto heapAfter = mallinfo2().uordblks;
  EXPECT_EQ(descriptors, Descriptors());
  // What is free but kept at hand counts as used and varies a little from one life to the next. A
  // leak costs each life a block.
  EXPECT_LT(heapAfter, heap + kLives * kSmallestBlock);
  EXPECT_FALSE(IsMapped("libbix.so"));
  // The environment is what it was made to be, and nothing of it has gone with the library.
  const char* const mapFile = std::getenv("VORN_URN_MAP_FILE");
  ASSERT_NE(nullptr, mapFile);
  EXPECT_EQ(home / "Kestrane/Shared/urnmap.txt", mapFile);
}

/// The bytes of this process's address space.
long AddressSpace() {
  std::ifstream pages("/proc/self/statm");
  long count = 0;
  pages >> count;
  return count * sysconf(_SC_PAGESIZE);
}

/// What a load keeps at hand for the next one goes with the library.
TEST(Unloading, TheMemoryOfLargeFilesIsGivenBack) {
  const TempDirectory home;
  const ScopedVariable variables[] = {{"HOME", home.Path().c_str()},
                                      {"KESTRANE_ATELAN_LANGUAGE", nullptr},
                                      {"BIX_ERR_OUT", nullptr},
                                      {"VORN_URN_MAP_FILE", nullptr},
                                      {"QRD_DEBUG_RESOURCE", nullptr}};
  std::string text;
  for (int i = 0; i < 50000; ++i)
    text += (i % 100 == 0 ? "[S" + std::to_string(i) + "]" : "") + "\"n" + std::to_string(i) +
            "\"=\"text\"\n";
  const std::string path = home / "large.tot";
  bix_test::WriteWholeFile(path, text);
  const auto loadTwice = [&path] {
    void* const library = dlopen(BIX_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, library) << dlerror();
    alignas(std::max_align_t) char settings[1024];
    Symbol<void(void*, void*)>(library, "_ZN3bix7CRgFileC1EPNS_6CRgKeyE")(settings, nullptr);
    auto* const load = Symbol<int(void*, const char*)>(library, "_ZN3bix7CRgFile4LoadEPKc");
    EXPECT_EQ(0, load(settings, path.c_str()));
    EXPECT_EQ(0, load(settings, path.c_str()));
    Symbol<void(void*)>(library, "_ZN3bix7CRgFileD1Ev")(settings);
    EXPECT_EQ(0, dlclose(library));
  };
  for (int i = 0; i < 3; ++i) loadTwice();
  const long before = AddressSpace();
  for (int i = 0; i < 20; ++i) loadTwice();
  EXPECT_LT(AddressSpace() - before, 16 << 20);
}

TEST(Unloading, LoadingIsSilentAndCreatesTheUsersDirectories) {
  const TempDirectory home;
  const TempDirectory tools;
  const ScopedVariable variables[] = {{"HOME", home.Path().c_str()},
                                      {"ZROOT", tools.Path().c_str()},
                                      {"VORN_USER_ADDINS_DIR", nullptr},
                                      {"VORN_TEAM_ADDINS_DIR", nullptr},
                                      {"VORN_COMPANY_ADDINS_DIR", nullptr},
                                      {"KESTRANE_ATELAN_LANGUAGE", nullptr},
                                      {"BIX_ERR_OUT", nullptr},
                                      {"VORN_URN_MAP_FILE", nullptr},
                                      {"QRD_DEBUG_RESOURCE", nullptr}};
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  void* const library = dlopen(BIX_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(nullptr, library);
  if (library != nullptr) dlclose(library);
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
  std::set<std::string> made;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(home.Path())) {
    EXPECT_TRUE(entry.is_directory()) << entry.path();
    made.insert(entry.path().string().substr(home.Path().size()));
  }
  EXPECT_EQ((std::set<std::string>{"/Kestrane", "/Kestrane/Shared", "/Kestrane/Vorn 4.2",
                                   "/My Projects"}),
            made);
  EXPECT_TRUE(std::filesystem::is_empty(tools.Path()));
}

TEST(Unloading, WhatIsLeftOnAChannelIsFlushed) {
  const ScopedVariable variables[] = {{"BIX_ERR_OUT", nullptr},
                                      {"KESTRANE_ATELAN_LANGUAGE", nullptr}};
  void* const library = dlopen(BIX_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(nullptr, library) << dlerror();
  auto* const append = Symbol<void*(void*, const char*)>(library, "_ZN3bix7CMsgOutlsEPKc");
  append(dlsym(library, "_ZN3bix6bixerrE"), "left on the error channel");
  append(dlsym(library, "_ZN3bix6bixoutE"), "left on the other");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  dlclose(library);
  EXPECT_EQ("left on the error channel", testing::internal::GetCapturedStderr());
  EXPECT_EQ("left on the other", testing::internal::GetCapturedStdout());
}

TEST(Unloading, TheSettingIsReadAnewAtEachLoad) {
  const ScopedVariable language("KESTRANE_ATELAN_LANGUAGE", nullptr);
  ScopedVariable setting("BIX_ERR_OUT", nullptr);
  const struct {
    const char* setting;
    const char* errors;
  } cases[] = {{"-x", "Internal error: CErrOut: unknown option\n"},
               {"-q", ""},
               {"-o", "Internal error: CErrOut: file required\n"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.setting);
    setting.Set(c.setting);
    testing::internal::CaptureStderr();
    void* const library = dlopen(BIX_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(nullptr, library);
    if (library != nullptr) dlclose(library);
    EXPECT_EQ(c.errors, testing::internal::GetCapturedStderr());
  }
}

TEST(Unloading, OwnTextsComeAndGoWithTheLibrary) {
  const ScopedVariable variables[] = {
      {"BIX_ERR_OUT", nullptr}, {"KESTRANE_ATELAN_LANGUAGE", nullptr}, {"QRD_DEBUG_RESOURCE", "1"}};
  testing::internal::CaptureStderr();
  void* const library = dlopen(BIX_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(nullptr, library);
  if (library != nullptr) dlclose(library);
  const std::string errors = testing::internal::GetCapturedStderr();
  const char* const inOrder[] = {": BixHandleResourceDLL( BIX10_R.DLL, ", ": SStringTable( ",
                                 ": ~BixHandleResourceDLL( BIX10_R.DLL, ",
                                 ": BixUnregisterStringTable(", ": ~SStringTable( "};
  std::size_t at = 0;
  for (const char* line : inOrder) {
    at = errors.find(line, at);
    ASSERT_NE(std::string::npos, at) << line << "\nin\n" << errors;
  }
}

}  // namespace
