#include "bix/pathname.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include <sys/stat.h>

#include "paths/canonicalize.h"
#include "support/scoped_text.h"

namespace bix {
namespace {

// Text of so many bytes or more is no path.
constexpr std::size_t kPathLimit = 1024;

/// Canonicalises a text that is absolute.
void Canonicalize(std::string& path) {
  if (impl::IsAbsoluteText(path.c_str()))
    path.resize(impl::CanonicalizePath(path.data(), path.data(), path.size()));
}

/// What there is to take of `text`.
std::string_view Accept(const char* text) {
  if (text == nullptr) return "";
  const std::size_t length = strnlen(text, kPathLimit);
  if (length < kPathLimit) return {text, length};
  // COMPAT(overlong-is-empty): overlong text gives an empty path and not a shortened one.
  // Test: PathNameLimitCompat.TextOf1024BytesGivesAnEmptyPath
  errno = EINVAL;
  return "";
}

/// Brings the accepted text of `path` into normal form.
void Normalize(std::string& path) {
  char* const end = path.data() + path.size();
  for (char* at = path.data(); (at = static_cast<char*>(std::memchr(
                                    at, '\\', static_cast<std::size_t>(end - at)))) != nullptr;) {
    *at++ = '/';
  }
  // COMPAT(relative-keeps-steps): relative text is never canonicalised: "a/../b" stays, for "a" may
  // be a link, and what a leading ".." leads to is only known with the base.
  // Test: PathNameCompat.RelativeTextKeepsItsSteps
  Canonicalize(path);
}

char* NewText(const char* text, std::size_t length) {
  auto* const copy = static_cast<char*>(std::malloc(length + 1));
  if (copy == nullptr) throw std::bad_alloc();
  std::memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

char* NewTextWith(const std::string& text, char separator, char instead) {
  char* const copy = NewText(text.c_str(), std::strlen(text.c_str()));
  for (char* at = copy; *at != '\0'; ++at) {
    if (*at == separator) *at = instead;
  }
  return copy;
}

bool IsDrive(const std::string& text) {
  return text.size() == 2 && text[1] == ':' && BixIsAUri(text.c_str());
}

bool IsDirectory(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

SPathName::SPathName(const char* text) : SString(std::string(Accept(text))) { Normalize(*this); }
SPathName::SPathName(const SString& text) : SPathName(text.c_str()) {}
SPathName::~SPathName() = default;

SPathName& SPathName::operator=(const char* text) {
  const std::string_view accepted = Accept(text);
  assign(accepted.data(), accepted.size());  // may be a part of this text itself
  Normalize(*this);
  return *this;
}

SPathName& SPathName::operator=(const SString& text) { return *this = text.c_str(); }

const char* SPathName::GetTail() const {
  const char* const separator = impl::FindLastDirSep(c_str());
  return separator != nullptr ? separator + 1 : c_str();
}

const char* SPathName::GetSuffix() const { return name_suffix(c_str()); }

char* SPathName::GetBaseName() const {
  const char* const slash = std::strrchr(c_str(), '/');
  const char* const name = slash != nullptr ? slash + 1 : c_str();
  const char* const suffix = GetSuffix();
  return NewText(name,
                 suffix != nullptr ? static_cast<std::size_t>(suffix - name) : std::strlen(name));
}

SString SPathName::GetDirectory() const {
  const char* const separator = impl::FindLastDirSep(c_str());
  // COMPAT(directory-of-a-name): without a separator the result is "/", neither "." nor "".
  // Test: PathNameDirectoryCompat.ABareNameIsInTheRoot
  if (separator == nullptr || separator == c_str()) return "/";
  SString directory(std::string(c_str(), separator));
  if (IsDrive(directory)) directory += '/';
  return directory;
}

char* SPathName::GetWinPath() const { return NewTextWith(*this, '/', '\\'); }
char* SPathName::GetUnixPath() const { return NewTextWith(*this, '\\', '/'); }
bool SPathName::IsAbsolutePath() const { return impl::IsAbsoluteText(c_str()); }

void SPathName::AddPathElement(const char* element) {
  if (element == nullptr) element = "";
  const std::less_equal<> notBehind;
  if (notBehind(data(), element) && notBehind(element, data() + size())) {
    const std::string copy = element;  // it would move away with the path's own text
    AddPathElement(copy.c_str());
    return;
  }
  if (!empty()) {
    if (back() != '/' && back() != '\\') append(1, '/');
    // COMPAT(one-slash-of-an-element): one leading "/" goes and no more, none at all on an empty
    // path, and a "\" of the element stays. Test: PathNameElementCompat.OneLeadingSlashGoes
    if (*element == '/') ++element;
  }
  // CHOICE(element-not-limited): only text that is assigned is limited; a path may grow beyond that
  // by elements and suffixes. Test: PathNameElement.TheResultIsNotLimited
  append(element);
  Canonicalize(*this);
}

void SPathName::AddPathElement(const SString& element) { AddPathElement(element.c_str()); }

void SPathName::AddSuffix(const char* suffix) {
  if (suffix == nullptr) return;
  // COMPAT(suffix-never-replaced): a path that has a suffix keeps it, and any dot of the last
  // component counts as one. Test: PathNameSuffixCompat.AnyDotKeepsTheSuffixOut
  if (GetSuffix() == nullptr) append(suffix);
}

void SPathName::AddSuffix(const SString& suffix) { AddSuffix(suffix.c_str()); }

void SPathName::SubSuffix() {
  if (const char* suffix = GetSuffix()) resize(static_cast<std::size_t>(suffix - c_str()));
  // COMPAT(unsuffix-normalises): what is left is assigned as text and so normalised once more:
  // "/a/b/..." loses one dot to its suffix and then the component before.
  // Test: PathNameSuffixCompat.WhatIsLeftIsNormalised
  *this = c_str();
}

void SPathName::MakeExpandPath() { *this = filename_expand(c_str()); }

void SPathName::MakeAbsolutePath() {
  if (empty()) return;
  // COMPAT(absolute-by-slash): only a leading "/" counts here, so "C:/x" and "urn:a:b" get the
  // working directory in front. With a base they stay as they are.
  // Test: PathNameAbsoluteCompat.OnlyALeadingSlashCountsWithoutABase
  *this = impl::ScopedText(full_path_name(filename_expand(c_str()))).get();
}

void SPathName::MakeAbsolutePath(const SPathName& base) {
  if (base.empty()) {
    MakeAbsolutePath();
    return;
  }
  // A copy: the base is expanded into the same storage.
  const std::string expanded = filename_expand(c_str());
  if (impl::IsAbsoluteText(expanded.c_str())) {
    *this = expanded.c_str();
    return;
  }
  std::string text = impl::ScopedText(full_path_name(filename_expand(base.c_str()))).get();
  // COMPAT(base-is-a-file): the base's last component goes, unless a separator ends it.
  // Test: PathNameAbsoluteCompat.TheBaseIsAFile
  // CHOICE(base-separator): the later of both separators counts, which the value of a variable may
  // bring in. Test: PathNameAbsolute.TheLaterSeparatorOfTheBaseCounts
  text.resize(text.find_last_of("/\\") + 1);  // npos + 1 is 0
  // COMPAT(absolute-no-room): a path that does not fit behind the base's directory is left out, so
  // that directory is the result; only errno tells.
  // Test: PathNameAbsoluteCompat.APathThatDoesNotFitIsLeftOut
  if (text.size() + expanded.size() < kPathLimit)
    text += expanded;
  else
    errno = ERANGE;
  *this = text.c_str();
}

void SPathName::MakeRelativePath(const SPathName& base) {
  const impl::ScopedText target(full_path_name(c_str()));
  const impl::ScopedText from(full_path_name(base.c_str()));
  // COMPAT(relative-raw): neither side is expanded or canonicalised before.
  // Test: PathNameRelativeCompat.NeitherSideIsExpandedOrCanonicalised
  *this = impl::ScopedText(get_rel_path(target.get(), from.get())).get();
}

bool SPathName::CreateDirectoryA() {
  std::string name = c_str();
  // CHOICE(create-root): a path that is "/" alone names a directory that exists.
  // Test: PathNameCreateDirectory.TheRootExists
  if (name.size() > 1 && name.back() == '/') name.pop_back();
  if (IsDrive(name)) return IsDirectory(name + "/");
  if (const char* separator = impl::FindLastDirSep(name.c_str())) {
    // COMPAT(one-missing-parent): one level above is created when it is missing and no more;
    // whether that succeeds shows below. Test:
    // PathNameCreateDirectoryCompat.OneMissingParentIsCreated
    (void)mkdir(std::string(name.c_str(), separator).c_str(), 0777);
  }
  if (mkdir(name.c_str(), 0777) == 0) return true;
  return errno == EEXIST && IsDirectory(name);
}

bool operator==(const SPathName& left, const SPathName& right) { return left.Compare(right) == 0; }
bool operator!=(const SPathName& left, const SPathName& right) { return !(left == right); }

bool operator==(const SPathName& left, const char* right) { return left == SPathName(right); }
bool operator!=(const SPathName& left, const char* right) { return !(left == right); }
bool operator==(const char* left, const SPathName& right) { return right == left; }
bool operator!=(const char* left, const SPathName& right) { return !(right == left); }

}  // namespace bix
