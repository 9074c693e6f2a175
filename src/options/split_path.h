#ifndef BIX_SRC_OPTIONS_SPLIT_PATH_H_
#define BIX_SRC_OPTIONS_SPLIT_PATH_H_

/// The components of a category path, to be walked in several trees.

#include <array>
#include <cerrno>
#include <cstddef>
#include <string_view>
#include <vector>

namespace bix::impl {

class SplitPath {
 public:
  /// `path` is borrowed for the life of this object.
  explicit SplitPath(std::string_view path) {
    for (std::size_t slash; (slash = path.find('/')) != std::string_view::npos;
         path.remove_prefix(slash + 1))
      Add(path.substr(0, slash));
    Add(path);
  }
  SplitPath(const SplitPath&) = delete;
  SplitPath& operator=(const SplitPath&) = delete;

  std::size_t GetCount() const { return m_count; }
  /// One component.
  ///
  /// Errors: as in every key path, one before the last of 256 bytes or more is "", and sets `errno`
  ///   to EINVAL.
  std::string_view GetComponent(std::size_t i) const {
    const std::string_view component = i < kFew ? m_few[i] : m_rest[i - kFew];
    if (component.size() < kComponentSize || i + 1 == m_count) return component;
    errno = EINVAL;
    return {};
  }

 private:
  static constexpr std::size_t kComponentSize = 256;
  static constexpr std::size_t kFew = 6;

  void Add(std::string_view component) {
    if (m_count < kFew)
      m_few[m_count] = component;
    else
      m_rest.push_back(component);
    ++m_count;
  }

  std::size_t m_count = 0;
  std::array<std::string_view, kFew> m_few;
  std::vector<std::string_view> m_rest;
};

}  // namespace bix::impl

#endif  // BIX_SRC_OPTIONS_SPLIT_PATH_H_
