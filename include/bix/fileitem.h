#ifndef BIX_FILEITEM_H_
#define BIX_FILEITEM_H_

/// Listing the entries of the file system, and copying a file.
///
///   std::vector<bix::BixFileItem> items;
///   bix::BixFileItem::GetFiles("urn:qvuser:*.tot", items);
///   for (bix::BixFileItem& item : items)
///     if (item.GetFileType() == 0) bix::BixCopyFile(item.GetFullPath(), Backup(item.GetName()));
///
/// The wildcards here are those of the shell: "*", "?" and "[...]", not those of the filters of
/// bix/globfilter.h.
///
/// Encoding: bytes, handed to the system unchanged.
/// Errors: nothing throws but for want of memory. What cannot be listed is reported on `bixerr`.
/// Threads: re-entrant; listing reads the URN map and may write to `bixerr`, see bix/urn.h and
///   bix/messages.h.

#include "bix/hostmacros_off.h"

#include <vector>

#include "bix/export.h"
#include "bix/pathname.h"

namespace bix {

namespace impl {
class FileItemList;
}

/// One entry of the file system, known by its path. The entry need not exist.
class BIX_EXPORT BixFileItem {
 public:
  /// Keeps the path; text is brought into the normal form of a path, see SPathName.
  BixFileItem(SPathName path);

  /// The last component, see SPathName::GetTail.
  SPathName GetName() const;
  /// The whole path.
  SPathName GetFullPath() const;
  /// What the path leads to, also through symbolic links:
  ///
  ///   a regular file                      => 0
  ///   a directory                         => 1
  ///   anything else, also nothing at all  => 3
  int GetFileType();

  /// Appends the entries that match `pattern` in the order of the system's glob(), which is sorted
  /// by the rules of the locale. A URN is resolved first, see SUrnResolver::ResolveUrn, then the
  /// pattern is expanded and made absolute against the working directory, see
  /// SPathName::MakeAbsolutePath.
  ///
  ///   "/d/*.tot"          => "/d/a.tot", "/d/b.tot"
  ///   "*"                 => the entries of the working directory, but for ".hidden" ones
  ///   "/d/.*"             => "/d/.hidden", without "/d/." and "/d/.."
  ///   "urn:qvuser:*.txt"  => the text files of the user's directory
  ///   "/d/a.tot"          => itself when it exists
  ///
  /// An item that is in `items` already is not appended again.
  /// Errors: a directory that cannot be read, and want of memory, end the listing: the text of the
  ///   system's error, ": " and the absolute pattern are written to `bixerr`. No match is no error,
  ///   but a directory in front of the wildcards that is missing is.
  static void GetFiles(SPathName pattern, std::vector<BixFileItem>& items);

  /// Sets `items` to the entries of this directory, as GetFiles does with "<path>/*". Wildcards in
  /// the path itself work, too. Nothing is listed for what is no directory.
  void GetFilesList(std::vector<BixFileItem>& items);

  /// Whether the paths are the same, byte by byte.
  bool operator==(const BixFileItem& other) const;
  bool operator!=(const BixFileItem& other) const;

 private:
  friend class impl::FileItemList;

  SPathName m_path;
};

/// Copies the bytes of the file `from` into the file `to`, which is created or overwritten. Mode and
/// owner are not copied. The names are plain paths.
///
/// A file is its own copy: when both names lead to the same file, nothing is touched.
/// Errors: false, when either cannot be opened, read, written or closed; errno tells why. A `from`
///   that cannot be opened creates nothing; after a later failure `to` holds what could be written.
///   A directory can be opened, but not read.
BIX_EXPORT bool BixCopyFile(const SString& from, const SString& to);

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_FILEITEM_H_
