#include "registry/key_path.h"

#include <cerrno>
#include <cstring>

namespace bix::impl {

const char* KeyPath::Next() {
  const char* separator = std::strchr(m_rest, '/');
  if (separator == nullptr) {
    const char* last = m_rest;
    m_rest = nullptr;
    return last;
  }
  // COMPAT(key-path-component-bound): a component before the last that does not fit the buffer of
  // 256 bytes is looked up as the empty name; only the last one has no bound. Hosts that build
  // paths from user texts rely on never reaching a key under a shortened name.
  // Test: RegistryPathCompat.LongComponentBeforeTheLastIsTheEmptyName
  std::size_t length = static_cast<std::size_t>(separator - m_rest);
  if (length >= kComponentSize) {
    errno = EINVAL;
    length = 0;
  }
  std::memcpy(m_component, m_rest, length);
  m_component[length] = 0;
  m_rest = separator + 1;
  return m_component;
}

}  // namespace bix::impl
