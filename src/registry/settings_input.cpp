#include "registry/settings_input.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace bix::impl {

namespace {

constexpr std::size_t kBlockSize = 64 * 1024;

/// The line feeds in a text. All of a file passes through here, so they are counted in bytes, of
/// which the compiler takes sixteen at a time, and added up before a byte can overflow.
std::int64_t CountLines(const char* begin, const char* end) {
  std::int64_t count = 0;
  while (begin != end) {
    const char* const stop = begin + std::min<std::ptrdiff_t>(end - begin, UINT8_MAX);
    std::uint8_t part = 0;
    for (; begin != stop; ++begin) part = static_cast<std::uint8_t>(part + (*begin == '\n'));
    count += part;
  }
  return count;
}

}  // namespace

SettingsInput::SettingsInput(int fd) : m_fd(fd) {
  struct stat status;
  m_isRegular = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
  if (m_isRegular) {
    m_fileSize = static_cast<std::size_t>(std::clamp<off_t>(status.st_size, 0, PTRDIFF_MAX));
    m_blockSize = std::min(m_fileSize + 1, kBlockSize);
  }
  m_block = std::make_unique_for_overwrite<char[]>(m_blockSize);
  m_cursor = m_end = m_block.get();
  m_token = m_counted = m_cursor;
}

bool SettingsInput::Fill() {
  // CHOICE(reader-nul-lasts): an end has no beyond, also where a rule reads on after it.
  // Test: SettingsReaderCompat.NulByteEndsTheFile
  if (m_hasEnded) return false;
  (void)GetTokenPlace();
  (void)ResolvePlace(m_end);
  char* block = m_block.get();
  m_sizeBefore += static_cast<std::size_t>(m_end - block);
  // CHOICE(reader-pipe): a pipe or terminal is read byte by byte, so that what follows the settings
  // stays there for its reader. Test: SettingsReader.PipeIsReadNoFurtherThanTheSettings
  const std::size_t length = m_isWhole ? 0 : Read(block, m_blockSize);
  // COMPAT(reader-nul-ends-file): the first NUL byte is the end of the file, and reading to it is a
  // success; what follows is never looked at. Test: SettingsReaderCompat.NulByteEndsTheFile
  char* const nul = static_cast<char*>(std::memchr(block, 0, length));
  m_hasEnded = length == 0 || nul != nullptr;
  m_isWhole = m_isRegular && length < m_blockSize && m_sizeBefore + length == m_fileSize;
  m_cursor = block;
  m_token = m_counted = block;
  m_end = nul != nullptr ? nul : block + length;
  return m_cursor != m_end;
}

std::size_t SettingsInput::Read(char* block, std::size_t size) {
  ssize_t length;
  do length = read(m_fd, block, size);
  while (length < 0 && errno == EINTR);
  if (length >= 0) return static_cast<std::size_t>(length);
  m_errorNumber = errno;
  return 0;
}

SettingsInput::Place SettingsInput::GetTokenPlace() {
  if (!m_tokenIsResolved) m_tokenPlace = ResolvePlace(m_token);
  m_tokenIsResolved = true;
  return m_tokenPlace;
}

SettingsInput::Place SettingsInput::ResolvePlace(const char* place) {
  m_countedPlace.line += CountLines(m_counted, place);
  const std::size_t size = static_cast<std::size_t>(place - m_counted);
  if (const void* last = memrchr(m_counted, '\n', size)) {
    m_counted = static_cast<const char*>(last) + 1;
    m_countedPlace.column = 1;
  }
  m_countedPlace.column += place - m_counted;
  m_counted = place;
  return m_countedPlace;
}

}  // namespace bix::impl
