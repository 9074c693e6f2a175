// A style's value through a chain of parents, beside the same chain written by hand, and style files
// of many styles.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "bix/stylefile.h"
#include "bix/styles.h"
#include "support/scratch.h"

namespace {

const bix::COption kOptions[] = {{"LineColor", 1, "black"}, {"LineWidth", 2, "1"},
                                 {"Font", 1, "Sans 10"},    {"FillColor", 1, "white"},
                                 {"Shadow", 3, "false"},    {"Alignment", 1, "left"}};
constexpr int kOptionCount = 6;

void Need(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

void Set(bix::CStyle& style, const char* option, const char* value) {
  Need(style.SetValue(style.GetCategoryPath(), option, value), "a value cannot be set");
}

/// A chain of so many parents above one style; only the first one redefines the option asked for,
/// and each one another option.
class Chain {
 public:
  explicit Chain(std::size_t parents) {
    for (std::size_t i = 0; i <= parents; ++i) {
      m_styles.push_back(
          std::make_unique<bix::CStyle>(("Style number " + std::to_string(i)).c_str(), &m_kind,
                                        "Diagrams", 0, i > 0 ? m_styles.back().get() : nullptr));
      Set(*m_styles.back(), "LineWidth", std::to_string(i + 2).c_str());
    }
    Set(*m_styles.front(), "LineColor", "blue");
  }

  const bix::CStyle& GetLast() const { return *m_styles.back(); }

 private:
  bix::CStyleKind m_kind{"Class", kOptions, kOptionCount};
  std::vector<std::unique_ptr<bix::CStyle>> m_styles;
};

void InheritedBix(benchmark::State& state) {
  const Chain chain(static_cast<std::size_t>(state.range(0)));
  const bix::CStyle& style = chain.GetLast();
  for (auto _ : state) {
    const char* text = style.GetValue(style.GetCategoryPath(), "LineColor");
    benchmark::DoNotOptimize(text);
  }
  Need(style.GetValue(style.GetCategoryPath(), "LineColor") == std::string("blue"),
       "another value is inherited");
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// What a developer writes who does without a library: sections by path, parents by pointer.
struct HandWrittenStyle {
  std::string path;
  const HandWrittenStyle* parent = nullptr;
  std::unordered_map<std::string, std::unordered_map<std::string, std::string>> sections;

  const std::string* Find(const std::string& option) const {
    for (const HandWrittenStyle* style = this; style != nullptr; style = style->parent) {
      const auto section = style->sections.find(style->path);
      if (section == style->sections.end()) continue;
      const auto value = section->second.find(option);
      if (value != section->second.end()) return &value->second;
    }
    return nullptr;
  }
};

void InheritedByHand(benchmark::State& state) {
  std::vector<std::unique_ptr<HandWrittenStyle>> styles;
  for (int i = 0; i <= state.range(0); ++i) {
    styles.push_back(std::make_unique<HandWrittenStyle>());
    HandWrittenStyle& style = *styles.back();
    style.path = "Diagrams/Styles/Class/Style number " + std::to_string(i);
    style.parent = i > 0 ? styles[static_cast<std::size_t>(i) - 1].get() : nullptr;
    style.sections[style.path]["LineWidth"] = std::to_string(i + 2);
    if (i == 0) style.sections[style.path]["LineColor"] = "blue";
  }
  const std::string option = "LineColor";
  for (auto _ : state) {
    const std::string* text = styles.back()->Find(option);
    benchmark::DoNotOptimize(text);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// A change of the first style of a chain, which all others are told of.
void ChangeBix(benchmark::State& state) {
  bix::CStyleKind kind("Class", kOptions, kOptionCount);
  std::vector<std::unique_ptr<bix::CStyle>> styles;
  for (int i = 0; i <= state.range(0); ++i)
    styles.push_back(std::make_unique<bix::CStyle>(std::to_string(i).c_str(), &kind, "Diagrams", 0,
                                                   i > 0 ? styles.back().get() : nullptr));
  bool isBlue = false;
  for (auto _ : state) {
    Set(*styles.front(), "LineColor", isBlue ? "red" : "blue");
    isBlue = !isBlue;
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

std::string MakeStyles(std::int64_t count) {
  std::string text;
  for (std::int64_t i = 0; i < count; ++i) {
    const std::string name = "Style number " + std::to_string(i);
    text += "\n[Diagrams/Styles/Class/" + name + "] (Class=" + name +
            ")\n\n\"BasedOn\"=\"Plain\" \n" + "\"LineColor\"=\"colour " + std::to_string(i) +
            "\" \n\"LineWidth\"=" + std::to_string(i % 9 + 2) + " \n\"Font\"=\"Serif 11\" \n";
  }
  return text;
}

/// Loads, applies, saves and lets go of a file of styles.
void RoundTripBix(benchmark::State& state) {
  bix::CStyleKind kind("Class", kOptions, kOptionCount);
  bix::CStyle plain("Plain", &kind, "Suite", 0, nullptr);
  const bix_bench::ScratchFile scratch(MakeStyles(state.range(0)));
  for (auto _ : state) {
    bix::CStyleFile file;
    bix::CStyleList list;
    Need(file.Load(scratch.Path().c_str(), &list) == 0, "the styles do not load");
    Need(list.GetCount() == state.range(0), "styles are missing");
    for (void* position = list.GetHeadPosition(); position != nullptr;)
      list.GetNext(position)->SetInitialValues();
    for (void* position = list.GetHeadPosition(); position != nullptr;)
      list.GetNext(position)->SetParent(&plain);
    Need(file.Save(nullptr, &list) == 0, "the styles are not saved");
    while (void* position = list.GetHeadPosition()) {
      bix::CStyle* style = list.GetAt(position);
      list.RemoveAt(position);
      delete style;
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(InheritedBix)->Name("styles/inherited/bix")->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(InheritedByHand)->Name("styles/inherited/by_hand")->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(ChangeBix)->Name("styles/change/bix")->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(RoundTripBix)->Name("styles/round_trip/bix")->Arg(1000)->Arg(10000);

}  // namespace
