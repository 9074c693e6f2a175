#include "bix/library.h"

#include <cerrno>
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "bix/messages.h"
#include "bix/stringtable.h"
#include "support/recording_handler.h"
#include "support/scoped_environment.h"

extern "C" int DllMain(HINSTANCE module, unsigned int reason, void* reserved);

namespace {

using bix::BixHandleResourceDLL;
using bix::SString;
using bix_test::ScopedRecorder;
using bix_test::ScopedVariable;

HINSTANCE AsModule(void* object) { return bix::GetDllHandle(reinterpret_cast<HINSTANCE>(object)); }

/// What the test library counts.
int Counter(HINSTANCE library, const char* name) {
  int* const counter = static_cast<int*>(bix::BixGetProcAddress(library, name));
  EXPECT_NE(nullptr, counter) << name;
  return counter != nullptr ? *counter : -1;
}

/// Whether all libraries of the process see the symbol. Not asked of RTLD_DEFAULT, which would keep
/// the library that has it loaded.
bool IsGlobal(const char* symbol) {
  void* const program = dlopen(nullptr, RTLD_NOW);
  const bool found = dlsym(program, symbol) != nullptr;
  dlclose(program);
  return found;
}

/// What the test library told about its calls, after it has gone.
std::string g_log;
extern "C" __attribute__((visibility("default"))) void BixTestLog(const char* what,
                                                                  HINSTANCE handle) {
  g_log += what;
  g_log += handle != nullptr ? "(handle) " : "(null) ";
}

TEST(LibraryEntryCompat, OnlyReasonZeroSetsTheHandleAndOnlyOnce) {
  int anchor = 0;
  HINSTANCE const own = bix::BixhDllInstance;
  ASSERT_NE(nullptr, own);
  for (const unsigned reason : {0u, 1u, 2u, 3u, 4u}) {
    DllMain(AsModule(&anchor), reason, nullptr);
    EXPECT_EQ(own, bix::BixhDllInstance) << "set already, reason " << reason;
  }
  for (const unsigned reason : {1u, 2u, 3u, 4u}) {
    bix::BixhDllInstance = nullptr;
    DllMain(AsModule(&anchor), reason, nullptr);
    EXPECT_EQ(nullptr, bix::BixhDllInstance) << "reason " << reason;
  }
  DllMain(AsModule(&anchor), 0, nullptr);
  EXPECT_EQ(AsModule(&anchor), bix::BixhDllInstance);
  bix::BixhDllInstance = own;
}

TEST(LibraryHandle, IsReturnedAsItStands) {
  int anchor = 0;
  EXPECT_EQ(reinterpret_cast<HINSTANCE>(&anchor), AsModule(&anchor));
  EXPECT_EQ(nullptr, bix::GetDllHandle(nullptr));
}

TEST(Library, LoadingCallsItsHookAndFreeingTheOther) {
  g_log.clear();
  HINSTANCE const library = bix::BixLoadLibrary(BIX_HOOKED_LIBRARY);
  ASSERT_NE(nullptr, library) << dlerror();
  EXPECT_EQ("Initialize(handle) ", g_log);
  EXPECT_EQ(library, *static_cast<HINSTANCE*>(bix::BixGetProcAddress(library, "g_initializedFor")));
  EXPECT_EQ(1, Counter(library, "g_initialized"));
  EXPECT_EQ(nullptr, bix::BixGetProcAddress(library, "no_such_symbol"));
  EXPECT_TRUE(IsGlobal("g_initialized"));
  bix::BixFreeLibrary(library);
  EXPECT_EQ("Initialize(handle) Uninitialize(handle) ", g_log);
  EXPECT_EQ(nullptr, dlopen(BIX_HOOKED_LIBRARY, RTLD_NOW | RTLD_NOLOAD)) << "closed";
}

TEST(Library, LoadingAsDynamicLinkLibraryCallsNothing) {
  g_log.clear();
  HINSTANCE const library = bix::BixLoadDynamicLinkLibrary(BIX_HOOKED_LIBRARY);
  ASSERT_NE(nullptr, library) << dlerror();
  EXPECT_EQ("", g_log);
  EXPECT_EQ(0, Counter(library, "g_initialized"));
  EXPECT_TRUE(IsGlobal("g_initialized"));
  EXPECT_EQ(0, dlclose(library));
  EXPECT_EQ("", g_log);
}

TEST(LibraryCompat, AHookOfALibraryBeneathIsNotCalled) {
  // The library has no texts, but is linked against this one, which has.
  ScopedRecorder reports;
  HINSTANCE const library = bix::BixLoadLibrary(BIX_HOOKLESS_LIBRARY);
  ASSERT_NE(nullptr, library) << dlerror();
  EXPECT_NE(nullptr, bix::BixGetProcAddress(library, "InitializeLibResources"))
      << "found by the handle, although not its own";
  SString text;
  EXPECT_FALSE(bix::LoadStringA(library, 8, text)) << "our texts are not registered for it";
  bix::SStringTable* const table = new bix::SStringTable(library);
  table->Add(8, "its own");
  bix::BixFreeLibrary(library);
  EXPECT_TRUE(bix::LoadStringA(library, 8, text)) << "nor is our clearing up called for it";
  bix::BixUnregisterStringTable(library);
  EXPECT_EQ("", reports.Text());
}

TEST(Library, AFailureIsToldByTheLoader) {
  (void)dlerror();
  EXPECT_EQ(nullptr, bix::BixLoadLibrary("/no/such/library.so"));
  const char* const reason = dlerror();
  ASSERT_NE(nullptr, reason);
  EXPECT_NE(std::string::npos, std::string(reason).find("/no/such/library.so"));
  EXPECT_EQ(nullptr, bix::BixLoadDynamicLinkLibrary("/no/such/library.so"));
  EXPECT_NE(nullptr, dlerror());
  bix::BixFreeLibrary(nullptr);
}

TEST(Library, AllSymbolsAreResolvedWhenItIsLoaded) {
  EXPECT_EQ(nullptr, bix::BixLoadLibrary(BIX_UNRESOLVED_LIBRARY));
  EXPECT_EQ(nullptr, bix::BixLoadDynamicLinkLibrary(BIX_UNRESOLVED_LIBRARY));
  const char* const reason = dlerror();
  ASSERT_NE(nullptr, reason);
  EXPECT_NE(std::string::npos, std::string(reason).find("WhatNobodyHas"));
}

TEST(Library, ALibraryWithoutHooksLeavesNoLoaderError) {
  HINSTANCE const library = bix::BixLoadLibrary(BIX_PLAIN_LIBRARY);
  ASSERT_NE(nullptr, library);
  EXPECT_EQ(nullptr, dlerror());
  bix::BixFreeLibrary(library);
  EXPECT_EQ(nullptr, dlerror());
}

TEST(Library, LastErrorIsErrno) {
  errno = ENOENT;
  EXPECT_EQ(ENOENT, bix::BixGetLastError());
  errno = 0;
  EXPECT_EQ(0, bix::BixGetLastError());
}

TEST(LibraryName, BecomesAFileName) {
  const struct {
    const char* name;
    const char* want;
  } cases[] = {{"Foo", "libfoo.so"},
               {"", "lib.so"},
               {"already_low9", "libalready_low9.so"},
               {"libX.so", "liblibx.so.so"},
               {"\xc3\x84Z", "lib\xc3\x84z.so"}};
  for (const auto& c : cases) {
    SString name(c.name);
    bix::BixGetDynamicLinkLibraryName(name);
    EXPECT_EQ(c.want, name);
  }
}

TEST(LibraryNameCompat, APathIsTreatedLikeABareName) {
  SString name("A/B");
  bix::BixGetDynamicLinkLibraryName(name);
  EXPECT_EQ("liba/b.so", name);
}

// ---- the guard of a module's texts, in English ----

HINSTANCE g_registeredFor = nullptr;
int g_registrations = 0;
void RegisterTexts(HINSTANCE module) {
  ++g_registrations;
  g_registeredFor = module;
  (new bix::SStringTable(module))->Add(1, "text of the module");
}

TEST(ResourceGuard, EnglishTextsComeFromTheModule) {
  for (const char* language : {static_cast<const char*>(nullptr), "", "en"}) {
    SCOPED_TRACE(language != nullptr ? language : "unset");
    const ScopedVariable variable("KESTRANE_ATELAN_LANGUAGE", language);
    ScopedRecorder reports;
    int anchor = 0;
    HINSTANCE module = AsModule(&anchor);
    HINSTANCE const before = bix::BixGetResourceHandle();
    bix::BixSetResourceHandle(module);
    SString text;
    {
      BixHandleResourceDLL guard("TOOL_R.DLL", &RegisterTexts, module);
      EXPECT_EQ(18, bix::BixLoadString(module, 1, text));
      EXPECT_EQ("text of the module", text);
      EXPECT_EQ(AsModule(&anchor), module) << "the caller's handle stays";
    }
    bix::BixSetResourceHandle(before);
    EXPECT_FALSE(bix::LoadStringA(module, 1, text)) << "gone with the guard";
    EXPECT_EQ("", reports.Text());
  }
}

TEST(ResourceGuard, AnAddInHasItsTextsBesideThoseOfTheLibrary) {
  const ScopedVariable variable("KESTRANE_ATELAN_LANGUAGE", nullptr);
  ScopedRecorder reports;
  HINSTANCE const current = bix::BixGetResourceHandle();
  HINSTANCE const library = bix::BixLoadDynamicLinkLibrary(BIX_ADDIN_LIBRARY);
  ASSERT_NE(nullptr, library) << dlerror();
  auto* const addInModule =
      reinterpret_cast<HINSTANCE (*)()>(bix::BixGetProcAddress(library, "AddInModule"));
  ASSERT_NE(nullptr, addInModule);
  HINSTANCE const module = addInModule();
  SString text;
  EXPECT_EQ(10, bix::BixLoadString(module, 8, text));
  EXPECT_EQ("The add-in", text);
  EXPECT_EQ(11, bix::BixLoadString(bix::BixhDllInstance, 8, text));
  EXPECT_EQ(current, bix::BixGetResourceHandle());
  dlclose(library);
  EXPECT_FALSE(bix::LoadStringA(module, 8, text)) << "gone with the add-in";
  EXPECT_EQ("", reports.Text());
}

TEST(ResourceGuardCompat, EnglishTextsGoToTheCurrentHandle) {
  const ScopedVariable variable("KESTRANE_ATELAN_LANGUAGE", nullptr);
  int anchor = 0;
  int current = 0;
  HINSTANCE module = AsModule(&anchor);
  HINSTANCE const before = bix::BixGetResourceHandle();
  bix::BixSetResourceHandle(AsModule(&current));
  SString text;
  {
    BixHandleResourceDLL guard("TOOL_R.DLL", &RegisterTexts, module);
    EXPECT_EQ(AsModule(&current), g_registeredFor);
    EXPECT_FALSE(bix::LoadStringA(module, 1, text));
    EXPECT_TRUE(bix::LoadStringA(AsModule(&current), 1, text));
  }
  bix::BixSetResourceHandle(before);
  EXPECT_TRUE(bix::LoadStringA(AsModule(&current), 1, text))
      << "the table of the guard's own handle is unregistered, not this one";
  bix::BixUnregisterStringTable(AsModule(&current));
}

TEST(ResourceGuard, WithoutARoutineNothingHappensInEnglish) {
  const ScopedVariable variable("KESTRANE_ATELAN_LANGUAGE", "en");
  ScopedRecorder reports;
  int anchor = 0;
  HINSTANCE module = AsModule(&anchor);
  { BixHandleResourceDLL guard("TOOL_R.DLL", nullptr, module); }
  EXPECT_EQ(AsModule(&anchor), module);
  EXPECT_EQ("", reports.Text());
}

TEST(ResourceGuard, WithoutItsLibraryAModuleKeepsItsHandleAndHasNoTexts) {
  const ScopedVariable variable("KESTRANE_ATELAN_LANGUAGE", "xx");
  ScopedRecorder reports;
  int anchor = 0;
  HINSTANCE module = AsModule(&anchor);
  const int before = g_registrations;
  {
    BixHandleResourceDLL guard("TOOL_R.DLL", &RegisterTexts, module);
    EXPECT_EQ(AsModule(&anchor), module);
    EXPECT_EQ(before, g_registrations);
    ASSERT_EQ(1u, reports.messages.size());
    const std::string start = "Loading of resource DLL \"TOOL_R.DLL\" failed.\nError reported: ";
    EXPECT_EQ(start, reports.messages[0].substr(0, start.size()));
    EXPECT_NE(std::string::npos, reports.messages[0].find("/TOOL_R.DLL: ")) << "why it failed";
    EXPECT_EQ('\n', reports.messages[0].back());
  }
  EXPECT_EQ(1u, reports.messages.size());
}

TEST(ResourceGuard, IsTraced) {
  const ScopedVariable language("KESTRANE_ATELAN_LANGUAGE", "en");
  const ScopedVariable trace("QRD_DEBUG_RESOURCE", "");
  ScopedRecorder reports;
  int anchor = 0;
  HINSTANCE module = AsModule(&anchor);
  std::string address;
  {
    BixHandleResourceDLL guard("TOOL_R.DLL", nullptr, module);
    address = std::to_string(reinterpret_cast<long>(&guard));
  }
  const std::string handle = std::to_string(reinterpret_cast<long>(&anchor));
  ASSERT_EQ(3u, reports.messages.size());
  const auto endsWith = [](const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
  };
  EXPECT_PRED2(endsWith, reports.messages[0],
               ": BixHandleResourceDLL( TOOL_R.DLL, " + handle + ", " + address + ")\n");
  EXPECT_PRED2(endsWith, reports.messages[1],
               ": ~BixHandleResourceDLL( TOOL_R.DLL, " + handle + ", " + address + ")\n");
  EXPECT_PRED2(endsWith, reports.messages[2], ": BixUnregisterStringTable(" + handle + ")\n");
}

}  // namespace
