#ifndef TESTS_JAVA_JAVA_MACHINE_H_
#define TESTS_JAVA_JAVA_MACHINE_H_

/// A real Java machine in the test program, which checks every call that native code makes.

#include <string>

#include <gtest/gtest.h>
#include <jni.h>

namespace bix_test {

/// Starts the machine at the first call. Null, and the test fails, when that is not possible.
JNIEnv* JavaEnvironment();

/// What the machine has printed since the last call: its complaints about native code.
std::string TakeMachineOutput();

/// Counts the local references that native code of this thread makes and deletes. Those that the
/// machine deletes when a native method returns stay counted.
class CountedLocalReferences {
 public:
  explicit CountedLocalReferences(JNIEnv* env);
  CountedLocalReferences(const CountedLocalReferences&) = delete;
  CountedLocalReferences& operator=(const CountedLocalReferences&) = delete;
  ~CountedLocalReferences();

  int Now() const;
  int Most() const;

 private:
  JNIEnv* const m_env;
};

/// A test in the machine, as the body of a native method. It fails when the machine complains, when
/// an exception is pending at its end, or when a wrapper is still registered.
class JavaTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  jclass Find(const char* className);
  /// A static operation of bixtest.Scenarios that returns a text.
  std::string Scenario(const char* name, const char* signature, ...);
  /// The value of a static field whose type is its class.
  jobject StaticValue(const char* className, const char* name);
  int Made();
  bool IsSame(jobject a, jobject b) { return env->IsSameObject(a, b) == JNI_TRUE; }
  std::string ClassName(jobject object);
  /// Takes the pending exception off: its class name, ": " and its message; "" when there is none.
  std::string TakeException();
  std::u16string Units(jstring string);

  JNIEnv* env = nullptr;
};

}  // namespace bix_test

#endif  // TESTS_JAVA_JAVA_MACHINE_H_
