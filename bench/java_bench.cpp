// The Java bridge in a real Java machine, beside what a host writes by hand with Java's native
// interface. The hand-made code looks classes and fields up at each call like the bridge, since what
// is found depends on the class loader of the caller; "kept" is what it costs when that is known not
// to matter.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include <dlfcn.h>
#include <jni.h>

#include "bix/javabridge.h"

namespace {

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "Java's machine does not start: %s\n", what);
  std::exit(1);
}

JNIEnv* StartJava() {
  void* const library = dlopen(BIX_JVM_LIBRARY, RTLD_NOW);
  if (library == nullptr) Fail(dlerror());
  using Create = jint(JavaVM**, void**, void*);
  auto* const create = reinterpret_cast<Create*>(dlsym(library, "JNI_CreateJavaVM"));
  if (create == nullptr) Fail(dlerror());
  std::string classPath = "-Djava.class.path=" BIX_JAVA_CLASSES;
  JavaVMOption options[] = {{classPath.data(), nullptr},
                            {const_cast<char*>("-Xmx64m"), nullptr},
                            {const_cast<char*>("-XX:-UsePerfData"), nullptr},
                            {const_cast<char*>("-XX:+UseSerialGC"), nullptr},
                            {const_cast<char*>("-Xrs"), nullptr}};
  JavaVMInitArgs arguments = {};
  arguments.version = JNI_VERSION_1_8;
  arguments.nOptions = sizeof options / sizeof options[0];
  arguments.options = options;
  JavaVM* machine = nullptr;
  JNIEnv* env = nullptr;
  if (create(&machine, reinterpret_cast<void**>(&env), &arguments) != JNI_OK) Fail("no memory");
  return env;
}

JNIEnv* Java() {
  static JNIEnv* const s_env = StartJava();
  return s_env;
}

// ---- Objects

constexpr char kModel[] = "com/kestrane/vorn/ModelImpl";

class Model : public qv::IUnknown {
 public:
  void AddRef() override { ++m_references; }
  void Release() override { --m_references; }
  void QueryInterface(const qv::GUID& iid, void** out) override {
    *out = nullptr;
    if (std::memcmp(&iid, &qv::kIUnknown, sizeof iid) != 0) return;
    AddRef();
    *out = static_cast<qv::IUnknown*>(this);
  }

 private:
  int m_references = 0;
};

/// The functions of the bridge under names that the hand-made code has, too.
struct Bridge {
  static jobject Wrap(JNIEnv* env, qv::IUnknown* object) {
    return jniutils::CreateNewWrappingJavaObject(env, kModel, object);
  }
  static qv::IUnknown* Unwrap(JNIEnv* env, jobject wrapper) {
    return jniutils::GetIUnknownFromJavaObject(env, wrapper, nullptr);
  }
  static void Unregister(JNIEnv* env, jobject wrapper) {
    jniutils::UnregisterJavaObject(env, wrapper);
  }
};

struct ByHand {
  static jobject Wrap(JNIEnv* env, qv::IUnknown* object) {
    void* identity = nullptr;
    object->QueryInterface(qv::kIUnknown, &identity);
    jobject wrapper = nullptr;
    {
      const std::lock_guard<std::mutex> locked(s_mutex);
      const auto found = s_wrappers.find(identity);
      if (found != s_wrappers.end()) wrapper = env->NewLocalRef(found->second);
      if (wrapper == nullptr) {
        jclass const type = env->FindClass(kModel);
        jmethodID const constructor = env->GetMethodID(type, "<init>", "(J)V");
        wrapper = env->NewObject(type, constructor, AddressOf(identity));
        env->DeleteLocalRef(type);
        s_wrappers[identity] = env->NewWeakGlobalRef(wrapper);
      }
    }
    static_cast<qv::IUnknown*>(identity)->Release();
    return wrapper;
  }

  static qv::IUnknown* Unwrap(JNIEnv* env, jobject wrapper) {
    jclass const wanted = env->FindClass("com/kestrane/vorn/CppObjectWrapper");
    qv::IUnknown* object = nullptr;
    if (env->IsInstanceOf(wrapper, wanted)) {
      jclass const type = env->GetObjectClass(wrapper);
      object = At(env->GetLongField(wrapper, env->GetFieldID(type, "address", "J")));
      env->DeleteLocalRef(type);
    }
    env->DeleteLocalRef(wanted);
    return object;
  }

  static void Unregister(JNIEnv* env, jobject wrapper) {
    const std::lock_guard<std::mutex> locked(s_mutex);
    void* identity = nullptr;
    Unwrap(env, wrapper)->QueryInterface(qv::kIUnknown, &identity);
    const auto found = s_wrappers.find(identity);
    env->DeleteWeakGlobalRef(found->second);
    s_wrappers.erase(found);
    static_cast<qv::IUnknown*>(identity)->Release();
  }

  static jlong AddressOf(void* object) {
    return static_cast<jlong>(reinterpret_cast<std::intptr_t>(object));
  }
  static qv::IUnknown* At(jlong address) {
    return reinterpret_cast<qv::IUnknown*>(static_cast<std::intptr_t>(address));
  }

  static std::mutex s_mutex;
  static std::map<void*, jweak> s_wrappers;
};

std::mutex ByHand::s_mutex;
std::map<void*, jweak> ByHand::s_wrappers;

