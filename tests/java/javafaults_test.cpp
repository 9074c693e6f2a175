// What the bridge does when calls to Java fail, one after the other, and when there is no memory.
//
// This program replaces the operator new of the whole process.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>

#include <gtest/gtest.h>

#include "bix/javabridge.h"
#include "fake_java.h"
#include "native_object.h"
#include "support/recording_handler.h"

void* operator new(std::size_t size) {
  if (bix_test::allocationsLeft == 0) throw std::bad_alloc();
  if (bix_test::allocationsLeft > 0) --bix_test::allocationsLeft;
  void* const room = std::malloc(size != 0 ? size : 1);
  if (room == nullptr) throw std::bad_alloc();
  return room;
}
// Not inlined: where g++ sees free() but not malloc(), it warns that they are no pair.
[[gnu::noinline]] void operator delete(void* room) noexcept { std::free(room); }
[[gnu::noinline]] void operator delete(void* room, std::size_t) noexcept { std::free(room); }

namespace {

using bix_test::FakeJava;
using bix_test::NativeObject;
using bix_test::ScopedRecorder;
using namespace jniutils;

constexpr char kModel[] = "com/kestrane/vorn/ModelImpl";

std::int64_t AddressOf(const void* object) {
  return static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(object));
}

std::string Text(const void* result) { return result != nullptr ? "an object" : "null"; }

/// Makes a host's native object for everything.
class Creator : public ICppWrapperObjectCreator {
 public:
  qv::IUnknown* CreateWrapperObject(const char*, JNIEnv*, jobject) override { return &object; }
  NativeObject object;
};

