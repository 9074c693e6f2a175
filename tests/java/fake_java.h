#ifndef TESTS_JAVA_FAKE_JAVA_H_
#define TESTS_JAVA_FAKE_JAVA_H_

/// A table of functions that stands for Java's machine: it writes the calls down, can let any of
/// them fail, and sees what native code must not do.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include <jni.h>

namespace bix_test {

/// How many more allocations of this thread succeed in a program that heeds it; negative: all. The
/// calls to a fake machine are not bound by it.
extern thread_local int allocationsLeft;

class FakeJava {
 public:
  FakeJava();
  FakeJava(const FakeJava&) = delete;
  FakeJava& operator=(const FakeJava&) = delete;
  ~FakeJava();

  JNIEnv* Env() { return &m_front.env; }

  // ---- The world. Classes are found by name; each has the constructors and members named here.

  struct Class {
    std::string name;
    const Class* base = nullptr;
    std::vector<std::string> members;  // such as "<init>(J)V" or "addressJ"
  };
  Class& AddClass(const std::string& name, const char* base = nullptr,
                  std::vector<std::string> members = {});

  /// A new local reference to an object that is held by nothing else.
  jobject NewObject(const std::string& className, std::int64_t address = 0);
  jstring NewText(const std::u16string& units);
  /// What a hostile machine says of every string from now on.
  void SayStringLength(jint length) { m_saidLength = length, m_saysLength = true; }
  /// Lets Java collect the object behind all its weak references.
  void Collect(jobject reference);
  void SetPending(const std::string& exception) { m_pending = exception; }

  /// Lets the n-th call fail from now on, of those that can fail; 0: none. Counts anew.
  void FailAt(int n);
  /// The name of the call that failed, or "".
  const std::string& Failed() const { return m_failed; }

  // ---- What has happened

  /// The calls, such as "FindClass java/lang/Enum", and what AddToLog wrote.
  std::vector<std::string> log;
  void AddToLog(const std::string& event) { log.push_back(event); }
  /// Calls that are not allowed, such as those while an exception is pending.
  std::vector<std::string> violations;
  const std::string& Pending() const { return m_pending; }
  int LocalReferences() const;
  int WeakReferences() const;

 private:
  friend struct FakeCalls;

  struct Object {
    const Class* type = nullptr;
    std::int64_t address = 0;
    std::u16string units;
    std::string exception;
  };
  struct Reference {
    std::shared_ptr<Object> object;  // null once it is collected
    bool isWeak = false;
    bool isDeleted = false;
  };
  struct Front {  // what native code has a pointer to
    JNIEnv_ env;
    FakeJava* self;
  };

  static FakeJava& Of(JNIEnv* env) { return *reinterpret_cast<Front*>(env)->self; }
  void Begins(const char* call, const std::string& detail = "");
  bool Fails(const char* call);
  void BeginsWithPending(const char* call);
  jobject NewReference(std::shared_ptr<Object> object, bool isWeak = false);
  Reference* Get(const char* call, jobject reference);
  std::shared_ptr<Object> Behind(const char* call, jobject reference);
  void Delete(const char* call, jobject reference, bool isWeak);

  Front m_front;
  std::map<std::string, Class> m_classes;
  std::map<std::string, std::shared_ptr<Object>> m_classObjects;
  std::vector<std::unique_ptr<Reference>> m_references;
  std::unordered_set<const Reference*> m_known;
  std::string m_pending;
  std::string m_failed;
  int m_calls = 0;
  int m_failAt = 0;
  jint m_saidLength = 0;
  bool m_saysLength = false;
};

}  // namespace bix_test

#endif  // TESTS_JAVA_FAKE_JAVA_H_