/// A wrapper of an object that has one.
template <class Way>
void WrapAgain(benchmark::State& state) {
  JNIEnv* const env = Java();
  Model model;
  jobject const wrapper = Way::Wrap(env, &model);
  for (auto _ : state) {
    jobject const again = Way::Wrap(env, &model);
    benchmark::DoNotOptimize(again);
    env->DeleteLocalRef(again);
  }
  Way::Unregister(env, wrapper);
  env->DeleteLocalRef(wrapper);
}

template <class Way>
void WrapAndUnregister(benchmark::State& state) {
  JNIEnv* const env = Java();
  Model model;
  for (auto _ : state) {
    jobject const wrapper = Way::Wrap(env, &model);
    Way::Unregister(env, wrapper);
    env->DeleteLocalRef(wrapper);
  }
}

template <class Way>
void Unwrap(benchmark::State& state) {
  JNIEnv* const env = Java();
  Model model;
  jobject const wrapper = Way::Wrap(env, &model);
  for (auto _ : state) {
    if (Way::Unwrap(env, wrapper) != &model) state.SkipWithError("another object");
  }
  Way::Unregister(env, wrapper);
  env->DeleteLocalRef(wrapper);
}

void UnwrapKept(benchmark::State& state) {
  JNIEnv* const env = Java();
  Model model;
  jobject const wrapper = ByHand::Wrap(env, &model);
  jclass const type = env->GetObjectClass(wrapper);
  jfieldID const address = env->GetFieldID(type, "address", "J");
  for (auto _ : state) {
    if (ByHand::At(env->GetLongField(wrapper, address)) != &model)
      state.SkipWithError("another object");
  }
  env->DeleteLocalRef(type);
  ByHand::Unregister(env, wrapper);
  env->DeleteLocalRef(wrapper);
}

BENCHMARK(WrapAgain<Bridge>)->Name("java/wrap_again/bix");
BENCHMARK(WrapAgain<ByHand>)->Name("java/wrap_again/by_hand");
BENCHMARK(WrapAndUnregister<Bridge>)->Name("java/wrap_and_unregister/bix");
BENCHMARK(WrapAndUnregister<ByHand>)->Name("java/wrap_and_unregister/by_hand");
BENCHMARK(Unwrap<Bridge>)->Name("java/unwrap/bix");
BENCHMARK(Unwrap<ByHand>)->Name("java/unwrap/by_hand");
BENCHMARK(UnwrapKept)->Name("java/unwrap/kept");

// ---- Strings

/// Of so many bytes, about. The mixed text has no character beyond U+FFFF, so that its modified UTF-8
/// is its UTF-8.
std::string MakeText(bool isMixed, std::size_t size) {
  const std::string piece = isMixed ? "Gr\xC3\xBC\xC3\x9F"
                                      "e, 20 \xE2\x82\xAC; "
                                    : "a plain text; ";
  std::string text;
  while (text.size() < size) text += piece;
  return text;
}

jstring NewStringUTF(JNIEnv* env, const std::string& text) {
  return env->NewStringUTF(text.c_str());
}
jstring NewString(JNIEnv* env, const std::string& text) { return jniutils::GetString(env, text); }
jstring NewStringUTF8(JNIEnv* env, const std::string& text) {
  return jniutils::NewStringUTF8(env, text);
}

std::string GetStringUTFChars(JNIEnv* env, jstring string) {
  const char* const chars = env->GetStringUTFChars(string, nullptr);
  std::string text(chars);
  env->ReleaseStringUTFChars(string, chars);
  return text;
}
std::string GetString(JNIEnv* env, jstring string) { return jniutils::GetString(env, string); }
std::string GetStringUTF8(JNIEnv* env, jstring string) {
  return jniutils::GetStringUTF8(env, string);
}

using ToJava = jstring (*)(JNIEnv*, const std::string&);
using FromJava = std::string (*)(JNIEnv*, jstring);

void MakeString(benchmark::State& state, ToJava make, bool isMixed) {
  JNIEnv* const env = Java();
  const std::string text = MakeText(isMixed, static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    jstring const string = make(env, text);
    benchmark::DoNotOptimize(string);
    env->DeleteLocalRef(string);
  }
}

void TakeString(benchmark::State& state, FromJava take, bool isMixed) {
  JNIEnv* const env = Java();
  const std::string text = MakeText(isMixed, static_cast<std::size_t>(state.range(0)));
  jstring const string = env->NewStringUTF(text.c_str());
  for (auto _ : state) {
    const std::string taken = take(env, string);
    if (taken.size() != text.size()) state.SkipWithError("another text");
  }
  env->DeleteLocalRef(string);
}

void RegisterStrings() {
  const struct {
    const char* name;
    ToJava make;
    FromJava take;
  } ways[] = {{"bix", &NewString, &GetString},
              {"bix_utf8", &NewStringUTF8, &GetStringUTF8},
              {"by_hand", &NewStringUTF, &GetStringUTFChars}};
  for (const auto& way : ways) {
    for (const bool isMixed : {false, true}) {
      const std::string end = std::string(isMixed ? "mixed/" : "ascii/") + way.name;
      for (const std::int64_t size : {32, 4096}) {
        benchmark::RegisterBenchmark(("java/to_java/" + end).c_str(), &MakeString, way.make,
                                     isMixed)
            ->Arg(size);
        benchmark::RegisterBenchmark(("java/from_java/" + end).c_str(), &TakeString, way.take,
                                     isMixed)
            ->Arg(size);
      }
    }
  }
}

[[maybe_unused]] const bool s_isRegistered = (RegisterStrings(), true);

}  // namespace
