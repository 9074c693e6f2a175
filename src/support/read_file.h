// Reads whole files that anybody may have put in place of the expected one.
#ifndef BIX_SRC_SUPPORT_READ_FILE_H_
#define BIX_SRC_SUPPORT_READ_FILE_H_

#include <cstddef>
#include <string>

namespace bix::impl {

/// Reads all bytes of `name` into `content`; 0, or an error number.
///
/// Never hangs: a fifo without a writer is empty, and one whose writer is slower than ten seconds
/// is given up. A device is read to its end like a file.
///
/// Errors: the number of the failed call; EISDIR for a directory; EFBIG for more than `limit`
/// bytes; ETIMEDOUT. `content` is unchanged then.
int ReadFileWithin(const char* name, std::size_t limit, std::string& content);

}  // namespace bix::impl

#endif  // BIX_SRC_SUPPORT_READ_FILE_H_
