// Options beside what one would write by hand, GLib's key file and KConfig: looking up over a stack
// of files, changing one value and saving.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <KConfig>
#include <KConfigGroup>
#include <QString>
#include <glib.h>
#include <unistd.h>

#include "bix/optionfile.h"
#include "bix/options.h"
#include "support/data.h"
#include "support/scratch.h"

namespace {

using bix_bench::Document;

constexpr std::size_t kValuesPerSection = 100;

void Need(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

/// The declarations that a document's values need: "Editor" with a sub-category for each section.
class Declarations {
 public:
  explicit Declarations(const Document& document)
      : m_options(kValuesPerSection + 1), m_sets(1), m_categories(document.sections.size()) {
    for (std::size_t i = 0; i < kValuesPerSection; ++i)
      m_options[i] = {document.sections[0].values[i].name.c_str(), 1, "default"};
    m_sets[0] = {"Options", m_options.data(), static_cast<int>(kValuesPerSection)};
    for (std::size_t i = 0; i < m_categories.size(); ++i) {
      const char* path = document.sections[i].path.c_str();
      Need(document.sections[i].path.rfind("Editor/", 0) == 0, "another document");
      m_categories[i] = {path + sizeof "Editor", nullptr, 0, &m_sets[0]};
      m_pointers.push_back(&m_categories[i]);
    }
    m_pointers.push_back(nullptr);
    m_editor = {"Editor", m_pointers.data(), static_cast<int>(m_categories.size()), nullptr};
  }

  const bix::CCategory* Get() const { return &m_editor; }

 private:
  std::vector<bix::COption> m_options;
  std::vector<bix::COptionSet> m_sets;
  std::vector<bix::CCategory> m_categories;
  std::vector<const bix::CCategory*> m_pointers;
  bix::CCategory m_editor;
};

/// One of the three files of the stack: the user's has every second value, the team's every third,
/// the company's all; the last two hold some fixed.
struct Layer {
  std::size_t every;
  std::size_t fixedEvery;  // of its values; 0 for none

  bool Holds(std::size_t number) const { return number % every == 0; }
  bool Fixes(std::size_t number) const { return fixedEvery != 0 && number % fixedEvery == 0; }
};
constexpr std::array<Layer, 3> kLayers = {{{2, 0}, {3, 30}, {1, 50}}};

std::string LayerAsSettings(const Document& document, const Layer& layer) {
  std::string text;
  std::size_t number = 0;
  for (const auto& section : document.sections) {
    text += "\n[" + section.path + "]\n\n";
    for (const auto& value : section.values) {
      if (layer.Holds(number))
        text += "\"" + value.name + "\"=\"" + value.text + "\" " +
                (layer.Fixes(number) ? "(\"fixed\"=\"true\" )\n" : "\n");
      ++number;
    }
  }
  return text;
}

/// The same for KConfig, where "[$i]" fixes a value.
std::string LayerAsKConfig(const Document& document, const Layer& layer) {
  std::string text;
  std::size_t number = 0;
  for (const auto& section : document.sections) {
    text += "\n[" + section.path + "]\n";
    for (const auto& value : section.values) {
      if (layer.Holds(number))
        text += value.name + (layer.Fixes(number) ? "[$i]=" : "=") + value.text + "\n";
      ++number;
    }
  }
  return text;
}

/// Section path and value name of every value, in no order.
std::vector<std::pair<std::string, std::string>> MakeQueries(const Document& document) {
  std::vector<std::pair<std::string, std::string>> queries;
  for (const auto& section : document.sections)
    for (const auto& value : section.values) queries.emplace_back(section.path, value.name);
  std::shuffle(queries.begin(), queries.end(), std::mt19937(20240229));
  return queries;
}

Document MakeOptions(const benchmark::State& state) {
  return bix_bench::MakeDocument(static_cast<std::size_t>(state.range(0)) / kValuesPerSection,
                                 kValuesPerSection);
}

// Looking up over three files.

void LookupBix(benchmark::State& state) {
  const Document document = MakeOptions(state);
  const Declarations declarations(document);
  bix::COptionManager manager;
  manager.AddCategory(declarations.Get());
  for (const Layer& layer : kLayers) {
    const bix_bench::ScratchFile file(LayerAsSettings(document, layer));
    Need(manager.Load(file.Path().c_str()) != nullptr, "the options do not load");
  }
  const auto queries = MakeQueries(document);
  std::size_t next = 0;
  for (auto _ : state) {
    const auto& [category, name] = queries[next];
    const char* text = manager.GetValue(category.c_str(), name.c_str());
    benchmark::DoNotOptimize(text);
    if (++next == queries.size()) next = 0;
  }
}

/// What a developer writes who does without a library.
class HandWrittenStack {
 public:
  explicit HandWrittenStack(const Document& document) {
    for (std::size_t i = 0; i < kLayers.size(); ++i) {
      std::size_t number = 0;
      for (const auto& section : document.sections) {
        for (const auto& value : section.values) {
          if (kLayers[i].Holds(number))
            m_trees[i][section.path][value.name] = {value.text, kLayers[i].Fixes(number)};
          ++number;
        }
      }
    }
  }

  const std::string* Find(const std::string& category, const std::string& name) const {
    const std::string* result = nullptr;
    for (const Tree& tree : m_trees) {
      const auto section = tree.find(category);
      if (section == tree.end()) continue;
      const auto value = section->second.find(name);
      if (value == section->second.end()) continue;
      if (result == nullptr || value->second.isFixed) result = &value->second.text;
    }
    return result;
  }

 private:
  struct Entry {
    std::string text;
    bool isFixed = false;
  };
  using Tree = std::unordered_map<std::string, std::unordered_map<std::string, Entry>>;
  std::array<Tree, kLayers.size()> m_trees;
};

void LookupByHand(benchmark::State& state) {
  const Document document = MakeOptions(state);
  const HandWrittenStack stack(document);
  const auto queries = MakeQueries(document);
  std::size_t next = 0;
  for (auto _ : state) {
    const auto& [category, name] = queries[next];
    const std::string* text = stack.Find(category, name);
    benchmark::DoNotOptimize(text);
    if (++next == queries.size()) next = 0;
  }
}

void LookupKConfig(benchmark::State& state) {
  const Document document = MakeOptions(state);
  const bix_bench::ScratchFile user(LayerAsKConfig(document, kLayers[0]));
  const bix_bench::ScratchFile team(LayerAsKConfig(document, kLayers[1]));
  const bix_bench::ScratchFile company(LayerAsKConfig(document, kLayers[2]));
  KConfig config(QString::fromStdString(user.Path()), KConfig::SimpleConfig);
  // What is added last counts more, but for what an earlier one fixes.
  config.addConfigSources(
      {QString::fromStdString(company.Path()), QString::fromStdString(team.Path())});
  const auto queries = MakeQueries(document);
  std::size_t next = 0;
  for (auto _ : state) {
    const auto& [category, name] = queries[next];
    const QString text = config.group(category.c_str()).readEntry(name.c_str(), QString());
    benchmark::DoNotOptimize(text);
    if (++next == queries.size()) next = 0;
  }
}

// Changing one value and saving.

enum class Target { kMissing, kExisting };

void ChangeAndSaveBix(benchmark::State& state, Target target) {
  const Document document = MakeOptions(state);
  const Declarations declarations(document);
  bix::COptionManager manager;
  manager.AddCategory(declarations.Get());
  const bix_bench::ScratchFile file(bix_bench::AsSettings(document));
  bix::COptionFile* options = manager.Load(file.Path().c_str());
  Need(options != nullptr, "the options do not load");
  const auto [category, name] = MakeQueries(document).front();
  int round = 0;
  for (auto _ : state) {
    if (target == Target::kMissing) {
      state.PauseTiming();
      (void)unlink(file.Path().c_str());
      state.ResumeTiming();
    }
    options->SetValue(category.c_str(), name.c_str(), std::to_string(++round).c_str());
    Need(options->Save(nullptr) == 0, "the options are not saved");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void ChangeAndSaveGlib(benchmark::State& state) {
  const Document document = MakeOptions(state);
  const bix_bench::ScratchFile file(bix_bench::AsIni(document));
  GKeyFile* settings = g_key_file_new();
  Need(g_key_file_load_from_file(settings, file.Path().c_str(), G_KEY_FILE_NONE, nullptr) != 0,
       "the key file does not load");
  const auto [category, name] = MakeQueries(document).front();
  int round = 0;
  for (auto _ : state) {
    g_key_file_set_string(settings, category.c_str(), name.c_str(),
                          std::to_string(++round).c_str());
    Need(g_key_file_save_to_file(settings, file.Path().c_str(), nullptr) != 0,
         "the key file is not saved");
  }
  g_key_file_free(settings);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void ChangeAndSaveKConfig(benchmark::State& state) {
  const Document document = MakeOptions(state);
  const bix_bench::ScratchFile file(bix_bench::AsIni(document));
  KConfig config(QString::fromStdString(file.Path()), KConfig::SimpleConfig);
  const auto [category, name] = MakeQueries(document).front();
  int round = 0;
  for (auto _ : state) {
    config.group(category.c_str()).writeEntry(name.c_str(), ++round);
    Need(config.sync(), "the configuration is not saved");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// A file with so many sections of a category, each with one value, as only another program writes
/// it. The cost of a save must not grow with sections times values.
void SaveRepeatedSections(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const Document document = bix_bench::MakeDocument(1, count);
  std::vector<bix::COption> options(count + 1);
  for (std::size_t i = 0; i < count; ++i)
    options[i] = {document.sections[0].values[i].name.c_str(), 1, "default"};
  const bix::COptionSet set = {"Options", options.data(), static_cast<int>(count)};
  const bix::CCategory category = {"All", nullptr, 0, &set};
  std::string text;
  for (const auto& value : document.sections[0].values)
    text += "[All]\n\"" + value.name + "\"=\"" + value.text + "\"\n";
  bix::COptionManager manager;
  manager.AddCategory(&category);
  const bix_bench::ScratchFile file(text);
  const std::string other = file.Path() + ".other";
  bix::COptionFile* loaded = manager.Load(file.Path().c_str());
  Need(loaded != nullptr, "the options do not load");
  for (auto _ : state) {
    state.PauseTiming();
    std::ofstream(other) << text;
    state.ResumeTiming();
    Need(loaded->Save(other.c_str()) == 0, "the options are not saved");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(LookupBix)->Name("options/lookup/bix")->Arg(10000)->Arg(100000);
BENCHMARK(LookupByHand)->Name("options/lookup/by_hand")->Arg(10000)->Arg(100000);
BENCHMARK(LookupKConfig)->Name("options/lookup/kconfig")->Arg(100000);
BENCHMARK_CAPTURE(ChangeAndSaveBix, full, Target::kMissing)
    ->Name("options/save_full/bix")
    ->Arg(10000)
    ->Arg(100000);
BENCHMARK_CAPTURE(ChangeAndSaveBix, incremental, Target::kExisting)
    ->Name("options/save_incremental/bix")
    ->Arg(10000)
    ->Arg(100000);
BENCHMARK(ChangeAndSaveGlib)->Name("options/save/glib")->Arg(10000)->Arg(100000);
BENCHMARK(ChangeAndSaveKConfig)->Name("options/save/kconfig")->Arg(100000);
BENCHMARK(SaveRepeatedSections)
    ->Name("options/save_repeated_sections/bix")
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000);

}  // namespace
