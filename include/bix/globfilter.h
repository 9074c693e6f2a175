#ifndef BIX_GLOBFILTER_H_
#define BIX_GLOBFILTER_H_

/// The wildcard filters that users type, such as "*.tot".
///
///   bix::SString error;
///   if (!bix::BixGlob::IsGlobValid(filter, error)) return Show(error);
///   for (const auto& item : items) {
///     if (bix::BixGlob::IsAMatch(filter, item.GetName().c_str(), error)) Add(item);
///   }
///
/// Only "*" is a wildcard: it stands for any number of characters, none included, but not for a
/// line feed. Every other character stands for itself, with these exceptions, which come from the
/// regular expression that a filter is translated into:
///
///   "a]"       matches "a\]" and not "a]"
///   "a{2}"     matches "aa": "{n}", "{n,}" and "{n,m}" repeat the character in front
///   "{2}"      is invalid, as is "x{2,1}" and "*{2}"
///   "{a}"      matches "{a}": no such repetition
///
/// A filter matches the name as a whole; case counts.
///
/// Encoding: UTF-8, of the filter and of the names, whatever the locale. Null counts as "".
/// Errors: nothing throws. What goes wrong is a false result with a text for the user.
/// Threads: re-entrant for valid filters. The text of an error is loaded from the string tables, and
///   the library's own handle is the current resource handle meanwhile, see bix/stringtable.h.

#include "bix/hostmacros_off.h"

#include "bix/export.h"
#include "bix/text.h"

namespace bix {

/// Matching of names with filters.
class BIX_EXPORT BixGlob {
 public:
  BixGlob() = delete;

  /// Whether `name` matches the filter `pattern`.
  ///
  ///   "*.tot"  "a.tot", ".tot"          => true
  ///            "a.tot.bak", "a.TOT"     => false
  ///   "a?c"    "a?c"                    => true
  ///            "abc"                    => false
  ///   "a.b"    "axb"                    => false
  ///   "x|y"    "x|y"                    => true
  ///   "*"      "a", ""                  => true
  ///            "a\nb"                   => false      across a line feed
  ///   ""       ""                       => true
  ///
  /// The filter is kept translated for the next calls with the same text, of a few filters at a
  /// time. Time grows with the length of the name times that of the filter at most. It is bounded
  /// where characters are repeated in braces: what takes millions of steps may count as no match.
  ///
  /// Errors: false, and `error` tells why, for a filter that is not valid, see IsGlobValid. In all
  /// other cases `error` is "" afterwards, also for a name that is not valid UTF-8, which is no
  /// match.
  static bool IsAMatch(const char* pattern, const char* name, SString& error);

  /// Whether the filter can be translated.
  ///
  ///   "*.tot", "(x", "x|y", "a{2}", ""   => true
  ///   "x{2,1}", "{2}", "*{2}"            => false
  ///   bytes that are not UTF-8           => false
  ///
  /// Errors: false, and `error` is "The filter '<pattern>' is invalid." and, on a line of its own,
  /// the reason as the regular expression engine puts it: text 16 of the library, in the user's
  /// language. Otherwise `error` is "".
  static bool IsGlobValid(const char* pattern, SString& error);
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_GLOBFILTER_H_
