#include "fake_java.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace bix_test {

constinit thread_local int allocationsLeft = -1;

namespace {

constexpr char kWrapper[] = "com/kestrane/vorn/CppObjectWrapper";

[[noreturn]] void JNICALL Unexpected() {
  std::fprintf(stderr, "a call that the fake machine does not know\n");
  std::abort();
}

std::string Narrow(const std::u16string& units) {
  std::string text;
  for (const char16_t unit : units) text += static_cast<char>(unit);
  return text;
}

bool Derives(const FakeJava::Class* type, const std::string& name) {
  for (; type != nullptr; type = type->base) {
    if (type->name == name) return true;
  }
  return false;
}

}  // namespace

/// The functions of the table.
struct FakeCalls {
  static jclass JNICALL FindClass(JNIEnv* env, const char* name) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("FindClass", name);
    const auto found = java.m_classObjects.find(name);
    if (java.Fails("FindClass") || found == java.m_classObjects.end()) {
      java.m_pending = "java/lang/NoClassDefFoundError";
      return nullptr;
    }
    return static_cast<jclass>(java.NewReference(found->second));
  }

  /// A member is its own identifier: the text of the class that has it.
  static const void* Member(JNIEnv* env, const char* call, jclass type, const char* name,
                            const char* signature) {
    FakeJava& java = FakeJava::Of(env);
    const std::string member = std::string(name) + signature;
    java.Begins(call, member);
    const auto object = java.Behind(call, type);
    if (!java.Fails(call) && object != nullptr) {
      for (const FakeJava::Class* c = object->type; c != nullptr; c = c->base) {
        for (const std::string& existing : c->members) {
          if (existing == member) return &existing;
        }
      }
    }
    java.m_pending = "java/lang/NoSuchMemberError";
    return nullptr;
  }
  static jmethodID JNICALL GetMethodID(JNIEnv* env, jclass type, const char* name,
                                       const char* signature) {
    return static_cast<jmethodID>(
        const_cast<void*>(Member(env, "GetMethodID", type, name, signature)));
  }
  static jfieldID JNICALL GetFieldID(JNIEnv* env, jclass type, const char* name,
                                     const char* signature) {
    return static_cast<jfieldID>(
        const_cast<void*>(Member(env, "GetFieldID", type, name, signature)));
  }

  static jobject JNICALL NewObjectV(JNIEnv* env, jclass type, jmethodID method, va_list arguments) {
    FakeJava& java = FakeJava::Of(env);
    const auto& signature = *reinterpret_cast<const std::string*>(method);
    auto object = std::make_shared<FakeJava::Object>();
    if (signature == "<init>(J)V") object->address = va_arg(arguments, jlong);
    java.Begins("NewObjectV", signature + " " + std::to_string(object->address));
    object->type = java.Behind("NewObjectV", type)->type;
    // Whether there is an object when the constructor throws is left to the machine.
    if (java.Fails("NewObjectV")) java.m_pending = "the constructor's exception";
    return java.NewReference(std::move(object));
  }

  static jboolean JNICALL IsInstanceOf(JNIEnv* env, jobject object, jclass type) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("IsInstanceOf");
    if (java.Fails("IsInstanceOf")) return JNI_FALSE;
    const auto wanted = java.Behind("IsInstanceOf", type);
    if (object == nullptr) return JNI_TRUE;
    const auto tested = java.Behind("IsInstanceOf", object);
    return tested == nullptr || Derives(tested->type, wanted->type->name) ? JNI_TRUE : JNI_FALSE;
  }

  static jclass JNICALL GetObjectClass(JNIEnv* env, jobject object) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("GetObjectClass");
    const auto described = java.Behind("GetObjectClass", object);
    if (java.Fails("GetObjectClass") || described == nullptr) return nullptr;
    return static_cast<jclass>(java.NewReference(java.m_classObjects[described->type->name]));
  }

  static jlong JNICALL GetLongField(JNIEnv* env, jobject object, jfieldID) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("GetLongField");
    return java.Behind("GetLongField", object)->address;
  }

  static jint JNICALL CallIntMethodV(JNIEnv* env, jobject object, jmethodID, va_list) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("CallIntMethodV");
    const auto called = java.Behind("CallIntMethodV", object);
    if (java.Fails("CallIntMethodV")) {
      java.m_pending = "the method's exception";
      return 99;  // means nothing
    }
    return static_cast<jint>(called->address);
  }

  static jobject JNICALL NewLocalRef(JNIEnv* env, jobject reference) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("NewLocalRef");
    if (java.Fails("NewLocalRef") || reference == nullptr) return nullptr;
    auto object = java.Behind("NewLocalRef", reference);
    return object == nullptr ? nullptr : java.NewReference(std::move(object));
  }
  static void JNICALL DeleteLocalRef(JNIEnv* env, jobject reference) {
    FakeJava& java = FakeJava::Of(env);
    java.BeginsWithPending("DeleteLocalRef");
    java.Delete("DeleteLocalRef", reference, false);
  }
  static jweak JNICALL NewWeakGlobalRef(JNIEnv* env, jobject reference) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("NewWeakGlobalRef");
    auto object = java.Behind("NewWeakGlobalRef", reference);
    if (java.Fails("NewWeakGlobalRef")) {
      java.m_pending = "java/lang/OutOfMemoryError";
      return nullptr;
    }
    return java.NewReference(std::move(object), true);
  }
  static void JNICALL DeleteWeakGlobalRef(JNIEnv* env, jweak reference) {
    FakeJava& java = FakeJava::Of(env);
    java.BeginsWithPending("DeleteWeakGlobalRef");
    java.Delete("DeleteWeakGlobalRef", reference, true);
  }
  static jboolean JNICALL IsSameObject(JNIEnv* env, jobject a, jobject b) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("IsSameObject");
    const auto behindA = a == nullptr ? nullptr : java.Behind("IsSameObject", a);
    const auto behindB = b == nullptr ? nullptr : java.Behind("IsSameObject", b);
    return behindA == behindB ? JNI_TRUE : JNI_FALSE;
  }

  static jthrowable JNICALL ExceptionOccurred(JNIEnv* env) {
    FakeJava& java = FakeJava::Of(env);
    java.BeginsWithPending("ExceptionOccurred");
    if (java.m_pending.empty()) return nullptr;
    auto object = std::make_shared<FakeJava::Object>();
    object->exception = java.m_pending;
    return static_cast<jthrowable>(java.NewReference(std::move(object)));
  }
  static jboolean JNICALL ExceptionCheck(JNIEnv* env) {
    FakeJava& java = FakeJava::Of(env);
    java.BeginsWithPending("ExceptionCheck");
    return java.m_pending.empty() ? JNI_FALSE : JNI_TRUE;
  }
  static void JNICALL ExceptionClear(JNIEnv* env) {
    FakeJava& java = FakeJava::Of(env);
    java.BeginsWithPending("ExceptionClear");
    java.m_pending.clear();
  }
  static jint JNICALL Throw(JNIEnv* env, jthrowable exception) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("Throw");
    const auto thrown = java.Behind("Throw", exception);
    if (java.Fails("Throw")) return JNI_ERR;
    java.m_pending = thrown->exception;
    return JNI_OK;
  }
  static jint JNICALL ThrowNew(JNIEnv* env, jclass type, const char* message) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("ThrowNew", message);
    const auto thrown = java.Behind("ThrowNew", type);
    if (java.Fails("ThrowNew")) {
      java.m_pending = "java/lang/OutOfMemoryError";
      return JNI_ERR;
    }
    java.m_pending = thrown->type->name + ": " + message;
    return JNI_OK;
  }

  static jstring MakeString(FakeJava& java, const char* call, std::u16string units) {
    if (java.Fails(call)) {
      java.m_pending = "java/lang/OutOfMemoryError";
      return nullptr;
    }
    return java.NewText(units);
  }
  static jstring JNICALL NewStringUTF(JNIEnv* env, const char* bytes) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("NewStringUTF", bytes);
    return MakeString(java, "NewStringUTF", std::u16string(bytes, bytes + std::strlen(bytes)));
  }
  static jstring JNICALL NewString(JNIEnv* env, const jchar* units, jsize length) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("NewString", std::to_string(length));
    if (units == nullptr || length < 0) java.violations.push_back("NewString");
    return MakeString(java, "NewString", std::u16string(units, units + length));
  }
  static jsize JNICALL GetStringLength(JNIEnv* env, jstring string) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("GetStringLength");
    const auto text = java.Behind("GetStringLength", string);
    return java.m_saysLength ? java.m_saidLength : static_cast<jsize>(text->units.size());
  }
  static void JNICALL GetStringRegion(JNIEnv* env, jstring string, jsize start, jsize length,
                                      jchar* out) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("GetStringRegion");
    const std::u16string units = java.Behind("GetStringRegion", string)->units;
    if (java.Fails("GetStringRegion")) {
      java.m_pending = "java/lang/StringIndexOutOfBoundsException";
      return;
    }
    std::copy_n(units.begin() + start, length, out);
  }
  static const char* JNICALL GetStringUTFChars(JNIEnv* env, jstring string, jboolean*) {
    FakeJava& java = FakeJava::Of(env);
    java.Begins("GetStringUTFChars");
    const auto text = java.Behind("GetStringUTFChars", string);
    if (java.Fails("GetStringUTFChars")) {
      java.m_pending = "java/lang/OutOfMemoryError";
      return nullptr;
    }
    java.AddToLog("characters taken");
    return strdup(Narrow(text->units).c_str());
  }
  static void JNICALL ReleaseStringUTFChars(JNIEnv* env, jstring string, const char* text) {
    FakeJava& java = FakeJava::Of(env);
    java.BeginsWithPending("ReleaseStringUTFChars");
    (void)java.Behind("ReleaseStringUTFChars", string);
    java.AddToLog("characters released");
    std::free(const_cast<char*>(text));
  }
};

