#ifndef BIX_SRC_REGISTRY_KEY_PATH_H_
#define BIX_SRC_REGISTRY_KEY_PATH_H_

/// The components of a key path such as "General/Editor", one after the other.
///
///   impl::KeyPath components(path);
///   do key = key->FindKey(components.Next()); while (key != nullptr && !components.IsDone());

#include <cstddef>

namespace bix::impl {

class KeyPath {
 public:
  /// `path` is borrowed until the last component has been taken; null counts as "".
  explicit KeyPath(const char* path) : m_rest(path != nullptr ? path : "") {}

  /// True after the last component has been taken. Every path has at least one component.
  bool IsDone() const { return m_rest == nullptr; }

  /// The next component; valid until the next call.
  /// Errors: a component before the last of 256 bytes or more gives "" and sets `errno` to EINVAL.
  const char* Next();

 private:
  static constexpr std::size_t kComponentSize = 256;

  const char* m_rest;
  char m_component[kComponentSize];
};

}  // namespace bix::impl

#endif  // BIX_SRC_REGISTRY_KEY_PATH_H_
