// An add-in that knows the classes of the library by the order of their slots alone, as one that was
// compiled elsewhere and long ago does: it calls objects of the library through their tables of
// function pointers, and hands in objects of its own whose tables it has made by hand. Nothing here
// calls a virtual operation by its name on either side of a table that is tested.
//
// A slot is counted from 0. A virtual destructor takes two: the first ends an object, the second
// deletes it as well.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "bix/bix.h"
#include "support/recording_handler.h"
#include "support/temp_directory.h"
#ifdef BIX_WITH_JAVA
#include "java/fake_java.h"
#endif

namespace {

using bix::SString;
using bix_test::TempDirectory;
using Attributes = bix::MList<bix::CRgAttribute*>;
using Calls = std::vector<std::string>;

// ---- Calling objects of the library

/// Calls a slot with the object in front of the arguments, as a plain function.
template <class Result, class... Arguments>
Result Call(const void* object, int slot, Arguments... arguments) {
  using Function = Result (*)(const void*, Arguments...);
  const Function* const table = *static_cast<const Function* const*>(object);
  return table[slot](object, arguments...);
}

TEST(SlotOrder, OfErrorsAndTheirContexts) {
  auto* const errors = new bix::CBufferErrorContext;
  auto* const error = new bix::CError("an error");
  Call<void>(errors, 0, error);        // FlushError
  Call<void>(errors, 1, "a message");  // FlushMessage
  Call<void>(errors, 4, error);        // AddError
  EXPECT_EQ(3, errors->GetErrorCount());
  EXPECT_TRUE(errors->ErrorPresent(error));
  EXPECT_EQ(1, errors->GetFlushedErrorCount());
  Call<void>(errors, 5, error);  // RemoveError
  EXPECT_FALSE(errors->ErrorPresent(error));
  _QelCurrentErrorCtx = errors;
  Call<void>(error, 0);  // Flush
  _QelCurrentErrorCtx = nullptr;
  EXPECT_EQ(3, errors->GetErrorCount());
  Call<void>(error, 2);   // the destructor, behind Flush
  Call<void>(errors, 3);  // the destructor, behind FlushMessage
}

TEST(SlotOrder, OfDumpContexts) {
  auto* const dump = new bix::CStringDumpContext;
  EXPECT_EQ(dump, Call<void*>(dump, 0, 7));
  EXPECT_EQ(dump, Call<void*>(dump, 1, true));
  EXPECT_EQ(dump, Call<void*>(dump, 2, 'x'));
  EXPECT_EQ(dump, (Call<void*, const char*>(dump, 3, "ab")));
  EXPECT_STREQ("7truexab", *dump);
  Call<void>(dump, 5);
}

TEST(SlotOrder, OfValues) {
  bix::COption option = {"option", 2, "default", 0, 0};
  bix::CRgValue* const values[] = {new bix::CDefRgValue("name", 0, "text"),
                                   new bix::COptRgValue(&option, "text")};
  for (bix::CRgValue* value : values) {
    const bool isOption = value == values[1];
    SCOPED_TRACE(isOption);
    EXPECT_STREQ(isOption ? "option" : "name", Call<const char*>(value, 2));  // GetName
    EXPECT_STREQ("text", Call<const char*>(value, 3));                        // GetValue
    EXPECT_EQ(isOption ? 1 : 0, Call<int>(value, 4));                         // GetType
    Call<void, const char*>(value, 5, "another");                             // SetName
    Call<void>(value, 6, 1);                                                  // SetType
    Call<void, const char*>(value, 7, "7");                                   // SetValue
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const file = open_memstream(&text, &size);
    EXPECT_TRUE(Call<bool>(value, 8, file));  // Dump
    std::fclose(file);
    EXPECT_STREQ(isOption ? "\"option\"=7 \n" : "\"another\"=7 \n", text);
    std::free(text);
    Call<void>(value, 1);  // the destructor
  }
}

/// The operations of a key, whatever its layer; `key` accepts a section "a" and a value "font".
void UseKey(bix::CRgKey* key, const char* name) {
  using Text = const char*;
  const Attributes* const none = nullptr;
  EXPECT_STREQ(name, Call<Text>(key, 2));                           // GetName
  auto* const below = Call<bix::CRgKey*, Text>(key, 3, "a", none);  // CreateKey
  ASSERT_NE(nullptr, below);
  EXPECT_EQ(below, (Call<bix::CRgKey*, Text>(key, 4, "a")));  // FindKey
  EXPECT_TRUE(Call<bool>(key, 6, below));                     // RemoveKey
  EXPECT_EQ(nullptr, (Call<bix::CRgKey*, Text>(key, 4, "a")));
  EXPECT_TRUE(Call<bool>(key, 5, below));  // AddKey
  EXPECT_EQ(1, key->GetKeyCount());
  auto* const value = Call<bix::CRgValue*, Text, int, Text>(key, 7, "font", 0, "text", none);
  ASSERT_NE(nullptr, value);                                       // CreateValue
  EXPECT_EQ(value, (Call<bix::CRgValue*, Text>(key, 8, "font")));  // FindValue
  EXPECT_TRUE(Call<bool>(key, 10, value));                         // RemoveValue
  EXPECT_EQ(nullptr, (Call<bix::CRgValue*, Text>(key, 8, "font")));
  EXPECT_TRUE(Call<bool>(key, 9, value));  // AddValue
  EXPECT_EQ(1, key->GetValueCount());
  Attributes attributes;
  attributes.AddTail(new bix::CRgAttribute("kind", "style"));
  Call<void>(key, 11, &attributes);  // SetAttributes
  EXPECT_EQ(1, key->GetAttributeList()->GetCount());
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* const file = open_memstream(&text, &size);
  Call<void, std::FILE*, Text>(key, 14, file, "above");  // Dump
  std::fclose(file);
  EXPECT_EQ(std::string("\n[above/") + name + "]\n\n\"font\"=\"text\" \n", text);
  std::free(text);
  Call<void>(key, 13);  // Empty
  EXPECT_EQ(0, key->GetKeyCount() + key->GetValueCount() + key->GetAttributeList()->GetCount());
  Call<void>(key, 1);  // the destructor
}

TEST(SlotOrder, OfKeysOfEachLayer) {
  UseKey(new bix::CDefRgKey("name"), "name");
  const bix::COption options[] = {{"font", 1, "serif", 0, 0}, {}};
  const bix::COptionSet set = {"set", options, 1, 0};
  const bix::CCategory below = {"a", nullptr, 0, nullptr};
  const bix::CCategory* const categories[] = {&below, nullptr};
  const bix::CCategory category = {"name", categories, 1, &set};
  bix::COptionManager manager;
  bix::CMgrCategory* const declared = manager.AddCategory(&category);
  ASSERT_NE(nullptr, declared);
  auto* const optionKey = new bix::COptRgKey("name");
  optionKey->SetCategory(declared);
  UseKey(optionKey, "name");
  auto* const styleKey = new bix::CStyRgKey("name");
  styleKey->SetCategory(declared);
  UseKey(styleKey, "name");
}

TEST(SlotOrder, OfTheLoadersHook) {
  bix::CDefRgKey key("name");
  Attributes attributes;
  EXPECT_EQ(nullptr, (Call<bix::CRgKey*, Attributes*, const char*>(&key, 12, &attributes, "a")));
}

TEST(SlotOrder, OfOptionManagersAndStyles) {
  using Text = const char*;
  const TempDirectory directory;
  const bix::COption options[] = {{"font", 1, "serif", 0, 0}, {}};
  const bix::COptionSet set = {"Editor", options, 1, 0};
  const bix::CCategory category = {"Editor", nullptr, 0, &set};
  auto* const manager = new bix::COptionManager("manager");
  manager->AddCategory(&category);
  EXPECT_EQ(nullptr, (Call<void*, Text>(manager, 2, "/no/such/file")));  // Load
  std::ofstream(directory / "a.tot") << "\n";
  {
    const bix::SPathName path(directory / "a.tot");
    // A path that is given by value is handed over by its address, on both platforms.
    EXPECT_NE(nullptr, (Call<void*, const bix::SPathName*>(manager, 3, &path)));  // AddOptionFile
    EXPECT_EQ(1, manager->GetFileCount());
    EXPECT_TRUE((Call<bool, Text, Text, Text>(manager, 5, "Editor", "font", "mono")));  // SetValue
    EXPECT_STREQ("mono", (Call<Text, Text, Text>(manager, 6, "Editor", "font")));       // GetValue
    EXPECT_TRUE((Call<bool, const bix::SPathName*>(manager, 4, &path)));  // RemoveOptionFile
    EXPECT_EQ(0, manager->GetFileCount());
  }
  Call<void>(manager, 1);  // the destructor

  bix::CStyleKind kind("Class", options, 1);
  auto* const style = new bix::CStyle("Default", &kind, "Model", 0, nullptr);
  const std::string path = style->GetCategoryPath();
  EXPECT_TRUE((Call<bool, Text, Text, Text>(style, 5, path.c_str(), "font", "mono")));
  EXPECT_STREQ("mono", (Call<Text, Text, Text>(style, 6, path.c_str(), "font")));
  EXPECT_EQ(1, kind.GetStyleList()->GetCount());
  Call<void>(style, 1);
  EXPECT_EQ(0, kind.GetStyleList()->GetCount());
}

TEST(SlotOrder, OfResourceHandlers) {
  int module = 0;
  HINSTANCE const handle = reinterpret_cast<HINSTANCE>(&module);
  (new bix::SStringTable(handle))->Add(3005, "a text");
  ASSERT_TRUE(bix::BixModuleManager::RegisterRange("SLT", 3000, 3099));
  auto* const handler = new bix::BixResourceHandler(3000, 3099);
  handler->SetInstance(handle);
  SString text;
  EXPECT_TRUE((Call<bool, unsigned, SString*>(handler, 0, 3005, &text)));  // GetString
  EXPECT_EQ("a text", text);
  EXPECT_TRUE((Call<bool, unsigned, SString*>(handler, 1, 3005, &text)));  // GetPrefixedString
  EXPECT_EQ("SLT0005: a text", text);
  unsigned low = 0;
  unsigned high = 0;
  Call<void>(handler, 2, &low, &high);  // GetHandledRange
  EXPECT_EQ(3000u, low);
  EXPECT_EQ(3099u, high);
  EXPECT_TRUE(Call<bool>(handler, 3, 3099u));  // IsHandled
  EXPECT_FALSE(Call<bool>(handler, 3, 3100u));
  Call<void>(handler, 5);  // the destructor, behind the four slots
  bix::BixUnregisterStringTable(handle);
}

TEST(SlotOrder, OfChildProcessesAndTheirWatch) {
  using Text = const char*;
  const char* cat[] = {"cat", nullptr};
  auto* const child = new bix::CSubProc;
  for (const int launch : {2, 3}) {  // launchw, launch
    ASSERT_EQ(0, (Call<int, Text, Text*, Text, bool>(child, launch, "cat", cat, nullptr, false)));
    EXPECT_EQ(3, (Call<int, Text, unsigned>(child, 4, "abc", 3)));  // write
    EXPECT_LE(3, Call<int>(child, 6));                              // wfd
    EXPECT_EQ(0, Call<int>(child, 5));                              // close_write
    EXPECT_EQ(-1, Call<int>(child, 6));
    char text[8] = "";
    EXPECT_EQ(3, (Call<int, char*, unsigned>(child, 7, text, sizeof text)));  // read
    EXPECT_STREQ("abc", text);
    EXPECT_LE(3, Call<int>(child, 9));  // rfd
    EXPECT_EQ(0, Call<int>(child, 8));  // close_read
    EXPECT_EQ(-1, Call<int>(child, 9));
    EXPECT_EQ(0, Call<int>(child, 12));  // get_exit_status
    Call<void>(child, 11);               // reset
    EXPECT_EQ(0, child->state());
  }
  ASSERT_EQ(0, child->launch("cat", cat, nullptr, false));
  auto* const watch = new bix::CSubProcTimeOut(*child);
  EXPECT_TRUE(Call<bool>(watch, 2, 1000u));  // Start
  Call<void>(watch, 3);                      // Abort
  EXPECT_EQ(1, child->state());
  EXPECT_TRUE(Call<bool>(watch, 2, 0u));
  char byte;
  while (child->read(&byte, 1) > 0) {
  }
  Call<void>(watch, 3);
  EXPECT_EQ(2, child->state()) << "killed by the watch";
  Call<void>(watch, 1);  // the destructor
  Call<void>(child, 11);
  ASSERT_EQ(0, child->launch("cat", cat, nullptr, false));
  EXPECT_EQ(0, Call<int>(child, 10));  // kill
  EXPECT_EQ(2, child->state());
  Call<void>(child, 1);  // the destructor
}

TEST(SlotOrder, OfTheCompositeScheme) {
  using Errors = bix::SVector<SString>;
  const TempDirectory directory;
  const void* const composite = &bix::SUri;
  Errors errors;
  const SString file(directory / "file");
  const SString start("/");
  SString chosen;
  bix::SVector<void*> items;
  delete Call<std::ostream*>(composite, 1, &errors, &file);            // OpenWrite
  auto* const in = Call<std::istream*>(composite, 0, &errors, &file);  // OpenRead
  ASSERT_NE(nullptr, in);
  delete in;
  EXPECT_EQ(0, Call<int>(composite, 2, &file));  // GetFormat
  EXPECT_TRUE(Call<bool>(composite, 3, &file));  // CanHandle
  Call<void>(composite, 4, &chosen);             // GetSchemeDescription
  EXPECT_EQ("Composite Scheme", chosen);
  EXPECT_FALSE(Call<bool>(composite, 5, &file));  // IsReadOnly
  EXPECT_EQ(3, Call<int>(composite, 6));          // GetCapabilities
  for (const int dialog : {7, 8})                 // OpenDialog, SaveDialog
    EXPECT_EQ(2, Call<int>(composite, dialog, &errors, &start, &chosen, &start));
  EXPECT_EQ(2, Call<int>(composite, 9, &errors, &start, &chosen));  // DirDialog
  const void* const context = nullptr;
  for (const int direct : {10, 11})  // DirectRead, DirectWrite
    EXPECT_EQ(0, Call<int>(composite, direct, &errors, &file, &items, context));
  EXPECT_TRUE(errors.empty());
}

TEST(SlotOrder, OfDestructorsThatStandAlone) {
  // Each object is made by the library and deleted through its second slot.
  int module = 0;
  HINSTANCE handle = reinterpret_cast<HINSTANCE>(&module);
  Call<void>(new bix::SStringTable(handle), 1);
  char buffer[4];
  EXPECT_EQ(0, bix::BixLoadString(handle, 1, buffer, 4)) << "the table has left the registry";

  int marked = 0;
  auto* const outer = new bix::SMapMarker;
  outer->Mark(&marked);
  auto* const inner = new bix::SMapMarker;
  EXPECT_FALSE(inner->Mark(&marked));
  Call<void>(inner, 1);
  EXPECT_TRUE(outer->Mark(&marked)) << "the outer set is current again";
  Call<void>(outer, 1);

  const bix::SocketServer server(0, 1, bix::BlockingSocket);
  const int before = bix::Socket::nofSockets_;
  auto* const client = new bix::Socket;
  EXPECT_EQ(before + 1, bix::Socket::nofSockets_);
  Call<void>(client, 1);
  EXPECT_EQ(before, bix::Socket::nofSockets_);

  Call<void>(new bix::CRPoint, 1);
  Call<void>(new bix::CRSize, 1);
  Call<void>(new bix::CRgAttribute("name", "value"), 1);
  Call<void>(new bix::CRgFile, 1);
  Call<void>(new bix::CStyleFile, 1);
  Call<void>(new bix::CStyleKind("kind", nullptr, 0), 1);
  Call<void>(new bix::COptionDescription("category", "option"), 1);
  Call<void>(new bix::UTF8String(std::string(100, 'x')), 1);
  Call<void>(new bix::SString(std::string(100, 'x')), 1);
  Call<void>(new bix::SPathName(std::string(100, 'x')), 1);
  Call<void>(new bix::WString(std::wstring(100, L'x')), 1);
  Call<void>(new bix::ANSIString(std::string(100, 'x')), 1);
  Call<void>(new bix::SFile2OstreamAdapter, 1);
  Call<void>(new bix::BixHandleResourceDLL("NAME", nullptr, handle), 1);

  // A channel delivers what it holds.
  bix_test::RecordingHandler handler;
  auto* const channel = new bix::CMsgOut(bix::CMsgOut::Normal);
  channel->SetOutput(&handler);
  *channel << "left";
  Call<void>(channel, 1);
  EXPECT_EQ((Calls{"HandleOutput:left", "OutputDone"}), handler.calls);
}

// ---- Objects that are made by hand

template <class Function>
void* Slot(Function* function) {
  return reinterpret_cast<void*>(function);
}

/// A table of slots as the compiler of an add-in makes it that leaves out type information: in front
/// of the first slot stand the distance to the whole object and the null pointer.
template <int count>
struct Table {
  std::ptrdiff_t toWhole = 0;
  const void* type = nullptr;
  void* slots[count];
};

/// An object of an interface without data.
struct HandMade {
  explicit HandMade(void* const* table) : slots(table) {}

