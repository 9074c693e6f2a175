#ifndef BIX_URN_H_
#define BIX_URN_H_

/// Names of files that do not depend on where they lie, and the map of the directories behind them.
///
///   bix::SString path;
///   if (bix::SUrnResolver::ResolveUrn("urn:qvuser:palettes/warm.pal", path)) Open(path);
///
///   bix::SString urn;
///   bix::SUrnResolver::CreateUrn(path, urn);      // back: "urn:qvuser:palettes/warm.pal"
///
/// A URN is "urn:" NAME ":" REST. "urn:" is written in small letters, NAME in any; REST is a path
/// relative to the directory that the map has for NAME. The map holds NAMEs in small letters, in
/// the order of their bytes, and directories that end in "/" unless they are empty.
///
/// It is filled when the library is loaded: with the predefined names, and with the file that the
/// environment variable "VORN_URN_MAP_FILE" names. "urnmap.txt" in the shared data directory is
/// what a program writes and reads that lets its user define names.
///
///   predefined            directory of
///   "qv"                  BixGetInstallationRoot
///   "qvuser"              BixGetUserDir
///   "qvuseraddins"        BixGetUserAddinsDir
///   "qvteamaddins"        BixGetTeamAddinsDir
///   "qvcompanyaddins"     BixGetCompanyAddinsDir
///   "qvvornprojects"      BixGetDefaultUserProjectPath
///
/// The map as text, in the file as in a user's option "URNMap", is a list of entries "NAME:TARGET"
/// that newlines or ";" separate, see DecodeUrnMap.
///
/// Errors: nothing throws but for want of memory. Messages for the user are written to `bixerr`,
///   each closed and flushed.
/// Encoding: bytes, passed on unchanged; a URN is told by ASCII. Small letters are those of the
///   current locale, as with SString::MakeLower.
/// Threads: the map and the environment variable belong to the process and have no lock; they are
///   for its main thread. What only splits text is re-entrant.

#include "bix/hostmacros_off.h"

#include <cstdint>

#include "bix/containers.h"
#include "bix/export.h"
#include "bix/text.h"

namespace bix {

/// The operations on URNs and on their map.
class BIX_EXPORT SUrnResolver {
 public:
  /// What came of decoding or resolving a URN. Hosts are compiled against the numbers.
  enum SURNStatus : std::int32_t {
    URN_OK = 0,              ///< decoded and, when resolving, found
    URN_NOT_A_URN = 1,       ///< a path, or a URI of another kind
    URN_MALFORMED = 2,       ///< begins with "urn:" and has no second ":"
    URN_NOT_REGISTERED = 3,  ///< the map has no such NAME
  };

  SUrnResolver() = delete;

  // The map

  /// Builds the map anew: the predefined names, then the entries of "urnmap.txt". The environment
  /// variable "VORN_URN_MAP_FILE" names that file from then on, whatever it was before. Without a
  /// shared data directory nothing changes at all.
  ///
  /// An entry whose NAME is in the map already, in the letters in which it is written, is not
  /// taken: the first of a file wins, and no file redefines a predefined name. One that is written
  /// with capital letters passes that test and replaces what is there.
  ///
  /// Errors: message 10 when the file cannot be read, as before the first entry is saved; message
  ///   14 for each entry that is not taken.
  static void RegisterURNsWithoutOptions();
  /// Replaces the content of "urnmap.txt" by the entries of `text`, one a line as they are written,
  /// and builds the map anew. Without a shared data directory nothing changes at all.
  ///
  /// The file is replaced as a whole: whatever happens, its name leads to the old entries or to
  /// the new ones.
  /// Errors: "Can not open the file: <file>" when it cannot be written to, "Error occured while
  ///   writing to file :<file>" when the entries cannot be stored; the map is built from the old
  ///   file then. Messages 10 and 14 as above.
  static void RegisterURNsFromOptionString(const SString& text);
  /// Adds one entry to the map, not to the file. `name` is looked up as it is written and stored in
  /// small letters, so "QvUser" replaces "qvuser".
  ///
  /// Returns whether it was added: true also for a `target` that is missing or relative. One that
  /// is no URI and does not exist is reported by message 15.
  /// Errors: false and message 14 when `name` is in the map; the map is unchanged.
  static bool RegisterUrn(const SString& name, const SString& target);
  /// Appends the line "name:target" to "urnmap.txt" and builds the map anew. Without a shared data
  /// directory nothing changes at all.
  ///
  /// Errors: the two texts of RegisterURNsFromOptionString; file and map are unchanged then.
  ///   Messages 10 and 14 as above.
  static void RegisterURNAndSaveURNMapFile(const SString& name, const SString& target);
  /// Whether the map has `name`, which is not brought into small letters: "QV" is not in the map.
  static bool IsUrnRegistered(const SString& name);
  /// Whether a user may define the NAME of `entry`, which is "NAME:TARGET" or a NAME alone: any but
  /// the predefined ones, in whatever letters. For dialogs; the map itself does not ask.
  ///
  ///   "QvUser:/x" => false
  ///   "mine"      => true
  static bool CanUrnBeOverridden(const SString& entry);

  // URNs and paths

