#ifndef BIX_SRC_REGISTRY_KEY_PATH_H_
#define BIX_SRC_REGISTRY_KEY_PATH_H_

/// The components of a key path such as "General/Editor", one after the other.
///
///   impl::KeyPath components(path);
///   while (key != nullptr && !components.IsDone())
///     key = key->FindKey(components.GetText(components.Next()));

#include <cstddef>
#include <string_view>

namespace bix::impl {

class KeyPath {
 public:
  /// `path` is borrowed until the last component has been taken; null counts as "".
  explicit KeyPath(const char* path) : m_rest(path != nullptr ? path : "") {}

  /// True after the last component has been taken. Every path has at least one component.
  bool IsDone() const { return m_rest == nullptr; }

  /// The next component; valid as long as the path.
  /// Errors: a component before the last of 256 bytes or more gives "" and sets `errno` to EINVAL.
  std::string_view Next();

  /// `component`, which Next has just returned, as a text with an end; valid until the next call.
  const char* GetText(std::string_view component);

 private:
  static constexpr std::size_t kComponentSize = 256;

  const char* m_rest;
  char m_component[kComponentSize];
};

}  // namespace bix::impl

#endif  // BIX_SRC_REGISTRY_KEY_PATH_H_
