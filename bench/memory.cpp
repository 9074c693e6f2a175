// memory SUBJECT SECTIONS VALUES
//
// Loads a document of so many sections with so many values each and prints, in bytes per value, by
// how much the peak of the process's memory grew, and how much stays allocated. One subject in one
// fresh process: the peak of a process never falls.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <string>

#include <glib.h>
#include <malloc.h>
#include <unistd.h>

#include <KConfig>
#include <KConfigGroup>
#include <QSettings>

#include "bix/registry.h"
#include "support/data.h"
#include "support/scratch.h"

namespace {

using bix_bench::Document;
using bix_bench::Section;

/// A size out of /proc/self/status, in bytes.
long StatusOf(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long kilobytes = 0;
    if (word == name && status >> kilobytes) return kilobytes * 1024;
  }
  std::fprintf(stderr, "memory: no %s\n", name.c_str());
  std::exit(1);
}

/// What is allocated now, through malloc.
long Allocated() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<long>(info.uordblks + info.hblkhd);
}

/// The peak of the process's memory becomes what it uses now.
void ResetPeak() {
  malloc_trim(0);
  std::ofstream reset("/proc/self/clear_refs");
  if (!(reset << "5" << std::flush)) {
    std::fprintf(stderr, "memory: cannot reset the peak\n");
    std::exit(1);
  }
}

/// Loads the file and returns the text of the value asked for; what was loaded stays.
using Load = std::function<std::string(const char* file, const Section& section)>;

std::string LoadRegistry(const char* file, const Section& section) {
  auto* root = new bix::CDefRgKey("");
  auto* settings = new bix::CRgFile(root);
  if (settings->Load(file) != 0) return "";
  const char* text = settings->GetValue(section.path.c_str(), section.values.back().name.c_str());
  return text != nullptr ? text : "";
}

std::string LoadGlib(const char* file, const Section& section) {
  GKeyFile* settings = g_key_file_new();
  if (!g_key_file_load_from_file(settings, file, G_KEY_FILE_NONE, nullptr)) return "";
  char* text = g_key_file_get_string(settings, section.path.c_str(),
                                     section.values.back().name.c_str(), nullptr);
  std::string result = text != nullptr ? text : "";
  g_free(text);
  return result;
}

std::string LoadKConfig(const char* file, const Section& section) {
  auto* settings = new KConfig(QString::fromUtf8(file), KConfig::SimpleConfig);
  const KConfigGroup group(settings, QString::fromStdString(section.path));
  return group.readEntry(section.values.back().name.c_str(), QString()).toStdString();
}

std::string LoadQSettings(const char* file, const Section& section) {
  auto* settings = new QSettings(QString::fromUtf8(file), QSettings::IniFormat);
  return settings->value(QString::fromStdString(section.path + "/" + section.values.back().name))
      .toString()
      .toStdString();
}

struct Subject {
  std::string (*content)(const Document&);
  Load load;
};

const std::map<std::string, Subject>& Subjects() {
  static const std::map<std::string, Subject> s_subjects = {
      {"bix", {bix_bench::AsSettings, LoadRegistry}},
      {"glib", {bix_bench::AsIni, LoadGlib}},
      {"kconfig", {bix_bench::AsIni, LoadKConfig}},
      {"qsettings", {bix_bench::AsIni, LoadQSettings}},
  };
  return s_subjects;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4 || Subjects().count(argv[1]) == 0) {
    std::fprintf(stderr, "usage: memory bix|glib|kconfig|qsettings SECTIONS VALUES\n");
    return 2;
  }
  const Subject& subject = Subjects().at(argv[1]);
  const auto sections = std::strtoul(argv[2], nullptr, 10);
  const auto values = std::strtoul(argv[3], nullptr, 10);
  Section last;
  double count = 0;
  {
    const bix_bench::ScratchDirectory home;
    setenv("HOME", home.Path().c_str(), 1);
    setenv("XDG_CONFIG_HOME", home.Path().c_str(), 1);
    setenv("XDG_CONFIG_DIRS", home.Path().c_str(), 1);

    // What loading needs once, however much there is to load, is not counted.
    const Document small = bix_bench::MakeDocument(1, 1);
    const bix_bench::ScratchFile first(subject.content(small));
    subject.load(first.Path().c_str(), small.sections.back());

    const bix_bench::ScratchFile file([&] {
      const Document document = bix_bench::MakeDocument(sections, values);
      last = document.sections.back();
      count = static_cast<double>(document.ValueCount());
      return subject.content(document);
    }());

    ResetPeak();
    const long allocatedBefore = Allocated();
    const long before = StatusOf("VmHWM:");
    const std::string text = subject.load(file.Path().c_str(), last);
    const long after = StatusOf("VmHWM:");
    const long allocatedAfter = Allocated();

    if (text != last.values.back().text) {
      std::fprintf(stderr, "memory: %s did not load the document\n", argv[1]);
      return 1;
    }
    std::printf("peak %.1f\nheld %.1f\n", static_cast<double>(after - before) / count,
                static_cast<double>(allocatedAfter - allocatedBefore) / count);
  }
}
