#ifndef SRC_PATHS_CANONICALIZE_H_
#define SRC_PATHS_CANONICALIZE_H_

/// The steps of normalisation that path names and path functions share.

#include <cstddef>
#include <string_view>

namespace bix::impl {

/// Writes `in` without its "." and ".." steps into `out` and returns whether anything was removed.
///
///   "/a/./b"     => "/a/b"
///   "/a/b/../c"  => "/a/c"
///   "/a/.."      => ""        steps beyond the root are dropped
///   "/a/."       => "/a/."    a trailing "." step stays
///   "//a"        => "//a"     an empty component stays, too
///
/// One pass from left to right. `out` has room for the length of `in` and a terminator; it may be
/// `in` itself.
bool VlgPathCanonicalize(char* out, const char* in);

/// The same for the `length` bytes at `in`, without a terminator on either side. Returns the length
/// of the result, which is `length` exactly when nothing was removed.
std::size_t CanonicalizePath(char* out, const char* in, std::size_t length);

/// The last "/" of `path`; only when it has none, the last "\"; or null.
const char* FindLastDirSep(const char* path);

/// Whether a normalised text that begins like this is absolute: it has a leading "/" or is a URI.
bool IsAbsoluteText(const char* text);

}  // namespace bix::impl

#endif  // SRC_PATHS_CANONICALIZE_H_
