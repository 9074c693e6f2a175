// An add-in that makes full use of the library: some of every subsystem, each result checked, so that
// nothing that it claims to use fails unnoticed. Gives back whatever the interface lets it give back.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <list>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bix/bix.h"
#include "host/guest.h"
#ifdef BIX_WITH_JAVA
#include "java/fake_java.h"
#endif

using bix::SString;

namespace bix_test {
namespace {

std::string s_failures;

void Expect(bool condition, const char* what) {
  if (!condition) s_failures += std::string(what) + "\n";
}
#define EXPECT(condition) Expect((condition), #condition)

/// Takes all messages, so that the console stays as the host left it.
class MessageTaker : public qv::IMessageOutputHandler {
 public:
  MessageTaker() {
    bix::bixerr.PushOutput(this);
    bix::bixout.PushOutput(this);
  }
  ~MessageTaker() {
    bix::bixout.PopOutput();
    bix::bixerr.PopOutput();
  }
  bool HandleOutput(const std::string& text) override {
    m_taken += text;
    return true;
  }
  void OutputDone() override {}

  /// What has come since the last call.
  std::string Taken() { return std::exchange(m_taken, std::string()); }

 private:
  std::string m_taken;
};

void UseText() {
  bix::SString text(L"a wide text");
  EXPECT(text == "a wide text");
  EXPECT(bix::WString("bytes") == L"bytes");
  EXPECT(bix::WString(bix::ANSIString("bytes")) == L"bytes");
  EXPECT(bix::ANSIString(bix::UTF8String("more")) == "more");
  char formatted[32];  // with the decimal point of the host's locale
  std::snprintf(formatted, sizeof formatted, "%d of %s, %5.2f", 7, "seven", 1.5);
  text.Format("%d of %s, %5.2f", 7, "seven", 1.5);
  EXPECT(text == formatted);
  EXPECT(text.FormatMessage(9u, "/a/file") > 0 && text == "Failed to open '/a/file' for write.");
  EXPECT(text.FormatI18n(1u, "x", "y") > 0 && text == "x: during write of y");
  text.MakeUpper();
  wchar_t wide[8];
  EXPECT(bix::UnixMultiByteToWideChar("C.UTF-8", wide, "\xc3\xa9") == 1 && wide[0] == L'\u00e9');
  EXPECT(bix::UnixMultiByteToWideChar("no such locale", wide, "x") == 1);
  char mapped[8];
  bix::SetNormalizeLineEndings(true);
  bix::XMLMapSingleDataCharacter("\r", mapped, sizeof mapped);
  EXPECT(std::string(mapped).empty());
  bix::SetNormalizeLineEndings(false);
  EXPECT(bix::StringHashKey("ab", 1000000) == 3299);
  EXPECT(bix::DetectEncoding("\xff\xfe\x41\x00", 4).GetEncodingName() == "UTF-16LE");
  EXPECT(bix::BixGetCurrentDirectory(text) == 1);
  bix::CBuffer buffer(4);
  (buffer += "abc") += 7;
  EXPECT(buffer == "abc7");
  bix::MMap<SString, int> map;
  bix::MList<int*> list;
  std::vector<int> numbers(1000);
  for (int& number : numbers) {
    map[SString(std::to_string(&number - numbers.data()))] = 1;
    list.AddTail(&number);
  }
  EXPECT(map.GetCount() == 1000 && list.GetCount() == 1000);
}

void UseMessages(MessageTaker& taker) {
  bix::SFmt format("%2 before %1");
  bix::bixout << (format << "b"
                         << "a")
              << bix::endl
              << bix::flush;
  EXPECT(taker.Taken() == "a before b\n");
  bix::bixerr << "text without" << static_cast<const char*>(nullptr);
  EXPECT(taker.Taken() == "text without\nInternal error: CMsgOut: NULL TCHAR* argument\n");
  bix::SFmt numbered(bix::BixhDllInstance, 16);
  EXPECT((numbered << "f"
                   << "e")
             .str() == "The filter 'f' is invalid.\ne");
  bix::SFmt missing(bix::BixhDllInstance, 4711);
  EXPECT(taker.Taken().find("resource id not found") != std::string::npos);
}

void UseConsole() {
  // Without a handler: what a host sees that installs none.
  bix::bixout << "an output" << bix::endl << bix::flush;
  bix::bixerr << "an error" << bix::endl << bix::flush;
}

void UseDiagnostics(MessageTaker& taker, const std::string& work) {
  bix::bix_assert("a == b", "file.cpp", 7);
  EXPECT(taker.Taken() == "Assertion failed: a == b, file file.cpp, line 7\n");
  zq_assert("a == b", "file.cpp", 7);
  EXPECT(zq_wildmat("abc", "a[a-c]c") == 1 && zq_wildmat("abc", "a[^b]c") == 0);
  EXPECT(std::string(bix::bix_strerror(ENOENT)) == std::strerror(ENOENT));
  EXPECT(*bix::bix_strerror(123456) != '\0');
  char text[64];
  EXPECT(zq_sprintf_s(text, sizeof text, "%d", 42) == 2);
  std::size_t required = 0;
  EXPECT(zq_getenv_s(&required, text, sizeof text, "NO_SUCH_VARIABLE") == 0 && required == 0);
  bix::CError error("an error");
  bix::CBufferErrorContext errors;
  _QelCurrentErrorCtx = &errors;
  error.Flush();
  _QelCurrentErrorCtx = nullptr;
  errors << "a message";
  EXPECT(errors.GetErrorCount() == 2);
  {
    bix::CFileErrorContext file((work + "/errors").c_str());
    file << &error;
    bix::CFileDumpContext dump((work + "/dump").c_str());
    dump << 7 << true;
  }
  bix::CStringDumpContext dump;
  dump << 7 << true << 'x' << "ab";
  EXPECT(std::string(dump) == "7truexab");
}

void UsePaths(const std::string& work) {
  bix::SPathName path((work + "/a/./b/../c.txt").c_str());
  EXPECT(path == (work + "/a/c.txt"));
  EXPECT(std::string(path.GetTail()) == "c.txt" && path.GetDirectory() == work + "/a");
  path.MakeRelativePath((work + "/x").c_str());
  EXPECT(path == "a/c.txt");
  path.MakeAbsolutePath((work + "/x").c_str());
  EXPECT(path == (work + "/a/c.txt"));
  path = (work + "/made/").c_str();
  EXPECT(path.CreateDirectoryA());
  EXPECT(*filename_expand("~/x") == '/' && *filename_expand("~root") == '/');
  EXPECT(std::string(filename_expand("$(HOME)/x")) == std::string(std::getenv("HOME")) + "/x");
  for (char* text : {full_path_name("x"), get_rel_path("/a/c/x", "/a/b/f"), path.GetWinPath()}) {
    EXPECT(*text != '\0');
    std::free(text);
  }
}

void UseFiles(MessageTaker& taker, const std::string& work) {
  SString error;
  EXPECT(bix::BixGlob::IsAMatch("*.tot", "a.tot", error));
  EXPECT(!bix::BixGlob::IsGlobValid("x{2,1}", error) && error.find("The filter '") == 0);
  std::ofstream(work + "/copied.txt") << std::string(100000, 'x');
  EXPECT(bix::BixCopyFile(work + "/copied.txt", work + "/copy.txt"));
  EXPECT(!bix::BixCopyFile(work + "/missing", work + "/copy"));
  std::vector<bix::BixFileItem> items;
  bix::BixFileItem::GetFiles((work + "/cop*.txt").c_str(), items);
  EXPECT(items.size() == 2 && items[0].GetFileType() == 0);
  bix::BixFileItem(work.c_str()).GetFilesList(items);
  EXPECT(items.size() > 2);
  EXPECT(taker.Taken().empty());
}

void UseSettings(const std::string& work) {
  const std::string file = work + "/settings.tot";
  {
    bix::CRgFile settings;
    settings.SetValue("General/Editor", "font", "mono");
    settings.SetAttributeValue("General/Editor", "size", "12", "unit", "pt");
    EXPECT(settings.Save(file.c_str()) == 0);
    EXPECT(settings.Save("/no/such/directory/settings.tot") != 0);
  }
  bix::CRgFile settings;
  EXPECT(settings.Load(file.c_str()) == 0 && settings.Merge(file.c_str()) == 0);
  EXPECT(std::string(settings.GetValue("General/Editor", "font")) == "mono");
  EXPECT(settings.Load(work.c_str()) == 1 && settings.Load((work + "/missing").c_str()) == 1);
}

const bix::COption kOptions[] = {{"font", 1, "mono", 0, 0}, {"size", 2, "12", 0, 0}, {}};
const bix::COptionSet kOptionSet = {"Editor", kOptions, 2, 0};
const bix::CCategory kCategory = {"Editor", nullptr, 0, &kOptionSet};

void UseOptions(const std::string& work) {
  const std::string user = work + "/mine.tot";
  const std::string company = work + "/ours.tot";
  std::ofstream(user) << "\n[Other]\n\n\"kept\"=\"as it is\" \n";
  std::ofstream(company) << "\n[Editor]\n\n\"size\"=14 (\"fixed\"=\"true\" )\n";
  bix::COptionManager manager("guest");
  manager.AddCategory(&kCategory);
  EXPECT(manager.AddOptionFile(user.c_str()) != nullptr);
  EXPECT(manager.AddOptionFile(company.c_str()) != nullptr);
  EXPECT(manager.Load((work + "/missing.tot").c_str()) == nullptr);
  EXPECT(manager.SetStrValue("Editor", "font", "serif"));
  EXPECT(manager.GetIntValue("Editor", "size") == 14 && !manager.IsEditable("Editor", "size"));
  EXPECT(manager.SaveAllFiles() == 0);
  EXPECT(manager.ReloadAllFiles() == 0);
  EXPECT(std::string(manager.GetValue("Editor", "font")) == "serif");
  EXPECT(manager.Explain("Editor", "size").files.size() == 2);
  void* position = manager.GetFirstFilePosition();
  EXPECT(manager.GetNextFile(position)->SaveAs((work + "/fresh.tot").c_str()) == 0);
  bix::COptionDescriptionList descriptions;
  descriptions.AddTail(new bix::COptionDescription("Editor", "font"));
  EXPECT(descriptions.IsCompatibleWith(&manager));
  bix::COptionManager predefined;
  predefined.AddCategory(&kCategory);
  predefined.LoadPredefinedOptionFiles();
  EXPECT(bix::COptionManager::IsPredefinedOptionFilesLoaded());
  EXPECT(predefined.GetPredefinedFileCount() == 2);
}

void UseStyles(const std::string& work) {
  bix::CStyleKind kind("Class", kOptions, 2);
  bix::CStyle base("Default", &kind, "Model", 0, nullptr);
  bix::CStyle derived("Special", &kind, "Model", 1, &base);
  base.SetValue(base.GetCategoryPath(), "font", "bold");
  EXPECT(std::string(derived.GetValue(derived.GetCategoryPath(), "font")) == "bold");
  bix::COptionManager manager;
  bix::COptionFile options(&manager);
  bix::CStyleFile file(&options);
  EXPECT(file.Save((work + "/styles.tot").c_str(), kind.GetStyleList()) == 0);
  bix::CStyleList loaded;
  EXPECT(file.Load((work + "/styles.tot").c_str(), &loaded) == 0);
  while (!loaded.IsEmpty()) {
    void* position = loaded.GetHeadPosition();
    bix::CStyle* const style = loaded.GetNext(position);
    loaded.Remove(style);
    delete style;
  }
}

void UseResources(MessageTaker& taker, const std::string& texts) {
  int module = 0;
  HINSTANCE const handle = bix::GetDllHandle(reinterpret_cast<HINSTANCE>(&module));
  SString text;
  new bix::SStringTable(handle);
  EXPECT(bix::BixLoadString(handle, 1, text) == 0 && !taker.Taken().empty());
  bix::BixUnregisterStringTable(handle);
  HINSTANCE const library = bix::BixLoadLibrary(texts.c_str());
  EXPECT(library != nullptr);
  EXPECT(bix::BixGetProcAddress(library, "InitializeLibResources") != nullptr);
  {
    bix::BixResourceHandler handler(2000, 2099);
    handler.SetInstance(library);
    EXPECT(bix::BixModuleManager::RegisterRange("GST", 2000, 2099));
    EXPECT(bix::BixModuleManager::RegisterResourceHandler(handler));
    EXPECT(bix::PvxGetPrefixedString(2005, text) && text == "GST0005: a text of the guest");
    bix::BixModuleManager::UnregisterResourceHandler(handler);
  }
  bix::BixFreeLibrary(library);
  EXPECT(bix::BixLoadLibrary("/no/such/library.so") == nullptr);
  {
    HINSTANCE own = handle;
    const bix::BixHandleResourceDLL guard(
        "GUEST_R.DLL", [](HINSTANCE current) { (void)current; }, own);
    EXPECT(own == handle);
  }
  EXPECT(bix::AtelanProduct::GetFullToolVersion() == "4.2.0.2.13177");
}

void UseDirectories() {
  const char* arguments[] = {"guest", nullptr};
  bix::BixSaveMainArguments(1, arguments);
  bix::SPathName path;
  EXPECT(bix::BixGetUserPersonalDirectory(path) && bix::BixGetDefaultUserProjectPath(path));
  EXPECT(bix::BixGetSharedDataDirectory(path) && bix::BixGetAllUsersSharedDataDirectory(path));
  for (const char* text :
       {bix::BixGetUserDir(), bix::BixGetUserAddinsDir(), bix::BixGetCompanyAddinsDir(),
        bix::BixGetTeamAddinsDir(), bix::BixGetInstallationRoot(), bix::BixGetLocaleDir()})
    EXPECT(*text == '/');
}

void UseUrns(MessageTaker& taker, const std::string& work) {
  bix::SUrnResolver::RegisterURNsWithoutOptions();
  EXPECT(bix::SUrnResolver::RegisterUrn("guest", work));
  SString path;
  EXPECT(bix::SUrnResolver::ResolveUrn("urn:GUEST:x", path) && path == work + "/x");
  EXPECT(!bix::SUrnResolver::ResolveUrn("urn:nobody:x", path) && !taker.Taken().empty());
  bix::SUrnResolver::RegisterURNAndSaveURNMapFile("kept", work);
  EXPECT(bix::SUrnResolver::IsUrnRegistered("kept"));
  bix::SUrnResolver::RegisterURNsFromOptionString(SString("other:" + work));
  bix::SUrnResolver::EncodeUrnMap(path);
  EXPECT(path.find("other:" + work) != std::string::npos);
  EXPECT(taker.Taken().empty());
}

/// Locations "guest:<text>", which hold their own text.
class GuestScheme : public bix::SUriScheme {
 public:
  std::istream* OpenRead(bix::SVector<SString>&, const SString& uri) override {
    return new std::istringstream(uri.substr(6));
  }
  std::ostream* OpenWrite(bix::SVector<SString>&, const SString&) override { return nullptr; }
  int GetFormat(const SString&) const override { return 7; }
  bool CanHandle(const SString& uri) const override { return uri.compare(0, 6, "guest:") == 0; }
  void GetSchemeDescription(SString& text) const override { text = "guest"; }
  bool IsReadOnly(const SString&) override { return true; }
  int GetCapabilities() const override { return eRead; }
  int OpenDialog(bix::SVector<SString>&, const SString&, SString&, const SString&) override {
    return 2;
  }
  int SaveDialog(bix::SVector<SString>&, const SString&, SString&, const SString&) override {
    return 2;
  }
  int DirDialog(bix::SVector<SString>&, const SString&, SString&) override { return 2; }
  int DirectRead(bix::SVector<SString>&, const SString&, bix::SVector<void*>&,
                 const void*) override {
    return 2;
  }
  int DirectWrite(bix::SVector<SString>&, const SString&, const bix::SVector<void*>&,
                  const void*) override {
    return 2;
  }
};

void UseUris(const std::string& work) {
  GuestScheme scheme;
  bix::SUriSchemeManager::Register(scheme);
  bix::SUriSchemeManager::SetSelectSchemeDialog(
      [](const std::list<bix::SUriScheme*>& candidates) { return candidates.front(); });
  bix::SVector<SString> errors;
  const auto read = [&errors](const SString& uri) {
    const std::unique_ptr<std::istream> in(bix::SUri.OpenRead(errors, uri));
    std::ostringstream text;
    if (in != nullptr) text << in->rdbuf();
    return text.str();
  };
  EXPECT(read("guest:its text") == "its text");
  {
    const std::unique_ptr<std::ostream> out(bix::SUri.OpenWrite(errors, work + "/written"));
    *out << "by the file scheme";
    // It goes nowhere else, whatever the host has closed.
    bix::zq_trace("%s", "a trace");
    std::fflush(stdout);
  }
  EXPECT(read(work + "/written") == "by the file scheme");
  EXPECT(errors.empty() && read(work + "/missing").empty() && errors.size() == 1);
  bix::SUriSchemeManager::SetSelectSchemeDialog(nullptr);
  bix::SUriSchemeManager::UnRegister(scheme);
}

void UseUrls() {
  std::string text;
  bix::EncodeURL("a b/", text);
  EXPECT(text == "a+b%2f");
  bix::UTF8String decoded;
  bix::DecodeURL(text, decoded);
  EXPECT(decoded == "a b/");
  EXPECT(bix::base64_decode("TWE=") == "Ma");
  std::map<std::string, std::string> parameters;
  bix::SplitGetReq("/p?a=1&b HTTP/1.0\r\n", text, parameters);
  EXPECT(text == "/p" && parameters.size() == 2);
}

void UseSockets() {
  bix::SocketServer server(0, 5, bix::BlockingSocket);
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  EXPECT(getsockname(server.GetDescriptor(), reinterpret_cast<sockaddr*>(&address), &size) == 0);
  bix::SocketClient client("127.0.0.1", ntohs(address.sin_port));
  const std::unique_ptr<bix::Socket> peer(server.Accept());
  EXPECT(client.SendLine("abc") == 5 && peer->ReceiveLine() == "abc\r\n");
  EXPECT(server.GetDescriptor() > 2 && client.GetDescriptor() > 2 && peer->GetDescriptor() > 2);
  const bix::SocketSelect select(&client, peer.get(), bix::NonBlockingSocket);
  (void)select.Readable(&client);
  const bix::Socket copy(*peer);
  client.Close();
  EXPECT(peer->ReceiveLine().empty());
  (void)peer->SendBytes("to nobody");
  (void)peer->SendBytes("who has gone");
  bool threw = false;
  try {
    bix::SocketClient nobody("no.such.host.invalid", 1);
  } catch (const std::string&) {
    threw = true;
  }
  EXPECT(threw);
}

void UseChildren() {
  char text[64] = "";
  bix::CSubProc child;
  child.restore_ld_library_path();
  const char* cat[] = {"cat", nullptr};
  if (fcntl(0, F_GETFD) < 0) {
    EXPECT(child.launch("cat", cat, "/", false) == -1 && child.launch_error() == EBADF);
    return;
  }
  EXPECT(child.launch("cat", cat, "/", false) == 0);
  EXPECT(child.write("to and fro", 10) == 10);
  child.close_write();
  EXPECT(child.read(text, sizeof text) == 10);
  EXPECT(child.get_exit_status() == 0);
  child.reset();

  const char* sleep[] = {"sleep", "1000", nullptr};
  EXPECT(child.launch("sleep", sleep, nullptr, false) == 0);
  {
    bix::CSubProcTimeOut watch(child);
    EXPECT(watch.Start(0));
    while (child.read(text, sizeof text) > 0) {
    }
    watch.Abort();
  }
  EXPECT(child.state() == 2);
  child.reset();

  EXPECT(child.launch("sleep", sleep, nullptr, false) == 0 && child.kill() == 0);
  child.reset();
  const char* nothing[] = {"no such program", nullptr};
  EXPECT(child.launch("/no/such/program", nothing, nullptr, false) == 0);
  EXPECT(child.get_exit_status() == 1 << 8);
  child.reset();
  EXPECT(child.launch("cat", cat, "/no/such/directory", false) == -1);
  // Left to itself, and reaped by the next one.
  EXPECT(child.launch("cat", cat, nullptr, false) == 0);
  child.close_write();
  while (child.read(text, sizeof text) > 0) {
  }
  EXPECT(child.wait_for(60000));
  child.reset();
  const char* end[] = {"true", nullptr};
  const pid_t pid = bix::local_spawn("true", end, false);
  int status = -1;
  EXPECT(pid > 0 && waitpid(pid, &status, 0) == pid && status == 0);
  child.reset();
}

void UseThreads() {
  kx::os::Semaphore done;
  bix::ThreadCall call;
  call.setSemaphore(&done);
  bix::SThread thread;
  EXPECT(thread.Launch(
      [](void* argument) {
        UseOnAThread();
        static_cast<bix::ThreadCall*>(argument)->called();
        return 7UL;
      },
      &call));
  done.get();
  thread.Wait();
  thread.KillWait();
  EXPECT(thread.Launch(
      [](void*) {
        for (;;) pause();
        return 0UL;
      },
      nullptr));
  thread.KillWait();
}

void UseSmallRecords() {
  SString identifier;
  bix::BixCreateGuid(identifier);
  EXPECT(identifier.GetLength() == 24);
  qv::GUID guid;
  EXPECT(qv::GUID::FromString("000012AB-0001-BEEF-0102-030405060708", guid));
  const bix::SMapMarker outer;
  {
    bix::SMapMarker inner;
    EXPECT(!inner.Mark(&guid) && inner.Mark(&guid));
  }
  bix::gmode::SetVornGlobalMode(static_cast<bix::gmode::EVornGlobalMode>(3));
  EXPECT(bix::gmode::GetVornGlobalMode() == 3);
  const bix::CRPoint point;
  const bix::CRSize size;
}

#ifdef BIX_WITH_JAVA
// Of the leak check, where there is one.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

/// What is allocated while this lives is not looked for.
class LeaksAreMeant {
 public:
  LeaksAreMeant() {
    if (&__lsan_disable != nullptr) __lsan_disable();
  }
  LeaksAreMeant(const LeaksAreMeant&) = delete;
  LeaksAreMeant& operator=(const LeaksAreMeant&) = delete;
  ~LeaksAreMeant() {
    if (&__lsan_enable != nullptr) __lsan_enable();
  }
};

class ModelObject : public qv::IUnknown {
 public:
  void AddRef() override { ++m_references; }
  void Release() override { --m_references; }
  void QueryInterface(const qv::GUID& iid, void** out) override {
    *out = iid == qv::kIUnknown ? this : nullptr;
    if (*out != nullptr) AddRef();
  }
  int References() const { return m_references; }

