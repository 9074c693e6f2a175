// Wrappers of native objects in Java, and of Java objects in native code.

#include <cstring>
#include <list>
#include <new>
#include <string>

#include <jni.h>

#include "bix/javabridge.h"
#include "bix/messages.h"
#include "diag/report.h"
#include "java/java_calls.h"
#include "java/java_tables.h"
#include "qv/objectinfo.h"

// COMPAT(java-iid-unknown): hosts look the name up that other models give the identifier of their
// IUnknown. It is in no header, since those of a Windows-compatibility layer declare it with a type
// of their own, and it is not what the bridge asks for.
// Test: ModelInterfaceCompat.IidUnknownIsDefinedAndNotTheOneThatIsAsked
extern "C" {
extern BIX_EXPORT const qv::GUID IID_IUnknown;
constexpr qv::GUID IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
}

namespace jniutils {
namespace {

using bix::impl::FindJavaField;
using bix::impl::JavaTables;
using bix::impl::LocalReference;
using bix::impl::LockedMutex;
using bix::impl::NewLocal;
using bix::impl::SetAsideException;
using bix::impl::Tables;

constexpr char kPackage[] = "com/kestrane/vorn/";
constexpr char kWrapperClass[] = "com/kestrane/vorn/CppObjectWrapper";
constexpr char kNotImplemented[] = "Java object does not implement the expected interface ";
constexpr char kNoMemory[] = "no memory for a wrapper";
constexpr char kNoMemoryToReport[] = "no memory to report that an object has no wrapper";
constexpr char kNoCreator[] = "Unable to pass Java object as interface ";

/// The interface of a native object that a call of QueryInterface yields, released with the scope.
template <class Interface>
class QueriedInterface {
 public:
  QueriedInterface(qv::IUnknown* object, const qv::GUID& iid) {
    if (object == nullptr) return;
    void* found = nullptr;
    object->QueryInterface(iid, &found);
    m_interface = static_cast<Interface*>(found);
  }
  QueriedInterface(const QueriedInterface&) = delete;
  QueriedInterface& operator=(const QueriedInterface&) = delete;
  ~QueriedInterface() {
    if (m_interface != nullptr) m_interface->Release();
  }

  Interface* Get() const { return m_interface; }
  explicit operator bool() const { return m_interface != nullptr; }
  Interface* operator->() const { return m_interface; }

  /// The reference belongs to the caller from here on.
  Interface* Detach() {
    Interface* const detached = m_interface;
    m_interface = nullptr;
    return detached;
  }

