// A program of the Windows-compatibility layer that is a host of the library: compiled by the
// layer's compiler behind its headers, started by its loader. What it does is named by its first
// argument; tests/wine/layer_test.py says what is expected.

#include <winsock2.h>
#include <windows.h>

#include "bix/bix.h"

// max and min are macros here, which the headers of the standard library do not stand.
#undef max
#undef min

#include <clocale>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <type_traits>

#include "layer_signals.h"

#if !defined(FormatMessage) || !defined(LoadString) || !defined(CreateDirectory)
#error "the macros of the host are gone"
#endif

namespace {

static_assert(std::is_same_v<HINSTANCE, decltype(bix::BixhDllInstance)>, "one type of handle");

#define GRUESSE        \
  "Gr\xC3\xBC\xC3\x9F" \
  "e \xE2\x82\xAC \xE6\x97\xA5\xE6\x9C\xAC"
constexpr char kText[] = GRUESSE;

HINSTANCE Self() { return GetModuleHandle(nullptr); }

std::string ReadAll(bix::CSubProc& child) {
  std::string text;
  char block[4096];
  for (int count; (count = child.read(block, sizeof block)) > 0;)
    text.append(block, static_cast<std::size_t>(count));
  return text;
}

struct Outcome {
  int status = -1;
  std::string text;
};

/// Runs a shell's script, which reads `input`.
Outcome RunScript(const char* script, const std::string& input = "") {
  const char* arguments[] = {"sh", "-c", script, nullptr};
  bix::CSubProc child;
  Outcome outcome;
  if (child.launch("sh", arguments, nullptr, false) != 0) return outcome;
  (void)child.write(input.data(), static_cast<unsigned>(input.size()));
  child.close_write();
  outcome.text = ReadAll(child);
  outcome.status = child.get_exit_status();
  child.reset();
  return outcome;
}

/// A child that never ends by itself, killed by its watch. Its state afterwards: 2.
int RunOutOfTime() {
  const char* arguments[] = {"sleep", "1000000", nullptr};
  bix::CSubProc child;
  if (child.launch("sleep", arguments, nullptr, false) != 0) return -1;
  bix::CSubProcTimeOut watch(child);
  if (!watch.Start(0)) return -1;
  (void)ReadAll(child);
  watch.Abort();
  const int state = child.state();
  child.reset();
  return state;
}

// Options: loaded, shown, changed, saved.

const bix::COption kDisplayOptions[] = {{"Font", 1, "Sans 10"}, {"Title", 2, "none"}, {}};
const bix::COptionSet kDisplaySet = {"Display", kDisplayOptions, 2};
const bix::CCategory kDisplay = {"Display", nullptr, 0, &kDisplaySet};
const bix::CCategory* const kEditorParts[] = {&kDisplay, nullptr};
const bix::COptionSet kEditorSet = {"Editor", nullptr, 0};
const bix::CCategory kEditor = {"Editor", kEditorParts, 1, &kEditorSet};

int ChangeOptions() {
  bix::COptionManager manager("Editor");
  manager.AddCategory(&kEditor);
  manager.LoadPredefinedOptionFiles();
  std::printf("font %s\n", manager.GetValue("Editor/Display", "Font"));
  std::printf("title %s\n", manager.GetValue("Editor/Display", "Title"));
  std::printf("set %d\n", manager.SetValue("Editor/Display", "Title", kText));
  std::printf("saved %d\n", manager.SaveAllFiles());
  return 0;
}

// Messages: numbered texts of this very program, by the handle that the layer gives it.

class Window : public qv::IMessageOutputHandler {
 public:
  bool HandleOutput(const std::string& text) override {
    std::printf("| %s", text.c_str());
    return true;
  }
  void OutputDone() override { std::fflush(stdout); }
};

int ShowMessages() {
  bix::SString text("unchanged");
  bool loaded = bix::LoadString(Self(), 1, text);
  std::printf("%d %s\n", loaded, text.c_str());

  auto* const table = new bix::SStringTable(Self());
  table->Add(1,
             "%1 von %2 Stra\xC3\x9F"
             "en");
  table->Add(2, "%d mal %s");
  loaded = bix::LoadString(Self(), 1, text);
  std::printf("%d %s\n", loaded, text.c_str());
  std::fflush(stdout);
  bix::SFmt format(Self(), 1);
  bix::bixout << (format << 3L << 7L) << bix::endl << bix::flush;
  bix::bixerr << bix::IntErr << kText << bix::endl << bix::flush;

  Window window;
  bix::bixout.PushOutput(&window);
  bix::SFmt again(Self(), 1);
  bix::bixout << (again << kText << 8L) << bix::endl << bix::flush;
  bix::bixout.PopOutput();

  // The call is subject to the macro.
  HINSTANCE const previous = bix::BixGetResourceHandle();
  (void)bix::BixSetResourceHandle(Self());
  (void)text.FormatMessage(2u, 4, kText);
  (void)bix::BixSetResourceHandle(previous);
  std::printf("%s\n", text.c_str());
  (void)text.FormatMessage("%s-%d", "abc", 7);
  std::printf("%s\n", text.c_str());
  std::printf("own %d\n", bix::BixLoadString(bix::BixhDllInstance, 8, text));
  bix::BixUnregisterStringTable(Self());
  std::printf("%d\n", bix::LoadString(Self(), 1, text));
  return 0;
}

// Child processes.

int RunChildren() {
  const Outcome echo = RunScript("cat; echo error >&2; exit 3", kText);
  std::printf("status %#x: %s", static_cast<unsigned>(echo.status), echo.text.c_str());
  std::printf("out of time: state %d\n", RunOutOfTime());
  const Outcome killed = RunScript("kill -KILL $$");
  std::printf("killed: status %d\n", killed.status);
  // Descriptors of the layer, as those of any host, are not for the child.
  std::printf("descriptors: %s", RunScript("echo $(exec ls /proc/self/fd)").text.c_str());
  std::printf("caught signals: %s",
              RunScript("sed -n 's/^SigCgt:[[:space:]]*//p' /proc/self/status").text.c_str());
  return 0;
}

// Text between the library and the layer.

/// What the layer makes of its own wide text, which has units of 16 bits.
std::string ToUtf8(const WCHAR* text) {
  char bytes[1000];
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, bytes, static_cast<int>(sizeof bytes),
                                       nullptr, nullptr);
  return size > 0 ? bytes : "<no text>";
}

