// Formatting, conversions and containers, beside what the system, {fmt}, GLib and the C++ standard
// library offer in their place.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <random>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include <fmt/printf.h>
#include <glib.h>

#include "bix/buffer.h"
#include "bix/containers.h"
#include "bix/text.h"
#include "support/data.h"

namespace {

void NeedUtf8() {
  if (std::setlocale(LC_ALL, "C.UTF-8") == nullptr) throw std::runtime_error("no UTF-8 locale");
}

// Formatting: into a new string, with arguments that the compiler does not see through.

#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

template <class... Arguments>
void FormatBix(benchmark::State& state, const char* format, Arguments... arguments) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(format);
    bix::SString text;
    text.Format(format, arguments...);
    benchmark::DoNotOptimize(text);
  }
}

template <class... Arguments>
void FormatSnprintf(benchmark::State& state, const char* format, Arguments... arguments) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(format);
    char buffer[512];
    const int length = std::snprintf(buffer, sizeof buffer, format, arguments...);
    std::string text(buffer, static_cast<std::size_t>(length));
    benchmark::DoNotOptimize(text);
  }
}

template <class... Arguments>
void FormatFmt(benchmark::State& state, const char* format, Arguments... arguments) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(format);
    std::string text = fmt::sprintf(format, arguments...);
    benchmark::DoNotOptimize(text);
  }
}

template <class... Arguments>
void RegisterFormat(const std::string& name, const char* format, Arguments... arguments) {
  const std::string prefix = "text/format/" + name + "/";
  benchmark::RegisterBenchmark((prefix + "bix").c_str(), FormatBix<Arguments...>, format,
                               arguments...);
  benchmark::RegisterBenchmark((prefix + "snprintf").c_str(), FormatSnprintf<Arguments...>, format,
                               arguments...);
  benchmark::RegisterBenchmark((prefix + "fmt").c_str(), FormatFmt<Arguments...>, format,
                               arguments...);
}

// Conversions.

std::string MakeText(const std::string& kind, std::size_t size) {
  static const char* const kMixed[] = {
      "Gr\xC3\xBC\xC3\x9F"
      "e aus M\xC3\xBCnchen, ",
      "Stra\xC3\x9F"
      "e ",
      "plain words here "};
  std::string text;
  for (std::size_t i = 0; text.size() < size; ++i)
    text += kind == "ascii" ? "The quick brown fox " : kMixed[i % 3];
  text.resize(size);
  // No half of a character at the end.
  while (!text.empty() && static_cast<unsigned char>(text.back()) >= 0x80) text.pop_back();
  return text;
}

void ToWideBix(benchmark::State& state, const std::string& kind, std::size_t size) {
  NeedUtf8();
  const bix::SString text = MakeText(kind, size);
  for (auto _ : state) {
    bix::WString wide(text);
    benchmark::DoNotOptimize(wide);
  }
}

void ToWideSystem(benchmark::State& state, const std::string& kind, std::size_t size) {
  NeedUtf8();
  const std::string text = MakeText(kind, size);
  for (auto _ : state) {
    std::wstring wide(text.size(), L'\0');
    const char* cursor = text.c_str();
    std::mbstate_t shift{};
    wide.resize(std::mbsrtowcs(wide.data(), &cursor, text.size() + 1, &shift));
    benchmark::DoNotOptimize(wide);
  }
}

void ToBytesBix(benchmark::State& state, const std::string& kind, std::size_t size) {
  NeedUtf8();
  const bix::WString wide(bix::SString(MakeText(kind, size)));
  for (auto _ : state) {
    bix::SString text(wide.c_str());
    benchmark::DoNotOptimize(text);
  }
}

void ToBytesSystem(benchmark::State& state, const std::string& kind, std::size_t size) {
  NeedUtf8();
  const bix::WString wide(bix::SString(MakeText(kind, size)));
  for (auto _ : state) {
    std::string text(wide.size() * 2, '\0');  // no unit of these texts takes more
    const wchar_t* cursor = wide.c_str();
    std::mbstate_t shift{};
    text.resize(std::wcsrtombs(text.data(), &cursor, text.size() + 1, &shift));
    benchmark::DoNotOptimize(text);
  }
}

// A buffer that grows byte by byte, with the smallest step.

void AppendBytes(benchmark::State& state) {
  for (auto _ : state) {
    bix::CBuffer buffer(1);
    for (std::int64_t i = 0; i < state.range(0); ++i) buffer += 'x';
    benchmark::DoNotOptimize(buffer.GetLength());
  }
}
BENCHMARK(AppendBytes)->Name("text/buffer_append/bix")->Arg(100000)->Arg(1000000);

