// Detecting encodings, beside uchardet, the detector of ICU and the UTF-8 validator of GLib.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <stdexcept>
#include <string>

#include <glib.h>
#include <uchardet/uchardet.h>
#include <unicode/ucsdet.h>

#include "bix/encoding.h"

namespace {

constexpr std::size_t kSize = 1 << 20;

/// Text that the detector has to read to its end: its letters beyond ASCII all count against UTF-8.
std::string MakeUtf8() {
  std::string text;
  while (text.size() < kSize)
    text += "Un mod\xC3\xA8le est pr\xC3\xAAt, les op\xC3\xA9rations sont l\xC3\xA0; ";
  text.resize(kSize, ' ');
  text[kSize - 1] = ' ';
  return text;
}

/// The same with a zero byte behind each ASCII character.
std::string MakeUtf16() {
  std::string text;
  while (text.size() < kSize)
    for (const char letter : std::string("a model is loaded, its operations are checked; "))
      (text += letter) += '\0';
  text.resize(kSize);
  return text;
}

std::string MakeText(const std::string& kind) {
  if (kind == "utf16") return MakeUtf16();
  if (kind == "utf8") return MakeUtf8();
  return std::string(kSize, kind == "ascii" ? 'x' : kind == "strays" ? '\xA9' : '\x1B');
}

void DetectBix(benchmark::State& state, const std::string& kind) {
  const std::string text = MakeText(kind);
  for (auto _ : state) {
    const bix::EncodingInfo info =
        bix::DetectEncoding(text.c_str(), static_cast<unsigned>(text.size()));
    benchmark::DoNotOptimize(info);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kSize));
}

void DetectUchardet(benchmark::State& state, const std::string& kind) {
  const std::string text = MakeText(kind);
  const uchardet_t detector = uchardet_new();
  for (auto _ : state) {
    uchardet_reset(detector);
    if (uchardet_handle_data(detector, text.data(), text.size()) != 0)
      throw std::runtime_error("uchardet");
    uchardet_data_end(detector);
    benchmark::DoNotOptimize(uchardet_get_charset(detector));
  }
  uchardet_delete(detector);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kSize));
}

void DetectIcu(benchmark::State& state, const std::string& kind) {
  const std::string text = MakeText(kind);
  UErrorCode error = U_ZERO_ERROR;
  UCharsetDetector* const detector = ucsdet_open(&error);
  for (auto _ : state) {
    ucsdet_setText(detector, text.data(), static_cast<std::int32_t>(text.size()), &error);
    benchmark::DoNotOptimize(ucsdet_detect(detector, &error));
  }
  ucsdet_close(detector);
  if (U_FAILURE(error)) throw std::runtime_error("ICU");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kSize));
}

void ValidateGlib(benchmark::State& state, const std::string& kind) {
  const std::string text = MakeText(kind);
  for (auto _ : state)
    benchmark::DoNotOptimize(
        g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kSize));
}

const bool g_registered = [] {
  for (const std::string kind : {"utf8", "utf16", "ascii", "strays", "escapes"}) {
    const std::string prefix = "encoding/detect/" + kind + "/";
    benchmark::RegisterBenchmark((prefix + "bix").c_str(), DetectBix, kind);
    if (kind != "utf8" && kind != "utf16") continue;
    benchmark::RegisterBenchmark((prefix + "uchardet").c_str(), DetectUchardet, kind);
    benchmark::RegisterBenchmark((prefix + "icu").c_str(), DetectIcu, kind);
    if (kind == "utf8")
      benchmark::RegisterBenchmark((prefix + "glib-validate").c_str(), ValidateGlib, kind);
  }
  return true;
}();

}  // namespace
