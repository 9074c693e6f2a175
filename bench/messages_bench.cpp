// Texts with numbered parameters: what a message costs, with three short parameters and with nine
// long ones. The format is a text that is known only at run time, as one from a string table is.

#include <string>
#include <vector>

#include <QString>
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "bix/messages.h"

namespace {

constexpr char kShort[] = "The file '%1' of model '%2' has %3 errors.";
constexpr char kShortBraces[] = "The file '{}' of model '{}' has {} errors.";
constexpr char kLong[] = "1 %1, 2 %2, 3 %3, 4 %4, 5 %5, 6 %6, 7 %7, 8 %8, 9 %9.";
constexpr char kLongBraces[] = "1 {}, 2 {}, 3 {}, 4 {}, 5 {}, 6 {}, 7 {}, 8 {}, 9 {}.";

/// Nine texts of so many bytes, none of them with a placeholder.
std::vector<std::string> LongTexts(std::size_t size) {
  std::vector<std::string> texts;
  for (char letter = 'a'; letter < 'a' + 9; ++letter) texts.emplace_back(size, letter);
  return texts;
}

void FormatShort(benchmark::State& state) {
  const bix::SString file("main.cpp");
  const bix::SString model("Vehicle");
  for (auto _ : state) {
    bix::SFmt format(kShort);
    format << file << model << "12";
    benchmark::DoNotOptimize(format.str().data());
  }
}
BENCHMARK(FormatShort)->Name("messages/format/sfmt/3");

void FormatShortFmt(benchmark::State& state) {
  const std::string file("main.cpp");
  const std::string model("Vehicle");
  for (auto _ : state) {
    const std::string text = fmt::format(fmt::runtime(kShortBraces), file, model, "12");
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(FormatShortFmt)->Name("messages/format/fmt/3");

void FormatShortQtChained(benchmark::State& state) {
  const QString format = QString::fromLatin1(kShort);
  const QString file = QStringLiteral("main.cpp");
  const QString model = QStringLiteral("Vehicle");
  const QString count = QStringLiteral("12");
  for (auto _ : state) {
    const QString text = format.arg(file).arg(model).arg(count);
    benchmark::DoNotOptimize(text.constData());
  }
}
BENCHMARK(FormatShortQtChained)->Name("messages/format/qt-chained/3");

void FormatLong(benchmark::State& state) {
  std::vector<bix::SString> texts;
  for (const std::string& text : LongTexts(static_cast<std::size_t>(state.range(0))))
    texts.emplace_back(text);
  for (auto _ : state) {
    bix::SFmt format(kLong);
    for (const bix::SString& text : texts) format << text;
    benchmark::DoNotOptimize(format.str().data());
  }
}
BENCHMARK(FormatLong)->Name("messages/format/sfmt/9")->Arg(1000);

/// So many parameters of 100 bytes each.
void FormatMany(benchmark::State& state) {
  std::string all;
  for (int number = 1; number <= state.range(0); ++number)
    all += "<%" + std::to_string(number) + ">";
  const bix::SString text(std::string(100, 'x'));
  for (auto _ : state) {
    bix::SFmt format(all.c_str());
    for (int number = 1; number <= state.range(0); ++number) format << text;
    benchmark::DoNotOptimize(format.str().data());
  }
}
BENCHMARK(FormatMany)->Name("messages/format/sfmt/many")->Arg(9)->Arg(90);

void FormatLongFmt(benchmark::State& state) {
  const std::vector<std::string> t = LongTexts(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    const std::string text = fmt::format(fmt::runtime(kLongBraces), t[0], t[1], t[2], t[3], t[4],
                                         t[5], t[6], t[7], t[8]);
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(FormatLongFmt)->Name("messages/format/fmt/9")->Arg(1000);

std::vector<QString> LongQtTexts(std::size_t size) {
  std::vector<QString> texts;
  for (const std::string& text : LongTexts(size)) texts.push_back(QString::fromStdString(text));
  return texts;
}

void FormatLongQtChained(benchmark::State& state) {
  const QString format = QString::fromLatin1(kLong);
  const std::vector<QString> t = LongQtTexts(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    const QString text =
        format.arg(t[0]).arg(t[1]).arg(t[2]).arg(t[3]).arg(t[4]).arg(t[5]).arg(t[6]).arg(t[7]).arg(
            t[8]);
    benchmark::DoNotOptimize(text.constData());
  }
}
BENCHMARK(FormatLongQtChained)->Name("messages/format/qt-chained/9")->Arg(1000);

void FormatLongQtMulti(benchmark::State& state) {
  const QString format = QString::fromLatin1(kLong);
  const std::vector<QString> t = LongQtTexts(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    const QString text = format.arg(t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7], t[8]);
    benchmark::DoNotOptimize(text.constData());
  }
}
BENCHMARK(FormatLongQtMulti)->Name("messages/format/qt-multi/9")->Arg(1000);

}  // namespace
