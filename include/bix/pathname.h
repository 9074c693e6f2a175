#ifndef BIX_PATHNAME_H_
#define BIX_PATHNAME_H_

/// File paths, normalised on every assignment from text, and plain functions on path text.
///
///   bix::SPathName file("$(PROJECT)\\models");   // "$(PROJECT)/models"
///   file.AddPathElement("house.x");
///   file.MakeAbsolutePath();                      // expands the variable first
///   const bix::SString folder = file.GetDirectory();
///   char* name = file.GetBaseName();              // "house"
///   free(name);
///
/// Encoding: bytes, handed to the system unchanged. Only "/", "\", ".", "~" and "$" mean something.
/// Owner: char* results are new text; the caller releases it with free(). const char* results point
///   into the text they were asked of and are valid until its next change. Null is the empty text.
/// Errors: nothing throws but for want of memory, and nothing is written but what full_path_name
///   says. A result that has no room is empty or incomplete, and errno tells: EINVAL or ERANGE.
/// Threads: re-entrant; one object is not changed from two threads at once. What expands variables
///   reads the environment, so it does not run beside setenv() or putenv().

#include "bix/hostmacros_off.h"

#include <string>
#include <type_traits>

#include "bix/export.h"
#include "bix/text.h"

namespace bix {

/// A file path. Its text is what the SString says.
///
/// Whatever the path is made of or assigned from is brought into normal form:
///
///   "C:\x\..\y"    => "C:/y"      "\" becomes "/"; absolute text is canonical
///   "/a/./b"       => "/a/b"
///   "/a/b/.."      => "/a"
///   "/a/.."        => ""          steps beyond the root are dropped
///   "/a/."         => "/a/."      a trailing "." step stays
///   "/a//b"        => "/a//b"     empty components stay
///   "/a//../b"     => "/a/b"      and are components for a step back
///   "C:/../x"      => "/x"        as are drive, scheme and host
///   "a\..\b"       => "a/../b"    relative text keeps its steps
///   1024 bytes     => ""          1023 is the most; EINVAL
///
/// Case is kept. Text ends at its first zero byte. What SString operations do to the text is not
/// normalised, nor is a copy of another path.
class BIX_EXPORT SPathName : public SString {
 public:
  SPathName() = default;
  /// The normal form of `text`; null is "".
  /// Errors: "" and errno EINVAL for text of 1024 bytes or more.
  SPathName(const char* text);
  SPathName(const SString& text);
  SPathName(const SPathName&) = default;
  SPathName(SPathName&&) noexcept = default;
  ~SPathName() override;

  /// As the constructors. `text` may lie inside the path itself.
  SPathName& operator=(const char* text);
  SPathName& operator=(const SString& text);
  SPathName& operator=(const SPathName&) = default;
  SPathName& operator=(SPathName&&) noexcept = default;

  /// What stands behind the last separator: the last "/", or the last "\" of a text without any
  /// "/".
  ///
  ///   "/a/b" => "b"
  ///   "/a/"  => ""
  ///   "b"    => "b"
  ///
  /// Owner: owned by the path, valid until its next change.
  const char* GetTail() const;
  /// The suffix of the last component with its dot, or null; see name_suffix.
  /// Owner: owned by the path, valid until its next change.
  const char* GetSuffix() const;
  /// The last component without its suffix.
  ///
  ///   "/a/b.c"      => "b"
  ///   "x.tar.gz"    => "x.tar"
  ///   "/a/.profile" => ""
  ///
  /// Owner: new text; the caller releases it with free().
  char* GetBaseName() const;
  /// What stands before the last separator. It is never empty and keeps the "/" of a drive.
  ///
  ///   "/a/b" => "/a"
  ///   "C:/x" => "C:/"
  ///   "/foo" => "/"
  ///   "foo"  => "/"       also without a separator
  SString GetDirectory() const;
  /// The text with every "/" as "\".
  /// Owner: new text; the caller releases it with free().
  char* GetWinPath() const;
  /// The text with every "\" as "/".
  /// Owner: new text; the caller releases it with free().
  char* GetUnixPath() const;
  /// Whether the text begins with "/" or is a URI, see BixIsAUri: "C:/x", "C:x", "urn:a:b".
  bool IsAbsolutePath() const;

