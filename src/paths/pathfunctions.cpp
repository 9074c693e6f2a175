// The plain path functions, which work on raw text.

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include <pwd.h>
#include <unistd.h>

#include "bix/pathname.h"

namespace {

// Static storage

constexpr std::size_t kExpandSize = 1024;

// The result of filename_expand. One for each thread: no thread overwrites the result of another.
constinit thread_local char s_expanded[kExpandSize] = {};

constexpr std::size_t kWorkingDirectorySize = 4096;
constexpr std::size_t kRelativeLimit = 4096;

bool IsLetter(char byte) {
  const auto lower = static_cast<unsigned char>(byte | 0x20);
  return lower >= 'a' && lower <= 'z';
}

bool IsDigit(char byte) { return byte >= '0' && byte <= '9'; }

/// New text of the pieces, one behind the other; the caller releases it with free().
class NewText {
 public:
  explicit NewText(std::size_t length)
      : m_text(static_cast<char*>(std::malloc(length + 1))), m_end(m_text) {
    if (m_text == nullptr) throw std::bad_alloc();
  }
  NewText(const NewText&) = delete;
  NewText& operator=(const NewText&) = delete;
  NewText& operator<<(std::string_view piece) {
    std::memcpy(m_end, piece.data(), piece.size());
    m_end += piece.size();
    return *this;
  }
  char* Finish() {
    *m_end = '\0';
    return m_text;  // the caller owns it from here
  }

 private:
  char* m_text;
  char* m_end;
};

char* Copy(std::string_view text) { return (NewText(text.size()) << text).Finish(); }

/// Text that is cut off at a limit.
class Expansion {
 public:
  std::size_t Left() const { return kExpandSize - 1 - m_length; }
  void AddWhole(std::string_view text) {
    if (text.size() <= Left())
      AddCut(text);
    else
      errno = ERANGE;
  }
  void AddCut(std::string_view text) {
    // CHOICE(expand-cut): text that does not fit is cut off, and errno tells.
    // Test: FilenameExpand.CutsOffWhatDoesNotFit
    if (text.size() > Left()) {
      errno = ERANGE;
      text = text.substr(0, Left());
    }
    std::memcpy(m_text + m_length, text.data(), text.size());
    m_length += text.size();
  }
  void ReplaceStart(std::size_t length, std::string_view start) {
    // CHOICE(home-does-not-fit): a home directory for which there is no room is not put in at all.
    // Test: FilenameExpandHome.AHomeDirectoryWithoutRoomIsNotPutIn
    if (start.size() > length + Left()) {
      errno = ERANGE;
      return;
    }
    std::memmove(m_text + start.size(), m_text + length, m_length - length);
    std::memcpy(m_text, start.data(), start.size());
    m_length = m_length - length + start.size();
  }
  std::string_view Text() const { return {m_text, m_length}; }

