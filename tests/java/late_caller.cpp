// A host whose Java threads call the bridge while the process exits, when the library has ended.
//
//   bix_java_late_caller <library>
//   bix_java_late_caller <library> stopped    one of them never comes out of the bridge

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <thread>

#include <dlfcn.h>
#include <unistd.h>

#include "fake_java.h"
#include "native_object.h"

namespace {

void* s_library = nullptr;

template <class Function>
Function* Find(const char* name) {
  void* const found = dlsym(s_library, name);
  if (found != nullptr) return reinterpret_cast<Function*>(found);
  std::fprintf(stderr, "%s\n", dlerror());
  std::_Exit(3);
}

jobject Wrap(JNIEnv* env, qv::IUnknown* object) {
  return Find<jobject(JNIEnv*, qv::IUnknown*)>(
      "_ZN8jniutils27CreateNewWrappingJavaObjectEP7JNIEnv_PN2qv8IUnknownE")(env, object);
}

void Unregister(JNIEnv* env, jobject wrapper) {
  Find<void(JNIEnv*, jobject)>("_ZN8jniutils20UnregisterJavaObjectEP7JNIEnv_P8_jobject")(env,
                                                                                         wrapper);
}

bix_test::FakeJava& Java() {
  static bix_test::FakeJava& s_java = *new bix_test::FakeJava;
  return s_java;
}
bix_test::NativeObject& Object() {
  static bix_test::NativeObject& s_object = *new bix_test::NativeObject;
  return s_object;
}

/// Wraps, wraps again, and unregisters; says whether the library knew a wrapper before.
void CallBridge(const char* when) {
  JNIEnv* const env = Java().Env();
  const int weakBefore = Java().WeakReferences();
  jobject const wrapper = Wrap(env, &Object());
  const bool isNew = Java().WeakReferences() == weakBefore + 1;
  const bool isSame = env->IsSameObject(wrapper, Wrap(env, &Object())) == JNI_TRUE;
  Unregister(env, wrapper);
  std::printf("%s: %s, %s, %d weak\n", when, isNew ? "made" : "known", isSame ? "one" : "several",
              Java().WeakReferences());
  std::fflush(stdout);
}

/// Never lets a caller go.
class StoppingObject : public bix_test::NativeObject {
 public:
  void QueryInterface(const qv::GUID& iid, void** out) override {
    if (!isStopping) return NativeObject::QueryInterface(iid, out);
    isReached.set_value();
    for (;;) pause();
  }

  bool isStopping = false;
  std::promise<void> isReached;
};

/// Starts a thread that stays in the bridge, with its mutex.
void StopAThreadInTheBridge() {
  static auto& s_object = *new StoppingObject;
  jobject const wrapper = Wrap(Java().Env(), &s_object);
  s_object.isStopping = true;
  std::thread([wrapper] { Unregister(Java().Env(), wrapper); }).detach();
  s_object.isReached.get_future().wait();
  std::printf("stopped while it unregisters\n");
}

void CallAfterTheEnd() { CallBridge("after the end"); }

}  // namespace

int main(int argc, char** argv) {
  const bool isStopped = argc == 3 && std::strcmp(argv[2], "stopped") == 0;
  if (argc != 2 && !isStopped) return 2;
  // Registered before the library is loaded, it is called after the library's own destructors.
  if (!isStopped) std::atexit(&CallAfterTheEnd);
  s_library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (s_library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 3;
  }
  if (isStopped) {
    alarm(60);  // the end of a process that does not come to its end
    StopAThreadInTheBridge();
    return 0;
  }
  CallBridge("before the end");
  // Registered when the library ends.
  (void)Wrap(Java().Env(), &Object());
  return 0;
}
