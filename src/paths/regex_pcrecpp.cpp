#include <pcrecpp.h>

#include "paths/regex.h"

namespace bix::impl {
namespace {

pcrecpp::RE_Options Options() {
  pcrecpp::RE_Options options = pcrecpp::UTF8();
  options.set_match_limit(kMatchSteps);
  options.set_match_limit_recursion(kMatchDepth);
  return options;
}

}  // namespace

struct Regex::Engine {
  explicit Engine(const std::string& expression) : expression(expression, Options()) {}

  pcrecpp::RE expression;
};

Regex::Regex(const std::string& expression) : m_engine(std::make_unique<Engine>(expression)) {
  m_error = m_engine->expression.error();
  if (!m_error.empty()) m_engine.reset();
}

Regex::~Regex() = default;

bool Regex::MatchesWhole(const std::string& text) const {
  return m_engine != nullptr && m_engine->expression.FullMatch(text);
}

}  // namespace bix::impl