namespace {

/// A function that has all the memory that it needs.
template <auto kFunction>
struct Unbound;
template <class Result, class... Arguments, Result (*kFunction)(Arguments...)>
struct Unbound<kFunction> {
  static Result JNICALL Call(Arguments... arguments) {
    struct Scope {
      const int left = std::exchange(allocationsLeft, -1);
      ~Scope() { allocationsLeft = left; }
    } const scope;
    return kFunction(arguments...);
  }
};

const JNINativeInterface_* Table() {
  static const JNINativeInterface_* const s_table = [] {
    // Every slot is a pointer to a function.
    static void* s_slots[sizeof(JNINativeInterface_) / sizeof(void*)];
    for (void*& slot : s_slots) slot = reinterpret_cast<void*>(&Unexpected);
    auto* const table = reinterpret_cast<JNINativeInterface_*>(s_slots);
    table->FindClass = &Unbound<&FakeCalls::FindClass>::Call;
    table->GetMethodID = &Unbound<&FakeCalls::GetMethodID>::Call;
    table->GetFieldID = &Unbound<&FakeCalls::GetFieldID>::Call;
    table->NewObjectV = &Unbound<&FakeCalls::NewObjectV>::Call;
    table->IsInstanceOf = &Unbound<&FakeCalls::IsInstanceOf>::Call;
    table->GetObjectClass = &Unbound<&FakeCalls::GetObjectClass>::Call;
    table->GetLongField = &Unbound<&FakeCalls::GetLongField>::Call;
    table->CallIntMethodV = &Unbound<&FakeCalls::CallIntMethodV>::Call;
    table->NewLocalRef = &Unbound<&FakeCalls::NewLocalRef>::Call;
    table->DeleteLocalRef = &Unbound<&FakeCalls::DeleteLocalRef>::Call;
    table->NewWeakGlobalRef = &Unbound<&FakeCalls::NewWeakGlobalRef>::Call;
    table->DeleteWeakGlobalRef = &Unbound<&FakeCalls::DeleteWeakGlobalRef>::Call;
    table->IsSameObject = &Unbound<&FakeCalls::IsSameObject>::Call;
    table->ExceptionOccurred = &Unbound<&FakeCalls::ExceptionOccurred>::Call;
    table->ExceptionCheck = &Unbound<&FakeCalls::ExceptionCheck>::Call;
    table->ExceptionClear = &Unbound<&FakeCalls::ExceptionClear>::Call;
    table->Throw = &Unbound<&FakeCalls::Throw>::Call;
    table->ThrowNew = &Unbound<&FakeCalls::ThrowNew>::Call;
    table->NewStringUTF = &Unbound<&FakeCalls::NewStringUTF>::Call;
    table->NewString = &Unbound<&FakeCalls::NewString>::Call;
    table->GetStringLength = &Unbound<&FakeCalls::GetStringLength>::Call;
    table->GetStringRegion = &Unbound<&FakeCalls::GetStringRegion>::Call;
    table->GetStringUTFChars = &Unbound<&FakeCalls::GetStringUTFChars>::Call;
    table->ReleaseStringUTFChars = &Unbound<&FakeCalls::ReleaseStringUTFChars>::Call;
    return table;
  }();
  return s_table;
}

}  // namespace

