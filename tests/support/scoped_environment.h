#ifndef TESTS_SUPPORT_SCOPED_ENVIRONMENT_H_
#define TESTS_SUPPORT_SCOPED_ENVIRONMENT_H_

/// Changes of the environment that end with the test.

#include <cstdlib>
#include <string>

namespace bix_test {

/// Sets a variable, or unsets it when the value is null, and puts the old state back at the end.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : m_name(name) {
    if (const char* old = std::getenv(name)) {
      m_wasSet = true;
      m_old = old;
    }
    Set(value);
  }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;
  ~ScopedVariable() { Set(m_wasSet ? m_old.c_str() : nullptr); }

  void Set(const char* value) {
    if (value != nullptr)
      setenv(m_name.c_str(), value, 1);
    else
      unsetenv(m_name.c_str());
  }

 private:
  std::string m_name;
  std::string m_old;
  bool m_wasSet = false;
};

}  // namespace bix_test

#endif  // TESTS_SUPPORT_SCOPED_ENVIRONMENT_H_
