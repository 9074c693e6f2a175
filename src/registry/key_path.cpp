#include "registry/key_path.h"

#include <cerrno>
#include <cstring>

namespace bix::impl {

std::string_view KeyPath::Next() {
  const char* const begin = m_rest;
  const char* const end = strchrnul(begin, '/');
  const std::size_t length = static_cast<std::size_t>(end - begin);
  m_rest = *end != 0 ? end + 1 : nullptr;
  // COMPAT(key-path-component-bound): a component before the last that does not fit a buffer of 256
  // bytes is looked up as the empty name; only the last one has no bound. Hosts that build paths
  // from user texts rely on never reaching a key under a shortened name.
  // Test: RegistryPathCompat.LongComponentBeforeTheLastIsTheEmptyName
  if (length >= kComponentSize && m_rest != nullptr) {
    errno = EINVAL;
    return "";
  }
  return {begin, length};
}

const char* KeyPath::GetText(std::string_view component) {
  if (component.data()[component.size()] == 0) return component.data();
  std::memcpy(m_component, component.data(), component.size());
  m_component[component.size()] = 0;
  return m_component;
}

}  // namespace bix::impl
