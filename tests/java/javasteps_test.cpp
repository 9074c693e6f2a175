// The order of the steps: calls to Java, to the native object, and of the mutex.
//
// The sources of the bridge are compiled into this program once more, with a mutex that can be
// watched.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bix/javabridge.h"
#include "fake_java.h"
#include "java/java_tables.h"
#include "native_object.h"
#include "support/recording_handler.h"

std::vector<std::string>* bix_test::mutexLog = nullptr;

bix::impl::JavaTables& bix::impl::Tables() {
  static JavaTables& s_tables = *new JavaTables;
  return s_tables;
}

namespace {

using bix_test::FakeJava;
using bix_test::NativeObject;
using namespace jniutils;

using Steps = std::vector<std::string>;

constexpr char kModel[] = "com/kestrane/vorn/ModelImpl";

/// An object that writes its calls down.
class WatchedObject : public NativeObject {
 public:
  explicit WatchedObject(Steps& log) : m_log(log) {}

  void AddRef() override { m_log.push_back("AddRef"); }
  void Release() override {
    m_log.push_back("Release");
    NativeObject::Release();
  }
  void QueryInterface(const qv::GUID& iid, void** out) override {
    m_log.push_back(iid.Data1 == 0x2F51008E   ? "QueryInterface IUnknown"
                    : iid.Data1 == 0x961926D5 ? "QueryInterface IObjectInfo"
                                              : "QueryInterface of something else");
    NativeObject::QueryInterface(iid, out);
  }
  void GetInterfaceNames(std::list<std::string>& names) override {
    m_log.push_back("GetInterfaceNames");
    NativeObject::GetInterfaceNames(names);
  }

 private:
  Steps& m_log;
};

class JavaStepsCompat : public testing::Test {
 protected:
  JavaStepsCompat() {
    (void)bix::impl::Tables();
    bix_test::mutexLog = &java.log;
  }
  ~JavaStepsCompat() override {
    bix_test::mutexLog = nullptr;
    bix::impl::Tables().mapWrapperJavaObjects.clear();
  }

  /// What has happened since the last call, without looking for exceptions and deleting local
  /// references, which may be done at any time.
  Steps Taken() {
    Steps steps;
    for (const std::string& event : java.log) {
      if (event.rfind("Exception", 0) != 0 && event != "DeleteLocalRef") steps.push_back(event);
    }
    java.log.clear();
    return steps;
  }

  std::string Address() {
    return std::to_string(static_cast<long long>(
        reinterpret_cast<std::intptr_t>(static_cast<qv::IUnknown*>(&object))));
  }

  FakeJava java;
  WatchedObject object{java.log};
};

TEST_F(JavaStepsCompat, WrappingLocksAroundTheConstructorAndReleasesBehind) {
  (void)CreateNewWrappingJavaObject(java.Env(), kModel, &object);
  EXPECT_EQ((Steps{"QueryInterface IUnknown", "lock", "FindClass com/kestrane/vorn/ModelImpl",
                   "GetMethodID <init>(J)V", "NewObjectV <init>(J)V " + Address(),
                   "NewWeakGlobalRef", "unlock", "Release"}),
            Taken());
  (void)CreateNewWrappingJavaObject(java.Env(), kModel, &object);
  EXPECT_EQ((Steps{"QueryInterface IUnknown", "lock", "NewLocalRef", "unlock", "Release"}),
            Taken());
}

TEST_F(JavaStepsCompat, TheInformationIsReleasedBeforeWrapping) {
  (void)CreateNewWrappingJavaObject(java.Env(), &object);
  const Steps steps = Taken();
  ASSERT_LE(6u, steps.size());
  EXPECT_EQ((Steps{"QueryInterface IObjectInfo", "GetInterfaceNames", "Release",
                   "QueryInterface IUnknown", "lock", "FindClass com/kestrane/vorn/ModelImpl"}),
            Steps(steps.begin(), steps.begin() + 6));
}

TEST_F(JavaStepsCompat, UnregisteringDoesEverythingUnderTheMutex) {
  jobject const wrapper = CreateNewWrappingJavaObject(java.Env(), kModel, &object);
  (void)Taken();
  const Steps upToTheObject = {"lock",
                               "NewLocalRef",
                               "FindClass com/kestrane/vorn/CppObjectWrapper",
                               "IsInstanceOf",
                               "GetObjectClass",
                               "GetFieldID addressJ",
                               "GetLongField",
                               "QueryInterface IUnknown"};
  UnregisterJavaObject(java.Env(), wrapper);
  Steps want = upToTheObject;
  for (const char* step : {"DeleteWeakGlobalRef", "Release", "unlock"}) want.push_back(step);
  EXPECT_EQ(want, Taken());

  // The report of what is not registered, too.
  class WatchedHandler : public qv::IMessageOutputHandler {
   public:
    explicit WatchedHandler(Steps& log) : m_log(log) {}
    bool HandleOutput(const std::string& text) override {
      m_log.push_back(text);
      return true;
    }
    void OutputDone() override {}

   private:
    Steps& m_log;
  } handler(java.log);
  bix::bixerr.PushOutput(&handler);
  UnregisterJavaObject(java.Env(), wrapper);
  bix::bixerr.PopOutput();
  want = upToTheObject;
  for (const char* step :
       {"Internal error: Attempt to unregister non-existing Java object!\n", "Release", "unlock"}) {
    want.push_back(step);
  }
  EXPECT_EQ(want, Taken());
}

TEST_F(JavaStepsCompat, TheTextOfAnErrorIsKeptUnderAMutex) {
  jobject const foo = java.NewObject("java/lang/Object");
  EXPECT_THROW(CreateNewWrappingCppObject(java.Env(), foo, "java/lang/Enum"), const char*);
  EXPECT_EQ((Steps{"NewLocalRef", "FindClass java/lang/Enum", "IsInstanceOf", "lock", "unlock"}),
            Taken());
}

TEST_F(JavaStepsCompat, WrappersAreCountedUnderTheMutex) {
  (void)CreateNewWrappingJavaObject(java.Env(), kModel, &object);
  (void)Taken();
  EXPECT_EQ(1u, CountWrappers(java.Env()).registered);
  EXPECT_EQ((Steps{"lock", "IsSameObject", "unlock"}), Taken());
}

TEST_F(JavaStepsCompat, TheMutexIsNotRecursive) {
  const bix::impl::JavaTables tables;
  EXPECT_EQ((Steps{"init non-recursive", "init non-recursive"}), Taken());
}

TEST_F(JavaStepsCompat, TheMutexIsFreeAgainAfterEveryFailure) {
  for (int n = 1;; ++n) {
    java.FailAt(n);
    (void)CreateNewWrappingJavaObject(java.Env(), kModel, &object);
    const Steps steps = Taken();
    ASSERT_LE(2u, steps.size());
    EXPECT_EQ("Release", steps[steps.size() - 1]);
    EXPECT_EQ("unlock", steps[steps.size() - 2]);
    if (java.Failed().empty()) break;
    java.SetPending("");
    ASSERT_LT(n, 10);
  }
}

}  // namespace
