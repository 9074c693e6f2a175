#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

#include "paths/regex.h"

namespace bix::impl {
namespace {

struct Free {
  void operator()(pcre2_code* code) const { pcre2_code_free(code); }
  void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
  void operator()(pcre2_match_context* context) const { pcre2_match_context_free(context); }
};

template <class T>
using Owned = std::unique_ptr<T, Free>;

std::string ErrorText(int error) {
  PCRE2_UCHAR text[256];
  // The engine's longest text is shorter than half of this; a longer one would be cut.
  (void)pcre2_get_error_message(error, text, sizeof text);
  return reinterpret_cast<const char*>(text);
}

/// The engine counts a step only where a wildcard or quantifier takes something. Those that take
/// nothing follow each other uncounted, as many as there are in the expression, so that its length
/// takes part in the time of a step.
std::uint32_t ShareOfSteps(const std::string& expression) {
  constexpr std::size_t kOrdinaryLength = 64;
  const std::size_t share = std::max(expression.size() / kOrdinaryLength, std::size_t{1});
  return static_cast<std::uint32_t>(share);
}

PCRE2_SPTR Bytes(const std::string& text) { return reinterpret_cast<PCRE2_SPTR>(text.data()); }

}  // namespace

struct Regex::Engine {
  Owned<pcre2_code> code;
  Owned<pcre2_match_data> data;
  Owned<pcre2_match_context> context;
  std::uint32_t shareOfSteps;
};

Regex::Regex(const std::string& expression) {
  auto engine = std::make_unique<Engine>();
  int error = 0;
  PCRE2_SIZE offset = 0;
  engine->code.reset(pcre2_compile(Bytes(expression), expression.size(),
                                   PCRE2_UTF | PCRE2_ANCHORED | PCRE2_ENDANCHORED, &error, &offset,
                                   nullptr));
  if (engine->code == nullptr) {
    m_error = ErrorText(error);
    return;
  }
  // Only the whole text is asked for.
  engine->data.reset(pcre2_match_data_create(1, nullptr));
  engine->context.reset(pcre2_match_context_create(nullptr));
  if (engine->data == nullptr || engine->context == nullptr) throw std::bad_alloc();
  engine->shareOfSteps = ShareOfSteps(expression);
  pcre2_set_depth_limit(engine->context.get(), kMatchDepth);
  m_engine = std::move(engine);
}

Regex::~Regex() = default;

bool Regex::MatchesWhole(const std::string& text) const {
  if (m_engine == nullptr) return false;
  pcre2_set_match_limit(m_engine->context.get(), MatchSteps(text.size()) / m_engine->shareOfSteps);
  return pcre2_match(m_engine->code.get(), Bytes(text), text.size(), 0, 0, m_engine->data.get(),
                     m_engine->context.get()) >= 0;
}

}  // namespace bix::impl
