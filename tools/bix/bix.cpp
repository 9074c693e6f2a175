// The command `bix`: looks into settings files for people and scripts. It never changes a file.
//
//   bix check FILE...                  is each file readable, and if not, where does it break
//   bix list FILE                      every value with its section
//   bix get FILE SECTION NAME          one value
//   bix explain SECTION NAME FILE...   which file of a stack gives an option, and why
//   bix directories                    where the library finds its installation

#include <algorithm>
#include <cstddef>
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

/// Declares one option under a category path, as the tool that owns it would.
class Declaration {
 public:
  Declaration(const std::string& path, const std::string& name) : m_name(name) {
    for (std::size_t begin = 0; begin <= path.size();) {
      const std::size_t end = std::min(path.find('/', begin), path.size());
      m_names.push_back(path.substr(begin, end - begin));
      begin = end + 1;
    }
    m_options[0] = {m_name.c_str(), 1, ""};
    m_set = {"", m_options, 1};
    m_none = {"", nullptr, 0};
    m_categories.resize(m_names.size());
    m_parts.resize(2 * m_names.size());
    for (std::size_t i = 0; i < m_names.size(); ++i) {
      const bool isLast = i + 1 == m_names.size();
      m_parts[2 * i] = isLast ? nullptr : &m_categories[i + 1];
      m_categories[i] = {m_names[i].c_str(), &m_parts[2 * i], isLast ? 0 : 1,
                         isLast ? &m_set : &m_none};
    }
  }
  Declaration(const Declaration&) = delete;
  Declaration& operator=(const Declaration&) = delete;

  const bix::CCategory* GetRoot() const { return m_categories.data(); }

 private:
  std::string m_name;
  std::vector<std::string> m_names;
  bix::COption m_options[2];
  bix::COptionSet m_set;
  bix::COptionSet m_none;
  std::vector<bix::CCategory> m_categories;
  std::vector<const bix::CCategory*> m_parts;
};

int Explain(const std::string& section, const std::string& name,
            const std::vector<std::string>& files) {
  const Declaration declaration(section, name);
  bix::COptionManager manager;
  manager.AddCategory(declaration.GetRoot());
  for (const std::string& file : files) {
    if (manager.Load(file.c_str()) != nullptr) continue;
    bix::CDefRgKey root("");
    const int loaded = LoadOrReport(file, root);  // says why
    return loaded != kDone ? loaded : kNotFound;
  }
  const bix::COptionExplanation explanation = manager.Explain(section.c_str(), name.c_str());
  for (const bix::COptionExplanation::FileEntry& entry : explanation.files) {
    const std::string text = entry.isHeld ? "\"" + entry.text + "\"" : "-";
    Print(entry.pathName + "\t" + text + (entry.isFixed ? "\tfixed\t" : "\t\t") +
          bix::COptionExplanation::GetText(entry.verdict));
  }
  if (explanation.file == nullptr) return kNotFound;
  Print("value\t\"" + explanation.value + "\"\tfrom " + explanation.file->GetPathName());
  return kDone;
}

/// Only asks: the functions that make the user's directories are not called.
int Directories() {
  const struct {
    const char* name;
    const char* path;
  } directories[] = {{"bin", bix::BixGetInstallationBin()},
                     {"root", bix::BixGetInstallationRoot()},
                     {"include", bix::BixGetInstallationInclude()},
                     {"lib", bix::BixGetInstallationLib()},
                     {"etc", bix::BixGetInstallationEtc()},
                     {"locale", bix::BixGetLocaleDir()},
                     {"language", bix::BixGetLocale()}};
  for (const auto& directory : directories)
    Print(std::string(directory.name) + "\t" + directory.path);
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Looks into settings files. It never changes one.", "bix");
  app.set_version_flag("--version", std::string("bix ") + BIX_VERSION);
  app.require_subcommand(1);
  std::vector<std::string> files;
  std::string file, section, name;

  CLI::App* check = app.add_subcommand("check", "Tell whether files can be read, or where not");
  check->add_option("FILE", files, "settings files")->required();
  CLI::App* list = app.add_subcommand("list", "Print section, name and text of every value");
  list->add_option("FILE", file, "settings file")->required();
  CLI::App* get = app.add_subcommand("get", "Print one value");
  get->add_option("FILE", file, "settings file")->required();
  get->add_option("SECTION", section, "path such as Editor/Display")->required();
  get->add_option("NAME", name, "name of the value")->required();
  CLI::App* explain =
      app.add_subcommand("explain", "Tell which file of a stack gives an option, and why");
  explain->add_option("SECTION", section, "path such as Editor/Display")->required();
  explain->add_option("NAME", name, "name of the option")->required();
  explain->add_option("FILE", files, "option files, the most personal one first")->required();
  CLI::App* directories =
      app.add_subcommand("directories", "Print where the library finds its installation");

  CLI11_PARSE(app, argc, argv);
  if (check->parsed()) return Check(files);
  if (list->parsed()) return List(file);
  if (get->parsed()) return Get(file, section, name);
  if (explain->parsed()) return Explain(section, name, files);
  if (directories->parsed()) return Directories();
  return kDone;
}
