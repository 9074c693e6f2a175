#ifndef BIX_JAVA_JAVA_CALLS_H_
#define BIX_JAVA_JAVA_CALLS_H_

/// What every function of the Java bridge is made of.

#include <cstdarg>

#include <jni.h>

namespace bix::impl {

/// A local reference that goes with the scope. A native method that is called from a loop in native
/// code would otherwise fill the table of references of its thread.
template <class Reference>
class LocalReference {
 public:
  LocalReference(JNIEnv* env, Reference reference) : m_env(env), m_reference(reference) {}
  LocalReference(const LocalReference&) = delete;
  LocalReference& operator=(const LocalReference&) = delete;
  ~LocalReference() {
    if (m_reference != nullptr) m_env->DeleteLocalRef(m_reference);
  }

  Reference Get() const { return m_reference; }
  explicit operator bool() const { return m_reference != nullptr; }

 private:
  JNIEnv* const m_env;
  const Reference m_reference;
};

/// A new local reference, for a LocalReference: what is behind a weak reference of a caller must not
/// go between two steps. Null for null, when the object is gone, and when there is no memory.
template <class Reference>
Reference NewLocal(JNIEnv* env, Reference reference) {
  return reference != nullptr ? static_cast<Reference>(env->NewLocalRef(reference)) : nullptr;
}

/// Sets the pending exception aside, with which next to nothing may be called, and makes it pending
/// again at the end of the scope.
class SetAsideException {
 public:
  explicit SetAsideException(JNIEnv* env);
  SetAsideException(const SetAsideException&) = delete;
  SetAsideException& operator=(const SetAsideException&) = delete;
  ~SetAsideException();

 private:
  JNIEnv* const m_env;
  jthrowable m_exception = nullptr;
};

/// The class of that path, or null, also for a null path; nothing is pending afterwards.
jclass FindJavaClass(JNIEnv* env, const char* className);

/// The method or field, or null; nothing is pending afterwards.
jmethodID FindJavaMethod(JNIEnv* env, jclass owner, const char* name, const char* signature);
jfieldID FindJavaField(JNIEnv* env, jclass owner, const char* name, const char* signature);

/// A new local reference to an object of that class, or null when there is no such class or
/// constructor, or when the constructor throws, whose exception is pending then.
jobject NewJavaObject(JNIEnv* env, const char* className, const char* signature, va_list arguments);

/// Makes an APIError pending, in place of what is; nothing, where Java lacks the class or its
/// constructor. The message must be modified UTF-8.
void ThrowAPIError(JNIEnv* env, const char* message) noexcept;

/// Makes Java's OutOfMemoryError pending. Called while nothing is.
void ThrowOutOfMemory(JNIEnv* env, const char* message) noexcept;

}  // namespace bix::impl

#endif  // BIX_JAVA_JAVA_CALLS_H_
