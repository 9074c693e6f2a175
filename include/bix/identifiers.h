#ifndef BIX_IDENTIFIERS_H_
#define BIX_IDENTIFIERS_H_

/// Fresh identifiers.
///
///   bix::SString id;
///   bix::BixCreateGuid(id);      // such as "jjjjjjF6EjjjjymafEjycXjj"
///
/// The 128-bit record of the model API is in `qv/guid.h`, which this header includes.

#include "bix/hostmacros_off.h"

#include "bix/export.h"
#include "bix/text.h"
#include "qv/guid.h"

namespace bix {

/// Sets `out` to a new identifier: 24 characters out of letters, digits, "-" and "*", four groups
/// of six as Encode64 writes them.
///
///   1 to 6     how many identifiers this process has made before
///   7 to 12    the process id
///   13 to 18   the seconds since 1970
///   19 to 24   the host id, see gethostid()
///
/// Nothing in it is random. A child that was forked goes on counting, under its own process id.
///
/// Threads: any. Hosts that also run elsewhere make identifiers on one thread: others may give two
/// threads the same.
BIX_EXPORT void BixCreateGuid(SString& out);

/// Writes the lowest 32 bits of `value` as six characters, without a terminator: six bits each, the
/// lowest first, the last two in the sixth character.
///
///   0           => "jjjjjj"
///   0xFFFFFFFF  => "mmmmmr"
///
/// Owner: `out` is borrowed for the call and has room for six characters.
/// Threads: re-entrant.
BIX_EXPORT void Encode64(unsigned long value, char* out);

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_IDENTIFIERS_H_
