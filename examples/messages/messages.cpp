// Messages from end to end: a tool reports on the two channels, an editor shows the reports in a
// window of its own, errors are gathered and shown together, and an object is dumped.

#include <cstdio>
#include <string>
#include <vector>

#include "bix/bix.h"

namespace {

/// The window of an editor in which messages are shown, line by line.
class MessageWindow : public qv::IMessageOutputHandler {
 public:
  bool HandleOutput(const std::string& text) override {
    std::printf("| %s", text.c_str());
    return true;  // the console is not to show it, too
  }
  void OutputDone() override { std::fflush(stdout); }
};

/// Takes messages off the channel as long as it lives.
class ScopedWindow {
 public:
  ScopedWindow(bix::CMsgOut& channel, MessageWindow& window) : m_channel(channel) {
    m_channel.PushOutput(&window);
  }
  ScopedWindow(const ScopedWindow&) = delete;
  ScopedWindow& operator=(const ScopedWindow&) = delete;
  ~ScopedWindow() { m_channel.PopOutput(); }

 private:
  bix::CMsgOut& m_channel;
};

/// Makes a context the current one as long as it lives.
class ScopedErrors {
 public:
  explicit ScopedErrors(bix::CErrorContext& errors) : m_old(_QelCurrentErrorCtx) {
    _QelCurrentErrorCtx = &errors;
  }
  ScopedErrors(const ScopedErrors&) = delete;
  ScopedErrors& operator=(const ScopedErrors&) = delete;
  ~ScopedErrors() { _QelCurrentErrorCtx = m_old; }

 private:
  bix::CErrorContext* const m_old;
};

void Say(const std::string& line) { bix::bixout << bix::SString(line) << bix::endl << bix::flush; }

/// Counts the files whose names match, and reports the others as errors, wherever errors go.
long CheckNames(const std::vector<std::string>& names) {
  long good = 0;
  for (const std::string& name : names) {
    if (zq_wildmat(name.c_str(), "[a-z]*.tot") != 0) {
      ++good;
      continue;
    }
    bix::CError error(("not an option file: " + name).c_str());
    error.Flush();
  }
  return good;
}

struct Diagram {
  const char* name;
  int shapes;
  bool isLocked;

  void Dump(bix::CDumpCtx& dump) const {
    dump << "diagram '" << name << "', " << shapes << " shapes, locked " << isLocked << '\n';
  }
};

}  // namespace

int main() {
  Say("A message is what stands between two flushes:");
  bix::bixout << "three "
              << "pieces, " << 3L << bix::endl
              << bix::flush;
  bix::bixerr << bix::IntErr << "reported on the error channel" << bix::endl << bix::flush;

  Say("Parameters are filled in by their numbers, in the order of the language:");
  bix::SFmt english("%1 of %2 files read");
  bix::SFmt german("Von %2 Dateien %1 gelesen");
  bix::bixout << (english << 3L << 7L) << bix::endl << bix::flush;
  bix::bixout << (german << 3L << 7L) << bix::endl << bix::flush;

  Say("An editor shows messages in a window of its own:");
  {
    MessageWindow window;
    const ScopedWindow shown(bix::bixerr, window);
    bix::bixerr << "file not found" << bix::endl << bix::flush;
  }

  Say("Errors are gathered, and shown when the work is done:");
  bix::CBufferErrorContext errors;
  {
    const ScopedErrors current(errors);
    bix::SFmt summary("%1 names are good");
    bix::bixout << (summary << CheckNames({"user.tot", "Notes.txt", "company.tot", "init.TOT"}))
                << bix::endl
                << bix::flush;
  }
  for (void* position = errors.GetFirstErrorPosition(); position != nullptr;)
    bix::bixout << "- " << errors.GetNextError(position)->GetText() << bix::endl << bix::flush;

  Say("Objects are dumped into a text, or into a file:");
  bix::CStringDumpContext dump;
  for (const Diagram& diagram : {Diagram{"Overview", 12, false}, Diagram{"Use cases", 3, true}})
    diagram.Dump(dump);
  bix::bixout << static_cast<const char*>(dump) << bix::flush;
}
