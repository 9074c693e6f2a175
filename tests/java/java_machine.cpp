#include "java_machine.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include <dlfcn.h>

#include "bix/javabridge.h"
#include "native_object.h"

// Java's machine finds null pointers by the signals that they cause, and the search for leaks does not
// survive what it keeps in memory; leaks of the bridge show in the tests without a machine.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() { return "handle_segv=0:detect_leaks=0"; }

namespace bix_test {
namespace {

std::mutex s_outputMutex;
std::string s_output;

/// Takes what the machine prints.
jint JNICALL Print(FILE* /*stream*/, const char* format, va_list arguments) {
  char* text = nullptr;
  const int length = vasprintf(&text, format, arguments);
  if (length < 0) return length;
  const std::lock_guard<std::mutex> locked(s_outputMutex);
  s_output.append(text, static_cast<std::size_t>(length));
  std::free(text);
  return length;
}

// ---- The native methods of bixtest.Calls

qv::IUnknown* ObjectAt(jlong address) {
  return reinterpret_cast<qv::IUnknown*>(static_cast<std::intptr_t>(address));
}

jlong AddressOf(const void* object) {
  return static_cast<jlong>(reinterpret_cast<std::intptr_t>(object));
}

jobject JNICALL Wrap(JNIEnv* env, jclass, jlong object) {
  return jniutils::CallNative(
      env, [&] { return jniutils::CreateNewWrappingJavaObject(env, ObjectAt(object)); });
}

jlong JNICALL Unwrap(JNIEnv* env, jclass, jobject wrapper) {
  return jniutils::CallNative(
      env, [&] { return AddressOf(jniutils::GetIUnknownFromJavaObject(env, wrapper, nullptr)); });
}

void JNICALL Unregister(JNIEnv* env, jclass, jobject wrapper) {
  jniutils::CallNative(env, [&] { jniutils::UnregisterJavaObject(env, wrapper); });
}

/// Passes calls on to a Java object.
class FooInJava : public NativeObject {
 public:
  FooInJava(JNIEnv* env, jobject object) : m_object(env->NewGlobalRef(object)) {}

  jint Next(JNIEnv* env, jint number) {
    jclass const type = env->GetObjectClass(m_object);
    jmethodID const method = env->GetMethodID(type, "next", "(I)I");
    env->DeleteLocalRef(type);
    return env->CallIntMethod(m_object, method, number);
  }
  void Drop(JNIEnv* env) { env->DeleteGlobalRef(m_object); }

