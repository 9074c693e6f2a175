#include "paths/canonicalize.h"

#include <cstring>

#include "bix/pathname.h"

namespace bix::impl {
namespace {

/// Copies the `length` bytes at `from` behind what is written so far; `from` never lies before
/// `to`.
void Take(char* to, const char* from, std::size_t length) {
  if (to != from) std::memmove(to, from, length);
}

}  // namespace

// Goes from one "." to the next, for they are rarer than separators, and copies what lies between
// two removed steps as a whole.
//
//   taken    what of `in` has been copied or dropped
//   next     where to look for the next "."
//   written  what of `out` is valid
std::size_t CanonicalizePath(char* out, const char* in, std::size_t length) {
  const char* const end = in + length;
  const char* taken = in;
  const char* next = in;
  std::size_t written = 0;
  while (next != end) {
    const auto* dot =
        static_cast<const char*>(std::memchr(next, '.', static_cast<std::size_t>(end - next)));
    if (dot == nullptr) break;
    next = dot + 1;
    if (dot == in || dot[-1] != '/') {
      // A long run of dots is no step; looking for each of them alone would be slow.
      while (next != end && *next == '.') ++next;
      continue;
    }
    // COMPAT(trailing-dot-step): a "." step goes only when a "/" follows, so "/a/." stays, while
    // ".." goes at the end as well. Hosts have stored such paths. Test:
    // CanonicalizeCompat.ATrailingDotStepStays
    if (next == end) break;
    const std::size_t kept = static_cast<std::size_t>(dot - 1 - taken);
    if (*next == '/') {
      Take(out + written, taken, kept);
      written += kept;
      taken = next;
      ++next;
    } else if (*next == '.' && (next + 1 == end || next[1] == '/')) {
      Take(out + written, taken, kept);
      written += kept;
      // COMPAT(step-over-prefix): ".." takes back to the last "/" or the start whatever stands
      // there: an empty component, a drive, a scheme, a host. "//" counts as a component.
      // Tests: CanonicalizeCompat.AStepBackEatsDriveSchemeAndHost,
      // CanonicalizeCompat.AnEmptyComponentIsAComponent
      const void* const back = written != 0 ? memrchr(out, '/', written) : nullptr;
      written =
          back != nullptr ? static_cast<std::size_t>(static_cast<const char*>(back) - out) : 0;
      taken = next + 1;
      next = taken;
      if (next != end) ++next;
    }
  }
  const std::size_t rest = static_cast<std::size_t>(end - taken);
  Take(out + written, taken, rest);
  return written + rest;
}

bool VlgPathCanonicalize(char* out, const char* in) {
  const std::size_t length = std::strlen(in);
  const std::size_t written = CanonicalizePath(out, in, length);
  out[written] = '\0';
  return written != length;
}

const char* FindLastDirSep(const char* path) {
  const char* const slash = std::strrchr(path, '/');
  // COMPAT(backslash-separator): a "\" separates only where there is no "/" at all, so "a/b\c" has
  // the last component "b\c". Test: PathNameTailCompat.ABackslashCountsOnlyWithoutASlash
  return slash != nullptr ? slash : std::strrchr(path, '\\');
}

bool IsAbsoluteText(const char* text) { return text[0] == '/' || BixIsAUri(text); }

}  // namespace bix::impl
