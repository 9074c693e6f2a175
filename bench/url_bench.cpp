// Percent coding and base64, beside GLib and modpbase64; replacing and splitting at two sizes.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <random>
#include <string>

#include <glib.h>
#include <modp_b64.h>
#include <modp_burl.h>

#include "bix/url.h"

namespace {

constexpr std::size_t kSize = 1 << 20;

void CountBytes(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

/// What is typed into forms: words, marks and letters beyond ASCII, in no order that a processor
/// could learn by heart.
std::string MakeFormText() {
  static const char* const kWords[] = {"the",
                                       "model",
                                       "of",
                                       "Gr\xC3\xBC\xC3\x9F"
                                       "e",
                                       "v.4.2",
                                       "/home/user/models/one",
                                       "is",
                                       "\"in\"",
                                       "&",
                                       "caf\xC3\xA9",
                                       "50%",
                                       "a=b",
                                       "name",
                                       "x",
                                       "\xE2\x82\xAC"
                                       "20",
                                       "operations,",
                                       "(one)",
                                       "diagram-7"};
  std::mt19937 random(1);
  std::string text;
  while (text.size() < kSize) (text += kWords[random() % std::size(kWords)]) += ' ';
  text.resize(kSize);
  return text;
}

std::string MakeEncodedText() {
  std::string text;
  bix::EncodeURL(bix::UTF8String(MakeFormText()), text);
  text.resize(kSize - 2);
  // No escape is cut off.
  text.resize(std::min(text.size(), text.rfind('%') + 3));
  text.resize(kSize, 'x');
  return text;
}

std::string MakeBytes() {
  std::mt19937 random(1);
  std::string bytes;
  for (std::size_t i = 0; i < kSize; ++i) bytes += static_cast<char>(random());
  return bytes;
}

void PercentEncodeBix(benchmark::State& state) {
  const bix::UTF8String text = MakeFormText();
  for (auto _ : state) {
    std::string out;
    bix::EncodeURL(text, out);
    benchmark::DoNotOptimize(out);
  }
  CountBytes(state, kSize);
}

void PercentEncodeGlib(benchmark::State& state) {
  const std::string text = MakeFormText();
  for (auto _ : state) {
    char* const out = g_uri_escape_string(text.c_str(), "!*'()", FALSE);
    benchmark::DoNotOptimize(out);
    g_free(out);
  }
  CountBytes(state, kSize);
}

void PercentEncodeModp(benchmark::State& state) {
  const std::string text = MakeFormText();
  for (auto _ : state) {
    std::string out(modp_burl_encode_len(text.size()), '\0');
    out.resize(static_cast<std::size_t>(modp_burl_encode(&out[0], text.data(), text.size())));
    benchmark::DoNotOptimize(out);
  }
  CountBytes(state, kSize);
}

void PercentDecodeBix(benchmark::State& state) {
  const std::string text = MakeEncodedText();
  for (auto _ : state) {
    bix::UTF8String out;
    bix::DecodeURL(text, out);
    benchmark::DoNotOptimize(out);
  }
  CountBytes(state, kSize);
}

void PercentDecodeGlib(benchmark::State& state) {
  const std::string text = MakeEncodedText();
  for (auto _ : state) {
    char* const out = g_uri_unescape_string(text.c_str(), nullptr);
    benchmark::DoNotOptimize(out);
    g_free(out);
  }
  CountBytes(state, kSize);
}

void PercentDecodeModp(benchmark::State& state) {
  const std::string text = MakeEncodedText();
  for (auto _ : state) {
    std::string out(modp_burl_decode_len(text.size()), '\0');
    out.resize(static_cast<std::size_t>(modp_burl_decode(&out[0], text.data(), text.size())));
    benchmark::DoNotOptimize(out);
  }
  CountBytes(state, kSize);
}

void Base64EncodeBix(benchmark::State& state) {
  const std::string bytes = MakeBytes();
  for (auto _ : state) {
    const std::string text = bix::base64_encode(
        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned>(bytes.size()));
    benchmark::DoNotOptimize(text);
  }
  CountBytes(state, kSize);
}

// Into a buffer that is there already: the fastest that the other library can be used.
void Base64EncodeModp(benchmark::State& state) {
  const std::string bytes = MakeBytes();
  std::string text(modp_b64_encode_len(bytes.size()), '\0');
  for (auto _ : state)
    benchmark::DoNotOptimize(modp_b64_encode(&text[0], bytes.data(), bytes.size()));
  CountBytes(state, kSize);
}

std::string MakeBase64() {
  const std::string bytes = MakeBytes();
  std::string text = bix::base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()),
                                        static_cast<unsigned>(bytes.size()));
  text.resize(kSize);
  return text;
}

void Base64DecodeBix(benchmark::State& state) {
  const std::string text = MakeBase64();
  for (auto _ : state) {
    const std::string bytes = bix::base64_decode(text);
    benchmark::DoNotOptimize(bytes);
  }
  CountBytes(state, kSize);
}

void Base64DecodeModp(benchmark::State& state) {
  const std::string text = MakeBase64();
  std::string bytes(modp_b64_decode_len(text.size()), '\0');
  for (auto _ : state)
    benchmark::DoNotOptimize(modp_b64_decode(&bytes[0], text.data(), text.size()));
  CountBytes(state, kSize);
}

/// Doubled signs become one, which looks back at every hit.
void Replace(benchmark::State& state) {
  std::string text;
  while (text.size() < static_cast<std::size_t>(state.range(0))) text += "a//b///c/";
  for (auto _ : state) {
    const std::string replaced = bix::ReplaceInStr(text, "//", "/");
    benchmark::DoNotOptimize(replaced);
  }
}

void SplitRequest(benchmark::State& state) {
  std::string request = "/find?";
  for (int i = 0; i < state.range(0); ++i)
    request += "name" + std::to_string(i) + "=some+value+%41%2f&";
  request += "last=1 HTTP/1.1\r\n";
  for (auto _ : state) {
    std::string path;
    std::map<std::string, std::string> params;
    bix::SplitGetReq(request, path, params);
    benchmark::DoNotOptimize(params);
  }
}

BENCHMARK(PercentEncodeBix)->Name("url/percent_encode/bix");
BENCHMARK(PercentEncodeGlib)->Name("url/percent_encode/glib");
BENCHMARK(PercentEncodeModp)->Name("url/percent_encode/modp");
BENCHMARK(PercentDecodeBix)->Name("url/percent_decode/bix");
BENCHMARK(PercentDecodeGlib)->Name("url/percent_decode/glib");
BENCHMARK(PercentDecodeModp)->Name("url/percent_decode/modp");
BENCHMARK(Base64EncodeBix)->Name("url/base64_encode/bix");
BENCHMARK(Base64EncodeModp)->Name("url/base64_encode/modp");
BENCHMARK(Base64DecodeBix)->Name("url/base64_decode/bix");
BENCHMARK(Base64DecodeModp)->Name("url/base64_decode/modp");
BENCHMARK(Replace)->Name("url/replace")->Arg(100000)->Arg(1000000);
BENCHMARK(SplitRequest)->Name("url/split_request")->Arg(1000)->Arg(10000);

}  // namespace
