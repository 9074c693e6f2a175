#ifndef BIX_SUPPORT_CTYPE_LOCALE_H_
#define BIX_SUPPORT_CTYPE_LOCALE_H_

// Another LC_CTYPE locale of the whole process for the length of a scope.

#include <clocale>
#include <string>

namespace bix::impl {

class ScopedCtypeLocale {
 public:
  /// Null changes nothing. A locale that the system does not know leaves the current one.
  explicit ScopedCtypeLocale(const char* name) {
    if (name == nullptr) return;
    const char* current = std::setlocale(LC_CTYPE, nullptr);
    // A copy: the next call overwrites what the query returned.
    if (current != nullptr) m_saved = current;
    (void)std::setlocale(LC_CTYPE, name);
  }
  ScopedCtypeLocale(const ScopedCtypeLocale&) = delete;
  ScopedCtypeLocale& operator=(const ScopedCtypeLocale&) = delete;
  ~ScopedCtypeLocale() {
    if (!m_saved.empty()) (void)std::setlocale(LC_CTYPE, m_saved.c_str());
  }

 private:
  std::string m_saved;
};

}  // namespace bix::impl

#endif  // BIX_SUPPORT_CTYPE_LOCALE_H_