 private:
  Interface* m_interface = nullptr;
};

// COMPAT(java-address-sign): the address is widened with its sign, so that one in the upper half of
// a 32-bit process is negative in Java. Test: JavaAddressCompat.IsWidenedWithItsSign
jlong AddressOf(const qv::IUnknown* object) {
  return static_cast<jlong>(reinterpret_cast<std::intptr_t>(object));
}

qv::IUnknown* ObjectAt(jlong address) {
  return reinterpret_cast<qv::IUnknown*>(static_cast<std::intptr_t>(address));
}

/// The wrapper that Java still has of the object, as a new local reference; null when there is none
/// or no memory for one. `isCollected` says that Java has dropped it.
jobject WrapperStillThere(JNIEnv* env, jobject weak, bool& isCollected) {
  // CHOICE(java-wrapper-reference): a local reference is handed out, not the weak one that is kept:
  // Java may collect a weak one between any two steps of the caller.
  // Test: JavaWrappers.TheSecondRequestGivesTheSameObjectByALocalReference
  jobject const wrapper = env->NewLocalRef(weak);
  isCollected = wrapper == nullptr && env->IsSameObject(weak, nullptr) != JNI_FALSE;
  return wrapper;
}

/// Makes a wrapper and registers it; null when either fails, and nothing is registered then.
jobject MakeWrapper(JNIEnv* env, JavaTables& tables, const char* className, qv::IUnknown* object) {
  jobject const wrapper = CreateNewJavaObject(env, className, "(J)V", AddressOf(object));
  // CHOICE(java-wrapper-fails): an object whose wrapper cannot be made, or cannot be kept, has none;
  // the next request tries again. Test: JavaFaults.AWrapperThatCannotBeKeptIsNotRegistered
  if (wrapper == nullptr) return nullptr;
  jweak const weak = env->NewWeakGlobalRef(wrapper);
  if (weak != nullptr) {
    try {
      tables.mapWrapperJavaObjects.emplace(object, weak);
      ++tables.made;
      return wrapper;
    } catch (const std::bad_alloc&) {
      env->DeleteWeakGlobalRef(weak);
      bix::impl::ThrowOutOfMemory(env, kNoMemory);
    }
  }
  env->DeleteLocalRef(wrapper);
  return nullptr;
}

/// The text of a bridge error, which stays valid for as long as the library is loaded.
// CHOICE(java-error-text): the texts are kept, each once, rather than one per thread that the next
// error would overwrite: a host may hold several at once, or pass them to another thread.
// Test: JavaErrorText.StaysValidBesideLaterOnesAndBeyondItsThread
const char* KeepErrorText(const char* words, const char* interfaceName) {
  try {
    JavaTables& tables = Tables();
    const LockedMutex locked(tables.errorsMutex);
    return tables.errors.insert(std::string(words) + interfaceName).first->c_str();
  } catch (const std::bad_alloc&) {
    return words;
  }
}

void ReportNotRegistered(JNIEnv* env) {
  try {
    bix::impl::ReportInternalError(bix::bixerr, "Attempt to unregister non-existing Java object!");
  } catch (const std::bad_alloc&) {
    bix::impl::ThrowOutOfMemory(env, kNoMemoryToReport);
  }
}

}  // namespace

jobject CreateNewWrappingJavaObject(JNIEnv* env, const char* className, qv::IUnknown* object) {
  // Asked before the mutex is taken, and released behind it.
  const QueriedInterface<qv::IUnknown> identity(object, qv::kIUnknown);
  if (!identity) return nullptr;
  const SetAsideException aside(env);
  JavaTables& tables = Tables();
  // COMPAT(java-lock-and-constructor): the mutex is held while the wrapper's constructor runs, so
  // that no other thread makes a second one.
  // Test: JavaStepsCompat.WrappingLocksAroundTheConstructorAndReleasesBehind
  const LockedMutex locked(tables.wrappersMutex);
  // COMPAT(java-stale-wrapper): the address alone decides. An object at the address of one that went
  // without being unregistered gets the wrapper of that one.
  // Test: JavaWrapperCompat.AnObjectAtTheSameAddressGetsTheSameWrapper
  const auto found = tables.mapWrapperJavaObjects.find(identity.Get());
  if (found != tables.mapWrapperJavaObjects.end()) {
    bool isCollected = false;
    jobject const wrapper = WrapperStillThere(env, found->second, isCollected);
    if (!isCollected) return wrapper;
    // CHOICE(java-collected-wrapper): the object gets a new wrapper in place of the one that Java
    // has collected. Test: JavaCollection.AnObjectWhoseWrapperIsCollectedGetsAFreshOne
    env->DeleteWeakGlobalRef(found->second);
    tables.mapWrapperJavaObjects.erase(found);
  }
  return MakeWrapper(env, tables, className, identity.Get());
}

jobject CreateNewWrappingJavaObject(JNIEnv* env, qv::IUnknown* object) {
  std::string className;
  try {
    const QueriedInterface<qv::IObjectInfo> info(object, qv::kIObjectInfo);
    if (!info) return nullptr;
    std::list<std::string> names;
    info->GetInterfaceNames(names);
    if (names.empty()) return nullptr;
    className = kPackage + names.front() + "Impl";
  } catch (const std::bad_alloc&) {
    const SetAsideException aside(env);
    bix::impl::ThrowOutOfMemory(env, kNoMemory);
    return nullptr;
  }
  return CreateNewWrappingJavaObject(env, className.c_str(), object);
}

void UnregisterJavaObject(JNIEnv* env, jobject javaObject) {
  const SetAsideException aside(env);
  JavaTables& tables = Tables();
  const LockedMutex locked(tables.wrappersMutex);
  // COMPAT(java-release-under-lock): released before the mutex is, unlike in wrapping.
  // Test: JavaStepsCompat.UnregisteringDoesEverythingUnderTheMutex
  const QueriedInterface<qv::IUnknown> identity(GetIUnknownFromJavaObject(env, javaObject, nullptr),
                                                qv::kIUnknown);
  // COMPAT(java-unregister-by-address): whichever wrapper of the object is given, the registered one
  // is forgotten. Test: JavaUnregisterCompat.AnOlderWrapperForgetsTheNewerOne
  const auto found = tables.mapWrapperJavaObjects.find(identity.Get());
  if (found == tables.mapWrapperJavaObjects.end()) {
    ReportNotRegistered(env);
    return;
  }
  jobject const weak = found->second;
  tables.mapWrapperJavaObjects.erase(found);
  ++tables.unregistered;
  env->DeleteWeakGlobalRef(weak);
}

qv::IUnknown* GetIUnknownFromJavaObject(JNIEnv* env, jobject javaObject,
                                        const char* interfaceName) {
  {
    const SetAsideException aside(env);
    const LocalReference<jobject> object(env, NewLocal(env, javaObject));
    if (!object) return nullptr;
    if (IsInstanceOf(env, object.Get(), kWrapperClass)) {
      const LocalReference<jclass> type(env, env->GetObjectClass(object.Get()));
      if (!type) return nullptr;
      jfieldID const address = FindJavaField(env, type.Get(), "address", "J");
      if (address == nullptr) return nullptr;
      return ObjectAt(env->GetLongField(object.Get(), address));
    }
  }
  if (interfaceName == nullptr) return nullptr;
  return CreateNewWrappingCppObject(env, javaObject, interfaceName);
}

template <>
qv::IUnknown* GetInterfacePtr<qv::IUnknown>(JNIEnv* env, jobject javaObject,
                                            const char* interfaceName) {
  return QueriedInterface<qv::IUnknown>(GetIUnknownFromJavaObject(env, javaObject, interfaceName),
                                        qv::kIUnknown)
      .Detach();
}

qv::IUnknown* CreateNewWrappingCppObject(JNIEnv* env, jobject javaObject,
                                         const char* interfaceName) {
  const SetAsideException aside(env);
  const LocalReference<jobject> held(env, NewLocal(env, javaObject));
  if (javaObject != nullptr && !held) return nullptr;
  const char* const path = interfaceName != nullptr ? interfaceName : "";
  // COMPAT(java-null-passed): null is an instance of every class, so that it reaches the creator.
  // Test: JavaCreatorCompat.NullReachesTheCreator
  if (!IsInstanceOf(env, javaObject, path)) throw KeepErrorText(kNotImplemented, path);
  const char* const slash = std::strrchr(path, '/');
  const char* const key = slash != nullptr ? slash + 1 : path;
  const auto& creators = Tables().mapCppWrapperObjectCreators;
  const auto found = creators.find(key);
  if (found == creators.end()) throw KeepErrorText(kNoCreator, path);
  // COMPAT(java-null-creator): a null creator makes null, which is no error.
  // Test: JavaCreatorCompat.ANullCreatorMakesNull
  if (found->second == nullptr) return nullptr;
  return found->second->CreateWrapperObject(key, env, javaObject);
}

WrapperCounts CountWrappers(JNIEnv* env) {
  const SetAsideException aside(env);
  JavaTables& tables = Tables();
  const LockedMutex locked(tables.wrappersMutex);
  WrapperCounts counts;
  counts.registered = tables.mapWrapperJavaObjects.size();
  counts.made = tables.made;
  counts.unregistered = tables.unregistered;
  for (const auto& entry : tables.mapWrapperJavaObjects) {
    if (env->IsSameObject(entry.second, nullptr) == JNI_FALSE) ++counts.live;
  }
  return counts;
}

}  // namespace jniutils