  /// Appends `element`, with one "/" between. An absolute result is canonicalised; its length is
  /// not limited.
  ///
  ///   "/a"   with "/b"   => "/a/b"        one leading "/" is dropped
  ///   "/a/"  with "//b"  => "/a//b"       and only one
  ///   ""     with "/b"   => "/b"          none on an empty path
  ///   "/a/b" with "../c" => "/a/c"
  ///   "a/b"  with "../c" => "a/b/../c"
  ///   "/a"   with ""     => "/a/"
  ///   "/a"   with "b\c"  => "/a/b\c"      a "\" stays
  ///
  /// `element` may lie inside the path itself; null is "".
  void AddPathElement(const char* element);
  void AddPathElement(const SString& element);
  /// Appends `suffix`, which brings its dot, to a path that has none; any other stays unchanged.
  ///
  ///   "x"     with ".tot" => "x.tot"
  ///   "x.cfg" with ".tot" => "x.cfg"
  ///   "a.b/x" with ".tot" => "a.b/x.tot"
  ///
  /// `suffix` may lie inside the path itself; null is "".
  void AddSuffix(const char* suffix);
  void AddSuffix(const SString& suffix);
  /// Cuts the suffix off, see name_unsuffix, and assigns what is left.
  /// Errors: as the assignment.
  void SubSuffix();
  /// Assigns filename_expand() of the text.
  void MakeExpandPath();
  /// Expands the path and makes it absolute against the working directory. "" stays "".
  ///
  ///   "/x"  => "/x"
  ///   "x"   => "<cwd>/x"
  ///   "C:/x" => "<cwd>/C:/x"     only a leading "/" counts as absolute here
  ///
  /// Errors: as full_path_name and the assignment.
  void MakeAbsolutePath();
  /// Expands the path and makes it absolute against the directory of the file `base`, which is
  /// expanded and made absolute, too.
  ///
  ///   "sub/a.tot" with "/m/model.x" => "/m/sub/a.tot"
  ///   "a.tot"     with "/m/dir"     => "/m/a.tot"       a directory needs a separator at its end
  ///   "a.tot"     with "/m/dir/"    => "/m/dir/a.tot"
  ///   "../x"      with "/m/dir/f"   => "/m/x"
  ///   "C:/x"      with any          => "C:/x"           see IsAbsolutePath
  ///   ""          with "/m/f"       => "/m/"
  ///   any         with ""           => as without a base
  ///
  /// Errors: when the result would be of 1024 bytes or more, errno is ERANGE and the path becomes
  ///   the base's directory.
  void MakeAbsolutePath(const SPathName& base);
  /// Makes the path relative to the directory of the file `base`; see get_rel_path. Both are taken
  /// against the working directory first; neither is expanded or canonicalised.
  ///
  ///   "/a/c/x" with "/a/b/f" => "../c/x"
  ///
  /// Errors: as full_path_name, get_rel_path and the assignment.
  void MakeRelativePath(const SPathName& base);
  /// Creates the directory, and the one level above when that is missing, with mode 0777 less the
  /// umask. One "/" at the end does not count.
  ///
  /// Returns whether the directory has been created or was there. "X:" and "X:/" only ask whether
  /// the directory "X:/" is there.
  /// Errors: false; errno as mkdir() or stat() left it.
  bool CreateDirectoryA();
};

/// Whether the two texts are the same, byte by byte; case counts. Text that is not a path yet is
/// normalised first.
///
///   SPathName("a/b") == "a\b"  => true
///   SPathName("a/b") == "A/b"  => false
///
/// Errors: text of 1024 bytes or more compares as "", errno is EINVAL.
BIX_EXPORT bool operator==(const SPathName& left, const SPathName& right);
BIX_EXPORT bool operator!=(const SPathName& left, const SPathName& right);
BIX_EXPORT bool operator==(const SPathName& left, const char* right);
BIX_EXPORT bool operator!=(const SPathName& left, const char* right);
BIX_EXPORT bool operator==(const char* left, const SPathName& right);
BIX_EXPORT bool operator!=(const char* left, const SPathName& right);

// The same for other texts. They take part only when one side is a path already: as plain functions
// they would compete for every comparison of two texts, because any text converts to a path.

template <class Path, class = std::enable_if_t<std::is_base_of_v<SPathName, Path>>>
bool operator==(const Path& left, const std::string& right) {
  return left == right.c_str();
}
template <class Path, class = std::enable_if_t<std::is_base_of_v<SPathName, Path>>>
bool operator!=(const Path& left, const std::string& right) {
  return !(left == right.c_str());
}
template <class Path, class = std::enable_if_t<std::is_base_of_v<SPathName, Path>>>
bool operator==(const std::string& left, const Path& right) {
  return right == left.c_str();
}
template <class Path, class = std::enable_if_t<std::is_base_of_v<SPathName, Path>>>
bool operator!=(const std::string& left, const Path& right) {
  return !(right == left.c_str());
}
template <class Path, class = std::enable_if_t<std::is_base_of_v<SPathName, Path>>>
bool operator==(const Path& left, const SString& right) {
  return left == right.c_str();
}
template <class Path, class = std::enable_if_t<std::is_base_of_v<SPathName, Path>>>
bool operator!=(const Path& left, const SString& right) {
  return !(left == right.c_str());
}
template <class Path, class = std::enable_if_t<std::is_base_of_v<SPathName, Path>>>
bool operator==(const SString& left, const Path& right) {
  return right == left.c_str();
}
template <class Path, class = std::enable_if_t<std::is_base_of_v<SPathName, Path>>>
bool operator!=(const SString& left, const Path& right) {
  return !(right == left.c_str());
}

/// Whether `text` begins with an ASCII letter, any ASCII letters and digits, and ":".
///
///   "http://h", "urn:x", "a1:"  => true
///   "c:", "C:x"                 => true      a drive letter is a URI
///   "a.b:c", "1a:", ":x", "x"   => false
///   null                        => false
BIX_EXPORT bool BixIsAUri(const char* text);

}  // namespace bix