FakeJava::FakeJava() {
  m_front.env.functions = Table();
  m_front.self = this;
  AddClass("java/lang/Object");
  AddClass("java/lang/Enum", nullptr, {"ordinal()I"});
  AddClass("java/lang/String");
  AddClass("java/lang/OutOfMemoryError");
  AddClass("com/kestrane/vorn/APIError", nullptr, {"<init>(Ljava/lang/String;)V"});
  AddClass(kWrapper, nullptr, {"addressJ"});
  AddClass("com/kestrane/vorn/ModelImpl", kWrapper, {"<init>(J)V"});
}

FakeJava::~FakeJava() = default;

FakeJava::Class& FakeJava::AddClass(const std::string& name, const char* base,
                                    std::vector<std::string> members) {
  Class& added = m_classes[name];
  added.name = name;
  added.base = base != nullptr ? &m_classes.at(base) : nullptr;
  added.members = std::move(members);
  auto object = std::make_shared<Object>();
  object->type = &added;
  m_classObjects[name] = std::move(object);
  return added;
}

jobject FakeJava::NewObject(const std::string& className, std::int64_t address) {
  auto object = std::make_shared<Object>();
  object->type = &m_classes.at(className);
  object->address = address;
  return NewReference(std::move(object));
}

jstring FakeJava::NewText(const std::u16string& units) {
  auto object = std::make_shared<Object>();
  object->type = &m_classes.at("java/lang/String");
  object->units = units;
  return static_cast<jstring>(NewReference(std::move(object)));
}

