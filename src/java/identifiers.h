// Fresh identifiers in a buffer of the caller.
#ifndef BIX_SRC_JAVA_IDENTIFIERS_H_
#define BIX_SRC_JAVA_IDENTIFIERS_H_

namespace bix::impl {

/// Clears `size` bytes of `buffer` and writes a new identifier into its first 24. Returns 1.
///
/// Owner: the buffer is borrowed for the call; it has room for 24 bytes at least, whatever the size.
int BixCreateGuid(char* buffer, unsigned size);

}  // namespace bix::impl

#endif  // BIX_SRC_JAVA_IDENTIFIERS_H_
