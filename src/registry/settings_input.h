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

  /// The size of the file, or 0 when it is not a regular file.
  std::size_t GetFileSize() const { return m_fileSize; }

  /// How much of it has been taken.
  std::size_t GetTakenSize() const {
    return m_sizeBefore + static_cast<std::size_t>(m_cursor - m_block.get());
  }

  /// Whether the present block has a byte left.
  bool HasByte() const { return m_cursor != m_end; }
  /// Replaces a block that has been read by the next one; false at the end of the file or at its
  /// first NUL byte, which both last.
  bool Fill();
  /// The byte at the cursor, while there is one.
  int GetByte() const { return static_cast<unsigned char>(*m_cursor); }

  /// Takes the byte at the cursor.
  void Take() { ++m_cursor; }

  /// What is left of the present block. What has been taken from it may be overwritten.
  char* GetCursor() const { return m_cursor; }
  char* GetEnd() const { return m_end; }
  void TakeTo(char* place) { m_cursor = place; }

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
  std::size_t Read(char* block, std::size_t size);
  Place ResolvePlace(const char* place);

  int m_fd;
  bool m_isRegular = false;
  std::size_t m_fileSize = 0;
  std::size_t m_blockSize = 1;
  std::size_t m_sizeBefore = 0;  // the present block
  bool m_isWhole = false;        // all that the file has was read, and it had no more to give
  bool m_hasEnded = false;
  int m_errorNumber = 0;
  std::unique_ptr<char[]> m_block;
  char* m_cursor = nullptr;
  char* m_end = nullptr;
  const char* m_token = nullptr;
  bool m_tokenIsResolved = false;
  Place m_tokenPlace{1, 1};
  // Lines are counted up to m_counted, a place in the present block; only forward.
  const char* m_counted = nullptr;
  Place m_countedPlace{1, 1};
};

}  // namespace bix::impl

#endif  // BIX_SRC_REGISTRY_SETTINGS_INPUT_H_
