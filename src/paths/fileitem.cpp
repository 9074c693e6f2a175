#include "bix/fileitem.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bix/messages.h"
#include "bix/urn.h"
#include "support/above_standard.h"
#include "support/scoped_fd.h"

namespace bix {

/// A list of items that takes none twice, and not the directory of the pattern and the one above.
/// As long as each path comes behind the one before it, byte by byte, the first needs no more than
/// a look at the last; most locales sort so.
class impl::FileItemList {
 public:
  /// Prepares for `count` further items.
  FileItemList(std::vector<BixFileItem>& items, std::size_t count, const SPathName& pattern)
      : m_items(items),
        m_itself(pattern.GetDirectory()),
        m_above(m_itself),
        m_needed(items.size() + count),
        m_isAscending(items.empty()) {
    // Both get into normal form, as the matches: what leads to the directory above has no ".." at
    // its end any more.
    m_itself.AddPathElement(".");
    m_above.AddPathElement("..");
    // A list that grows with call after call is not moved by each of them.
    if (m_needed > items.capacity()) items.reserve(std::max(m_needed, 2 * items.capacity()));
  }

  void Append(const char* match) {
    const SPathName& path = m_items.emplace_back(match).m_path;
    if (path == m_itself || path == m_above || !IsNew()) m_items.pop_back();
  }

 private:
  struct Place {
    std::uint32_t hash = 0;
    std::uint32_t item = 0;  // its number, counted from 1; 0 for a free place
  };

  /// Whether the path of the last item is not that of another one.
  bool IsNew() {
    const std::size_t last = m_items.size() - 1;
    m_isAscending =
        m_isAscending && (last == 0 || m_items[last - 1].m_path.compare(m_items[last].m_path) < 0);
    if (m_isAscending) return true;
    if (m_places.empty()) EnterAll();
    return Enter(last);
  }

  /// Makes the places, for all items but the last.
  void EnterAll() {
    std::size_t size = 16;
    while (size < 2 * m_needed) size *= 2;
    m_places.resize(size);
    for (std::size_t i = 0; i + 1 < m_items.size(); ++i) Enter(i);
  }

  /// Whether no item of the same path has a place yet; then this one has.
  bool Enter(std::size_t index) {
    const SPathName& path = m_items[index].m_path;
    const auto hash = static_cast<std::uint32_t>(std::hash<std::string_view>()(path));
    for (std::size_t at = hash;; ++at) {
      Place& place = m_places[at & (m_places.size() - 1)];
      if (place.item == 0) {
        place = {hash, static_cast<std::uint32_t>(index + 1)};
        return true;
      }
      if (place.hash == hash && m_items[place.item - 1].m_path == path) return false;
    }
  }

  std::vector<BixFileItem>& m_items;
  SPathName m_itself;
  SPathName m_above;
  const std::size_t m_needed;
  bool m_isAscending;
  std::vector<Place> m_places;  // a power of two, at most half of it taken; made when it is needed
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
  std::size_t Count() const { return m_matches.gl_pathc; }

  /// The text of a match, which is asked for in turn: those that follow are fetched meanwhile, for
  /// sorting has scattered them.
  const char* Text(std::size_t index) const {
    constexpr std::size_t kAhead = 8;
    if (index + kAhead < Count()) __builtin_prefetch(m_matches.gl_pathv[index + kAhead]);
    return m_matches.gl_pathv[index];
  }

 private:
  glob_t m_matches{};
  int m_result;
  int m_error;
};

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

  const Matches matches(absolute.c_str());
  if (matches.Result() != 0) return ReportFailure(matches, absolute);
  impl::FileItemList list(items, matches.Count(), absolute);
  for (std::size_t i = 0; i < matches.Count(); ++i) list.Append(matches.Text(i));
}

void BixFileItem::GetFilesList(std::vector<BixFileItem>& items) {
  const bool isDirectory = GetFileType() == 1;
  SPathName pattern = m_path;
  items.clear();  // this item may be one of them, and is gone from here on
  if (!isDirectory) return;
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
  impl::ScopedFd target(
      impl::AboveStandard(open(to.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666)));
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
