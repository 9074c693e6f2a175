// The bridge in a real Java machine, which checks every call.

#include "bix/javabridge.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <jni.h>
#include <sys/mman.h>

#include "java_machine.h"
#include "native_object.h"
#include "support/recording_handler.h"
#include "support/scoped_locale.h"

namespace {

using bix_test::JavaTest;
using bix_test::NativeObject;
using bix_test::ScopedRecorder;
using bix_test::TakeMachineOutput;
using namespace jniutils;

constexpr char kModel[] = "com/kestrane/vorn/ModelImpl";

jlong AddressOf(const void* object) {
  return static_cast<jlong>(reinterpret_cast<std::intptr_t>(object));
}

// ---- The machine itself

using JavaMachine = JavaTest;

TEST_F(JavaMachine, ComplainsAboutACallWhileAnExceptionIsPending) {
  jclass const type = Find("java/lang/IllegalStateException");
  ASSERT_EQ(JNI_OK, env->ThrowNew(type, "pending"));
  (void)env->FindClass("java/lang/String");
  EXPECT_EQ("java.lang.IllegalStateException: pending", TakeException());
  EXPECT_NE(std::string::npos, TakeMachineOutput().find("WARNING in native method"));
}

TEST_F(JavaMachine, CountsLocalReferences) {
  const bix_test::CountedLocalReferences counted(env);
  jobject const object = env->FindClass("java/lang/String");
  jobject const other = env->NewLocalRef(object);
  env->DeleteLocalRef(object);
  (void)env->GetObjectClass(other);
  EXPECT_EQ(2, counted.Now());
  EXPECT_EQ(2, counted.Most());
}

// ---- Java objects in general

using JavaEnums = JavaTest;

TEST_F(JavaEnums, AreConvertedToTheirOrdinal) {
  EXPECT_EQ(0, ConvertEnumToInt(env, StaticValue("bixtest/Colour", "RED")));
  EXPECT_EQ(1, ConvertEnumToInt(env, StaticValue("bixtest/Colour", "GREEN")));
  // A value with a class of its own.
  EXPECT_EQ(2, ConvertEnumToInt(env, StaticValue("bixtest/Colour", "BLUE")));
}

TEST_F(JavaEnums, WhatIsNoEnumValueIsZero) {
  EXPECT_EQ(0, ConvertEnumToInt(env, nullptr));
  EXPECT_EQ(0, ConvertEnumToInt(env, GetString(env, std::string("GREEN"))));
}

using JavaObjects = JavaTest;

TEST_F(JavaObjects, AreMadeByTheConstructorOfTheSignature) {
  jobject const number = CreateNewJavaObject(env, "java/lang/Long", "(J)V", jlong{-7000000000});
  ASSERT_NE(nullptr, number);
  jclass const type = Find("java/lang/Long");
  EXPECT_EQ(-7000000000, env->CallLongMethod(number, env->GetMethodID(type, "longValue", "()J")));
  EXPECT_FALSE(env->ExceptionCheck());

  jobject const text = CreateNewJavaObject(env, "java/lang/String", "(Ljava/lang/String;)V",
                                           GetString(env, std::string("copy")));
  EXPECT_EQ("copy", GetString(env, static_cast<jstring>(text)));

  // Several arguments of different width, one behind the other.
  jobject const builder = CreateNewJavaObject(env, "java/util/Date", "(IIIII)V", 100, 1, 29, 13, 5);
  EXPECT_EQ("java.util.Date", ClassName(builder));
}

TEST_F(JavaObjects, WithoutClassOrConstructorThereIsNone) {
  EXPECT_EQ(nullptr, CreateNewJavaObject(env, "no/such/Class", "()V"));
  EXPECT_FALSE(env->ExceptionCheck());
  EXPECT_EQ(nullptr, CreateNewJavaObject(env, "java/lang/Long", "(Ljava/util/Map;)V", nullptr));
  EXPECT_FALSE(env->ExceptionCheck());
  EXPECT_EQ(nullptr, CreateNewJavaObject(env, nullptr, "()V"));
  EXPECT_EQ(nullptr, CreateNewJavaObject(env, "java/lang/Object", nullptr));
  EXPECT_FALSE(env->ExceptionCheck());
  // An interface has no constructor.
  EXPECT_EQ(nullptr, CreateNewJavaObject(env, "a/b/IFoo", "()V"));
  EXPECT_FALSE(env->ExceptionCheck());
  // A class that cannot be initialised.
  EXPECT_EQ(nullptr, CreateNewJavaObject(env, "com/kestrane/vorn/BrokenImpl", "(J)V", jlong{1}));
  EXPECT_FALSE(env->ExceptionCheck());
}

TEST_F(JavaObjects, TheExceptionOfAConstructorReachesJava) {
  EXPECT_EQ(nullptr, CreateNewJavaObject(env, "com/kestrane/vorn/RefusingImpl", "(J)V", jlong{1}));
  EXPECT_EQ("java.lang.IllegalStateException: no model today", TakeException());

  // So does what the machine throws in place of one.
  EXPECT_EQ(nullptr, CreateNewJavaObject(env, "java/lang/Number", "()V"));
  EXPECT_EQ("java.lang.InstantiationException: java.lang.Number", TakeException());

  NativeObject object({"Refusing"});
  EXPECT_EQ("java.lang.IllegalStateException: no model today",
            Scenario("wrapped", "(J)Ljava/lang/String;", AddressOf(&object)));
  EXPECT_EQ(0u, CountWrappers(env).registered);
  EXPECT_EQ(0, object.references);
}

using JavaInstances = JavaTest;

TEST_F(JavaInstances, AreThoseOfTheClassAndOfItsBases) {
  jobject const foo = CreateNewJavaObject(env, "bixtest/Foo", "()V");
  ASSERT_NE(nullptr, foo);
  EXPECT_TRUE(IsInstanceOf(env, foo, "bixtest/Foo"));
  EXPECT_TRUE(IsInstanceOf(env, foo, "a/b/IFoo"));
  EXPECT_TRUE(IsInstanceOf(env, foo, "java/lang/Object"));
  EXPECT_FALSE(IsInstanceOf(env, foo, "java/lang/Enum"));
  EXPECT_FALSE(IsInstanceOf(env, foo, "no/such/Class"));
  EXPECT_FALSE(IsInstanceOf(env, foo, nullptr));
  EXPECT_FALSE(env->ExceptionCheck());
}

using JavaInstanceCompat = JavaTest;

TEST_F(JavaInstanceCompat, NullIsAnInstanceOfEveryClass) {
  EXPECT_TRUE(IsInstanceOf(env, nullptr, "java/lang/Enum"));
  EXPECT_FALSE(IsInstanceOf(env, nullptr, "no/such/Class"));
}

// ---- Errors

using JavaErrors = JavaTest;

TEST_F(JavaErrors, OfNativeCodeBecomeAPIErrorAndNothingElse) {
  const struct {
    int kind;
    const char* want;
  } cases[] = {
      {0, "returned 7"},
      {1, "com.kestrane.vorn.APIError: a text"},
      {2, "com.kestrane.vorn.APIError: a string"},
      {3, "com.kestrane.vorn.APIError: a standard exception"},
      {4, "com.kestrane.vorn.APIError: Unknown error in native code"},
      {5, "com.kestrane.vorn.APIError: "},
      {6, "com.kestrane.vorn.APIError: a string of the library"},
      {7, "com.kestrane.vorn.APIError: Unknown error in native code"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.kind);
    EXPECT_EQ(c.want, Scenario("raised", "(I)Ljava/lang/String;", jint{c.kind}));
  }
}

TEST_F(JavaErrors, OfTheBridgeBecomeAPIErrorWithTheirWords) {
  const struct {
    const char* interfaceName;
    const char* want;
  } cases[] = {
      {"a/b/IFoo", "returned 42"},
      {"a/b/IBar",
       "com.kestrane.vorn.APIError: Java object does not implement the expected interface "
       "a/b/IBar"},
      {"java/lang/Enum",
       "com.kestrane.vorn.APIError: "
       "Java object does not implement the expected interface java/lang/Enum"},
      {"bixtest/Foo",
       "com.kestrane.vorn.APIError: Unable to pass Java object as interface bixtest/Foo"},
      {"java/lang/Object",
       "com.kestrane.vorn.APIError: Unable to pass Java object as interface java/lang/Object"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.interfaceName);
    jstring const name = GetString(env, std::string(c.interfaceName));
    EXPECT_EQ(c.want, Scenario("passed", "(Ljava/lang/String;)Ljava/lang/String;", name));
  }
}

using JavaErrorCompat = JavaTest;

TEST_F(JavaErrorCompat, ReplacesThePendingException) {
  EXPECT_EQ("com.kestrane.vorn.APIError: the second one",
            Scenario("raisedBehindAnother", "()Ljava/lang/String;"));
}

// ---- Strings

using JavaStrings = JavaTest;

TEST_F(JavaStrings, OfUtf16KeepEveryUnit) {
  const std::u16string cases[] = {u"",
                                  u"plain",
                                  u"\u20AC",
                                  u"\U0001F600",
                                  std::u16string(u"a\0z", 3),
                                  u"\xD800",
                                  u"\xDC00\xD83D",
                                  std::u16string(70000, u'x')};
  for (const auto& c : cases) {
    jstring const string = NewStringUTF16(env, c);
    ASSERT_NE(nullptr, string);
    EXPECT_EQ(c, Units(string));
    EXPECT_EQ(c, GetStringUTF16(env, string));
    env->DeleteLocalRef(string);
  }
  EXPECT_EQ(u"", Units(NewStringUTF16(env, {})));
}

TEST_F(JavaStrings, OfUtf8KeepEveryCharacter) {
  const struct {
    std::string utf8;
    std::u16string units;
  } cases[] = {
      {"", u""},
      {"plain", u"plain"},
      {"\xC3\xA9\xE2\x82\xAC", u"\u00E9\u20AC"},
      {"\xF0\x9F\x98\x80", u"\xD83D\xDE00"},
      {"\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF"},
      {std::string("a\0z", 3), std::u16string(u"a\0z", 3)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.utf8);
    jstring const string = NewStringUTF8(env, c.utf8);
    EXPECT_EQ(c.units, Units(string));
    EXPECT_EQ(c.utf8, GetStringUTF8(env, string));
  }
  EXPECT_EQ(u"a\xFFFDz", Units(NewStringUTF8(env, "a\xFFz")));
  EXPECT_EQ("a\xEF\xBF\xBDz", GetStringUTF8(env, NewStringUTF16(env, u"a\xD800z")));
}

TEST_F(JavaStrings, OfWideTextKeepEveryCharacter) {
  const bix::WString text = std::wstring(L"\u00E9\U0001F600z");
  jstring const string = NewStringWide(env, text);
  EXPECT_EQ(u"\u00E9\xD83D\xDE00z", Units(string));
  EXPECT_EQ(text, GetStringWide(env, string));
  EXPECT_EQ(
      u"a\xFFFD\xFFFDz",
      Units(NewStringWide(env, std::wstring{L'a', wchar_t{0x110000}, wchar_t{0xD800}, L'z'})));
  EXPECT_EQ(L"a\xFFFDz", GetStringWide(env, NewStringUTF16(env, u"a\xDC00z")));
}

// The library's own texts are in the encoding of the locale.
TEST_F(JavaStrings, OfTheLibrarysTextGoThroughWideText) {
  const bix_test::ScopedLocale locale("de_DE.ISO-8859-1");
  const bix::SString text("caf\xE9");
  jstring const string = NewStringWide(env, bix::WString(text));
  EXPECT_EQ(u"caf\u00E9", Units(string));
  EXPECT_EQ("caf\xE9", bix::SString(GetStringWide(env, string).c_str()));
}

TEST_F(JavaStrings, NullIsTheEmptyText) {
  EXPECT_EQ("", GetString(env, nullptr));
  EXPECT_EQ("", GetNarrowString(env, nullptr));
  EXPECT_EQ(u"", GetStringUTF16(env, nullptr));
  EXPECT_EQ("", GetStringUTF8(env, nullptr));
  EXPECT_EQ(L"", GetStringWide(env, nullptr));
}

using JavaStringCompat = JavaTest;

TEST_F(JavaStringCompat, TheSpecifiedConversionsAreModifiedUtf8) {
  const struct {
    std::string bytes;
    std::u16string units;
  } cases[] = {
      {"", u""},
      {"plain", u"plain"},
      {"\xC3\xA9\xE2\x82\xAC", u"\u00E9\u20AC"},
      {"\xC0\x80", std::u16string(1, u'\0')},
      {"\xED\xA0\xBD\xED\xB8\x80", u"\xD83D\xDE00"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bytes);
    jstring const string = GetString(env, c.bytes);
    EXPECT_EQ(c.units, Units(string));
    EXPECT_EQ(c.bytes, GetString(env, string));
    EXPECT_EQ(c.bytes, GetNarrowString(env, string));
  }
  // A zero byte ends the text.
  EXPECT_EQ(u"a", Units(GetString(env, std::string("a\0z", 3))));
  // UTF-8 proper does not arrive.
  EXPECT_NE(u"\xD83D\xDE00", Units(GetString(env, std::string("\xF0\x9F\x98\x80"))));
}

// What they are taken for is the machine's affair.
TEST_F(JavaStringCompat, BytesThatAreNoModifiedUtf8DoNoHarm) {
  const char* const cases[] = {"caf\xE9",   "\x80",      "\xFF\xFE",         "\xC3",
                               "a\xE2\x82", "\xE2\x82z", "\xF0\x9F\x98\x80", "\xED\xA0"};
  for (const char* c : cases) {
    SCOPED_TRACE(testing::PrintToString(c));
    EXPECT_NE(nullptr, GetString(env, std::string(c)));
    ThrowJavaAPIErrorException(env, c);
    EXPECT_EQ(0u, TakeException().find("com.kestrane.vorn.APIError: "));
  }
}

// ---- Wrappers

using JavaWrappers = JavaTest;

TEST_F(JavaWrappers, TheSecondRequestGivesTheSameObjectByALocalReference) {
  NativeObject object;
  const int before = Made();
  jobject const first = CreateNewWrappingJavaObject(env, kModel, &object);
  jobject const second = CreateNewWrappingJavaObject(env, kModel, &object);
  ASSERT_NE(nullptr, first);
  EXPECT_TRUE(IsSame(first, second));
  EXPECT_EQ(JNILocalRefType, env->GetObjectRefType(first));
  EXPECT_EQ(JNILocalRefType, env->GetObjectRefType(second));
  EXPECT_EQ(before + 1, Made());
  EXPECT_EQ(&object, GetIUnknownFromJavaObject(env, second, nullptr));
  UnregisterJavaObject(env, first);
}

TEST_F(JavaWrappers, OfAllInterfacesOfAnObjectIsOne) {
  NativeObject object;
  ASSERT_NE(static_cast<qv::IUnknown*>(&object), object.Other());
  jobject const first = CreateNewWrappingJavaObject(env, kModel, object.Other());
  EXPECT_TRUE(IsSame(first, CreateNewWrappingJavaObject(env, kModel, &object)));
  EXPECT_TRUE(IsSame(first, CreateNewWrappingJavaObject(env, object.Other())));
  // It has the address of the object's identity.
  EXPECT_EQ(&object, GetIUnknownFromJavaObject(env, first, nullptr));
  UnregisterJavaObject(env, first);
}

TEST_F(JavaWrappers, AreOfTheClassOfTheFirstInterfaceName) {
  NativeObject object({"Model", "Refusing"});
  jobject const wrapper = CreateNewWrappingJavaObject(env, &object);
  EXPECT_EQ("com.kestrane.vorn.ModelImpl", ClassName(wrapper));
  EXPECT_EQ(0, object.references);
  UnregisterJavaObject(env, wrapper);
}

TEST_F(JavaWrappers, WithoutANameOrAnIdentityThereIsNone) {
  NativeObject nameless(std::list<std::string>{});
  EXPECT_EQ(nullptr, CreateNewWrappingJavaObject(env, &nameless));
  EXPECT_EQ(0, nameless.references);
  EXPECT_EQ(1, nameless.releases);  // of its information

  NativeObject withoutInfo;
  withoutInfo.hasInfo = false;
  EXPECT_EQ(nullptr, CreateNewWrappingJavaObject(env, &withoutInfo));
  EXPECT_EQ(0, withoutInfo.releases);

  NativeObject withoutIdentity;
  withoutIdentity.hasIdentity = false;
  EXPECT_EQ(nullptr, CreateNewWrappingJavaObject(env, kModel, &withoutIdentity));
  EXPECT_EQ(nullptr, CreateNewWrappingJavaObject(env, kModel, nullptr));
  EXPECT_EQ(nullptr, CreateNewWrappingJavaObject(env, nullptr));

  NativeObject unknown({"NoSuch"});
  EXPECT_EQ(nullptr, CreateNewWrappingJavaObject(env, &unknown));
  EXPECT_EQ(nullptr, CreateNewWrappingJavaObject(env, nullptr, &unknown));
  EXPECT_EQ(0, unknown.references);
  EXPECT_FALSE(env->ExceptionCheck());
}

TEST_F(JavaWrappers, HoldNoReferenceToTheNativeObject) {
  NativeObject object;
  jobject const wrapper = CreateNewWrappingJavaObject(env, kModel, &object);
  EXPECT_EQ(0, object.references);
  EXPECT_EQ(&object, GetIUnknownFromJavaObject(env, wrapper, nullptr));
  EXPECT_EQ(0, object.references);
  EXPECT_EQ(&object, GetInterfacePtr<qv::IUnknown>(env, wrapper, nullptr));
  EXPECT_EQ(1, object.references);
  object.Release();
  UnregisterJavaObject(env, wrapper);
  EXPECT_EQ(0, object.references);
}

TEST_F(JavaWrappers, AnUnregisteredOneIsReplacedAtTheNextRequest) {
  NativeObject object;
  jobject const first = CreateNewWrappingJavaObject(env, kModel, &object);
  UnregisterJavaObject(env, first);
  jobject const second = CreateNewWrappingJavaObject(env, kModel, &object);
  EXPECT_FALSE(IsSame(first, second));
  EXPECT_TRUE(IsSame(second, CreateNewWrappingJavaObject(env, kModel, &object)));
  // The old one still names its object.
  EXPECT_EQ(&object, GetIUnknownFromJavaObject(env, first, nullptr));
  UnregisterJavaObject(env, second);
}

TEST_F(JavaWrappers, AreCounted) {
  const WrapperCounts before = CountWrappers(env);
  NativeObject one, two;
  jobject const wrapper = CreateNewWrappingJavaObject(env, kModel, &one);
  (void)CreateNewWrappingJavaObject(env, kModel, &one);
  jobject const other = CreateNewWrappingJavaObject(env, kModel, &two);
  WrapperCounts counts = CountWrappers(env);
  EXPECT_EQ(2u, counts.registered);
  EXPECT_EQ(2u, counts.live);
  EXPECT_EQ(before.made + 2, counts.made);
  EXPECT_EQ(before.unregistered, counts.unregistered);
  UnregisterJavaObject(env, wrapper);
  counts = CountWrappers(env);
  EXPECT_EQ(1u, counts.registered);
  EXPECT_EQ(1u, counts.live);
  EXPECT_EQ(before.unregistered + 1, counts.unregistered);
  UnregisterJavaObject(env, other);
}

using JavaWrapperCompat = JavaTest;

TEST_F(JavaWrapperCompat, AnObjectAtTheSameAddressGetsTheSameWrapper) {
  alignas(NativeObject) std::byte room[sizeof(NativeObject)];
  auto* const first = new (room) NativeObject({"Model"});
  jobject const wrapper = CreateNewWrappingJavaObject(env, first);
  first->~NativeObject();
  auto* const second = new (room) NativeObject({"Refusing"});
  EXPECT_TRUE(IsSame(wrapper, CreateNewWrappingJavaObject(env, second)));
  UnregisterJavaObject(env, wrapper);
  second->~NativeObject();
}

using JavaUnregister = JavaTest;

TEST_F(JavaUnregister, OfWhatWasNeverWrappedIsReportedAndChangesNothing) {
  NativeObject object, stranger;
  jobject const wrapper = CreateNewWrappingJavaObject(env, kModel, &object);
  const jobject unknown[] = {
      CreateNewJavaObject(env, kModel, "(J)V", AddressOf(&stranger)),
      CreateNewJavaObject(env, kModel, "(J)V", jlong{0}),
      CreateNewJavaObject(env, "bixtest/Foo", "()V"),
      nullptr,
  };
  for (jobject javaObject : unknown) {
    const ScopedRecorder recorder;
    UnregisterJavaObject(env, javaObject);
    EXPECT_EQ(std::vector<std::string>(
                  {"Internal error: Attempt to unregister non-existing Java object!\n"}),
              recorder.messages);
  }
  EXPECT_EQ(0, stranger.references);
  EXPECT_EQ(1, stranger.releases);
  EXPECT_EQ(1u, CountWrappers(env).registered);
  const ScopedRecorder recorder;
  UnregisterJavaObject(env, wrapper);
  EXPECT_EQ("", recorder.Text());
}

using JavaUnregisterCompat = JavaTest;

TEST_F(JavaUnregisterCompat, AnOlderWrapperForgetsTheNewerOne) {
  NativeObject object;
  jobject const older = CreateNewWrappingJavaObject(env, kModel, &object);
  UnregisterJavaObject(env, older);
  (void)CreateNewWrappingJavaObject(env, kModel, &object);
  UnregisterJavaObject(env, older);
  EXPECT_EQ(0u, CountWrappers(env).registered);
}

using JavaAddressCompat = JavaTest;

/// Memory at the first free address from `first` on, somewhat below 2 GiB on at the most; else null.
void* MemoryFrom(std::uintptr_t first) {
  for (std::uintptr_t address = first; address - first < 0x6F000000u; address += 0x100000u) {
    void* const got = mmap(reinterpret_cast<void*>(address), 0x1000, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    if (got != MAP_FAILED) return got;
  }
  return nullptr;
}

TEST_F(JavaAddressCompat, IsWidenedWithItsSign) {
  constexpr bool kIsNarrow = sizeof(void*) == 4;
  constexpr std::int64_t kAll = 0x100000000;
  const struct {
    std::uintptr_t first;
    std::int64_t difference;  // between what Java sees and the address without a sign
  } cases[] = {
      {0x10000000u, 0},
#ifndef __SANITIZE_ADDRESS__  // which has its own memory there
      {0x90000000u, kIsNarrow ? -kAll : 0},
#endif
      {static_cast<std::uintptr_t>(kIsNarrow ? 0x80000000u : 0x123456780000u),
       kIsNarrow ? -kAll : 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first);
    void* const memory = MemoryFrom(c.first);
    ASSERT_NE(nullptr, memory);
    auto* const object = new (memory) NativeObject;
    const std::int64_t want =
        static_cast<std::int64_t>(std::uint64_t{reinterpret_cast<std::uintptr_t>(memory)}) +
        c.difference;
    jobject const wrapper = CreateNewWrappingJavaObject(env, kModel, object);
    ASSERT_NE(nullptr, wrapper);
    jfieldID const field =
        env->GetFieldID(Find("com/kestrane/vorn/CppObjectWrapper"), "address", "J");
    EXPECT_EQ(want, env->GetLongField(wrapper, field));
    EXPECT_EQ(object, GetIUnknownFromJavaObject(env, wrapper, nullptr));
    EXPECT_EQ(object, GetInterfacePtr<qv::IUnknown>(env, wrapper, nullptr));
    object->Release();
    UnregisterJavaObject(env, wrapper);
    object->~NativeObject();
    munmap(memory, 0x1000);
  }
}

TEST_F(JavaAddressCompat, OnlyThePointersWidthOfTheFieldCounts) {
  jobject const wrapper = CreateNewJavaObject(env, kModel, "(J)V", jlong{0x123456789ABCDEF0});
  const auto want = static_cast<std::uintptr_t>(0x123456789ABCDEF0u);  // cut to its width
  EXPECT_EQ(reinterpret_cast<qv::IUnknown*>(want),
            GetIUnknownFromJavaObject(env, wrapper, nullptr));
}

// ---- Java objects in native code

using JavaCreators = JavaTest;

/// Remembers what it is asked for.
class RecordingCreator : public ICppWrapperObjectCreator {
 public:
  explicit RecordingCreator(qv::IUnknown* result) : m_result(result) {}
  qv::IUnknown* CreateWrapperObject(const char* name, JNIEnv* env, jobject object) override {
    names.push_back(name);
    lastEnv = env;
    lastObject = object;
    return m_result;
  }

  std::vector<std::string> names;
  JNIEnv* lastEnv = nullptr;
  jobject lastObject = nullptr;

 private:
  qv::IUnknown* m_result;
};

TEST_F(JavaCreators, AreFoundByThePartBehindTheLastSlash) {
  NativeObject made;
  RecordingCreator creator(&made);
  RegisterCppWrapperObjectCreator("IFoo", &creator);
  RegisterCppWrapperObjectCreator("Object", &creator);
  jobject const foo = CreateNewJavaObject(env, "bixtest/Foo", "()V");
  EXPECT_EQ(&made, CreateNewWrappingCppObject(env, foo, "a/b/IFoo"));
  EXPECT_EQ(env, creator.lastEnv);
  EXPECT_TRUE(IsSame(foo, creator.lastObject));
  EXPECT_EQ(&made, GetIUnknownFromJavaObject(env, foo, "java/lang/Object"));
  EXPECT_EQ(std::vector<std::string>({"IFoo", "Object"}), creator.names);
  EXPECT_EQ(0, made.references);
  EXPECT_EQ(&made, GetInterfacePtr<qv::IUnknown>(env, foo, "a/b/IFoo"));
  EXPECT_EQ(1, made.references);
  // Without a name only wrappers have a native object.
  EXPECT_EQ(nullptr, GetIUnknownFromJavaObject(env, foo, nullptr));
  EXPECT_EQ(nullptr, GetInterfacePtr<qv::IUnknown>(env, foo, nullptr));
  EXPECT_EQ(nullptr, GetIUnknownFromJavaObject(env, nullptr, "a/b/IFoo"));
  EXPECT_EQ(3u, creator.names.size());
  UnregisterCppWrapperObjectCreator("Object");
  UnregisterCppWrapperObjectCreator("IFoo");
}

/// The text of the error that passing the object raises.
std::string ErrorOf(JNIEnv* env, jobject object, const char* interfaceName) {
  try {
    return "passed as " +
           std::to_string(AddressOf(CreateNewWrappingCppObject(env, object, interfaceName)));
  } catch (const char* error) {
    EXPECT_EQ(error, qv::GetAPIErrorMessage(error));
    return error;
  }
}

TEST_F(JavaCreators, WithoutAClassPathTheWholeNameIsTheKey) {
  jobject const foo = CreateNewJavaObject(env, "bixtest/Foo", "()V");
  EXPECT_EQ("Java object does not implement the expected interface IFoo",
            ErrorOf(env, foo, "IFoo"));
  EXPECT_EQ("Java object does not implement the expected interface a/b/",
            ErrorOf(env, foo, "a/b/"));
  EXPECT_EQ("Java object does not implement the expected interface ", ErrorOf(env, foo, ""));
  EXPECT_FALSE(env->ExceptionCheck());
}

TEST_F(JavaCreators, ANullNameIsTheEmptyText) {
  NativeObject made;
  RecordingCreator creator(&made);
  RegisterCppWrapperObjectCreator(nullptr, &creator);
  EXPECT_EQ("Java object does not implement the expected interface ",
            ErrorOf(env, nullptr, nullptr));
  UnregisterCppWrapperObjectCreator("");
  UnregisterCppWrapperObjectCreator(nullptr);
}

TEST_F(JavaCreators, AreReplacedAndTakenOff) {
  NativeObject first, second;
  RecordingCreator one(&first), other(&second);
  jobject const foo = CreateNewJavaObject(env, "bixtest/Foo", "()V");
  RegisterCppWrapperObjectCreator("Foo", &one);
  RegisterCppWrapperObjectCreator("Foo", &other);
  EXPECT_EQ(&second, CreateNewWrappingCppObject(env, foo, "bixtest/Foo"));
  EXPECT_TRUE(one.names.empty());
  UnregisterCppWrapperObjectCreator("Foo");
  EXPECT_EQ("Unable to pass Java object as interface bixtest/Foo",
            ErrorOf(env, foo, "bixtest/Foo"));
  const ScopedRecorder recorder;
  UnregisterCppWrapperObjectCreator("Foo");
  EXPECT_EQ("", recorder.Text());
}

using JavaCreatorCompat = JavaTest;

TEST_F(JavaCreatorCompat, ANullCreatorMakesNull) {
  jobject const foo = CreateNewJavaObject(env, "bixtest/Foo", "()V");
  RegisterCppWrapperObjectCreator("Foo", nullptr);
  EXPECT_EQ(nullptr, CreateNewWrappingCppObject(env, foo, "bixtest/Foo"));
  EXPECT_EQ(nullptr, GetInterfacePtr<qv::IUnknown>(env, foo, "bixtest/Foo"));
  EXPECT_FALSE(env->ExceptionCheck());
  UnregisterCppWrapperObjectCreator("Foo");
}

TEST_F(JavaCreatorCompat, NullReachesTheCreator) {
  NativeObject made;
  RecordingCreator creator(&made);
  RegisterCppWrapperObjectCreator("Foo", &creator);
  EXPECT_EQ(&made, CreateNewWrappingCppObject(env, nullptr, "bixtest/Foo"));
  EXPECT_EQ(std::vector<std::string>({"Foo"}), creator.names);
  EXPECT_EQ(nullptr, creator.lastObject);
  UnregisterCppWrapperObjectCreator("Foo");
}

// ---- Exceptions that are pending

using JavaPendingException = JavaTest;

TEST_F(JavaPendingException, IsSetAsideByEveryFunctionAndPendingAgain) {
  NativeObject object, refusing({"Refusing"}), made;
  RecordingCreator creator(&made);
  RegisterCppWrapperObjectCreator("Foo", &creator);
  jobject const red = StaticValue("bixtest/Colour", "GREEN");
  jobject const foo = CreateNewJavaObject(env, "bixtest/Foo", "()V");
  jstring const text = GetString(env, std::string("text"));
  jclass const type = Find("java/lang/IllegalStateException");
  const ScopedRecorder recorder;
  ASSERT_EQ(JNI_OK, env->ThrowNew(type, "pending"));

  EXPECT_EQ(1, ConvertEnumToInt(env, red));
  EXPECT_NE(nullptr, CreateNewJavaObject(env, "bixtest/Foo", "()V"));
  EXPECT_EQ(nullptr, CreateNewJavaObject(env, "no/such/Class", "()V"));
  EXPECT_TRUE(IsInstanceOf(env, foo, "a/b/IFoo"));
  EXPECT_NE(nullptr, GetString(env, std::string("text")));
  EXPECT_EQ("text", GetString(env, text));
  EXPECT_EQ("text", GetNarrowString(env, text));
  EXPECT_NE(nullptr, NewStringUTF16(env, u"text"));
  EXPECT_EQ(u"text", GetStringUTF16(env, text));
  EXPECT_NE(nullptr, NewStringUTF8(env, "text"));
  EXPECT_EQ("text", GetStringUTF8(env, text));
  EXPECT_NE(nullptr, NewStringWide(env, L"text"));
  EXPECT_EQ(L"text", GetStringWide(env, text));
  jobject const wrapper = CreateNewWrappingJavaObject(env, kModel, &object);
  EXPECT_NE(nullptr, wrapper);
  EXPECT_NE(nullptr, CreateNewWrappingJavaObject(env, &object));
  EXPECT_EQ(&object, GetIUnknownFromJavaObject(env, wrapper, nullptr));
  EXPECT_EQ(&object, GetInterfacePtr<qv::IUnknown>(env, wrapper, nullptr));
  EXPECT_EQ(&made, CreateNewWrappingCppObject(env, foo, "bixtest/Foo"));
  EXPECT_EQ("Unable to pass Java object as interface java/lang/Object",
            ErrorOf(env, foo, "java/lang/Object"));
  EXPECT_EQ(1u, CountWrappers(env).live);
  // What a constructor throws now is lost.
  EXPECT_EQ(nullptr, CreateNewWrappingJavaObject(env, &refusing));
  UnregisterJavaObject(env, wrapper);
  UnregisterJavaObject(env, wrapper);

  EXPECT_EQ("java.lang.IllegalStateException: pending", TakeException());
  EXPECT_EQ("Internal error: Attempt to unregister non-existing Java object!\n", recorder.Text());
  EXPECT_EQ(0u, CountWrappers(env).registered);
  UnregisterCppWrapperObjectCreator("Foo");
}

// ---- Collecting garbage

class JavaCollection : public JavaTest {
 public:
  void Collect() {
    jclass const system = Find("java/lang/System");
    env->CallStaticVoidMethod(system, env->GetStaticMethodID(system, "gc", "()V"));
    EXPECT_FALSE(env->ExceptionCheck());
    env->DeleteLocalRef(system);
  }
};

TEST_F(JavaCollection, AnObjectWhoseWrapperIsCollectedGetsAFreshOne) {
  NativeObject object;
  const WrapperCounts before = CountWrappers(env);
  // A weak reference of our own tells that it is gone.
  jobject const first = CreateNewWrappingJavaObject(env, kModel, &object);
  jweak const weak = env->NewWeakGlobalRef(first);
  env->DeleteLocalRef(first);
  Collect();
  ASSERT_TRUE(env->IsSameObject(weak, nullptr)) << "the bridge keeps the wrapper alive";
  env->DeleteWeakGlobalRef(weak);
  WrapperCounts counts = CountWrappers(env);
  EXPECT_EQ(1u, counts.registered);
  EXPECT_EQ(0u, counts.live);

  jobject const second = CreateNewWrappingJavaObject(env, kModel, &object);
  ASSERT_NE(nullptr, second);
  EXPECT_EQ(&object, GetIUnknownFromJavaObject(env, second, nullptr));
  EXPECT_TRUE(IsSame(second, CreateNewWrappingJavaObject(env, kModel, &object)));
  counts = CountWrappers(env);
  EXPECT_EQ(1u, counts.registered);
  EXPECT_EQ(1u, counts.live);
  EXPECT_EQ(before.made + 2, counts.made);
  UnregisterJavaObject(env, second);
}

TEST_F(JavaCollection, AWrapperThatIsHeldStays) {
  NativeObject object;
  jobject const wrapper = CreateNewWrappingJavaObject(env, kModel, &object);
  Collect();
  EXPECT_TRUE(IsSame(wrapper, CreateNewWrappingJavaObject(env, kModel, &object)));
  UnregisterJavaObject(env, wrapper);
}

TEST_F(JavaCollection, AWeakReferenceWhoseObjectIsGoneIsNull) {
  NativeObject object;
  jobject const wrapper = CreateNewWrappingJavaObject(env, kModel, &object);
  jobject const foo = CreateNewJavaObject(env, "bixtest/Foo", "()V");
  jstring const string = NewStringUTF8(env, "some text of its own");
  jweak const weakWrapper = env->NewWeakGlobalRef(wrapper);
  jweak const weakFoo = env->NewWeakGlobalRef(foo);
  jweak const weakString = env->NewWeakGlobalRef(string);
  UnregisterJavaObject(env, wrapper);
  for (jobject reference : {wrapper, foo, jobject{string}}) env->DeleteLocalRef(reference);
  Collect();
  EXPECT_EQ(nullptr, GetIUnknownFromJavaObject(env, weakWrapper, nullptr));
  EXPECT_EQ(nullptr, GetInterfacePtr<qv::IUnknown>(env, weakFoo, "a/b/IFoo"));
  EXPECT_EQ(nullptr, CreateNewWrappingCppObject(env, weakFoo, "a/b/IFoo"));
  EXPECT_EQ(0, ConvertEnumToInt(env, weakFoo));
  EXPECT_EQ("", GetString(env, static_cast<jstring>(weakString)));
  EXPECT_EQ("", GetStringUTF8(env, static_cast<jstring>(weakString)));
  for (jweak reference : {weakWrapper, weakFoo, weakString}) env->DeleteWeakGlobalRef(reference);
}

TEST_F(JavaCollection, AnObjectBehindAWeakReferenceStaysUntilTheCreatorHasIt) {
  // Asks Java to collect before it takes the object.
  class CollectingCreator : public ICppWrapperObjectCreator {
   public:
    explicit CollectingCreator(JavaCollection& test) : m_test(test) {}
    qv::IUnknown* CreateWrapperObject(const char*, JNIEnv* env, jobject object) override {
      m_test.Collect();
      isThere = env->IsSameObject(object, nullptr) == JNI_FALSE;
      return nullptr;
    }
    bool isThere = false;

   private:
    JavaCollection& m_test;
  } creator(*this);
  RegisterCppWrapperObjectCreator("Foo", &creator);
  jobject const foo = CreateNewJavaObject(env, "bixtest/Foo", "()V");
  jweak const weak = env->NewWeakGlobalRef(foo);
  env->DeleteLocalRef(foo);
  EXPECT_EQ(nullptr, GetIUnknownFromJavaObject(env, weak, "bixtest/Foo"));
  EXPECT_TRUE(creator.isThere);
  env->DeleteWeakGlobalRef(weak);
  UnregisterCppWrapperObjectCreator("Foo");
}

// ---- Threads

class JavaThreads : public JavaTest {
 protected:
  jlongArray Addresses(const std::vector<std::unique_ptr<NativeObject>>& objects) {
    const auto count = static_cast<jsize>(objects.size());
    jlongArray const array = env->NewLongArray(count);
    for (jsize i = 0; i < count; ++i) {
      const jlong address = AddressOf(objects[static_cast<std::size_t>(i)].get());
      env->SetLongArrayRegion(array, i, 1, &address);
    }
    return array;
  }

  static std::vector<std::unique_ptr<NativeObject>> Objects(int count) {
    std::vector<std::unique_ptr<NativeObject>> objects;
    for (int i = 0; i < count; ++i) objects.push_back(std::make_unique<NativeObject>());
    return objects;
  }
};

TEST_F(JavaThreads, EightAtOnceGetOneWrapperPerObject) {
  const auto objects = Objects(200);
  const int before = Made();
  EXPECT_EQ("",
            Scenario("wrapFromThreads", "([JI)Ljava/lang/String;", Addresses(objects), jint{8}));
  EXPECT_EQ(before + 200, Made());
  for (const auto& object : objects) ASSERT_EQ(0, object->references);
}

TEST_F(JavaThreads, AThreadOfNativeCodeGetsTheSameWrapper) {
  NativeObject object;
  jobject const wrapper = CreateNewWrappingJavaObject(env, &object);
  jobject const global = env->NewGlobalRef(wrapper);
  JavaVM* machine = nullptr;
  ASSERT_EQ(JNI_OK, env->GetJavaVM(&machine));
  bool isSame = false;
  qv::IUnknown* behind = nullptr;
  std::thread([&] {
    void* attached = nullptr;
    if (machine->AttachCurrentThread(&attached, nullptr) != JNI_OK) return;
    auto* const its = static_cast<JNIEnv*>(attached);
    jobject const again = CreateNewWrappingJavaObject(its, &object);
    isSame = its->IsSameObject(global, again) == JNI_TRUE;
    behind = GetIUnknownFromJavaObject(its, again, nullptr);
    UnregisterJavaObject(its, again);
    machine->DetachCurrentThread();
  }).join();
  EXPECT_TRUE(isSame);
  EXPECT_EQ(&object, behind);
  EXPECT_EQ(0u, CountWrappers(env).registered);
  env->DeleteGlobalRef(global);
}

TEST_F(JavaThreads, GetUsableWrappersWhileTheyAreCollected) {
  const auto objects = Objects(16);
  const WrapperCounts before = CountWrappers(env);
  EXPECT_EQ("", Scenario("wrapWhileCollecting", "([JII)Ljava/lang/String;", Addresses(objects),
                         jint{8}, jint{500}));
  EXPECT_EQ(0u, CountWrappers(env).registered);
  EXPECT_LE(before.made + 16, CountWrappers(env).made);
  for (const auto& object : objects) ASSERT_EQ(0, object->references);
}

// ---- Many rounds

/// The machine's count of global and of weak references.
struct References {
  int global = -1;
  int weak = -1;
};

class JavaRounds : public JavaTest {
 protected:
  References Count() {
    References references;
    const std::string line = Scenario("references", "()Ljava/lang/String;");
    EXPECT_EQ(2, std::sscanf(line.c_str(), "JNI global refs: %d, weak refs: %d", &references.global,
                             &references.weak))
        << line;
    return references;
  }
};

TEST_F(JavaRounds, TheMachineCountsReferences) {
  const References before = Count();
  jobject const object = Find("java/lang/String");
  jobject const global = env->NewGlobalRef(object);
  jweak const weak = env->NewWeakGlobalRef(object);
  jweak const second = env->NewWeakGlobalRef(object);
  const References after = Count();
  EXPECT_EQ(before.global + 1, after.global);
  EXPECT_EQ(before.weak + 2, after.weak);
  env->DeleteGlobalRef(global);
  env->DeleteWeakGlobalRef(weak);
  env->DeleteWeakGlobalRef(second);
}

TEST_F(JavaRounds, AMillionLeaveNoReferenceBehind) {
#ifdef __SANITIZE_ADDRESS__
  constexpr jint kRounds = 100000;  // each takes several times as long there
#else
  constexpr jint kRounds = 1000000;
#endif
  NativeObject object;
  jclass const calls = Find("bixtest/Calls");
  jmethodID const rounds = env->GetStaticMethodID(calls, "rounds", "(JI)I");
  const auto run = [&](jint count) {
    EXPECT_EQ(count, env->CallStaticIntMethod(calls, rounds, AddressOf(&object), count));
    EXPECT_FALSE(env->ExceptionCheck());
  };
  (void)Count();
  run(1000);
  const References before = Count();
  {
    const bix_test::CountedLocalReferences counted(env);
    run(kRounds);
    EXPECT_EQ(0, counted.Now());
    EXPECT_LE(counted.Most(), 8);
  }
  const References after = Count();
  EXPECT_EQ(before.global, after.global);
  EXPECT_EQ(before.weak, after.weak);
  EXPECT_EQ(0, object.references);
}

}  // namespace
