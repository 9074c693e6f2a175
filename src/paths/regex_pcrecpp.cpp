#include <pcrecpp.h>

#include "paths/regex.h"

namespace bix::impl {
namespace {

/// For texts of such a size.
pcrecpp::RE_Options Options(std::size_t textSize) {
  pcrecpp::RE_Options options = pcrecpp::UTF8();
  options.set_match_limit(static_cast<int>(MatchSteps(textSize)));
  options.set_match_limit_recursion(kMatchDepth);
  return options;
}

}  // namespace

struct Regex::Engine {
  explicit Engine(const std::string& expression) : expression(expression, Options(kOrdinaryText)) {}

  pcrecpp::RE expression;
};

Regex::Regex(const std::string& expression) : m_engine(std::make_unique<Engine>(expression)) {
  m_error = m_engine->expression.error();
  if (!m_error.empty()) m_engine.reset();
}

Regex::~Regex() = default;

bool Regex::MatchesWhole(const std::string& text) const {
  if (m_engine == nullptr) return false;
  const pcrecpp::RE& expression = m_engine->expression;
  if (text.size() <= kOrdinaryText) return expression.FullMatch(text);
  return pcrecpp::RE(expression.pattern(), Options(text.size())).FullMatch(text);
}

}  // namespace bix::impl