/// Expands $(NAME) references to environment variables and then a leading "~" or "~user".
///
///   "$(HOME)/x"   => "/home/me/x"
///   "$(HOME"      => "/home/me"            the end closes a reference, too
///   "$(UNSET)/x"  => "$(UNSET)/x"          an unset one stays, "$(UNSET" as "$(UNSET)"
///   "$HOME"       => "$HOME"               the form with parentheses only
///   "$$(HOME)"    => "$$(HOME)"            "$" takes the next character along
///   "~/x"         => "/home/me/x"          of the effective user's record, not of "HOME"
///   "~root/x"     => "/root/x"
///   "~nobody-x/y" => "~nobody-x/y"         an unknown user stays
///
/// Values are not expanded again, but a "~" that a value brings to the start is. `path` may be the
/// last result.
/// Owner: shared static; valid until the next call of the thread, also of the SPathName operations
///   that expand.
/// Errors: the result has at most 1023 bytes. A value or home directory that does not fit is left
///   out or not put in, any other text is cut off; errno is ERANGE.
/// Threads: does not run beside setenv() or putenv(). Each thread has a result of its own.
BIX_EXPORT char* filename_expand(const char* path);

/// Makes `path` absolute against the current working directory.
///
///   "/x"  => "/x"
///   "x"   => "<cwd>/x"
///   "./x" => "<cwd>/./x"      steps are not folded
///   ""    => "<cwd>/"
///
/// Owner: new text; the caller releases it with free().
/// Errors: when the working directory cannot be read, or its path is longer than 4095 bytes, prints
///   "getcwd" through perror and uses ".".
BIX_EXPORT char* full_path_name(const char* path);

/// `target` as seen from the directory of the file `base`.
///
///   "/a/c/x", "/a/b/f"         => "../c/x"
///   "/a/b/x", "/a/b/f"         => "x"
///   "/a/b/",  "/a/b/f"         => ""           the directory itself
///   "/a/b",   "/a/b/f"         => "../b"
///   "/a\c\x", "/a/b/f"         => "../c/x"     "\" counts as "/"
///   "b\x",    "f"              => "b\x"        a base without a directory: as passed
///   "c:/x",   "/a/f"           => "c:/x"       nothing in common
///   "//s/x",  "//t/f"          => "//s/x"      another server has nothing in common
///   null in either place       => null
///
/// Case counts. Nothing is canonicalised.
/// Owner: new text; the caller releases it with free().
/// Errors: the result has at most 4096 bytes; each "../" and the rest of `target` is left out when
///   there is no room for it, and errno is ERANGE.
BIX_EXPORT char* get_rel_path(const char* target, const char* base);

/// Cuts `name` at the last "." of its last component, in place, and returns it. Only "/" separates.
///
///   "x.tar.gz"    => "x.tar"
///   "a.b/c"       => "a.b/c"
///   "/a/.profile" => "/a/"
///   "dir/"        => "dir/"
///   null          => null
BIX_EXPORT char* name_unsuffix(char* name);

/// Cuts the suffix off `name` itself and returns what stands behind its last "/".
///
///   "/a/b.c" => "b"         and the argument is "/a/b"
///   null     => null
///
/// Owner: part of `name`.
BIX_EXPORT char* name_base(char* name);

/// The last "." of the last component of `name` and what follows, or null. Only "/" separates.
///
///   "x.tar.gz" => ".gz"
///   ".profile" => ".profile"
///   "x."       => "."
///   "a.b/c"    => null
///   null       => null
///
/// Owner: part of `name`.
BIX_EXPORT const char* name_suffix(const char* name);

#include "bix/hostmacros_on.h"

#endif  // BIX_PATHNAME_H_