 private:
  char m_text[kExpandSize];
  std::size_t m_length = 0;
};

/// Copies `text` and replaces each $(NAME) by the value of that variable.
void ExpandVariables(Expansion& out, std::string_view text) {
  while (!text.empty()) {
    const std::size_t plain = std::min(text.find('$'), text.size());
    out.AddCut(text.substr(0, plain));
    text.remove_prefix(plain);
    if (text.empty()) return;
    if (text.size() < 2 || text[1] != '(') {
      // COMPAT(dollar-pair): "$" and what follows are copied as a pair, so the second "$" of
      // "$$(HOME)" begins no reference. Test: FilenameExpandCompat.ADoubleDollarBeginsNoReference
      // CHOICE(lone-dollar): a "$" at the end is copied like any character.
      // Test: FilenameExpand.ALoneDollarAtTheEndStays
      const std::size_t pair = std::min<std::size_t>(2, text.size());
      out.AddCut(text.substr(0, pair));
      text.remove_prefix(pair);
      continue;
    }
    text.remove_prefix(2);
    const std::size_t close = std::min(text.find(')'), text.size());
    const std::string name(text.substr(0, close));
    text.remove_prefix(std::min(close + 1, text.size()));
    if (const char* value = std::getenv(name.c_str())) {
      // COMPAT(value-left-out): a value for which there is no room is left out whole, and what
      // stands behind it is put in. Test: FilenameExpandCompat.AValueThatDoesNotFitIsLeftOut
      // COMPAT(value-once): a value is copied as it stands; a reference in it is not expanded.
      // Test: FilenameExpandCompat.AValueIsNotExpandedAgain
      out.AddWhole(value);
    } else {
      // COMPAT(unset-reference): a reference to a variable that is not set stays, and one without
      // its ")" gets it. Test: FilenameExpandCompat.AnUnsetReferenceStaysAndIsClosed
      out.AddCut("$(");
      out.AddCut(name);
      out.AddCut(")");
    }
  }
}

/// The home directory of user `name`, of the effective user when it is empty; false when there is
/// no such entry.
bool FindHome(const std::string& name, std::string& home) {
  std::string block(1024, '\0');
  for (;;) {
    passwd entry = {};
    passwd* found = nullptr;
    const int error = name.empty()
                          ? getpwuid_r(geteuid(), &entry, block.data(), block.size(), &found)
                          : getpwnam_r(name.c_str(), &entry, block.data(), block.size(), &found);
    if (error == ERANGE && block.size() < std::size_t{1} << 20) {
      block.resize(block.size() * 2);
      continue;
    }
    if (error != 0 || found == nullptr || found->pw_dir == nullptr) return false;
    home = found->pw_dir;
    return true;
  }
}

/// Replaces a leading "~" or "~name" by a home directory.
void ExpandHome(Expansion& out) {
  // COMPAT(home-after-variables): the expanded text is looked at, so a value may bring the "~" in;
  // and it is the home directory of the user's record, never "HOME".
  // Tests: FilenameExpandCompat.ATildeOfAValueIsExpanded,
  // FilenameExpandCompat.TheRecordCountsAndNotTheVariable
  const std::string_view text = out.Text();
  if (text.empty() || text[0] != '~') return;
  const std::size_t end = std::min(text.find('/'), text.size());
  std::string home;
  // The look-up leaves errno changed whether it finds the user or not; what did not fit before is
  // still to be told.
  const int error = errno;
  const bool isFound = FindHome(std::string(text.substr(1, end - 1)), home);
  errno = error;
  if (isFound) out.ReplaceStart(end, home);
}

/// A text in which every "\" reads as "/". Keeps the text itself when it has none.
class ForwardSlashes {
 public:
  explicit ForwardSlashes(std::string_view text) : m_text(text) {
    if (text.find('\\') == std::string_view::npos) return;
    m_copy = text;
    for (char& byte : m_copy) {
      if (byte == '\\') byte = '/';
    }
    m_text = m_copy;
  }
  ForwardSlashes(const ForwardSlashes&) = delete;
  ForwardSlashes& operator=(const ForwardSlashes&) = delete;
  std::string_view Text() const { return m_text; }

 private:
  std::string_view m_text;
  std::string m_copy;
};

bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

/// "//server/" of a network path; without a "/" behind the name it ends with the text.
bool IsOnServerOf(std::string_view base, std::string_view target) {
  const std::size_t name = 2;
  const std::size_t slash = target.find('/', name);
  if (slash != std::string_view::npos) return StartsWith(base, target.substr(0, slash + 1));
  // CHOICE(lone-server): "//server" is the server of "//server/", not that of "//server2/".
  // Test: GetRelPath.ALoneServerNameIsComparedWhole
  return StartsWith(base, target) && base.size() > target.size() && base[target.size()] == '/';
}

using Word = std::uint64_t;
constexpr Word kOnes = 0x0101010101010101;

Word WordAt(std::string_view text, std::size_t at) {
  Word word;
  std::memcpy(&word, text.data() + at, sizeof word);
  return word;
}

/// How many bytes at the start agree; ends with the shorter text.
std::size_t CommonLength(std::string_view left, std::string_view right) {
  const std::size_t shorter = std::min(left.size(), right.size());
  std::size_t at = 0;
  for (; at + sizeof(Word) <= shorter; at += sizeof(Word)) {
    if (WordAt(left, at) != WordAt(right, at)) break;
  }
  while (at < shorter && left[at] == right[at]) ++at;
  return at;
}

std::size_t CountSlashes(std::string_view text) {
  std::size_t count = 0;
  std::size_t at = 0;
  for (; at + sizeof(Word) <= text.size(); at += sizeof(Word)) {
    // In each byte: 0 for a slash; then its top bit: set for any other; then 1 for a slash.
    const Word other = WordAt(text, at) ^ (kOnes * '/');
    const Word bits = (((other & ~(kOnes << 7)) + ~(kOnes << 7)) | other) & (kOnes << 7);
    const Word slashes = (bits >> 7) ^ kOnes;
    count += static_cast<std::size_t>((slashes * kOnes) >> 56);
  }
  for (; at < text.size(); ++at) count += text[at] == '/' ? 1 : 0;
  return count;
}

/// As many "../" as the limit has room for, and `rest` when there is room left for it.
char* Climb(std::size_t levels, std::string_view rest) {
  // COMPAT(relative-limit): a piece without room is left out whole, and what follows may still be
  // put in; only errno tells that the result leads elsewhere.
  // Test: GetRelPathCompat.WhatIsBeyondTheLimitIsLeftOut
  const std::string_view up = "../";
  if (levels > kRelativeLimit / up.size()) {
    levels = kRelativeLimit / up.size();
    errno = ERANGE;
  }
  if (rest.size() > kRelativeLimit - levels * up.size()) {
    rest = "";
    errno = ERANGE;
  }
  NewText text(levels * up.size() + rest.size());
  for (; levels > 0; --levels) text << "../";
  return (text << rest).Finish();
}

}  // namespace