/// A fake machine, objects of both sides, and no wrapper left behind.
struct World {
  World() {
    java.AddClass("a/b/IFoo");
    java.AddClass("Foo", "a/b/IFoo");
    java.AddClass("Colour", "java/lang/Enum");
    foo = java.NewObject("Foo");
    colour = java.NewObject("Colour", 2);
    text = java.NewText(u"text");
    RegisterCppWrapperObjectCreator("IFoo", &creator);
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World() {
    java.FailAt(0);
    java.SetPending("");
    UnregisterCppWrapperObjectCreator("IFoo");
    if (CountWrappers(java.Env()).registered != 0) {
      UnregisterJavaObject(java.Env(), java.NewObject(kModel, AddressOf(&object)));
    }
    EXPECT_EQ(0u, CountWrappers(java.Env()).registered);
    EXPECT_EQ(0, java.WeakReferences());
    EXPECT_EQ(0, object.references);
    EXPECT_EQ(std::vector<std::string>(), java.violations);
  }

  FakeJava java;
  JNIEnv* env = java.Env();
  NativeObject object;
  Creator creator;
  jobject foo, colour;
  jstring text;
};

/// A function of the bridge: what it gives when all goes well, when a call fails, and how many local
/// references its result is.
struct Function {
  const char* name;
  const char* good;
  const char* bad;
  int references;
  std::function<std::string(World&)> run;
};

std::string Passed(const std::function<qv::IUnknown*()>& pass) {
  try {
    return Text(pass());
  } catch (const char* error) {
    return error;
  }
}

constexpr char kNotImplemented[] = "Java object does not implement the expected interface a/b/IFoo";

const std::vector<Function>& Functions() {
  static const auto& s_functions = *new std::vector<Function>{
      {"ConvertEnumToInt", "2", "0", 0,
       [](World& w) { return std::to_string(ConvertEnumToInt(w.env, w.colour)); }},
      {"CreateNewJavaObject", "an object", "null", 1,
       [](World& w) { return Text(CreateNewJavaObject(w.env, kModel, "(J)V", jlong{5})); }},
      {"IsInstanceOf", "1", "0", 0,
       [](World& w) { return std::to_string(IsInstanceOf(w.env, w.foo, "a/b/IFoo")); }},
      {"GetString of bytes", "an object", "null", 1,
       [](World& w) { return Text(GetString(w.env, std::string("text"))); }},
      {"GetString", "text", "", 0, [](World& w) { return GetString(w.env, w.text); }},
      {"GetNarrowString", "text", "", 0, [](World& w) { return GetNarrowString(w.env, w.text); }},
      {"NewStringUTF16", "an object", "null", 1,
       [](World& w) { return Text(NewStringUTF16(w.env, u"text")); }},
      {"NewStringUTF8", "an object", "null", 1,
       [](World& w) { return Text(NewStringUTF8(w.env, "text")); }},
      {"NewStringWide", "an object", "null", 1,
       [](World& w) { return Text(NewStringWide(w.env, L"text")); }},
      {"GetStringUTF16", "4", "0", 0,
       [](World& w) { return std::to_string(GetStringUTF16(w.env, w.text).size()); }},
      {"GetStringUTF8", "text", "", 0, [](World& w) { return GetStringUTF8(w.env, w.text); }},
      {"GetStringWide", "4", "0", 0,
       [](World& w) { return std::to_string(GetStringWide(w.env, w.text).size()); }},
      {"CreateNewWrappingJavaObject of a class", "an object", "null", 1,
       [](World& w) { return Text(CreateNewWrappingJavaObject(w.env, kModel, &w.object)); }},
      {"CreateNewWrappingJavaObject", "an object", "null", 1,
       [](World& w) { return Text(CreateNewWrappingJavaObject(w.env, &w.object)); }},
      {"GetIUnknownFromJavaObject", "1", "0", 0,
       [](World& w) {
         jobject const wrapper = w.java.NewObject(kModel, AddressOf(&w.object));
         const bool isSame = GetIUnknownFromJavaObject(w.env, wrapper, nullptr) == &w.object;
         w.env->DeleteLocalRef(wrapper);
         return std::to_string(isSame);
       }},
      {"GetInterfacePtr", "1", "0", 0,
       [](World& w) {
         jobject const wrapper = w.java.NewObject(kModel, AddressOf(&w.object));
         auto* const found = GetInterfacePtr<qv::IUnknown>(w.env, wrapper, nullptr);
         if (found != nullptr) found->Release();
         w.env->DeleteLocalRef(wrapper);
         return std::to_string(found == &w.object);
       }},
      {"CreateNewWrappingCppObject", "an object", kNotImplemented, 0,
       [](World& w) {
         return Passed([&] { return CreateNewWrappingCppObject(w.env, w.foo, "a/b/IFoo"); });
       }},
  };
  return s_functions;
}

/// What stays pending when the call fails: what Java throws while it works.
std::string Remaining(const std::string& call) {
  if (call == "NewObjectV") return "the constructor's exception";
  if (call == "CallIntMethodV") return "the method's exception";
  if (call == "NewStringUTF" || call == "NewString" || call == "GetStringUTFChars" ||
      call == "NewWeakGlobalRef") {
    return "java/lang/OutOfMemoryError";
  }
  if (call == "GetStringRegion") return "java/lang/StringIndexOutOfBoundsException";
  return "";
}

/// What the function gives when that call fails.
std::string Given(const Function& function, const std::string& failed) {
  // An object without a reference of the bridge's own is not even asked for its class.
  if (function.bad == std::string(kNotImplemented) && failed == "NewLocalRef") return "null";
  return function.bad;
}

TEST(JavaFaults, EveryCallFailsInTurn) {
  for (const Function& function : Functions()) {
    int failures = 0;
    for (int n = 1;; ++n) {
      SCOPED_TRACE(std::string(function.name) + ", call " + std::to_string(n));
      World world;
      const int before = world.java.LocalReferences();
      world.java.FailAt(n);
      const std::string result = function.run(world);
      const std::string failed = world.java.Failed();
      SCOPED_TRACE(failed);
      if (failed.empty()) {
        EXPECT_EQ(function.good, result);
        EXPECT_EQ("", world.java.Pending());
        EXPECT_EQ(before + function.references, world.java.LocalReferences());
        break;
      }
      ++failures;
      EXPECT_EQ(Given(function, failed), result);
      EXPECT_EQ(Remaining(failed), world.java.Pending());
      EXPECT_EQ(before, world.java.LocalReferences());
      EXPECT_EQ(0, world.java.WeakReferences());
      EXPECT_EQ(0u, CountWrappers(world.env).registered);
      // Nothing is left locked or half done.
      world.java.SetPending("");
      world.java.FailAt(0);
      EXPECT_EQ(function.good, function.run(world));
    }
    EXPECT_GE(failures, 1) << function.name;
  }
}

TEST(JavaFaults, EveryCallFailsInTurnBesideAnEarlierException) {
  for (const Function& function : Functions()) {
    for (int n = 1;; ++n) {
      SCOPED_TRACE(std::string(function.name) + ", call " + std::to_string(n));
      World world;
      const int before = world.java.LocalReferences();
      world.java.SetPending("the first one");
      world.java.FailAt(n);
      const std::string result = function.run(world);
      const std::string failed = world.java.Failed();
      SCOPED_TRACE(failed);
      // The last call makes it pending again. It is lost when that fails, and nothing else is.
      const bool isAtEnd = failed.empty() || failed == "Throw";
      EXPECT_EQ(isAtEnd ? function.good : Given(function, failed), result);
      EXPECT_EQ(failed == "Throw" ? "" : "the first one", world.java.Pending());
      EXPECT_EQ(before + (isAtEnd ? function.references : 0), world.java.LocalReferences());
      if (failed.empty()) break;
    }
  }
}

TEST(JavaFaults, WhatIsMissingLeavesNoException) {
  const struct {
    const char* className;
    const char* base;
    std::vector<std::string> members;
  } replaced[] = {
      {"java/lang/Enum", nullptr, {}},
      {"com/kestrane/vorn/ModelImpl", "com/kestrane/vorn/CppObjectWrapper", {}},
      {"com/kestrane/vorn/CppObjectWrapper", nullptr, {}},
  };
  for (const auto& r : replaced) {
    SCOPED_TRACE(r.className);
    World world;
    world.java.AddClass(r.className, r.base, r.members);
    jobject const wrapper = world.java.NewObject(kModel, AddressOf(&world.object));
    const bool isEnum = r.className == std::string("java/lang/Enum");
    const bool isImpl = r.className == std::string(kModel);
    const bool isBase = !isEnum && !isImpl;
    EXPECT_EQ(isEnum ? 0 : 2, ConvertEnumToInt(world.env, world.colour));
    EXPECT_EQ(isImpl, nullptr == CreateNewJavaObject(world.env, kModel, "(J)V", jlong{1}));
    EXPECT_EQ(isBase, nullptr == GetIUnknownFromJavaObject(world.env, wrapper, nullptr));
    EXPECT_EQ("", world.java.Pending());
  }
}

// Java's machine may end the process when it gets a null name.
TEST(JavaFaults, JavaIsNotAskedForANullName) {
  World world;
  EXPECT_EQ(nullptr, CreateNewJavaObject(world.env, nullptr, "()V"));
  EXPECT_FALSE(IsInstanceOf(world.env, world.foo, nullptr));
  EXPECT_EQ(nullptr, CreateNewWrappingJavaObject(world.env, nullptr, &world.object));
  EXPECT_EQ(nullptr, CreateNewJavaObject(world.env, "Foo", nullptr));
  EXPECT_EQ(1, std::count_if(world.java.log.begin(), world.java.log.end(), [](const auto& call) {
              return call.rfind("FindClass", 0) == 0 || call.rfind("GetMethodID", 0) == 0;
            }));
}

// A text without units may have no memory either.
TEST(JavaFaults, JavaIsNotGivenANullPointerForNoUnits) {
  World world;  // whose machine takes it for a violation
  EXPECT_NE(nullptr, NewStringUTF16(world.env, std::u16string_view()));
  EXPECT_EQ("NewString 0", world.java.log.back());
}

TEST(JavaFaults, ClassesAreLookedUpAtEachCall) {
  World world;
  for (const char* const name : {"First", "Second"}) {
    // Another class of that name takes the place of the one before.
    world.java.AddClass("a/b/Changing");
    world.java.AddClass(name, "a/b/Changing", {"<init>(J)V"});
    world.java.log.clear();
    EXPECT_TRUE(IsInstanceOf(world.env, world.java.NewObject(name), "a/b/Changing"));
    EXPECT_EQ(1,
              std::count(world.java.log.begin(), world.java.log.end(), "FindClass a/b/Changing"));
    EXPECT_EQ(2, ConvertEnumToInt(world.env, world.colour));
    EXPECT_EQ(1,
              std::count(world.java.log.begin(), world.java.log.end(), "FindClass java/lang/Enum"));
  }
}

TEST(JavaFaults, AWrapperThatCannotBeKeptIsNotRegistered) {
  World world;
  // The last call of the function that can fail makes the weak reference.
  int last = 0;
  for (int n = 1; last == 0; ++n) {
    world.java.FailAt(n);
    (void)CreateNewWrappingJavaObject(world.env, kModel, &world.object);
    if (world.java.Failed() == "NewWeakGlobalRef") last = n;
    ASSERT_NE("", world.java.Failed());
    world.java.SetPending("");
  }
  EXPECT_EQ(0u, CountWrappers(world.env).registered);
  const WrapperCounts before = CountWrappers(world.env);
  world.java.FailAt(0);
  EXPECT_NE(nullptr, CreateNewWrappingJavaObject(world.env, kModel, &world.object));
  EXPECT_EQ(1u, CountWrappers(world.env).registered);
  EXPECT_EQ(before.made + 1, CountWrappers(world.env).made);
}

TEST(JavaFaults, AWrapperWithoutMemoryForAReferenceStaysRegistered) {
  World world;
  jobject const wrapper = CreateNewWrappingJavaObject(world.env, kModel, &world.object);
  world.java.FailAt(1);
  EXPECT_EQ(nullptr, CreateNewWrappingJavaObject(world.env, kModel, &world.object));
  EXPECT_EQ("NewLocalRef", world.java.Failed());
  world.java.FailAt(0);
  EXPECT_EQ(1u, CountWrappers(world.env).registered);
  jobject const again = CreateNewWrappingJavaObject(world.env, kModel, &world.object);
  EXPECT_TRUE(world.env->IsSameObject(wrapper, again));
  EXPECT_EQ(1, world.java.WeakReferences());
}

TEST(JavaFaults, AnObjectWhoseNewWrapperFailsHasNone) {
  World world;
  jobject const wrapper = CreateNewWrappingJavaObject(world.env, kModel, &world.object);
  world.java.Collect(wrapper);
  EXPECT_EQ(1u, CountWrappers(world.env).registered);
  EXPECT_EQ(0u, CountWrappers(world.env).live);
  EXPECT_EQ(nullptr, CreateNewWrappingJavaObject(world.env, "no/such/Class", &world.object));
  EXPECT_EQ(0u, CountWrappers(world.env).registered);
  EXPECT_EQ(0, world.java.WeakReferences());
  EXPECT_NE(nullptr, CreateNewWrappingJavaObject(world.env, kModel, &world.object));
}

TEST(JavaFaults, AnObjectThatCannotBeReachedIsNotUnregistered) {
  for (int n = 1;; ++n) {
    SCOPED_TRACE(n);
    World world;
    jobject const wrapper = CreateNewWrappingJavaObject(world.env, kModel, &world.object);
    const int before = world.java.LocalReferences();
    const ScopedRecorder recorder;
    world.java.FailAt(n);
    UnregisterJavaObject(world.env, wrapper);
    EXPECT_EQ(before, world.java.LocalReferences());
    EXPECT_EQ("", world.java.Pending());
    if (world.java.Failed().empty()) {
      EXPECT_EQ("", recorder.Text());
      EXPECT_EQ(0u, CountWrappers(world.env).registered);
      EXPECT_GE(n, 4);
      break;
    }
    EXPECT_EQ("Internal error: Attempt to unregister non-existing Java object!\n", recorder.Text());
    EXPECT_EQ(1u, CountWrappers(world.env).registered);
  }
}

// A host's object may call Java when it goes.
TEST(JavaFaults, AnObjectIsUnregisteredWithNoExceptionPending) {
  class AskingObject : public NativeObject {
   public:
    explicit AskingObject(FakeJava& java) : m_java(java) {}
    void QueryInterface(const qv::GUID& iid, void** out) override {
      pending += m_java.Pending();
      NativeObject::QueryInterface(iid, out);
    }
    void Release() override {
      pending += m_java.Pending();
      NativeObject::Release();
    }
    std::string pending;

   private:
    FakeJava& m_java;
  };
  World world;
  AskingObject object(world.java);
  jobject const wrapper = CreateNewWrappingJavaObject(world.env, kModel, &object);
  world.java.SetPending("the first one");
  EXPECT_EQ(1u, CountWrappers(world.env).live);
  UnregisterJavaObject(world.env, wrapper);
  EXPECT_EQ("", object.pending);
  EXPECT_EQ("the first one", world.java.Pending());
}

TEST(JavaFaults, AnErrorThatCannotBeThrownLeavesNothingPending) {
  for (int n = 1; n <= 2; ++n) {
    World world;
    const int before = world.java.LocalReferences();
    world.java.SetPending("the first one");
    world.java.FailAt(n);
    ThrowJavaAPIErrorException(world.env, "the second one");
    EXPECT_EQ(n == 1 ? "FindClass" : "GetMethodID", world.java.Failed());
    EXPECT_EQ("", world.java.Pending());
    EXPECT_EQ(before, world.java.LocalReferences());
  }
  World world;
  ThrowJavaAPIErrorException(world.env, "a message");
  EXPECT_EQ("com/kestrane/vorn/APIError: a message", world.java.Pending());
}

TEST(JavaFaults, WhatJavaThrowsInPlaceOfAnErrorStays) {
  World world;
  const int before = world.java.LocalReferences();
  world.java.SetPending("the first one");
  world.java.FailAt(3);
  ThrowJavaAPIErrorException(world.env, "the second one");
  EXPECT_EQ("ThrowNew", world.java.Failed());
  EXPECT_EQ("java/lang/OutOfMemoryError", world.java.Pending());
  EXPECT_EQ(before, world.java.LocalReferences());
}

TEST(JavaFaults, AnExceptionSetAsideThatCannotBeThrownAgainIsDropped) {
  World world;
  const int before = world.java.LocalReferences();
  world.java.SetPending("the first one");
  for (int n = 1; world.java.Failed() != "Throw"; ++n) {
    ASSERT_LT(n, 10);
    world.java.SetPending("the first one");
    world.java.FailAt(n);
    (void)IsInstanceOf(world.env, world.foo, "a/b/IFoo");
  }
  EXPECT_EQ("", world.java.Pending());
  EXPECT_EQ(before, world.java.LocalReferences());
}

TEST(JavaFaults, CharactersThatWereTakenAreReleased) {
  World world;
  EXPECT_EQ("text", GetString(world.env, world.text));
  world.java.log.clear();
  EXPECT_EQ("text", GetNarrowString(world.env, world.text));
  EXPECT_EQ((std::vector<std::string>{"ExceptionOccurred", "NewLocalRef", "GetStringUTFChars",
                                      "characters taken", "ReleaseStringUTFChars",
                                      "characters released", "DeleteLocalRef"}),
            world.java.log);
}

// ---- Without memory

TEST(JavaStringFaults, WithoutMemoryJavaGetsItsOwnError) {
  constexpr char kError[] = "java/lang/OutOfMemoryError: no memory for a string";
  World world;
  // A length beyond all memory.
  world.java.SayStringLength(-1);
  EXPECT_EQ(u"", GetStringUTF16(world.env, world.text));
  EXPECT_EQ(kError, world.java.Pending());
  world.java.SetPending("");
  EXPECT_EQ("", GetStringUTF8(world.env, world.text));
  EXPECT_EQ(kError, world.java.Pending());
  world.java.SetPending("");
  EXPECT_EQ(L"", GetStringWide(world.env, world.text));
  EXPECT_EQ(kError, world.java.Pending());
}

// A pending exception is not replaced by it.
TEST(JavaStringFaults, WithoutMemoryAnEarlierExceptionStays) {
  World world;
  world.java.SetPending("the first one");
  world.java.SayStringLength(-1);
  EXPECT_EQ(u"", GetStringUTF16(world.env, world.text));
  EXPECT_EQ("the first one", world.java.Pending());
}

TEST(JavaStringFaults, WithoutMemoryForTheErrorTheTextIsStillEmpty) {
  const struct {
    int fails;
    const char* call;
    const char* pending;
  } cases[] = {{2, "FindClass", ""}, {3, "ThrowNew", "java/lang/OutOfMemoryError"}};
  for (const auto& c : cases) {
    World world;
    world.java.SayStringLength(-1);
    world.java.FailAt(c.fails);
    EXPECT_EQ(u"", GetStringUTF16(world.env, world.text));
    EXPECT_EQ(c.call, world.java.Failed());
    EXPECT_EQ(c.pending, world.java.Pending());
  }
}

TEST(JavaStringFaults, ATextWithMoreUnitsThanAStringCanHaveIsNotPassedOn) {
  World world;
  world.java.log.clear();
  // Its units are not read.
  const std::u16string_view tooLong(u"x", std::size_t{0x80000000u});
  EXPECT_EQ(nullptr, NewStringUTF16(world.env, tooLong));
  EXPECT_EQ("java/lang/OutOfMemoryError: no memory for a string", world.java.Pending());
  EXPECT_EQ(0, std::count_if(world.java.log.begin(), world.java.log.end(),
                             [](const auto& call) { return call.rfind("NewString", 0) == 0; }));
}

/// Lets so many allocations of this thread succeed in its scope.
class ScopedAllocations {
 public:
  explicit ScopedAllocations(int count) { bix_test::allocationsLeft = count; }
  ScopedAllocations(const ScopedAllocations&) = delete;
  ScopedAllocations& operator=(const ScopedAllocations&) = delete;
  ~ScopedAllocations() { bix_test::allocationsLeft = -1; }
};

TEST(JavaStringFaults, WithoutMemoryEachConversionFailsAsAWhole) {
  const std::u16string units(100, u'x');
  const std::string bytes(100, 'x');
  const bix::WString wide(std::wstring(100, L'x'));
  const struct {
    const char* name;
    std::function<bool(World&, jstring)> isEmpty;
  } cases[] = {
      {"GetString", [](World& w, jstring s) { return GetString(w.env, s).empty(); }},
      {"GetStringUTF16", [](World& w, jstring s) { return GetStringUTF16(w.env, s).empty(); }},
      {"GetStringUTF8", [](World& w, jstring s) { return GetStringUTF8(w.env, s).empty(); }},
      {"GetStringWide", [](World& w, jstring s) { return GetStringWide(w.env, s).empty(); }},
      {"NewStringUTF8", [&](World& w, jstring) { return !NewStringUTF8(w.env, bytes); }},
      {"NewStringWide", [&](World& w, jstring) { return !NewStringWide(w.env, wide); }},
  };
  for (const auto& c : cases) {
    int failures = 0;
    for (int n = 0;; ++n) {
      SCOPED_TRACE(std::string(c.name) + ", allocations: " + std::to_string(n));
      World world;
      jstring const string = world.java.NewText(units);
      bool isEmpty = false;
      {
        const ScopedAllocations allocations(n);
        isEmpty = c.isEmpty(world, string);
      }
      EXPECT_EQ(isEmpty ? "java/lang/OutOfMemoryError: no memory for a string" : "",
                world.java.Pending());
      if (!isEmpty) break;
      ++failures;
      ASSERT_LT(n, 20);
    }
    EXPECT_GE(failures, 1) << c.name;
  }
}

TEST(JavaFaults, AWrapperWithoutMemoryToKeepItIsNotRegistered) {
  const std::function<jobject(World&)> ways[] = {
      [](World& w) { return CreateNewWrappingJavaObject(w.env, kModel, &w.object); },
      [](World& w) { return CreateNewWrappingJavaObject(w.env, &w.object); }};
  for (const auto& wrap : ways) {
    int failures = 0;
    for (int n = 0;; ++n) {
      SCOPED_TRACE(n);
      World world;
      const int before = world.java.LocalReferences();
      jobject wrapper = nullptr;
      {
        const ScopedAllocations allocations(n);
        wrapper = wrap(world);
      }
      if (wrapper != nullptr) break;
      ++failures;
      EXPECT_EQ("java/lang/OutOfMemoryError: no memory for a wrapper", world.java.Pending());
      EXPECT_EQ(before, world.java.LocalReferences());
      EXPECT_EQ(0, world.java.WeakReferences());
      EXPECT_EQ(0u, CountWrappers(world.env).registered);
      ASSERT_LT(n, 20);
    }
    EXPECT_GE(failures, 1);
  }
}

TEST(JavaFaults, AWrapperWithoutMemoryLeavesAnEarlierException) {
  World world;
  world.java.SetPending("the first one");
  {
    const ScopedAllocations allocations(0);
    EXPECT_EQ(nullptr, CreateNewWrappingJavaObject(world.env, &world.object));
  }
  EXPECT_EQ("the first one", world.java.Pending());
}

TEST(JavaFaults, WithoutMemoryForTheReportJavaGetsItsOwnError) {
  // The channel itself does without memory; its handlers may not.
  class CopyingHandler : public qv::IMessageOutputHandler {
   public:
    bool HandleOutput(const std::string&) override { throw std::bad_alloc(); }
    void OutputDone() override {}
  } handler;
  World world;
  jobject const stranger = world.java.NewObject(kModel, AddressOf(&world.object));
  bix::bixerr.PushOutput(&handler);
  UnregisterJavaObject(world.env, stranger);
  bix::bixerr.PopOutput();
  EXPECT_EQ("java/lang/OutOfMemoryError: no memory to report that an object has no wrapper",
            world.java.Pending());
  testing::internal::CaptureStderr();
  bix::bixerr << bix::flush;  // what the handler left there
  EXPECT_EQ("Internal error: Attempt to unregister non-existing Java object!\n",
            testing::internal::GetCapturedStderr());
}

TEST(JavaFaults, WithoutMemoryTheReportGoesOutAndNoErrorIsRaised) {
  testing::internal::CaptureStderr();
  World world;
  jobject const stranger = world.java.NewObject(kModel, AddressOf(&world.object));
  for (int n = 0; n < 5; ++n) {
    const ScopedAllocations allocations(n);
    UnregisterJavaObject(world.env, stranger);
  }
  const std::string shown = testing::internal::GetCapturedStderr();
  EXPECT_EQ("", world.java.Pending());
  // The last ones are whole.
  const std::string whole = "Internal error: Attempt to unregister non-existing Java object!\n";
  ASSERT_LE(whole.size(), shown.size());
  EXPECT_EQ(whole, shown.substr(shown.size() - whole.size()));
}

TEST(JavaErrorText, WithoutMemoryStillHasItsWords) {
  World world;
  const std::string name = "a/b/" + std::string(100, 'x');
  try {
    const ScopedAllocations allocations(0);
    (void)CreateNewWrappingCppObject(world.env, world.foo, name.c_str());
    ADD_FAILURE() << "nothing raised";
  } catch (const char* error) {
    EXPECT_STREQ("Java object does not implement the expected interface ", error);
  }
}

// ---- The texts of errors

TEST(JavaErrorText, StaysValidBesideLaterOnesAndBeyondItsThread) {
  const auto raise = [](World& world, const std::string& name) -> const char* {
    try {
      (void)CreateNewWrappingCppObject(world.env, world.foo, name.c_str());
      return "nothing raised";
    } catch (const char* error) {
      return error;
    }
  };
  const char* first = nullptr;
  std::thread([&] {
    World world;
    first = raise(world, "a/b/IFirst");
  }).join();
  World world;
  const char* const second = raise(world, "a/b/ISecond");
  for (int i = 0; i < 1000; ++i) (void)raise(world, "a/b/I" + std::to_string(i));
  EXPECT_STREQ("Java object does not implement the expected interface a/b/IFirst", first);
  EXPECT_STREQ("Java object does not implement the expected interface a/b/ISecond", second);
  // The same text again is the same pointer.
  EXPECT_EQ(second, raise(world, "a/b/ISecond"));
}

// ---- A cancelled thread

TEST(JavaCallNative, LetsAThreadBeCancelled) {
  World world;
  bool isUnwound = false;
  std::thread thread([&] {
    struct Unwinding {
      bool& isUnwound;
      ~Unwinding() { isUnwound = true; }
    } const unwinding{isUnwound};
    CallNative(world.env, [] {
      pthread_cancel(pthread_self());
      pthread_testcancel();
    });
  });
  thread.join();
  EXPECT_TRUE(isUnwound);
  EXPECT_EQ("", world.java.Pending());
}

TEST(JavaCallNative, PassesResultsOn) {
  World world;
  EXPECT_EQ(7, CallNative(world.env, [] { return 7; }));
  EXPECT_EQ(0, CallNative(world.env, []() -> int { throw "an error"; }));
  EXPECT_EQ("com/kestrane/vorn/APIError: an error", world.java.Pending());
  world.java.SetPending("");
  EXPECT_EQ(nullptr, CallNative(world.env, []() -> jobject { throw std::string("a string"); }));
  EXPECT_EQ("com/kestrane/vorn/APIError: a string", world.java.Pending());
}

// ---- Threads

// The fake machines are one per thread, as environments are.
TEST(JavaThreadsWithoutMachine, ShareTheTables) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 300;
  std::vector<std::unique_ptr<NativeObject>> objects;
  for (int i = 0; i < kThreads; ++i) objects.push_back(std::make_unique<NativeObject>());
  World world;  // counts at the end
  const WrapperCounts before = CountWrappers(world.env);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&objects, thread] {
      FakeJava java;
      NativeObject& object = *objects[static_cast<std::size_t>(thread)];
      for (int i = 0; i < kRounds; ++i) {
        jobject const wrapper = CreateNewWrappingJavaObject(java.Env(), kModel, &object);
        EXPECT_EQ(&object, GetIUnknownFromJavaObject(java.Env(), wrapper, nullptr));
        try {
          (void)CreateNewWrappingCppObject(java.Env(), wrapper, "java/lang/Object");
        } catch (const char* error) {
          EXPECT_STREQ("Java object does not implement the expected interface java/lang/Object",
                       error);
        }
        UnregisterJavaObject(java.Env(), wrapper);
        java.Env()->DeleteLocalRef(wrapper);
      }
      EXPECT_EQ(0, java.LocalReferences());
      EXPECT_EQ(std::vector<std::string>(), java.violations);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(before.made + kThreads * kRounds, CountWrappers(world.env).made);
  EXPECT_EQ(before.unregistered + kThreads * kRounds, CountWrappers(world.env).unregistered);
}

}  // namespace
