#include "bix/fileitem.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <unordered_set>
#include <utility>

#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bix/messages.h"
#include "bix/urn.h"
#include "support/scoped_fd.h"

namespace bix {

/// A list of items that takes none twice.
class impl::FileItemList {
 public:
  /// Prepares for `count` further items, so that all stay where they are.
  FileItemList(std::vector<BixFileItem>& items, std::size_t count) : m_items(items) {
    const std::size_t needed = items.size() + count;
    // A list that grows with call after call is not moved by each of them.
    if (needed > items.capacity()) items.reserve(std::max(needed, 2 * items.capacity()));
    m_paths.reserve(needed);
    for (const BixFileItem& item : items) m_paths.insert(item.m_path);
  }

  void Append(SPathName path) {
    if (m_paths.find(path) != m_paths.end()) return;
    m_items.emplace_back(std::move(path));
    m_paths.insert(m_items.back().m_path);
  }

 private:
  std::vector<BixFileItem>& m_items;
  std::unordered_set<std::string_view> m_paths;  // of the items
};

namespace {

/// The matches of a pattern, in the order of the system.
class Matches {
 public:
  explicit Matches(const char* pattern) {
    m_result = glob(pattern, GLOB_ERR, nullptr, &m_matches);
    m_error = errno;
  }
  Matches(const Matches&) = delete;
  Matches& operator=(const Matches&) = delete;
  ~Matches() { globfree(&m_matches); }

  int Result() const { return m_result; }
  int Error() const { return m_error; }
  char** begin() const { return m_matches.gl_pathv; }
  char** end() const { return m_matches.gl_pathv + m_matches.gl_pathc; }
  std::size_t Count() const { return m_matches.gl_pathc; }

 private:
  glob_t m_matches{};
  int m_result;
  int m_error;
};

/// The directory of the pattern with one more element.
SPathName InDirectoryOf(const SPathName& pattern, const char* element) {
  SPathName path = pattern.GetDirectory();
  path.AddPathElement(element);
  return path;
}

void ReportFailure(const Matches& matches, const SPathName& pattern) {
  if (matches.Result() == GLOB_NOMATCH) return;
  const bool isKnown = matches.Result() == GLOB_NOSPACE || matches.Result() == GLOB_ABORTED;
  // CHOICE(listing-flush): the line is delivered at once, lest it is glued to another message.
  // Test: FileListing.AMissingDirectoryIsReported
  bixerr << (isKnown ? std::strerror(matches.Error()) : "Unknown error") << ": " << pattern << endl
         << flush;
}

}  // namespace

BixFileItem::BixFileItem(SPathName path) : m_path(std::move(path)) {}

SPathName BixFileItem::GetName() const { return m_path.GetTail(); }

SPathName BixFileItem::GetFullPath() const { return m_path; }

int BixFileItem::GetFileType() {
  struct stat status {};
  // COMPAT(file-type-of-nothing): what does not exist has the type of what is neither file nor
  // directory. Test: FileItemCompat.WhatDoesNotExistIsSomethingElse
  (void)stat(m_path.c_str(), &status);
  if (S_ISDIR(status.st_mode)) return 1;
  return S_ISREG(status.st_mode) ? 0 : 3;
}

void BixFileItem::GetFiles(SPathName pattern, std::vector<BixFileItem>& items) {
  SPathName absolute;
  // What cannot be resolved stays a URN and is looked for as a relative path; the resolver has
  // reported it.
  (void)SUrnResolver::ResolveUrn(pattern, absolute);
  absolute.MakeAbsolutePath();

  // Both are in normal form, as the matches that are compared with them: what leads to the
  // directory above has no ".." at its end any more.
  const SPathName itself = InDirectoryOf(absolute, ".");
  const SPathName above = InDirectoryOf(absolute, "..");

  const Matches matches(absolute.c_str());
  if (matches.Result() != 0) return ReportFailure(matches, absolute);
  impl::FileItemList list(items, matches.Count());
  for (const char* const match : matches) {
    SPathName path = match;
    if (path == itself || path == above) continue;
    list.Append(std::move(path));
  }
}

void BixFileItem::GetFilesList(std::vector<BixFileItem>& items) {
  items.clear();
  if (GetFileType() != 1) return;
  SPathName pattern = m_path;
  // COMPAT(listing-wildcards): wildcards in the directory's own name are wildcards here, too.
  // Required by existing hosts. Test: FileListingCompat.WildcardsInTheDirectoryAreWildcards
  pattern.AddPathElement("*");
  GetFiles(std::move(pattern), items);
}

bool BixFileItem::operator==(const BixFileItem& other) const { return m_path == other.m_path; }
bool BixFileItem::operator!=(const BixFileItem& other) const { return m_path != other.m_path; }

namespace {

/// Writes all of it; false when that is not possible.
bool WriteAll(int fd, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t count = write(fd, bytes, size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

/// Copies to the end of the source; false when reading or writing fails.
bool CopyBytes(int from, int to) {
  char block[64 * 1024];
  for (;;) {
    const ssize_t count = read(from, block, sizeof block);
    if (count == 0) return true;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 || !WriteAll(to, block, static_cast<std::size_t>(count))) return false;
  }
}

bool IsSameFile(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

}  // namespace

bool BixCopyFile(const SString& from, const SString& to) {
  const impl::ScopedFd source(open(from.c_str(), O_RDONLY | O_CLOEXEC));
  if (!source.IsOpen()) return false;
  impl::ScopedFd target(open(to.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
  if (!target.IsOpen()) return false;

  struct stat sourceStatus {};
  struct stat targetStatus {};
  if (fstat(source.Get(), &sourceStatus) != 0 || fstat(target.Get(), &targetStatus) != 0)
    return false;
  // CHOICE(copy-onto-itself): a file is its own copy; truncating it would lose it.
  // Test: FileCopy.AFileOntoItselfIsLeftAlone
  if (IsSameFile(sourceStatus, targetStatus)) return true;
  if (S_ISREG(targetStatus.st_mode) && ftruncate(target.Get(), 0) != 0) return false;

  // COMPAT(copy-partial): a copy that fails leaves what it has written, also of a directory, which
  // can be opened but not read. Test: FileCopyCompat.AFailedCopyLeavesAPartialTarget,
  // FileCopyCompat.ADirectoryEmptiesTheTarget
  if (!CopyBytes(source.Get(), target.Get())) return false;
  if (const int error = target.Close()) {
    errno = error;
    return false;
  }
  return true;
}

}  // namespace bix