  /// Splits a URN. NAME is given in small letters.
  ///
  ///   "urn:QvUser:a/b:c" => "qvuser", "a/b:c", URN_OK
  ///   "urn::x"           => "", "x", URN_OK
  ///   "urn:qvuser"       => "", "", URN_MALFORMED
  ///   "URN:qvuser:a"     => "", "", URN_NOT_A_URN
  ///   "/a/b", "C:/x"     => "", "", URN_NOT_A_URN
  static void DecodeURN(const SString& urn, SString& name, SString& rest, SURNStatus& status);
  /// Sets `path` to what a URN stands for: the directory and, right behind it, REST as a path in
  /// normal form, see SPathName. What is no URN is a path already and stays as it is. Makes no
  /// system call.
  ///
  ///   with "qvuser" => "/home/me/"
  ///   "urn:QVUSER:a\b"   => "/home/me/a/b", true, URN_OK
  ///   "urn:qvuser:../x"  => "/home/me/../x", true, URN_OK       not folded
  ///   "a\b"              => "a\b", true, URN_NOT_A_URN
  ///   "urn:qvuser"       => "urn:qvuser", false, URN_MALFORMED
  ///   "urn:unknown:a"    => "urn:unknown:a", false, URN_NOT_REGISTERED
  ///
  /// A REST of 1024 bytes or more is no path: what is left is the directory, errno is EINVAL.
  /// Errors: false; message 13 when the map has no such NAME. `path` holds `urn`.
  static bool ResolveUrn(const SString& urn, SString& path, SURNStatus& status);
  static bool ResolveUrn(const SString& urn, SString& path);
  /// Sets `urn` to a URN for `path`, or to `path` itself when there is none. The first NAME in the
  /// order of the map wins in whose directory the path lies, not that of the deepest directory.
  ///
  ///   with "a" => "/p/", "qvuser" => "/p/u/"
  ///   "/p/u/f"              => "urn:a:u/f"
  ///   "/p/"                 => "urn:a:"
  ///   "/p"                  => "/p"
  ///   "/p/..f"              => "/p/..f"      what begins with ".." is taken for a way out
  ///   "", "urn:x:y", "ox:y" => itself, as what begins with "halder:"
  ///
  /// Other relative paths and URIs are taken against the working directory.
  /// Errors: as full_path_name.
  static void CreateUrn(const SString& path, SString& urn);
  /// Sets `out` to `text`, made absolute against the directory of the file `base`, see
  /// SPathName::MakeAbsolutePath. A URN stays as it is, and all stays with a relative `base`.
  ///
  ///   "a.x",    "/m/model" => "/m/a.x"
  ///   "urn:n:a", any       => "urn:n:a"
  ///   "a.x",    "m/model"  => "a.x"
  static void CreateAbsolutePath(const SString& base, const SString& text, SString& out);
  /// Sets `out` to a URN for `path`, or else to `path` as seen from the directory of the file
  /// `base`, see SPathName::MakeRelativePath. With a relative `base` it is the URN or `path`.
  static void CreateRelativePath(const SString& base, const SString& path, SString& out);

  // Entries as text

  /// Whether `target` is a directory, or a link to one. A "/" at the end does not count in a text
  /// of more than three bytes.
  ///
  /// Errors: false; with `report` message 15, which names `name`, when there is nothing of that
  ///   name, but none for a file.
  static bool DoesUrnTargetExist(const SString& name, const SString& target, bool report);
  /// The same for an entry "NAME:TARGET".
  static bool DoesUrnMappedExist(const SString& entry, bool report);
  /// Splits the text of a map and appends its entries to `entries`, without blanks at their start.
  ///
  ///   "a:/x\n  b:/y;c:/z" => "a:/x", "b:/y", "c:/z"
  ///   "a:/x\n   \nb:/y "  => "a:/x", "b:/y "          blanks at the end stay
  ///   "a:/x\n\nb:/y;c:/z" => "a:/x", "\nb:/y;c:/z"    see below
  ///   ""                  => nothing
  ///
  /// A separator that directly follows another, or begins the text, ends the splitting: it is the
  /// start of one last entry that takes in all the rest.
  static void DecodeUrnMap(const SString& text, SVector<SString>& entries);
  /// Splits one entry at its first ":".
  ///
  ///   "data:C:/x"  => "data", "C:/x"
  ///   "data"       => "data", ""
  ///   ":x"         => ":x", ""
  static void DecodeUrnMapped(const SString& entry, SString& name, SString& target);
  /// Sets `text` to all entries of the map, the predefined ones too, in its order:
  /// "qv:/opt/k/;qvuser:/home/me/". An empty map gives "".
  static void EncodeUrnMap(SString& text);
};

/// Whether `text` begins with "urn:". Null does not, and capital letters do not count.
BIX_EXPORT bool BixIsAUrn(const char* text);

/// Whether `text` begins with "halder:". Null does not, and capital letters do not count.
BIX_EXPORT bool BixIsAHalderUri(const char* text);

/// Whether `text` begins with "ox:". Null does not, and capital letters do not count.
BIX_EXPORT bool BixIsAOXUri(const char* text);

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_URN_H_