 private:
  jobject m_object;
};

class FooCreator : public jniutils::ICppWrapperObjectCreator {
 public:
  qv::IUnknown* CreateWrapperObject(const char* name, JNIEnv* env, jobject object) override {
    EXPECT_STREQ("IFoo", name);
    return new FooInJava(env, object);
  }
};

/// As a host's generated code does it, with nothing but what a native method must do.
jint JNICALL PassTo(JNIEnv* env, jclass, jobject implementation, jstring name, jint number) {
  try {
    const std::string path = jniutils::GetNarrowString(env, name);
    auto* const foo = static_cast<FooInJava*>(static_cast<NativeObject*>(
        jniutils::GetInterfacePtr<qv::IUnknown>(env, implementation, path.c_str())));
    const jint result = foo->Next(env, number);
    foo->Release();
    foo->Drop(env);
    delete foo;
    return result;
  } catch (const char* error) {
    jniutils::ThrowJavaAPIErrorException(env, qv::GetAPIErrorMessage(error));
    return 0;
  }
}

struct Unusual {};

jint JNICALL Raise(JNIEnv* env, jclass, jint kind) {
  return jniutils::CallNative(env, [&]() -> jint {
    switch (kind) {
      case 0:
        return 7;
      case 1:
        throw "a text";
      case 2:
        throw std::string("a string");
      case 3:
        throw std::runtime_error("a standard exception");
      case 4:
        throw Unusual();
      case 5:
        throw static_cast<const char*>(nullptr);
      case 6:
        throw bix::SString("a string of the library");
      default:
        throw 5;
    }
  });
}

void JNICALL RaiseBehindAnother(JNIEnv* env, jclass) {
  jclass const type = env->FindClass("java/lang/IllegalStateException");
  env->ThrowNew(type, "the first one");
  jniutils::ThrowJavaAPIErrorException(env, "the second one");
}

jint JNICALL Rounds(JNIEnv* env, jclass, jlong address, jint count) {
  qv::IUnknown* const object = ObjectAt(address);
  for (jint i = 0; i < count; ++i) {
    jobject const wrapper =
        jniutils::CreateNewWrappingJavaObject(env, "com/kestrane/vorn/ModelImpl", object);
    if (wrapper == nullptr) return i;
    qv::IUnknown* const behind = jniutils::GetInterfacePtr<qv::IUnknown>(env, wrapper, nullptr);
    if (behind != object) return i;
    behind->Release();
    jniutils::UnregisterJavaObject(env, wrapper);
    env->DeleteLocalRef(wrapper);
  }
  return count;
}

template <class Function>
JNINativeMethod Native(const char* name, const char* signature, Function* function) {
  return {const_cast<char*>(name), const_cast<char*>(signature), reinterpret_cast<void*>(function)};
}

FooCreator s_fooCreator;

// ---- Counting

// The table that counts passes on to the machine's own.
const JNINativeInterface_* s_machinesTable = nullptr;
JNINativeInterface_ s_countingTable;
int s_now = 0;
int s_most = 0;

template <class Reference>
Reference Counted(Reference reference) {
  if (reference != nullptr && ++s_now > s_most) s_most = s_now;
  return reference;
}

void MakeCountingTable(const JNINativeInterface_* table) {
  s_machinesTable = table;
  s_countingTable = *table;
  s_countingTable.FindClass = [](JNIEnv* env, const char* name) {
    return Counted(s_machinesTable->FindClass(env, name));
  };
  s_countingTable.GetObjectClass = [](JNIEnv* env, jobject object) {
    return Counted(s_machinesTable->GetObjectClass(env, object));
  };
  s_countingTable.NewObjectV = [](JNIEnv* env, jclass type, jmethodID method, va_list arguments) {
    return Counted(s_machinesTable->NewObjectV(env, type, method, arguments));
  };
  s_countingTable.NewLocalRef = [](JNIEnv* env, jobject object) {
    return Counted(s_machinesTable->NewLocalRef(env, object));
  };
  s_countingTable.ExceptionOccurred = [](JNIEnv* env) {
    return Counted(s_machinesTable->ExceptionOccurred(env));
  };
  s_countingTable.DeleteLocalRef = [](JNIEnv* env, jobject object) {
    if (object != nullptr) --s_now;
    s_machinesTable->DeleteLocalRef(env, object);
  };
}

// ---- Starting and ending

JavaVM* s_machine = nullptr;

JNIEnv* Start() {
#ifdef BIX_JAVA_ZLIB
  // The machine's own libraries look for it by name.
  EXPECT_NE(nullptr, dlopen(BIX_JAVA_ZLIB, RTLD_NOW)) << dlerror();
#endif
  void* const library = dlopen(BIX_JVM_LIBRARY, RTLD_NOW);
  if (library == nullptr) {
    ADD_FAILURE() << dlerror();
    return nullptr;
  }
  using Create = jint(JavaVM**, void**, void*);
  auto* const create = reinterpret_cast<Create*>(dlsym(library, "JNI_CreateJavaVM"));
  if (create == nullptr) {
    ADD_FAILURE() << dlerror();
    return nullptr;
  }
  std::string classPath = "-Djava.class.path=" BIX_JAVA_CLASSES;
  JavaVMOption options[] = {
      {const_cast<char*>("vfprintf"), reinterpret_cast<void*>(&Print)},
      {classPath.data(), nullptr},
      {const_cast<char*>("-Xcheck:jni"), nullptr},
      {const_cast<char*>("-Xmx64m"), nullptr},
      {const_cast<char*>("-XX:-UsePerfData"), nullptr},  // writes nothing beside the program
      {const_cast<char*>("-XX:+UseSerialGC"), nullptr},
      // A compiler beside the program holds references of its own for as long as it compiles.
      {const_cast<char*>("-Xint"), nullptr},
      {const_cast<char*>("-Xrs"), nullptr},  // leaves the signals of the test program alone
  };
  JavaVMInitArgs arguments = {};
  arguments.version = JNI_VERSION_1_8;
  arguments.nOptions = sizeof options / sizeof options[0];
  arguments.options = options;
  JNIEnv* env = nullptr;
  const jint error = create(&s_machine, reinterpret_cast<void**>(&env), &arguments);
  if (error != JNI_OK) {
    ADD_FAILURE() << "JNI_CreateJavaVM: " << error << "\n" << TakeMachineOutput();
    return nullptr;
  }
  (void)TakeMachineOutput();  // what it says of the environment that it was started in
  const JNINativeMethod methods[] = {
      Native("wrap", "(J)Ljava/lang/Object;", &Wrap),
      Native("unwrap", "(Ljava/lang/Object;)J", &Unwrap),
      Native("unregister", "(Ljava/lang/Object;)V", &Unregister),
      Native("passTo", "(Ljava/lang/Object;Ljava/lang/String;I)I", &PassTo),
      Native("raise", "(I)I", &Raise),
      Native("raiseBehindAnother", "()V", &RaiseBehindAnother),
      Native("rounds", "(JI)I", &Rounds),
  };
  jclass const calls = env->FindClass("bixtest/Calls");
  if (calls == nullptr ||
      env->RegisterNatives(calls, methods, sizeof methods / sizeof methods[0]) != JNI_OK) {
    env->ExceptionDescribe();
    ADD_FAILURE() << "the classes of the tests: " << TakeMachineOutput();
    return nullptr;
  }
  env->DeleteLocalRef(calls);
  jniutils::RegisterCppWrapperObjectCreator("IFoo", &s_fooCreator);
  return env;
}

/// Ends the machine before the program does.
class Ending : public testing::Environment {
 public:
  void TearDown() override {
    if (s_machine == nullptr) return;
    jniutils::UnregisterCppWrapperObjectCreator("IFoo");
    EXPECT_EQ(JNI_OK, s_machine->DestroyJavaVM());
  }
};

testing::Environment* const s_ending = testing::AddGlobalTestEnvironment(new Ending);

}  // namespace

JNIEnv* JavaEnvironment() {
  static JNIEnv* const s_env = Start();
  return s_env;
}

CountedLocalReferences::CountedLocalReferences(JNIEnv* env) : m_env(env) {
  MakeCountingTable(env->functions);
  env->functions = &s_countingTable;
  s_now = s_most = 0;
}

CountedLocalReferences::~CountedLocalReferences() { m_env->functions = s_machinesTable; }

int CountedLocalReferences::Now() const { return s_now; }
int CountedLocalReferences::Most() const { return s_most; }

std::string TakeMachineOutput() {
  const std::lock_guard<std::mutex> locked(s_outputMutex);
  return std::exchange(s_output, std::string());
}

void JavaTest::SetUp() {
  env = JavaEnvironment();
  ASSERT_NE(nullptr, env);
  ASSERT_EQ(JNI_OK, env->PushLocalFrame(24));
}

void JavaTest::TearDown() {
  if (env == nullptr) return;
  EXPECT_EQ("", TakeException());
  env->PopLocalFrame(nullptr);
  EXPECT_EQ(0u, jniutils::CountWrappers(env).registered);
  EXPECT_EQ("", TakeMachineOutput());
}

jclass JavaTest::Find(const char* className) {
  jclass const found = env->FindClass(className);
  EXPECT_NE(nullptr, found) << className << ": " << TakeException();
  return found;
}

std::string JavaTest::Scenario(const char* name, const char* signature, ...) {
  jclass const scenarios = Find("bixtest/Scenarios");
  jmethodID const method = env->GetStaticMethodID(scenarios, name, signature);
  if (method == nullptr) return "no operation " + std::string(name) + ": " + TakeException();
  va_list arguments;
  va_start(arguments, signature);
  auto* const result =
      static_cast<jstring>(env->CallStaticObjectMethodV(scenarios, method, arguments));
  va_end(arguments);
  std::string text = TakeException();
  if (result != nullptr) text = jniutils::GetStringUTF8(env, result);
  env->DeleteLocalRef(result);
  env->DeleteLocalRef(scenarios);
  return text;
}

jobject JavaTest::StaticValue(const char* className, const char* name) {
  jclass const type = Find(className);
  const std::string signature = "L" + std::string(className) + ";";
  jfieldID const field = env->GetStaticFieldID(type, name, signature.c_str());
  EXPECT_NE(nullptr, field) << name;
  return env->GetStaticObjectField(type, field);
}

int JavaTest::Made() {
  jclass const type = Find("com/kestrane/vorn/ModelImpl");
  const jint made = env->CallStaticIntMethod(type, env->GetStaticMethodID(type, "made", "()I"));
  EXPECT_EQ(JNI_FALSE, env->ExceptionCheck());
  env->DeleteLocalRef(type);
  return made;
}

std::string JavaTest::ClassName(jobject object) {
  if (object == nullptr) return "null";
  jclass const type = env->GetObjectClass(object);
  jclass const metatype = Find("java/lang/Class");
  auto* const name = static_cast<jstring>(
      env->CallObjectMethod(type, env->GetMethodID(metatype, "getName", "()Ljava/lang/String;")));
  EXPECT_EQ(JNI_FALSE, env->ExceptionCheck());
  std::string text = jniutils::GetStringUTF8(env, name);
  for (jobject reference : {jobject{type}, jobject{metatype}, jobject{name}})
    env->DeleteLocalRef(reference);
  return text;
}

std::string JavaTest::TakeException() {
  jthrowable const thrown = env->ExceptionOccurred();
  if (thrown == nullptr) return "";
  env->ExceptionClear();
  jclass const type = Find("java/lang/Throwable");
  auto* const message = static_cast<jstring>(
      env->CallObjectMethod(thrown, env->GetMethodID(type, "getMessage", "()Ljava/lang/String;")));
  EXPECT_EQ(JNI_FALSE, env->ExceptionCheck());
  std::string text = ClassName(thrown) + ": " + jniutils::GetStringUTF8(env, message);
  for (jobject reference : {jobject{thrown}, jobject{type}, jobject{message}})
    env->DeleteLocalRef(reference);
  return text;
}

std::u16string JavaTest::Units(jstring string) {
  std::u16string units;
  if (string == nullptr) return units;
  const jchar* const content = env->GetStringChars(string, nullptr);
  for (jsize i = 0; i < env->GetStringLength(string); ++i)
    units += static_cast<char16_t>(content[i]);
  env->ReleaseStringChars(string, content);
  return units;
}

}  // namespace bix_test