 private:
  int m_references = 0;
};

void UseJava(MessageTaker& taker) {
  FakeJava java;
  ModelObject object;
  jobject const wrapper =
      jniutils::CreateNewWrappingJavaObject(java.Env(), "com/kestrane/vorn/ModelImpl", &object);
  EXPECT(wrapper != nullptr);
  EXPECT(jniutils::GetIUnknownFromJavaObject(java.Env(), wrapper, nullptr) == &object);
  EXPECT(jniutils::CountWrappers(java.Env()).registered == 1);
  jniutils::UnregisterJavaObject(java.Env(), wrapper);
  EXPECT(object.References() == 0);
  jniutils::UnregisterJavaObject(java.Env(), wrapper);
  EXPECT(!taker.Taken().empty());
  java.AddClass("a/b/IFoo");
  java.AddClass("Foo", "a/b/IFoo");
  jniutils::RegisterCppWrapperObjectCreator("IFoo", nullptr);
  EXPECT(jniutils::GetIUnknownFromJavaObject(java.Env(), java.NewObject("Foo"), "a/b/IFoo") ==
         nullptr);
  jniutils::UnregisterCppWrapperObjectCreator("IFoo");
  {
    // The text of an error stays for whoever catches it, once for each text.
    const LeaksAreMeant meant;
    jniutils::CallNative(java.Env(), [&] {
      jniutils::GetIUnknownFromJavaObject(java.Env(), java.NewObject("Foo"), "a/b/IBar");
    });
  }
  EXPECT(java.Pending().find("APIError") != std::string::npos);
}
#endif

}  // namespace

void UseOnAThread() {
  // What the library keeps for each thread.
  EXPECT(*filename_expand("$(HOME)") == '/');
  std::FILE* const nowhere = std::fopen("/dev/null", "w");
  auto* const key = new bix::CDefRgKey("");
  key->CreateKey("a", nullptr)->CreateValue("name", 0, "text", nullptr);
  key->Dump(nowhere, nullptr);
  delete key;
  std::fclose(nowhere);
  const bix::WString wide("text");
  EXPECT(bix::SString(wide.c_str()) == "text");
}

const char* UseEverything(const char* workDirectory, const char* texts) {
  const std::string work = workDirectory;
  {
    MessageTaker taker;
    UseText();
    UseMessages(taker);
    UseDiagnostics(taker, work);
    UsePaths(work);
    UseFiles(taker, work);
    UseSettings(work);
    UseOptions(work);
    UseStyles(work);
    UseResources(taker, texts);
    UseDirectories();
    UseUrns(taker, work);
    UseUris(work);
    UseUrls();
    UseSockets();
    UseChildren();
    UseThreads();
    UseOnAThread();
    UseSmallRecords();
#ifdef BIX_WITH_JAVA
    UseJava(taker);
#endif
  }
  UseConsole();
  return s_failures.c_str();
}

}  // namespace bix_test
