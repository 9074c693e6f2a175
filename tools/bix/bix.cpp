// The command `bix`: looks into settings files for people and scripts. It never changes a file.
//
//   bix check FILE...                  is each file readable, and if not, where does it break
//   bix list FILE                      every value with its section
//   bix get FILE SECTION NAME          one value
//   bix explain SECTION NAME FILE...   which file of a stack gives an option, and why
//   bix directories                    where the library finds its installation and the user's files

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "bix/bix.h"

namespace {

constexpr int kDone = 0;
constexpr int kNotFound = 1;    // a value, or a file that cannot be read
constexpr int kBrokenFile = 2;  // a file that is no settings file

void Print(const std::string& line) { std::printf("%s\n", line.c_str()); }

std::string Position(const std::string& file, const bix::CRgLoader& loader) {
  return file + ":" + std::to_string(loader.GetErrorLine()) + ":" +
         std::to_string(loader.GetErrorColumn());
}

/// Reads `file` into `root` and says on standard error what is wrong with it, if anything.
int LoadOrReport(const std::string& file, bix::CRgKey& root) {
  bix::CRgLoader loader(root);
  if (loader.Load(file.c_str()) == 0) return kDone;
  if (loader.GetErrorLine() == 0) {
    std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
    return kNotFound;
  }
  std::fprintf(stderr, "%s: expected %s\n", Position(file, loader).c_str(),
               loader.GetErrorExpected());
  return kBrokenFile;
}

int CountValues(const bix::CRgKey& key) {
  int count = key.GetValueCount();
  for (void* position = key.GetFirstKeyPosition(); position != nullptr;)
    count += CountValues(*key.GetNextKey(position));
  return count;
}

int Check(const std::vector<std::string>& files) {
  int result = kDone;
  for (const std::string& file : files) {
    bix::CDefRgKey root("");
    const int loaded = LoadOrReport(file, root);
    if (loaded == kDone) Print(file + ": ok, " + std::to_string(CountValues(root)) + " values");
    if (loaded > result) result = loaded;
  }
  return result;
}

void ListKey(const bix::CRgKey& key, const std::string& path) {
  for (void* position = key.GetFirstValuePosition(); position != nullptr;) {
    const bix::CRgValue* value = key.GetNextValue(position);
    Print(path + "\t" + value->GetName() + "\t" + value->GetValue());
  }
  for (void* position = key.GetFirstKeyPosition(); position != nullptr;) {
    const bix::CRgKey* child = key.GetNextKey(position);
    ListKey(*child, path.empty() ? child->GetName() : path + "/" + child->GetName());
  }
}

int List(const std::string& file) {
  bix::CDefRgKey root("");
  const int loaded = LoadOrReport(file, root);
  if (loaded == kDone) ListKey(root, "");
  return loaded;
}

int Get(const std::string& file, const std::string& section, const std::string& name) {
  auto root = std::make_unique<bix::CDefRgKey>("");
  const int loaded = LoadOrReport(file, *root);
  if (loaded != kDone) return loaded;
  const bix::CRgFile settings(root.release());  // the file owns its root from here
  const char* value = settings.GetValue(section.c_str(), name.c_str());
  if (value == nullptr) return kNotFound;
  Print(value);
  return kDone;
}