  template <class Interface>
  Interface& As() {
    return *reinterpret_cast<Interface*>(this);
  }
  bool Note(const std::string& call) {
    calls.push_back(call);
    return true;
  }

  void* const* slots;
  Calls calls;
};

TEST(SlotOrder, OfMessageHandlersOfAnAddIn) {
  static const Table<2> s_table = {
      0,
      nullptr,
      {Slot(+[](HandMade* self, const std::string& text) { return self->Note("0 " + text); }),
       Slot(+[](HandMade* self) { self->Note("1"); })}};
  HandMade handler(s_table.slots);
  bix::bixerr.PushOutput(&handler.As<qv::IMessageOutputHandler>());
  bix::bixerr << "message" << bix::flush;
  bix::bixerr.PopOutput();
  EXPECT_EQ((Calls{"0 message", "1"}), handler.calls);
}

TEST(SlotOrder, OfResourceHandlersOfAnAddIn) {
  static const Table<4> s_table = {
      0,
      nullptr,
      {Slot(+[](HandMade* self, unsigned, SString&) { return self->Note("0"); }),
       Slot(+[](HandMade* self, unsigned id, SString& out) {
         out = "prefixed";
         return self->Note("1 " + std::to_string(id));
       }),
       Slot(+[](HandMade* self, unsigned& low, unsigned& high) {
         low = 4000;
         high = 4099;
         self->Note("2");
       }),
       Slot(+[](HandMade* self, unsigned id) {
         self->Note("3 " + std::to_string(id));
         return id == 4005;
       })}};
  HandMade made(s_table.slots);
  const auto& handler = made.As<bix::IBixResourceHandler>();
  EXPECT_TRUE(bix::BixModuleManager::RegisterResourceHandler(handler));
  EXPECT_EQ(nullptr, bix::BixModuleManager::GetResourceHandler(4006));
  SString text;
  EXPECT_TRUE(bix::PvxGetPrefixedString(4005, text));
  EXPECT_EQ("prefixed", text);
  bix::BixModuleManager::UnregisterResourceHandler(handler);
  EXPECT_EQ((Calls{"2", "3 4006", "3 4005", "1 4005"}), made.calls);
}

TEST(SlotOrder, OfErrorContextsOfAnAddIn) {
  static const Table<4> s_table = {
      0,
      nullptr,
      {Slot(+[](HandMade* self, bix::CError* error) { self->Note("0 " + error->GetText()); }),
       Slot(+[](HandMade* self, const char* text) { self->Note(std::string("1 ") + text); }),
       nullptr, nullptr}};
  HandMade made(s_table.slots);
  auto& context = made.As<bix::CErrorContext>();
  _QelCurrentErrorCtx = &context;
  bix::CError("an error").Flush();
  _QelCurrentErrorCtx = nullptr;
  context << "a message";
  EXPECT_EQ((Calls{"0 an error", "1 a message"}), made.calls);
}

TEST(SlotOrder, OfSchemesOfAnAddIn) {
  using Errors = bix::SVector<SString>;
  using Items = bix::SVector<void*>;
  static const Table<12> s_table = {
      0,
      nullptr,
      {Slot(+[](HandMade* self, Errors&, const SString& uri) -> std::istream* {
         self->Note("0 " + uri);
         return nullptr;
       }),
       Slot(+[](HandMade* self, Errors&, const SString& uri) -> std::ostream* {
         self->Note("1 " + uri);
         return nullptr;
       }),
       Slot(+[](HandMade* self, const SString& uri) -> int { return self->Note("2 " + uri); }),
       Slot(+[](HandMade*, const SString& uri) { return uri.compare(0, 5, "hand:") == 0; }),
       Slot(+[](HandMade* self, SString&) { self->Note("4"); }),
       Slot(+[](HandMade* self, const SString& uri) { return self->Note("5 " + uri); }),
       Slot(+[](HandMade*) { return 31; }),
       Slot(+[](HandMade* self, Errors&, const SString& start, SString&, const SString&) -> int {
         return self->Note("7 " + start);
       }),
       Slot(+[](HandMade* self, Errors&, const SString& start, SString&, const SString&) -> int {
         return self->Note("8 " + start);
       }),
       Slot(+[](HandMade* self, Errors&, const SString& start, SString&) -> int {
         return self->Note("9 " + start);
       }),
       Slot(+[](HandMade* self, Errors&, const SString& uri, Items&, const void*) -> int {
         return self->Note("10 " + uri);
       }),
       Slot(+[](HandMade* self, Errors&, const SString& uri, const Items&, const void*) -> int {
         return self->Note("11 " + uri);
       })}};
  HandMade made(s_table.slots);
  auto& scheme = made.As<bix::SUriScheme>();
  bix::SUriSchemeManager::Register(scheme);
  Errors errors;
  Items items;
  SString chosen;
  EXPECT_EQ(nullptr, bix::SUri.OpenRead(errors, "hand:a"));
  EXPECT_EQ(nullptr, bix::SUri.OpenWrite(errors, "hand:b"));
  EXPECT_EQ(1, bix::SUri.GetFormat("hand:c"));
  EXPECT_TRUE(bix::SUri.IsReadOnly("hand:d"));
  EXPECT_EQ(31, bix::SUri.GetCapabilities());
  EXPECT_EQ(1, bix::SUri.OpenDialog(errors, "e", chosen, ""));
  EXPECT_EQ(1, bix::SUri.SaveDialog(errors, "f", chosen, ""));
  EXPECT_EQ(1, bix::SUri.DirDialog(errors, "g", chosen));
  EXPECT_EQ(1, bix::SUri.DirectRead(errors, "hand:h", items, nullptr));
  EXPECT_EQ(1, bix::SUri.DirectWrite(errors, "hand:i", items, nullptr));
  bix::SUriSchemeManager::UnRegister(scheme);
  EXPECT_EQ((Calls{"0 hand:a", "1 hand:b", "2 hand:c", "5 hand:d", "7 e", "8 f", "9 g", "10 hand:h",
                   "11 hand:i"}),
            made.calls);
}

#ifdef BIX_WITH_JAVA
TEST(SlotOrder, OfModelObjectsAndCreatorsOfAHost) {
  static const Table<3> s_unknown = {
      0,
      nullptr,
      {Slot(+[](HandMade* self) { self->Note("0"); }),
       Slot(+[](HandMade* self) { self->Note("1"); }),
       Slot(+[](HandMade* self, const qv::GUID& iid, void** out) {
         *out = self;
         self->Note(iid == qv::kIUnknown ? "2" : "2 of another interface");
       })}};
  static HandMade s_object(s_unknown.slots);
  static const Table<1> s_creator = {
      0, nullptr, {Slot(+[](HandMade* self, const char* name, JNIEnv*, jobject) {
        self->Note(std::string("0 ") + name);
        return &s_object.As<qv::IUnknown>();
      })}};
  bix_test::FakeJava java;
  auto* const object = &s_object.As<qv::IUnknown>();
  jobject const wrapper =
      jniutils::CreateNewWrappingJavaObject(java.Env(), "com/kestrane/vorn/ModelImpl", object);
  ASSERT_NE(nullptr, wrapper);
  jniutils::UnregisterJavaObject(java.Env(), wrapper);
  EXPECT_EQ((Calls{"2", "1", "2", "1"}), s_object.calls);

  java.AddClass("a/b/IFoo");
  java.AddClass("Foo", "a/b/IFoo");
  HandMade creator(s_creator.slots);
  jniutils::RegisterCppWrapperObjectCreator("IFoo",
                                            &creator.As<jniutils::ICppWrapperObjectCreator>());
  EXPECT_EQ(object,
            jniutils::GetIUnknownFromJavaObject(java.Env(), java.NewObject("Foo"), "a/b/IFoo"));
  jniutils::UnregisterCppWrapperObjectCreator("IFoo");
  EXPECT_EQ(Calls{"0 IFoo"}, creator.calls);
}
#endif

// ---- Keys and values that are made by hand: with the data of their class behind the table, all zero,
// as its constructor leaves it.

template <class Class>
struct HandMadeWithData {
  explicit HandMadeWithData(void* const* table) : slots(table) {}
  Class* Get() { return reinterpret_cast<Class*>(this); }