// Maps: a new map is filled and freed; a full one is asked for its keys in another order.

std::vector<std::string> Shuffled(std::vector<std::string> words) {
  std::shuffle(words.begin(), words.end(), std::mt19937(1));
  return words;
}

void FillBix(benchmark::State& state) {
  const auto words = bix_bench::MakeWords(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    bix::MMap<bix::SString, const void*> map;
    for (const std::string& word : words) map[word] = &word;
    benchmark::DoNotOptimize(map.GetCount());
  }
}

void FillGlib(benchmark::State& state) {
  const auto words = bix_bench::MakeWords(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    GHashTable* map = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, nullptr);
    for (const std::string& word : words)
      g_hash_table_insert(map, g_strdup(word.c_str()), const_cast<std::string*>(&word));
    benchmark::DoNotOptimize(g_hash_table_size(map));
    g_hash_table_destroy(map);
  }
}

void FillStandard(benchmark::State& state) {
  const auto words = bix_bench::MakeWords(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    std::unordered_map<std::string, const void*> map;
    for (const std::string& word : words) map[word] = &word;
    benchmark::DoNotOptimize(map.size());
  }
}

void LookupBix(benchmark::State& state) {
  const auto words = bix_bench::MakeWords(static_cast<std::size_t>(state.range(0)));
  bix::MMap<bix::SString, const void*> map;
  for (const std::string& word : words) map[word] = &word;
  const auto asked = Shuffled(words);
  for (auto _ : state) {
    const void* value = nullptr;
    for (const std::string& word : asked) benchmark::DoNotOptimize(map.Lookup(word, value));
  }
}

void LookupGlib(benchmark::State& state) {
  const auto words = bix_bench::MakeWords(static_cast<std::size_t>(state.range(0)));
  GHashTable* map = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, nullptr);
  for (const std::string& word : words)
    g_hash_table_insert(map, g_strdup(word.c_str()), const_cast<std::string*>(&word));
  const auto asked = Shuffled(words);
  for (auto _ : state)
    for (const std::string& word : asked)
      benchmark::DoNotOptimize(g_hash_table_lookup(map, word.c_str()));
  g_hash_table_destroy(map);
}

// A list from which every element is removed, the last one first, as a tool does that clears a key
// value by value.
void RemoveFromTheBack(benchmark::State& state) {
  std::vector<int> elements(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    bix::MList<int*> list;
    for (int& element : elements) list.AddTail(&element);
    for (std::size_t i = elements.size(); i-- > 0;) list.Remove(&elements[i]);
    benchmark::DoNotOptimize(list.GetCount());
  }
}

void RegisterContainers() {
  const struct {
    const char* name;
    void (*run)(benchmark::State&);
  } runs[] = {{"text/map_fill/bix", FillBix},       {"text/map_fill/glib", FillGlib},
              {"text/map_fill/std", FillStandard},  {"text/map_lookup/bix", LookupBix},
              {"text/map_lookup/glib", LookupGlib}, {"text/list_remove/bix", RemoveFromTheBack}};
  for (const auto& run : runs)
    benchmark::RegisterBenchmark(run.name, run.run)->Arg(10000)->Arg(100000);
}

const int s_registered = [] {
  RegisterFormat("text_number", "%s: %d", "some name", 42);
  RegisterFormat("path", "%s/%s.%d", "/usr/share/directory", "file", 7);
  RegisterFormat("number", "%d", 5);
  RegisterFormat("plain", "plain text");
  RegisterFormat("fixed", "%5.2f", 3.14159);
  RegisterFormat("message", "%s%04d: %s", "ABC", 12, "Cannot open the file");
  for (const char* kind : {"ascii", "mixed"}) {
    for (const std::size_t size : {std::size_t{64}, std::size_t{1} << 20}) {
      const std::string end = std::string(kind) + "/" + std::to_string(size) + "/";
      const auto add = [&](const std::string& name, auto run) {
        benchmark::RegisterBenchmark(name.c_str(), run, std::string(kind), size);
      };
      add("text/to_wide/" + end + "bix", ToWideBix);
      add("text/to_wide/" + end + "mbsrtowcs", ToWideSystem);
      add("text/to_bytes/" + end + "bix", ToBytesBix);
      add("text/to_bytes/" + end + "wcsrtombs", ToBytesSystem);
    }
  }
  RegisterContainers();
  return 0;
}();

}  // namespace
