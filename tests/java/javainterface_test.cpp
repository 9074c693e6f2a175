// The interfaces that hosts are compiled against: slots and identifiers.

#include <cstdint>
#include <cstring>
#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bix/javabridge.h"
#include "fake_java.h"
#include "qv/objectinfo.h"

extern "C" const qv::GUID IID_IUnknown;

namespace {

using bix_test::FakeJava;
using namespace jniutils;

std::string Hex(const qv::GUID& guid) {
  char text[64];
  std::snprintf(text, sizeof text, "%08X-%04X-%04X", static_cast<unsigned>(guid.Data1),
                static_cast<unsigned>(guid.Data2), static_cast<unsigned>(guid.Data3));
  std::string result = text;
  for (int i = 0; i < 8; ++i) {
    std::snprintf(text, sizeof text, "%s%02X", i == 0 || i == 2 ? "-" : "",
                  static_cast<unsigned>(guid.Data4[i]));
    result += text;
  }
  return result;
}

/// An object as another compiler makes it: nothing but a pointer to its table of slots.
struct HandMade {
  void* const* slots;
  std::vector<std::string> calls;

  static void First(HandMade* self) { self->calls.push_back("slot 1"); }
  static void Second(HandMade* self) { self->calls.push_back("slot 2"); }
  static void Third(HandMade* self, const qv::GUID& iid, void** out) {
    self->calls.push_back("slot 3 " + Hex(iid));
    *out = self;
  }
  static void Fourth(HandMade* self, std::list<std::string>& names) {
    self->calls.push_back("slot 4");
    names.push_back("Model");
    names.push_back("Other");
  }
};

template <class Function>
void* Slot(Function* function) {
  return reinterpret_cast<void*>(function);
}

HandMade Make() {
  static void* const s_slots[] = {Slot(&HandMade::First), Slot(&HandMade::Second),
                                  Slot(&HandMade::Third), Slot(&HandMade::Fourth)};
  return {s_slots, {}};
}

TEST(ModelInterfaceCompat, HasItsThreeSlotsInOrder) {
  FakeJava java;
  HandMade object = Make();
  auto* const unknown = reinterpret_cast<qv::IUnknown*>(&object);
  jobject const wrapper =
      CreateNewWrappingJavaObject(java.Env(), "com/kestrane/vorn/ModelImpl", unknown);
  EXPECT_NE(nullptr, wrapper);
  EXPECT_EQ((std::vector<std::string>{"slot 3 2F51008E-98A4-4939-A5BF-6529ED638D89", "slot 2"}),
            object.calls);
  EXPECT_EQ(unknown, GetInterfacePtr<qv::IUnknown>(java.Env(), wrapper, nullptr));
  UnregisterJavaObject(java.Env(), wrapper);
}

TEST(ModelInterfaceCompat, ListsItsNamesInTheFourthSlot) {
  FakeJava java;
  HandMade object = Make();
  jobject const wrapper =
      CreateNewWrappingJavaObject(java.Env(), reinterpret_cast<qv::IUnknown*>(&object));
  EXPECT_NE(nullptr, wrapper);
  EXPECT_EQ(
      (std::vector<std::string>{"slot 3 961926D5-6FC1-4542-9056-BA3D2D280388", "slot 4", "slot 2",
                                "slot 3 2F51008E-98A4-4939-A5BF-6529ED638D89", "slot 2"}),
      object.calls);
  UnregisterJavaObject(java.Env(), wrapper);
}

TEST(ModelInterfaceCompat, IidUnknownIsDefinedAndNotTheOneThatIsAsked) {
  EXPECT_EQ("00000000-0000-0000-C000-000000000046", Hex(IID_IUnknown));
  EXPECT_EQ("2F51008E-98A4-4939-A5BF-6529ED638D89", Hex(qv::kIUnknown));
  EXPECT_EQ("961926D5-6FC1-4542-9056-BA3D2D280388", Hex(qv::kIObjectInfo));
}

TEST(JavaInterfaceCompat, TheCreatorsFirstSlotMakesTheObject) {
  struct HandMadeCreator {
    void* const* slots;
    qv::IUnknown* result;
    std::string name;
    JNIEnv* env = nullptr;
    jobject object = nullptr;

    static qv::IUnknown* First(HandMadeCreator* self, const char* name, JNIEnv* env,
                               jobject object) {
      self->name = name;
      self->env = env;
      self->object = object;
      return self->result;
    }
  };
  FakeJava java;
  java.AddClass("a/b/IFoo");
  java.AddClass("Foo", "a/b/IFoo");
  jobject const foo = java.NewObject("Foo");
  HandMade object = Make();
  auto* const result = reinterpret_cast<qv::IUnknown*>(&object);
  void* const slots[] = {Slot(&HandMadeCreator::First)};
  HandMadeCreator creator{slots, result, {}};
  RegisterCppWrapperObjectCreator("IFoo", reinterpret_cast<ICppWrapperObjectCreator*>(&creator));
  EXPECT_EQ(result, GetIUnknownFromJavaObject(java.Env(), foo, "a/b/IFoo"));
  EXPECT_EQ("IFoo", creator.name);
  EXPECT_EQ(java.Env(), creator.env);
  EXPECT_EQ(foo, creator.object);
  EXPECT_TRUE(object.calls.empty()) << "a reference was added or given up";
  UnregisterCppWrapperObjectCreator("IFoo");
}

}  // namespace