  void* const* slots;
  alignas(Class) unsigned char data[sizeof(Class) - sizeof(void*)] = {};
};

Calls g_calls;

using HandMadeValue = HandMadeWithData<bix::CRgValue>;
using HandMadeKey = HandMadeWithData<bix::CRgKey>;

const Table<9> g_valueTable = {
    0,
    nullptr,
    {nullptr, Slot(+[](HandMadeValue* self) {
       g_calls.push_back("value 1");
       delete self;
     }),
     Slot(+[](const HandMadeValue*) { return "made"; }),
     Slot(+[](const HandMadeValue*) { return "its text"; }),
     Slot(+[](const HandMadeValue*) { return 0; }), Slot(+[](HandMadeValue*, const char* name) {
       g_calls.push_back(std::string("value 5 ") + name);
     }),
     Slot(+[](HandMadeValue*, int type) { g_calls.push_back("value 6 " + std::to_string(type)); }),
     Slot(+[](HandMadeValue*, const char* text) {
       g_calls.push_back(std::string("value 7 ") + text);
     }),
     Slot(+[](HandMadeValue*, std::FILE* file) {
       g_calls.push_back("value 8");
       return std::fputs("\"made\"=\"by hand\" \n", file) >= 0;
     })}};

std::string Named(const char* call, const char* name) {
  return std::string("key ") + call + " " + (name != nullptr ? name : "null");
}

const Table<15> g_keyTable = {
    0,
    nullptr,
    {nullptr, Slot(+[](HandMadeKey* self) {
       g_calls.push_back("key 1");
       delete self;
     }),
     Slot(+[](const HandMadeKey*) { return "key"; }),
     Slot(+[](HandMadeKey* self, const char* name, Attributes*) {
       g_calls.push_back(Named("3", name));
       return std::strcmp(name, "refused") == 0 ? nullptr : self->Get();
     }),
     Slot(+[](const HandMadeKey* self, const char* name) -> const HandMadeKey* {
       g_calls.push_back(Named("4", name));
       return std::strcmp(name, "key") == 0 ? self : nullptr;
     }),
     Slot(+[](HandMadeKey*, bix::CRgKey*) { return false; }),
     Slot(+[](HandMadeKey*, bix::CRgKey* key) {
       g_calls.push_back(Named("6", key->GetName()));
       return false;
     }),
     Slot(+[](HandMadeKey*, const char* name, int type, const char* text, Attributes*) {
       g_calls.push_back(Named("7", name) + " " + std::to_string(type) + " " + text);
       return static_cast<bix::CRgValue*>(nullptr);
     }),
     Slot(+[](const HandMadeKey*, const char* name) -> bix::CRgValue* {
       static HandMadeValue s_value(g_valueTable.slots);
       g_calls.push_back(Named("8", name));
       return std::strcmp(name, "made") == 0 ? s_value.Get() : nullptr;
     }),
     Slot(+[](HandMadeKey*, bix::CRgValue*) { return false; }),
     Slot(+[](HandMadeKey*, bix::CRgValue*) { return false; }),
     Slot(+[](HandMadeKey*, Attributes* attributes) {
       g_calls.push_back("key 11");
       for (void* position = attributes->GetHeadPosition(); position != nullptr;)
         delete attributes->GetNext(position);
     }),
     Slot(+[](HandMadeKey*, Attributes*, const char* name) {
       g_calls.push_back(Named("12", name));
       return static_cast<bix::CRgKey*>(nullptr);
     }),
     Slot(+[](HandMadeKey*) { g_calls.push_back("key 13"); }),
     Slot(+[](const HandMadeKey*, std::FILE* file, const char* parentPath) {
       g_calls.push_back(Named("14", parentPath));
       std::fputs("\n[made]\n\n\"by\"=\"hand\" \n", file);
     })}};

/// The calls since the last look.
Calls Taken() { return std::exchange(g_calls, Calls()); }

TEST(SlotOrder, OfKeysOfAnAddInUnderAFile) {
  const TempDirectory directory;
  const std::string name = directory / "settings.tot";
  bix_test::WriteWholeFile(name, "[a/b] (Kind=Base)\n\"font\"=\"mono\"\n[a/refused] (Kind=Base)\n");
  Taken();
  {
    auto* const key = new HandMadeKey(g_keyTable.slots);
    bix::CRgFile file(key->Get());
    EXPECT_EQ(0, file.Load(name.c_str()));
    EXPECT_EQ((Calls{"key 13", "key 3 a", "key 3 b", "key 11", "key 7 font 0 mono", "key 3 a",
                     "key 3 refused", "key 12 refused"}),
              Taken());
    EXPECT_EQ(key->Get(), file.FindKey("key/key"));
    EXPECT_EQ((Calls{"key 4 key", "key 4 key"}), Taken());
    EXPECT_STREQ("its text", file.GetValue("key", "made"));
    EXPECT_EQ((Calls{"key 4 key", "key 8 made"}), Taken());
    file.SetValue("new", "made", "text");
    EXPECT_EQ((Calls{"key 4 new", "key 3 new", "key 8 made", "value 7 text"}), Taken());
    file.SetValue("key", "missing", "text");
    EXPECT_EQ((Calls{"key 4 key", "key 8 missing", "key 7 missing 0 text"}), Taken());
    EXPECT_EQ(0, file.Save(name.c_str()));
    EXPECT_EQ(Calls{"key 14 null"}, Taken());
    EXPECT_EQ("\n[made]\n\n\"by\"=\"hand\" \n", bix_test::ReadWholeFile(name));
  }
  EXPECT_EQ(Calls{"key 1"}, Taken());
}

TEST(SlotOrder, KeysAndValuesOfAnAddInNeedNoTypeInformation) {
  const bix::COption options[] = {{"font", 1, "serif", 0, 0}, {}};
  const bix::COptionSet set = {"set", options, 1, 0};
  const bix::CCategory category = {"name", nullptr, 0, &set};
  bix::COptionManager manager;
  bix::CMgrCategory* const declared = manager.AddCategory(&category);
  auto* const optionKey = new bix::COptRgKey("name");
  optionKey->SetCategory(declared);
  auto* const styleKey = new bix::CStyRgKey("name");
  styleKey->SetCategory(declared);
  for (bix::CRgKey* key :
       {static_cast<bix::CRgKey*>(new bix::CDefRgKey("name")), static_cast<bix::CRgKey*>(optionKey),
        static_cast<bix::CRgKey*>(styleKey)}) {
    SCOPED_TRACE(typeid(*key).name());
    auto* const below = new HandMadeKey(g_keyTable.slots);
    auto* const value = new HandMadeValue(g_valueTable.slots);
    auto* const removed = new HandMadeValue(g_valueTable.slots);
    EXPECT_TRUE(key->AddKey(below->Get()));
    EXPECT_TRUE(key->AddValue(removed->Get()));
    EXPECT_TRUE(key->RemoveValue(removed->Get()));
    EXPECT_TRUE(key->AddValue(value->Get()));
    EXPECT_EQ(below->Get(), key->FindKey("key"));
    EXPECT_EQ(value->Get(), key->FindValue("made"));
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const file = open_memstream(&text, &size);
    Taken();
    key->Dump(file, "above");
    std::fclose(file);
    EXPECT_EQ((Calls{"value 8", "key 14 above/name"}), Taken());
    EXPECT_STREQ("\n[above/name]\n\n\"made\"=\"by hand\" \n\n[made]\n\n\"by\"=\"hand\" \n", text);
    std::free(text);
    delete removed;
    delete key;
    const Calls calls = Taken();
    EXPECT_EQ((Calls{"key 1", "value 1"}), calls) << "both are deleted through their second slot";
  }
}

// ---- Objects of concrete classes some of whose slots an add-in has its own function in

/// The table of an object with one slot replaced, for as long as this lives.
template <int count>
class Overriding {
 public:
  Overriding(void* object, int slot, void* function)
      : m_place(static_cast<void**>(object)), m_old(*m_place) {
    std::memcpy(static_cast<void*>(&m_table), static_cast<void**>(m_old) - 2, sizeof m_table);
    m_table.slots[slot] = function;
    *m_place = m_table.slots;
  }
  Overriding(const Overriding&) = delete;
  Overriding& operator=(const Overriding&) = delete;
  ~Overriding() { *m_place = m_old; }

