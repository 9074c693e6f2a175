// The native half of a Java program: notes of a model that Java sees as NoteImpl, and listeners,
// implemented in Java, that native code sees as objects of the model.

#include <cstring>
#include <list>
#include <string>

#include <jni.h>

#include "bix/javabridge.h"

namespace {

constexpr qv::GUID kIListener = {
    0x6B1F0A52, 0x3C77, 0x4E0D, {0x9A, 0x41, 0x5D, 0x20, 0x8E, 0xC3, 0x17, 0xF4}};

bool IsSame(const qv::GUID& a, const qv::GUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

/// What all objects of this model have in common: they count their references and end with the last.
template <class Interface>
class Counted : public Interface {
 public:
  Counted() = default;
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  virtual ~Counted() = default;

  void AddRef() override { ++m_references; }
  void Release() override {
    if (--m_references == 0) delete this;
  }
  void QueryInterface(const qv::GUID& iid, void** out) override {
    *out = nullptr;
    if (!HasInterface(iid)) return;
    AddRef();
    *out = static_cast<qv::IUnknown*>(this);
  }

 protected:
  virtual bool HasInterface(const qv::GUID& iid) const { return IsSame(iid, qv::kIUnknown); }

 private:
  int m_references = 0;
};

/// Passes what happens to a note on to a Java object.
class ListenerInJava : public Counted<qv::IUnknown> {
 public:
  ListenerInJava(JNIEnv* env, jobject listener) : m_listener(env->NewGlobalRef(listener)) {
    env->GetJavaVM(&m_machine);
  }
  ~ListenerInJava() override {
    void* env = nullptr;
    if (m_machine->GetEnv(&env, JNI_VERSION_1_8) == JNI_OK)
      static_cast<JNIEnv*>(env)->DeleteGlobalRef(m_listener);
  }

  void NoteChanged(JNIEnv* env, jobject note) {
    jclass const type = env->GetObjectClass(m_listener);
    jmethodID const method =
        env->GetMethodID(type, "noteChanged", "(Lcom/kestrane/vorn/NoteImpl;)V");
    env->DeleteLocalRef(type);
    // What the listener throws is pending for the Java code that made the change.
    if (method != nullptr) env->CallVoidMethod(m_listener, method, note);
  }

 protected:
  bool HasInterface(const qv::GUID& iid) const override {
    return IsSame(iid, kIListener) || Counted::HasInterface(iid);
  }

 private:
  JavaVM* m_machine = nullptr;
  jobject m_listener;
};

class ListenerCreator : public jniutils::ICppWrapperObjectCreator {
 public:
  qv::IUnknown* CreateWrapperObject(const char* /*name*/, JNIEnv* env, jobject object) override {
    return new ListenerInJava(env, object);
  }
};

ListenerCreator s_listenerCreator;

/// What passes calls on to a Java listener, with a reference; null for null.
ListenerInJava* ListenerFor(JNIEnv* env, jobject javaObject) {
  auto* const object =
      jniutils::GetInterfacePtr<qv::IUnknown>(env, javaObject, "com/kestrane/vorn/IListener");
  if (object == nullptr) return nullptr;
  // A wrapper gives the object behind it, which may be anything of the model.
  void* listener = nullptr;
  object->QueryInterface(kIListener, &listener);
  object->Release();
  if (listener == nullptr) throw "This is no listener.";
  return static_cast<ListenerInJava*>(static_cast<qv::IUnknown*>(listener));
}

/// A note, wrapped as com/kestrane/vorn/NoteImpl.
class Note : public Counted<qv::IObjectInfo> {
 public:
  ~Note() override {
    if (listener != nullptr) listener->Release();
    if (next != nullptr) next->Release();
  }
  void GetInterfaceNames(std::list<std::string>& names) override { names.push_back("Note"); }

  std::string text;  // UTF-8
  int priority = 0;
  Note* next = nullptr;
  ListenerInJava* listener = nullptr;
  bool isHeldByJava = false;  // with a reference, from the first wrapper up to close()

 protected:
  bool HasInterface(const qv::GUID& iid) const override {
    return IsSame(iid, qv::kIObjectInfo) || Counted::HasInterface(iid);
  }
};

void GiveUp(Note& note) {
  if (!note.isHeldByJava) return;
  note.isHeldByJava = false;
  note.Release();
}

/// The wrapper of a note. Java holds the note from now on.
jobject Wrap(JNIEnv* env, Note& note) {
  const bool isNew = !note.isHeldByJava;
  if (isNew) note.AddRef();
  note.isHeldByJava = true;
  jobject const wrapper = jniutils::CreateNewWrappingJavaObject(env, &note);
  if (wrapper == nullptr && isNew) GiveUp(note);
  return wrapper;
}

/// The note behind a wrapper that is not closed.
Note& NoteOf(JNIEnv* env, jobject wrapper) {
  qv::IUnknown* const object = jniutils::GetIUnknownFromJavaObject(env, wrapper, nullptr);
  if (object == nullptr) throw "This is no note.";
  return static_cast<Note&>(*object);
}

}  // namespace

extern "C" {

JNIEXPORT void JNICALL Java_JavaBridge_start(JNIEnv*, jclass) {
  jniutils::RegisterCppWrapperObjectCreator("IListener", &s_listenerCreator);
}

JNIEXPORT void JNICALL Java_JavaBridge_stop(JNIEnv*, jclass) {
  jniutils::UnregisterCppWrapperObjectCreator("IListener");
}

JNIEXPORT jobject JNICALL Java_JavaBridge_newNote(JNIEnv* env, jclass) {
  return jniutils::CallNative(env, [&] { return Wrap(env, *new Note); });
}

JNIEXPORT jstring JNICALL Java_JavaBridge_leakReport(JNIEnv* env, jclass) {
  return jniutils::CallNative(env, [&] {
    const jniutils::WrapperCounts counts = jniutils::CountWrappers(env);
    return jniutils::NewStringUTF8(env, std::to_string(counts.made) + " made, " +
                                            std::to_string(counts.registered) + " registered");
  });
}

JNIEXPORT jstring JNICALL Java_com_kestrane_vorn_NoteImpl_getText(JNIEnv* env, jobject self) {
  return jniutils::CallNative(env,
                              [&] { return jniutils::NewStringUTF8(env, NoteOf(env, self).text); });
}

JNIEXPORT void JNICALL Java_com_kestrane_vorn_NoteImpl_setText(JNIEnv* env, jobject self,
                                                               jstring text) {
  jniutils::CallNative(env, [&] {
    Note& note = NoteOf(env, self);
    note.text = jniutils::GetStringUTF8(env, text);
    if (note.listener != nullptr) note.listener->NoteChanged(env, self);
  });
}

JNIEXPORT jint JNICALL Java_com_kestrane_vorn_NoteImpl_getPriority(JNIEnv* env, jobject self) {
  return jniutils::CallNative(env, [&]() -> jint { return NoteOf(env, self).priority; });
}

JNIEXPORT void JNICALL Java_com_kestrane_vorn_NoteImpl_setPriority(JNIEnv* env, jobject self,
                                                                   jobject priority) {
  jniutils::CallNative(
      env, [&] { NoteOf(env, self).priority = jniutils::ConvertEnumToInt(env, priority); });
}

JNIEXPORT jobject JNICALL Java_com_kestrane_vorn_NoteImpl_getNext(JNIEnv* env, jobject self) {
  return jniutils::CallNative(env, [&] {
    Note& note = NoteOf(env, self);
    if (note.next == nullptr) {
      note.next = new Note;
      note.next->AddRef();
    }
    return Wrap(env, *note.next);
  });
}

JNIEXPORT void JNICALL Java_com_kestrane_vorn_NoteImpl_setListener(JNIEnv* env, jobject self,
                                                                   jobject listener) {
  jniutils::CallNative(env, [&] {
    Note& note = NoteOf(env, self);
    ListenerInJava* const fresh = ListenerFor(env, listener);
    if (note.listener != nullptr) note.listener->Release();
    note.listener = fresh;
  });
}

JNIEXPORT void JNICALL Java_com_kestrane_vorn_NoteImpl_close(JNIEnv* env, jobject self) {
  jniutils::CallNative(env, [&] {
    Note& note = NoteOf(env, self);
    // First the wrapper, then the object: another one may be made at its address.
    jniutils::UnregisterJavaObject(env, self);
    GiveUp(note);
  });
}

}  // extern "C"
