// Glob filters against the engine: whatever a filter is matched by, the regular expression into which
// it is translated says the same.
//
// The input is split at its first zero byte into the filter and the name.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "bix/globfilter.h"
#include "bix/messages.h"
#include "paths/compiled_filter.h"
#include "paths/regex.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

/// Takes the reports about placeholders that are left over in filters.
class Silence : public qv::IMessageOutputHandler {
 public:
  bool HandleOutput(const std::string&) override { return true; }
  void OutputDone() override {}
};

/// Whether the engine cannot come to its limit of steps: with each star or repetition it may try every
/// place once more.
bool CanEngineFinish(const std::string& filter, const std::string& name) {
  double steps = static_cast<double>(filter.size()) + 10;
  for (const char c : filter) {
    if (c == '*' || c == '{') steps *= static_cast<double>(name.size()) + 2;
    if (steps > bix::impl::kMatchSteps / 10) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::uint8_t* const end = data + size;
  const std::uint8_t* const zero = std::find(data, end, std::uint8_t{0});
  const std::string filter(data, zero);
  const std::string name = zero == end
                               ? std::string()
                               : std::string(zero + 1, std::find(zero + 1, end, std::uint8_t{0}));

  Silence silence;
  bix::bixerr.SetOutput(&silence);
  bix::SString expression = filter;
  bix::SString reason = "old";
  const bool isValid = bix::impl::NormalizeGlobPatternAndCheckValidity(expression, reason);
  Require(isValid == reason.empty());

  bix::SString error = "old";
  const bool matches = bix::BixGlob::IsAMatch(filter.c_str(), name.c_str(), error);
  Require(error == reason);
  Require(isValid || !matches);
  // The filter that is kept says the same.
  Require(bix::BixGlob::IsAMatch(filter.c_str(), name.c_str(), error) == matches);
  Require(bix::BixGlob::IsGlobValid(filter.c_str(), error) == isValid);
  Require(error == reason);
  bix::bixerr.SetOutput(nullptr);

  if (!isValid || !CanEngineFinish(filter, name)) return 0;
  Require(bix::impl::Regex(expression).MatchesWhole(name) == matches);
  return 0;
}
