#ifndef TESTS_FAULTS_SURROUNDINGS_H_
#define TESTS_FAULTS_SURROUNDINGS_H_

/// What a save may leave behind, and processes to save in.

#include <functional>
#include <map>
#include <set>
#include <string>

#include <sys/types.h>

namespace bix_test {

/// A long text in short, but for equality as good as itself, so that failures can be read.
std::string InShort(const std::string& text);

/// Names and texts, in short, of the files of a directory; "<directory>", "<link>" and "<other>"
/// stand for the text of what is no regular file.
std::map<std::string, std::string> Listing(const std::string& directory);

/// The open descriptors of this process.
std::set<int> OpenDescriptors();

/// Runs `test` in a child process of its own; the expectations that fail there fail here. As root
/// the child becomes an ordinary user first when that is asked for.
enum class User { kSame, kOrdinary };
void RunInChild(User user, const std::function<void()>& test);

/// Runs `test` in a child and returns the signal that ended it, or 0.
int SignalOfChild(const std::function<void()>& test);

/// Mounts a file system of one MiB there, in a mount namespace that this process enters; false when
/// the system does not allow that, see kNoMounts.
bool MountSmallFileSystem(const std::string& directory);

/// Whether MountSmallFileSystem works, tried in a child.
bool HasSmallFileSystems(const std::string& directory);

/// Why a test that needs file systems of its own is skipped.
constexpr char kNoMounts[] =
    "no file systems of our own: neither root's rights nor user namespaces, or a root directory "
    "that "
    "was changed by chroot(), in which no namespace can be made private";

/// Waits for the end of a child; true when it left with 0.
bool WaitForChild(pid_t child);

}  // namespace bix_test

#endif  // TESTS_FAULTS_SURROUNDINGS_H_
