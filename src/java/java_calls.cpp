#include "java/java_calls.h"

#include <exception>
#include <string>

#include "bix/javabridge.h"

namespace bix::impl {

// CHOICE(java-pending-exception): while an exception is pending hardly a call to Java is legal, but
// hosts clean up in that state. So it is set aside for the call, and stays the one that Java sees.
// Test: JavaPendingException.IsSetAsideByEveryFunctionAndPendingAgain
SetAsideException::SetAsideException(JNIEnv* env)
    : m_env(env), m_exception(env->ExceptionOccurred()) {
  if (m_exception != nullptr) m_env->ExceptionClear();
}

SetAsideException::~SetAsideException() {
  if (m_exception == nullptr) return;
  m_env->ExceptionClear();
  (void)m_env->Throw(m_exception);  // nothing is left to report a failure to
  m_env->DeleteLocalRef(m_exception);
}

// CHOICE(java-missing-is-silent): what cannot be found leaves no exception, neither that of the
// search nor that of a class which cannot be initialised; the result alone says it. The next call to
// Java is legal then. Test: JavaFaults.WhatIsMissingLeavesNoException
//
// CHOICE(java-nothing-kept): classes, methods and fields are looked up at each call. What is found
// depends on the class loader of the caller, and keeping it would keep its classes from being
// unloaded. Test: JavaFaults.ClassesAreLookedUpAtEachCall
jclass FindJavaClass(JNIEnv* env, const char* className) {
  if (className == nullptr) return nullptr;
  jclass const found = env->FindClass(className);
  if (found == nullptr) env->ExceptionClear();
  return found;
}

jmethodID FindJavaMethod(JNIEnv* env, jclass owner, const char* name, const char* signature) {
  if (signature == nullptr) return nullptr;
  jmethodID const found = env->GetMethodID(owner, name, signature);
  if (found == nullptr) env->ExceptionClear();
  return found;
}

jfieldID FindJavaField(JNIEnv* env, jclass owner, const char* name, const char* signature) {
  jfieldID const found = env->GetFieldID(owner, name, signature);
  if (found == nullptr) env->ExceptionClear();
  return found;
}

// CHOICE(java-constructor-throws): the exception of a constructor stays pending, so that the Java
// code that called for the object learns why there is none.
// Test: JavaObjects.TheExceptionOfAConstructorReachesJava
jobject NewJavaObject(JNIEnv* env, const char* className, const char* signature,
                      va_list arguments) {
  const LocalReference<jclass> type(env, FindJavaClass(env, className));
  if (!type) return nullptr;
  jmethodID const constructor = FindJavaMethod(env, type.Get(), "<init>", signature);
  if (constructor == nullptr) return nullptr;
  jobject const object = env->NewObjectV(type.Get(), constructor, arguments);
  if (!env->ExceptionCheck()) return object;
  if (object != nullptr) env->DeleteLocalRef(object);
  return nullptr;
}

void ThrowAPIError(JNIEnv* env, const char* message) noexcept {
  // COMPAT(java-error-replaces): the error takes the place of an exception that is pending, which is
  // lost. Test: JavaErrorCompat.ReplacesThePendingException
  if (env->ExceptionCheck()) env->ExceptionClear();
  const LocalReference<jclass> type(env, FindJavaClass(env, "com/kestrane/vorn/APIError"));
  if (!type) return;
  if (FindJavaMethod(env, type.Get(), "<init>", "(Ljava/lang/String;)V") == nullptr) return;
  // CHOICE(java-error-fails): what Java throws while it makes the error, such as that there is no
  // memory, stays pending: the Java code that called must not go on as if all were well.
  // Test: JavaFaults.WhatJavaThrowsInPlaceOfAnErrorStays
  (void)env->ThrowNew(type.Get(), message);
}

void ThrowOutOfMemory(JNIEnv* env, const char* message) noexcept {
  const LocalReference<jclass> type(env, FindJavaClass(env, "java/lang/OutOfMemoryError"));
  if (type) (void)env->ThrowNew(type.Get(), message);
}

}  // namespace bix::impl

const char* qv::GetAPIErrorMessage(const char*& error) { return error; }

namespace jniutils {

using bix::impl::FindJavaClass;
using bix::impl::FindJavaMethod;
using bix::impl::LocalReference;
using bix::impl::NewLocal;
using bix::impl::SetAsideException;

int ConvertEnumToInt(JNIEnv* env, jobject e) {
  const SetAsideException aside(env);
  const LocalReference<jclass> type(env, FindJavaClass(env, "java/lang/Enum"));
  if (!type) return 0;
  jmethodID const ordinal = FindJavaMethod(env, type.Get(), "ordinal", "()I");
  if (ordinal == nullptr) return 0;
  // CHOICE(java-no-enum): null and objects of other classes are 0; Java's machine would end the
  // process. Test: JavaEnums.WhatIsNoEnumValueIsZero
  const LocalReference<jobject> value(env, NewLocal(env, e));
  if (!value || !env->IsInstanceOf(value.Get(), type.Get())) return 0;
  const int result = env->CallIntMethod(value.Get(), ordinal);
  return env->ExceptionCheck() ? 0 : result;
}

jobject CreateNewJavaObject(JNIEnv* env, const char* className, const char* ctorSignature, ...) {
  const SetAsideException aside(env);
  va_list arguments;
  va_start(arguments, ctorSignature);
  jobject const object = bix::impl::NewJavaObject(env, className, ctorSignature, arguments);
  va_end(arguments);
  return object;
}

// COMPAT(java-null-instance): null is an instance of every class that is found.
// Test: JavaInstanceCompat.NullIsAnInstanceOfEveryClass
bool IsInstanceOf(JNIEnv* env, jobject object, const char* className) {
  const SetAsideException aside(env);
  const LocalReference<jclass> type(env, FindJavaClass(env, className));
  return type && env->IsInstanceOf(object, type.Get()) != JNI_FALSE;
}

void ThrowJavaAPIErrorException(JNIEnv* env, const std::string& message) {
  bix::impl::ThrowAPIError(env, message.c_str());
}

void ThrowNativeErrorToJava(JNIEnv* env) noexcept {
  try {
    throw;
  } catch (const char* error) {
    bix::impl::ThrowAPIError(env, error != nullptr ? qv::GetAPIErrorMessage(error) : "");
  } catch (const std::string& error) {
    bix::impl::ThrowAPIError(env, error.c_str());
  } catch (const std::exception& error) {
    bix::impl::ThrowAPIError(env, error.what());
  } catch (...) {
    bix::impl::ThrowAPIError(env, "Unknown error in native code");
  }
}

}  // namespace jniutils
