#ifndef TESTS_SUPPORT_SCOPED_LOCALE_H_
#define TESTS_SUPPORT_SCOPED_LOCALE_H_

/// A locale of the whole process for the length of a scope.

#include <clocale>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace bix_test {

inline constexpr const char* kUtf8Locale = "C.UTF-8";
inline constexpr const char* kLatin1Locale = "de_DE.ISO-8859-1";
inline constexpr const char* kEucJpLocale = "ja_JP.EUC-JP";
inline constexpr const char* kBig5HkscsLocale = "zh_HK.BIG5-HKSCS";

/// Sets every category; throws when the system does not have the locale. The locales that the build
/// made are found without help from the environment.
class ScopedLocale {
 public:
  explicit ScopedLocale(const char* name) : m_saved(std::setlocale(LC_ALL, nullptr)) {
    setenv("LOCPATH", BIX_TEST_LOCALES, 1);
    if (std::setlocale(LC_ALL, name) == nullptr)
      throw std::runtime_error(std::string("no locale ") + name);
  }
  ScopedLocale(const ScopedLocale&) = delete;
  ScopedLocale& operator=(const ScopedLocale&) = delete;
  ~ScopedLocale() { std::setlocale(LC_ALL, m_saved.c_str()); }

 private:
  const std::string m_saved;
};

}  // namespace bix_test

#endif  // TESTS_SUPPORT_SCOPED_LOCALE_H_