int ConvertText(int argc, char** argv) {
  static_assert(sizeof(WCHAR) == 2, "units of 16 bits");
  std::printf("locale %s\n", std::setlocale(LC_CTYPE, nullptr));
#if BIX_WIDE_TEXT
  const bix::SString text = L"Gr\u00FC\u00DFe \u20AC \u65E5\u672C";
  std::printf("to wide %d\n", bix::WString(kText) == L"Gr\u00FC\u00DFe \u20AC \u65E5\u672C");
#else
  const bix::SString text = kText;
  std::printf("no wide text\n");
#endif
  std::printf("bytes %s\n", text.c_str());
  WCHAR units[100] = {};
  (void)MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, units, 100);
  std::printf("through the layer %s\n", ToUtf8(units).c_str());

  // The arguments of main() are in the layer's own code page, which does not follow the locale.
  int count = 0;
  WCHAR** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
  if (count == argc && argc > 2) std::printf("argument %s\n", ToUtf8(arguments[2]).c_str());
  std::printf("argument of main the same: %d\n", argc > 2 && bix::SString(argv[2]) == kText);
  return 0;
}

/// What the layer keeps beside the system's own is not what the library reads.
int CompareSurroundings() {
  SetEnvironmentVariable("BIX_TEST_OF_THE_LAYER", "set");
  std::printf(
      "variable of the layer: %s\n",
      bix::BixGetEnvironmentVariable("BIX_TEST_OF_THE_LAYER") == nullptr ? "none" : "there");
  setenv("BIX_TEST_OF_THE_SYSTEM", kText, 1);
  std::printf("variable of the system: %s\n",
              bix::BixGetEnvironmentVariable("BIX_TEST_OF_THE_SYSTEM"));
  std::printf("handle: %d\n", bix::GetDllHandle(Self()) == Self());

  char buffer[MAX_PATH] = {};
  (void)SetCurrentDirectory("C:\\windows");
  (void)GetCurrentDirectory(MAX_PATH, buffer);
  bix::SString directory;
  (void)bix::BixGetCurrentDirectory(directory);
  std::printf("directories: %s and %s\n", buffer, directory.c_str());
  return 0;
}

