// The text of a URN map, as it is split, read from the map file and written to it by way of the
// user's option, against a plain model of the grammar.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "bix/directories.h"
#include "bix/messages.h"
#include "bix/pathname.h"
#include "bix/urn.h"

namespace {

using bix::SString;
using bix::SUrnResolver;

void Check(bool isRight, const std::string& input, const char* what) {
  if (isRight) return;
  std::fprintf(stderr, "%s: \"%s\"\n", what, input.c_str());
  std::abort();
}

/// Counts the messages instead of showing them.
class Counter : public qv::IMessageOutputHandler {
 public:
  bool HandleOutput(const std::string&) override {
    ++count;
    return true;
  }
  void OutputDone() override {}
  std::size_t count = 0;
};

/// One piece after the other, cut from the front as the rule is told.
std::vector<SString> ModelSplit(std::string text) {
  std::vector<SString> entries;
  while (!text.empty()) {
    const std::size_t separator = text.find_first_of("\n;");
    std::string entry;
    if (separator != std::string::npos && separator > 0) {
      entry = text.substr(0, separator);
      text = text.substr(separator + 1);
    } else {
      entry = text;
      text.clear();
    }
    while (!entry.empty() && entry[0] == ' ') entry.erase(0, 1);
    if (!entry.empty()) entries.push_back(entry);
  }
  return entries;
}

std::string ModelDirectory(const std::string& target) {
  bix::SPathName directory{SString(target)};
  directory.AddPathElement("");
  return directory;
}

using Model = std::map<std::string, std::string>;

Model Predefined() {
  bix::SPathName projects;
  bix::BixGetDefaultUserProjectPath(projects);
  return {{"qv", ModelDirectory(bix::BixGetInstallationRoot())},
          {"qvuser", ModelDirectory(bix::BixGetUserDir())},
          {"qvuseraddins", ModelDirectory(bix::BixGetUserAddinsDir())},
          {"qvteamaddins", ModelDirectory(bix::BixGetTeamAddinsDir())},
          {"qvcompanyaddins", ModelDirectory(bix::BixGetCompanyAddinsDir())},
          {"qvvornprojects", ModelDirectory(projects)}};
}

/// The map made of a file with this text, and how many of its entries are refused.
std::pair<Model, std::size_t> ModelOfFile(const std::string& file) {
  static const Model s_predefined = Predefined();
  Model model = s_predefined;
  std::size_t refused = 0;
  std::string text;
  for (const char byte : file) {
    if (byte != '\r') text += byte;
  }
  for (const std::string& entry : ModelSplit(text)) {
    const std::size_t colon = entry.find(':');
    const bool isName = colon == 0 || colon == std::string::npos;
    std::string name = isName ? entry : entry.substr(0, colon);
    if (model.count(name) != 0) {
      ++refused;
      continue;
    }
    for (char& byte : name) {
      if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
    }
    model[name] = ModelDirectory(isName ? "" : entry.substr(colon + 1));
  }
  return {model, refused};
}

std::string Encoded(const Model& model) {
  std::string text;
  for (const auto& [name, directory] : model)
    text += (text.empty() ? "" : ";") + name + ":" + directory;
  return text;
}

void CheckMap(const std::string& file, std::size_t messages, const std::string& input) {
  const auto [model, refused] = ModelOfFile(file);
  SString text;
  SUrnResolver::EncodeUrnMap(text);
  Check(text == Encoded(model), input, "the map differs");
  Check(messages == refused, input, "not one message for each entry that is refused");
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

// What is searched for is in the text and not on the disk, which would take most of the time.
extern "C" int fsync(int) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  std::vector<SString> entries = {"kept"};
  SUrnResolver::DecodeUrnMap(input, entries);
  std::vector<SString> model = ModelSplit(input);
  model.insert(model.begin(), "kept");
  Check(entries == model, input, "the entries differ");

  bix::SPathName path;
  Check(bix::BixGetSharedDataDirectory(path), input, "no home directory");
  path.AddPathElement("urnmap.txt");

  Counter counter;
  bix::bixerr.PushOutput(&counter);
  std::ofstream(path, std::ios::binary) << input;
  SUrnResolver::RegisterURNsWithoutOptions();
  CheckMap(input, counter.count, input);

  // Through the option: the file holds the entries as they are written.
  counter.count = 0;
  SUrnResolver::RegisterURNsFromOptionString(input);
  std::string file;
  for (std::size_t i = 1; i < model.size(); ++i) file += model[i] + "\n";
  Check(ReadFile(path) == file, input, "the file differs");
  CheckMap(file, counter.count, input);

  counter.count = 0;
  SUrnResolver::RegisterURNAndSaveURNMapFile("appended", input);
  file += "appended:" + input + "\n";
  Check(ReadFile(path) == file, input, "the file differs behind an appended entry");
  CheckMap(file, counter.count, input);
  bix::bixerr.PopOutput();
  return 0;
}
