#include "paths/canonicalize.h"

#include <cstdint>
#include <cstring>

#include "bix/pathname.h"

namespace bix::impl {
namespace {

using Word = std::uint64_t;
constexpr Word kOnes = 0x0101010101010101;

bool HasDot(Word word) {
  const Word zeroAtDot = word ^ (kOnes * '.');
  return ((zeroAtDot - kOnes) & ~zeroAtDot & (kOnes << 7)) != 0;
}

/// Copies the bytes from `in` on, up to `end` or the next ".", to `out`, and moves both behind
/// them. `out` may lie before `in` in the same text.
void CopyToDot(char*& out, const char*& in, const char* end) {
  const char* from = in;
  char* to = out;
  for (; static_cast<std::size_t>(end - from) >= sizeof(Word); from += sizeof(Word)) {
    Word word;
    std::memcpy(&word, from, sizeof word);
    if (HasDot(word)) break;
    std::memcpy(to, &word, sizeof word);
    to += sizeof word;
  }
  while (from != end && *from != '.') *to++ = *from++;
  in = from;
  out = to;
}

/// Where `out` goes on after a step back: at the last "/" of what is written, or at the start.
char* StepBack(char* start, char* out) {
  // COMPAT(step-over-prefix): ".." takes back to the last "/" or the start whatever stands there:
  // an empty component, a drive, a scheme, a host. "//" counts as a component.
  // Tests: CanonicalizeCompat.AStepBackEatsDriveSchemeAndHost,
  // CanonicalizeCompat.AnEmptyComponentIsAComponent
  while (out != start) {
    if (*--out == '/') break;
  }
  return out;
}

/// What the "." at `dot` is the end of, or part of.
enum class Dot { kName, kStep, kStepBack };

Dot Classify(const char* start, const char* dot, const char* end) {
  if (dot == start || dot[-1] != '/') return Dot::kName;
  const std::size_t left = static_cast<std::size_t>(end - dot);
  // COMPAT(trailing-dot-step): a "." step goes only when a "/" follows, so "/a/." stays, while ".."
  // goes at the end as well. Hosts have stored such paths. Test:
  // CanonicalizeCompat.ATrailingDotStepStays
  if (left >= 2 && dot[1] == '/') return Dot::kStep;
  if (left >= 2 && dot[1] == '.' && (left == 2 || dot[2] == '/')) return Dot::kStepBack;
  return Dot::kName;
}

/// The first "." of a step, or null.
const char* FindStep(const char* in, const char* end) {
  for (const char* next = in; next != end;) {
    const auto* const dot =
        static_cast<const char*>(std::memchr(next, '.', static_cast<std::size_t>(end - next)));
    if (dot == nullptr) return nullptr;
    if (Classify(in, dot, end) != Dot::kName) return dot;
    // A long run of dots is no step; looking for each of them alone would be slow.
    next = dot + 1;
    while (next != end && *next == '.') ++next;
  }
  return nullptr;
}

}  // namespace

// Goes from one "." to the next, for they are rarer than separators. Up to the first step nothing
// is written when `out` is `in`.
std::size_t CanonicalizePath(char* out, const char* in, std::size_t length) {
  const char* const end = in + length;
  const char* const first = FindStep(in, end);
  const std::size_t kept = first != nullptr ? static_cast<std::size_t>(first - in) : length;
  if (out != in) std::memcpy(out, in, kept);
  if (first == nullptr) return length;

  char* to = out + kept;
  const char* dot = first;
  do {
    // The "/" before the "." has been copied and is the byte before `dot` still, for nothing is
    // written behind what is read.
    switch (Classify(in, dot, end)) {
      case Dot::kName:
        *to++ = *dot++;
        break;
      case Dot::kStep:
        dot += 2;  // its own "/" is the one before
        break;
      case Dot::kStepBack:
        to = StepBack(out, to - 1);
        dot += 2;
        break;
    }
    CopyToDot(to, dot, end);
  } while (dot != end);
  return static_cast<std::size_t>(to - out);
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
