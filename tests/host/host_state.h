#ifndef TESTS_HOST_HOST_STATE_H_
#define TESTS_HOST_HOST_STATE_H_

/// Everything of a process that a library could change and that its host would notice.

#include <map>
#include <string>
#include <vector>

namespace bix_test {

/// By name, such as "signal 13" or "descriptor 5", in plain text. What a process has none of, such
/// as a closed descriptor, has no entry.
using HostState = std::map<std::string, std::string>;

/// The state of this process as the calling thread sees it. Leaves nothing behind but errno.
HostState ReadHostState();

/// One line per entry that is not the same in both, in the order of the names:
///
///   "umask: 022 -> 077"
///   "descriptor 5: (none) -> /a/file O_RDWR at 0"
std::vector<std::string> Differences(const HostState& before, const HostState& after);

}  // namespace bix_test

#endif  // TESTS_HOST_HOST_STATE_H_