 private:
  void** const m_place;
  void* const m_old;
  Table<count> m_table;
};

TEST(SlotOrder, OfDerivedOptionManagers) {
  bix::COptionManager manager("manager");
  const Overriding<7> getValue(
      &manager, 6, Slot(+[](const void*, const char* category, const char* name) -> const char* {
        g_calls.push_back(std::string("6 ") + category + " " + name);
        return "7";
      }));
  const Overriding<7> setValue(
      &manager, 5, Slot(+[](void*, const char* category, const char* name, const char* text) {
        g_calls.push_back(std::string("5 ") + category + " " + name + " " + text);
        return true;
      }));
  Taken();
  EXPECT_EQ(7, manager.GetIntValue("a", "b"));
  EXPECT_TRUE(manager.SetBoolValue("a", "b", true));
  EXPECT_EQ((Calls{"6 a b", "5 a b true"}), Taken());
}

TEST(SlotOrder, OfDerivedChildProcessesAndWatches) {
  static kx::os::Semaphore s_killed;
  bix::CSubProc child;
  bix::CSubProcTimeOut watch(child);
  const Overriding<13> kill(&child, 10, Slot(+[](void*) {
    s_killed.put(1);
    return 0;
  }));
  EXPECT_TRUE(watch.Start(0));
  s_killed.get();  // with nothing launched the library's own would refuse
  watch.Abort();

  static kx::os::Semaphore s_launched;
  static void (*s_own)(void*) = nullptr;
  const void* const table = *reinterpret_cast<void**>(&watch);
  s_own = static_cast<void (*const*)(void*)>(table)[4];
  const Overriding<5> launch(&watch, 4, Slot(+[](void* self) {
    s_launched.put(1);
    s_own(self);  // an override ends with this
  }));
  EXPECT_TRUE(watch.Start(0));
  s_launched.get();
  s_killed.get();
  watch.Abort();
}

}  // namespace