void FakeJava::Collect(jobject reference) {
  const auto object = reinterpret_cast<Reference*>(reference)->object;
  for (const auto& other : m_references) {
    if (other->isWeak && other->object == object) other->object = nullptr;
  }
}

void FakeJava::FailAt(int n) {
  m_calls = 0;
  m_failAt = n;
  m_failed.clear();
}

int FakeJava::LocalReferences() const {
  return static_cast<int>(
      std::count_if(m_references.begin(), m_references.end(),
                    [](const auto& entry) { return !entry->isWeak && !entry->isDeleted; }));
}

int FakeJava::WeakReferences() const {
  return static_cast<int>(
      std::count_if(m_references.begin(), m_references.end(),
                    [](const auto& entry) { return entry->isWeak && !entry->isDeleted; }));
}

void FakeJava::Begins(const char* call, const std::string& detail) {
  log.push_back(detail.empty() ? call : std::string(call) + " " + detail);
  if (!m_pending.empty()) violations.push_back(std::string(call) + " while pending: " + m_pending);
}

void FakeJava::BeginsWithPending(const char* call) { log.push_back(call); }

bool FakeJava::Fails(const char* call) {
  if (++m_calls != m_failAt) return false;
  m_failed = call;
  return true;
}

jobject FakeJava::NewReference(std::shared_ptr<Object> object, bool isWeak) {
  m_references.push_back(std::make_unique<Reference>());
  Reference* const reference = m_references.back().get();
  reference->object = std::move(object);
  reference->isWeak = isWeak;
  m_known.insert(reference);
  return reinterpret_cast<jobject>(reference);
}

FakeJava::Reference* FakeJava::Get(const char* call, jobject reference) {
  auto* const entry = reinterpret_cast<Reference*>(reference);
  if (m_known.count(entry) == 0 || entry->isDeleted) {
    violations.push_back(std::string(call) + " of a reference that is none");
    return nullptr;
  }
  return entry;
}

std::shared_ptr<FakeJava::Object> FakeJava::Behind(const char* call, jobject reference) {
  Reference* const entry = Get(call, reference);
  return entry != nullptr ? entry->object : nullptr;
}

void FakeJava::Delete(const char* call, jobject reference, bool isWeak) {
  Reference* const entry = Get(call, reference);
  if (entry == nullptr) return;
  if (entry->isWeak != isWeak) violations.push_back(std::string(call) + " of the wrong kind");
  entry->isDeleted = true;
  entry->object = nullptr;
}

}  // namespace bix_test