bool bix::BixIsAUri(const char* text) {
  // COMPAT(drive-is-uri): one letter and ":" are a URI, so a drive letter makes a path absolute,
  // also without a separator behind it. Test: BixIsAUriCompat.ADriveLetterIsAUri
  if (text == nullptr || !IsLetter(*text)) return false;
  do {
    ++text;
  } while (IsLetter(*text) || IsDigit(*text));
  return *text == ':';
}

char* filename_expand(const char* path) {
  // CHOICE(null-path): null is the empty text here and in full_path_name, and no URI.
  // Tests: FilenameExpand.NullIsEmpty, FullPathName.NullIsEmpty, BixIsAUri.NullIsNone
  const std::string_view text = path != nullptr ? path : "";
  // Expanded aside, because `path` may be the last result.
  Expansion expansion;
  ExpandVariables(expansion, text);
  ExpandHome(expansion);
  const std::string_view result = expansion.Text();
  std::memcpy(s_expanded, result.data(), result.size());
  s_expanded[result.size()] = '\0';
  return s_expanded;
}

char* full_path_name(const char* path) {
  const std::string_view text = path != nullptr ? path : "";
  if (!text.empty() && text[0] == '/') return Copy(text);
  // COMPAT(working-directory-limit): a working directory whose path does not fit into 4096 bytes
  // with its terminator counts as one that cannot be read.
  // Test: FullPathNameCompat.AWorkingDirectoryThatIsTooDeepIsReported
  char buffer[kWorkingDirectorySize];
  const char* directory = getcwd(buffer, sizeof buffer);
  if (directory == nullptr) {
    std::perror("getcwd");
    directory = ".";
  }
  // COMPAT(full-path-raw): nothing is folded: "./x" keeps its step, and in "/" the result begins
  // with "//". Test: FullPathNameCompat.NothingIsFolded
  const std::string_view start = directory;
  return (NewText(start.size() + 1 + text.size()) << start << "/" << text).Finish();
}

char* get_rel_path(const char* target, const char* base) {
  if (target == nullptr || base == nullptr) return nullptr;
  const ForwardSlashes targetSlashes(target);
  const ForwardSlashes baseSlashes(base);
  const std::string_view to = targetSlashes.Text();
  std::string_view from = baseSlashes.Text();
  from = from.substr(0, from.rfind('/') + 1);  // npos + 1 is 0
  // COMPAT(relative-as-passed): without a directory in `base`, `target` comes back with every "\"
  // of it, which is the only result that keeps them. Test:
  // GetRelPathCompat.ABaseWithoutADirectoryGivesTheTargetAsPassed
  if (from.empty()) return Copy(target);
  const bool isOnNetwork = to.size() >= 2 && to[0] == '/' && to[1] == '/';
  if (isOnNetwork && !IsOnServerOf(from, to)) return Copy(to);
  if (to.empty() || to[0] != from[0]) return Copy(to);

  const std::size_t common = CommonLength(to, from);
  // Back to just behind the "/" before: half a name in common is nothing in common.
  const std::size_t start = to.substr(0, common).rfind('/') + 1;
  return Climb(CountSlashes(from.substr(start)), to.substr(start));
}

char* name_unsuffix(char* name) {
  if (const char* suffix = name_suffix(name)) name[suffix - name] = '\0';
  return name;
}

char* name_base(char* name) {
  if (name == nullptr) return nullptr;
  // COMPAT(name-base-cuts): the suffix is cut off the argument itself, and the result points into
  // it. Test: NameFunctionsCompat.NameBaseCutsItsArgument
  char* const slash = std::strrchr(name_unsuffix(name), '/');
  return slash != nullptr ? slash + 1 : name;
}

const char* name_suffix(const char* name) {
  if (name == nullptr) return nullptr;
  for (const char* at = name + std::strlen(name); at != name;) {
    --at;
    // COMPAT(dot-name): a leading dot counts like any other: ".profile" is all suffix.
    // Test: NameFunctionsCompat.ANameThatBeginsWithADotIsAllSuffix
    if (*at == '.') return at;
    if (*at == '/') return nullptr;
  }
  return nullptr;
}
