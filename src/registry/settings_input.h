#ifndef BIX_SRC_REGISTRY_SETTINGS_INPUT_H_
#define BIX_SRC_REGISTRY_SETTINGS_INPUT_H_

/// The bytes of a settings file, read in blocks and looked at one character ahead.

#include <cstddef>
#include <cstdint>
#include <memory>

namespace bix::impl {

class SettingsInput {
 public:
  /// Reads from `fd`, which stays the caller's.
  explicit SettingsInput(int fd);
  SettingsInput(const SettingsInput&) = delete;
  SettingsInput& operator=(const SettingsInput&) = delete;

  /// The next byte, or 0 at the end of the file or at its first NUL byte, which both last.
  int Look() { return m_cursor != m_end || Fill() ? static_cast<unsigned char>(*m_cursor) : 0; }

  /// Takes the byte that Look has shown; not at the end.
  void Take() { ++m_cursor; }

  /// What is left of the present block, after Look has shown that there is something.
  const char* GetCursor() const { return m_cursor; }
  const char* GetEnd() const { return m_end; }
  void TakeTo(const char* place) { m_cursor = place; }

  /// 0, or the error number with which reading failed; the file then reads as ended.
  int GetErrorNumber() const { return m_errorNumber; }

  /// A place in the file: line and column, both from 1, the column in bytes.
  struct Place {
    std::int64_t line;
    std::int64_t column;
  };
  /// Remembers the cursor as the start of a token.
  void BeginToken() {
    m_token = m_cursor;
    m_tokenIsResolved = false;
  }
  /// Where the last token began.
  Place GetTokenPlace();

 private:
  bool Fill();
  std::size_t Read(char* block, std::size_t size);
  Place ResolvePlace(const char* place);

  int m_fd;
  bool m_isRegular;
  bool m_hasEnded = false;
  int m_errorNumber = 0;
  std::unique_ptr<char[]> m_block;
  const char* m_cursor;
  const char* m_end;
  const char* m_token;
  bool m_tokenIsResolved = false;
  Place m_tokenPlace{1, 1};
  // Lines are counted up to m_counted, a place in the present block; only forward.
  const char* m_counted;
  Place m_countedPlace{1, 1};
};

}  // namespace bix::impl

#endif  // BIX_SRC_REGISTRY_SETTINGS_INPUT_H_