// The layer's own signal handlers and threads.

using bix_test::CompareSignals;
using bix_test::RepairWrite;
using bix_test::Signals;
using bix_test::WriteToNowhere;

struct Work {
  int number = 0;
  bool done = false;
};

/// On a thread of the layer: text, a child, and an exception while the child runs.
DWORD WINAPI WorkOnThread(void* argument) {
  auto& work = *static_cast<Work*>(argument);
  for (int round = 0; round < 5; ++round) {
    bix::SString text;
    (void)text.Format("%s %d", kText, work.number);
    const char* arguments[] = {"cat", nullptr};
    bix::CSubProc child;
    if (child.launch("cat", arguments, nullptr, false) != 0) return 1;
    WriteToNowhere();
    (void)child.write(text.c_str(), static_cast<unsigned>(text.length()));
    child.close_write();
    const std::string answer = ReadAll(child);
    const int status = child.get_exit_status();
    child.reset();
    if (answer != text || status != 0) return 1;
  }
  work.done = true;
  return 0;
}

int WorkOnThreads() {
  AddVectoredExceptionHandler(1, RepairWrite);
  const Signals before;
  Work works[4];
  HANDLE threads[4];
  for (int i = 0; i < 4; ++i) {
    works[i].number = i;
    threads[i] = CreateThread(nullptr, 0, WorkOnThread, &works[i], 0, nullptr);
    if (threads[i] == nullptr) return 1;
  }
  // Meanwhile a thread of the library's own ends a child.
  std::printf("out of time: state %d\n", RunOutOfTime());
  (void)WaitForMultipleObjects(4, threads, TRUE, INFINITE);
  int done = 0;
  for (int i = 0; i < 4; ++i) {
    done += works[i].done;
    CloseHandle(threads[i]);
  }
  std::printf("threads %d, exceptions %d\n", done, static_cast<int>(bix_test::s_faults));
  CompareSignals("after threads", before);
  return 0;
}

/// An add-in that is linked against the library, too.
int UseAddIn(const char* file) {
  const HMODULE addIn = LoadLibrary(file);
  if (addIn == nullptr) return 1;
  const FARPROC answer = GetProcAddress(addIn, "Answer");
  if (answer == nullptr) return 1;
  std::printf("host: %d\n", static_cast<int>(answer()));
  FreeLibrary(addIn);
  bix::SString text;
  std::printf("own %d\n", bix::BixLoadString(bix::BixhDllInstance, 8, text));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  if (what == "options") return ChangeOptions();
  if (what == "messages") return ShowMessages();
  if (what == "children") return RunChildren();
  if (what == "text") return ConvertText(argc, argv);
  if (what == "surroundings") return CompareSurroundings();
  if (what == "threads") return WorkOnThreads();
  if (what == "add-in" && argc > 2) return UseAddIn(argv[2]);
  // What has not been flushed is shown when the process ends, whichever way the layer ends it.
  bix::bixout << "left in the channel";
  if (what == "return") return 7;
  if (what == "exit") ExitProcess(8);
  std::fprintf(stderr, "layer_host: unknown argument\n");
  return 2;
}
