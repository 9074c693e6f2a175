// Formats with numbered parameters against a plain model of their rules: the text after each
// parameter, and every report on the error channel.
//
// The input is split at zero bytes: the format first, then the parameters; a parameter that
// starts with the byte 1 is passed as null, one that starts with the byte 2 as a number.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "bix/messages.h"

namespace {

class Collector : public qv::IMessageOutputHandler {
 public:
  bool HandleOutput(const std::string& text) override {
    reports += text;
    return true;
  }
  void OutputDone() override {}

  std::string reports;
};

std::vector<std::string> SplitAtZeros(const std::string& input) {
  std::vector<std::string> parts(1);
  for (const char byte : input) {
    if (byte == 0)
      parts.emplace_back();
    else
      parts.back() += byte;
  }
  return parts;
}

/// The rules, as simply as they can be put.
class Model {
 public:
  explicit Model(std::string format) : text(std::move(format)) {}

  void AddNull() { Report("SFmt: NULL TCHAR* parameter " + text); }
  void Add(const std::string& value) {
    const std::string number = std::to_string(++m_count);
    const std::size_t at = text.find("%" + number);
    if (at == std::string::npos) {
      Report("SFmt: parameter %" + number + " not found in " + text);
      text += " " + value;
      return;
    }
    text = text.substr(0, at) + value + text.substr(at + 1 + number.size());
  }
  void Look() {
    for (std::size_t i = 0; i + 1 < text.size(); ++i)
      if (text[i] == '%' && text[i + 1] >= '0' && text[i + 1] <= '9')
        Report("SFmt: actual parameter missing " + text);
  }

  std::string text;
  std::string reports;

 private:
  void Report(const std::string& what) { reports += "Internal error: " + what + "\n"; }

  int m_count = 0;
};

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLongest = 4096;  // every "%0" of a text reports the whole of it
  if (size > kLongest) return 0;
  const std::vector<std::string> parts =
      SplitAtZeros(std::string(reinterpret_cast<const char*>(data), size));
  Collector collector;
  bix::bixerr.PushOutput(&collector);
  bix::SFmt format(parts[0].c_str());
  Model model(parts[0]);
  for (std::size_t i = 1; i < parts.size(); ++i) {
    const std::string& part = parts[i];
    if (!part.empty() && part[0] == 1) {
      format << static_cast<const char*>(nullptr);
      model.AddNull();
    } else if (!part.empty() && part[0] == 2) {
      const long number = std::atol(part.c_str() + 1);
      format << number;
      model.Add(std::to_string(number));
    } else if (i % 2 == 0) {
      format << part.c_str();
      model.Add(part);
    } else {
      format << bix::SString(part);
      model.Add(part);
    }
    if (i % 5 == 0) {
      Require(format.str() == model.text);
      model.Look();
    }
  }
  const std::string text = format.str();
  model.Look();
  bix::bixerr.PopOutput();
  Require(text == model.text);
  Require(collector.reports == model.reports);
  return 0;
}
