#include "support/durable_file.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "support/above_standard.h"
#include "support/without_sigpipe.h"

namespace bix::impl {

namespace {

constexpr std::size_t kStreamBuffer = 64 * 1024;
constexpr int kLockSeconds = 10;
constexpr int kMostLinks = 40;       // what the system itself follows
constexpr int kMostFreshNames = 99;  // beside a "~" that is not ours to remove
constexpr int kMostCopies = 9999;
constexpr mode_t kPermissionBits = 07777;
constexpr char kAccessList[] = "system.posix_acl_access";

int OpenRetrying(const char* name, int flags, mode_t mode = 0) {
  int fd;
  do {
    fd = ::open(name, flags | O_CLOEXEC | O_NOCTTY, mode);
  } while (fd < 0 && errno == EINTR);
  return AboveStandard(fd);
}

/// 0, or the error number.
int SyncRetrying(int fd) {
  while (::fsync(fd) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

/// 0, or the error number.
int TruncateRetrying(int fd, off_t size) {
  while (::ftruncate(fd, size) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

/// Takes the room on the disk; 0, or the error number.
int AllocateRetrying(int fd, off_t offset, off_t size) {
  int error;
  do error = ::posix_fallocate(fd, offset, size);
  while (error == EINTR);
  return error;
}

/// Writes everything, in as many calls as it takes; 0, or the error number.
int WriteWhole(int fd, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(fd, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    if (written == 0) return EIO;  // no progress and no reason: repeating might never end
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
  return 0;
}

/// Copies all that is left to read of `from` to `to`; 0, or the error number.
int CopyRest(int from, int to) {
  std::vector<char> buffer(kStreamBuffer);
  for (;;) {
    const ssize_t size = ::read(from, buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return errno;
    if (size == 0) return 0;
    if (const int error = WriteWhole(to, buffer.data(), static_cast<std::size_t>(size)))
      return error;
  }
}

/// Removes a name on a way out that already has its error number.
void RemoveQuietly(const std::string& name) {
  const int error = errno;
  // It may be gone by another hand, and there is no one left to tell.
  (void)::unlink(name.c_str());
  errno = error;
}

/// A file just made, which goes again unless it is kept.
class MadeFile {
 public:
  explicit MadeFile(const std::string& name) : m_name(name) {}
  MadeFile(const MadeFile&) = delete;
  MadeFile& operator=(const MadeFile&) = delete;
  ~MadeFile() {
    if (!m_isKept) RemoveQuietly(m_name);
  }
  void Keep() { m_isKept = true; }

 private:
  const std::string& m_name;
  bool m_isKept = false;
};

std::string DirectoryOf(const std::string& name) {
  const std::size_t slash = name.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : name.substr(0, slash);
}

/// Sets `name` to what it leads to through symbolic links at its end, also when nothing exists
/// there; 0, or the error number.
int FollowLinks(std::string& name) {
  std::vector<char> text(4096);
  for (int i = 0; i < kMostLinks; ++i) {
    const ssize_t size = ::readlink(name.c_str(), text.data(), text.size());
    // No link, or nothing at all: the end of the chain.
    if (size < 0) return errno == EINVAL || errno == ENOENT ? 0 : errno;
    if (static_cast<std::size_t>(size) == text.size()) return ENAMETOOLONG;
    const std::string link(text.data(), static_cast<std::size_t>(size));
    const std::size_t slash = name.rfind('/');
    name = link[0] == '/' || slash == std::string::npos ? link : name.substr(0, slash + 1) + link;
  }
  return ELOOP;
}

bool IsSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// Whether a failed locking means that there are no locks here, rather than that one went wrong.
bool IsWithoutLocks(int error) {
  return error == EBADF || error == EINVAL || error == ENOLCK || error == ENOSYS ||
         error == EOPNOTSUPP;
}

/// Whether a directory that refused a new file with this error may still hold a writable one.
bool IsRefusal(int error) { return error == EACCES || error == EPERM || error == EROFS; }

/// Whether the file is mounted by itself over a name, as containers get single files: it has that
/// name as long as it is mounted, and nothing can be renamed over it.
bool IsMountedAlone(int fd) {
  struct statx status;
  return ::statx(fd, "", AT_EMPTY_PATH, 0, &status) == 0 &&
         (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

/// Whether the directory lets only owners replace files, and this process owns neither.
bool IsSticky(const std::string& directory, const struct stat& target) {
  struct stat status;
  if (::stat(directory.c_str(), &status) != 0) return false;
  const uid_t self = ::geteuid();
  return (status.st_mode & S_ISVTX) != 0 && self != 0 && self != status.st_uid &&
         self != target.st_uid;
}

// Who waits for the lock of a directory says so by a shared record lock on its first byte, which
// keeps nobody out but can be asked for. Without it a process that saves over and over would take
// the lock again before any other has seen it free. Where a file system has no such locks, nobody
// is seen waiting.

int SetWaiting(int fd, short type) {
  struct flock wait {};
  wait.l_type = type;
  wait.l_whence = SEEK_SET;
  wait.l_len = 1;
  return ::fcntl(fd, F_OFD_SETLK, &wait);
}

bool IsAnyoneWaiting(int fd) {
  struct flock wait {};
  wait.l_type = F_WRLCK;  // only asked about, as what all the others would be in the way of
  wait.l_whence = SEEK_SET;
  wait.l_len = 1;
  return ::fcntl(fd, F_OFD_GETLK, &wait) == 0 && wait.l_type != F_UNLCK;
}

/// Takes an exclusive lock without waiting; 0, or the error number.
int TryLock(int fd) {
  while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

/// Takes an exclusive lock within the time; 0, or the error number.
int LockWithin(int fd, int seconds) {
  constexpr long kFirstPause = 200'000;
  constexpr long kLongestPause = 2'000'000;
  const bool isLate = IsAnyoneWaiting(fd);
  int error = isLate ? EWOULDBLOCK : TryLock(fd);
  if (error != EWOULDBLOCK) return error;
  timespec now;
  (void)::clock_gettime(CLOCK_MONOTONIC, &now);
  const time_t end = now.tv_sec + seconds;
  (void)SetWaiting(fd, F_RDLCK);
  // Those that wait already try at least once before a latecomer does; and no two processes have
  // the same pauses, so that none of many is always too late.
  long pause = isLate ? 2 * kLongestPause : kFirstPause + ::getpid() % 64 * 2'000;
  for (;;) {
    const timespec time{0, pause};
    (void)::nanosleep(&time, nullptr);
    error = TryLock(fd);
    if (error != EWOULDBLOCK) break;
    (void)::clock_gettime(CLOCK_MONOTONIC, &now);
    if (now.tv_sec >= end) {
      error = ETIMEDOUT;
      break;
    }
    pause = std::min(pause * 3 / 2, kLongestPause);
  }
  (void)SetWaiting(fd, F_UNLCK);
  return error;
}

}  // namespace

DurableFile::DurableFile(const char* target) : m_target(target) {}

DurableFile::~DurableFile() {
  const int error = errno;
  Discard();
  if (m_isLocked) {
    // Given back by hand: a child that was forked meanwhile shares the descriptor, and would keep
    // the lock for as long as it lives.
    (void)::flock(m_directory.Get(), LOCK_UN);
  }
  m_directory.Reset();
  errno = error;
}

int DurableFile::Lock() {
  if (const int error = Resolve()) return error;
  m_directory.Reset(OpenRetrying(DirectoryOf(m_resolved).c_str(), O_RDONLY | O_DIRECTORY));
  if (!m_directory.IsOpen()) {
    // A directory may take new files and still not be readable; one that is missing is reported
    // when the file is opened.
    return errno == EACCES || errno == EPERM || errno == ENOENT || errno == ENOTDIR ? 0 : errno;
  }
  const int error = LockWithin(m_directory.Get(), kLockSeconds);
  m_isLocked = error == 0;
  // CHOICE(save-without-lock): where there are no locks every save would fail for ever. One that meets
  // another then still replaces a whole file by a whole file.
  // Test: DurableFileChoice.WhereThereAreNoLocksASaveGoesOnWithout
  return IsWithoutLocks(error) ? 0 : error;
}

int DurableFile::Open() {
  if (const int error = Resolve()) return error;
  m_targetFd.Reset(OpenRetrying(m_target.c_str(), O_WRONLY));
  m_hadTarget = m_targetFd.IsOpen();
  if (!m_hadTarget) {
    if (errno != ENOENT) return errno;
    return OpenTemporary();
  }
  if (::fstat(m_targetFd.Get(), &m_targetStatus) != 0) return errno;
  // A name below /proc/self/fd leads to its file, while the text of that link is no name for it.
  struct stat resolved;
  const bool isNamed = ::lstat(m_resolved.c_str(), &resolved) == 0;
  if (!isNamed && errno != ENOENT) return errno;
  const bool isReplaceable =
      isNamed && S_ISREG(m_targetStatus.st_mode) && IsSameFile(resolved, m_targetStatus) &&
      !IsMountedAlone(m_targetFd.Get()) && !IsSticky(DirectoryOf(m_resolved), m_targetStatus);
  // CHOICE(save-in-place): a device, and a file whose directory lets nobody replace it, is written in
  // place, as a plain open for writing would do. A save that failed there would be no safer, only of
  // no use. Test: DurableFileChoice.AFileThatCannotBeReplacedIsWrittenInPlace
  if (!isReplaceable) return OpenMemory();
  const int error = OpenTemporary();
  return IsRefusal(error) ? OpenMemory() : error;
}

int DurableFile::Finish() {
  int error = std::fflush(m_stream.get()) != 0 || std::ferror(m_stream.get()) ? EIO : 0;
  if (m_writeError != 0) error = m_writeError;
  m_stream.reset();
  if (error == 0 && !m_isInPlace) {
    error = KeepAttributes();
    if (error == 0) error = SyncRetrying(m_fd.Get());
    const int closeError = m_fd.Close();
    if (error == 0) error = closeError;
  }
  if (error != 0) Discard();
  return error;
}

int DurableFile::Commit() {
  int error = 0;
  if (m_isInPlace) {
    error = WriteInPlace();
  } else if (::rename(m_temporary.c_str(), m_resolved.c_str()) != 0) {
    error = errno;
  } else {
    m_isTemporary = false;
    SyncDirectory();
  }
  Discard();
  return error;
}

int DurableFile::OpenToAppend() {
  if (const int error = Resolve()) return error;
  m_targetFd.Reset(
      OpenRetrying(m_target.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK, 0666));
  if (!m_targetFd.IsOpen()) return errno;
  return ::fstat(m_targetFd.Get(), &m_targetStatus) == 0 ? 0 : errno;
}

int DurableFile::AppendLine(std::string_view line) {
  std::string text(EndsInsideOfLine() ? "\n" : "");
  text.append(line).append(1, '\n');
  const int fd = m_targetFd.Get();
  const bool isRegular = S_ISREG(m_targetStatus.st_mode);
  const WithoutSigpipe noSignal;  // the reader of a fifo may leave
  int error = WriteWhole(fd, text.data(), text.size());
  if (error == 0 && isRegular) error = SyncRetrying(fd);
  // Half a line would become one with the next that is appended.
  if (error != 0 && isRegular) (void)TruncateRetrying(fd, m_targetStatus.st_size);
  const int closeError = m_targetFd.Close();
  if (error == 0) error = closeError;
  // The file may be new.
  if (error == 0 && m_targetStatus.st_size == 0) SyncDirectory();
  return error;
}

int DurableFile::Resolve() {
  if (!m_resolved.empty()) return 0;
  std::string name = m_target;
  const int error = FollowLinks(name);
  if (error == 0) m_resolved = name;
  return error;
}

/// Opens the temporary file beside the target.
int DurableFile::OpenTemporary() {
  std::string first = m_resolved + "~";
  m_temporary = first;
  for (int i = 1;;) {
    // An existing file's mode is given to the temporary one when it is whole; until then nobody
    // else reads it.
    const mode_t mode = m_hadTarget ? 0600 : 0666;
    const int fd =
        OpenRetrying(m_temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
    if (fd >= 0) {
      m_fd.Reset(fd);
      m_isTemporary = true;
      return OpenStream();
    }
    if (errno == ENAMETOOLONG) {
      // The target's own name has no room for one more character.
      const std::string shorter = DirectoryOf(m_resolved) + "/.bix~";
      if (first == shorter) return ENAMETOOLONG;
      m_temporary = first = shorter;
      continue;
    }
    if (errno != EEXIST) return errno;
    // CHOICE(save-removes-left-over): under the lock no other save is at work, so a file of our own is
    // what a killed one has left. A link, a directory or a stranger's file under this name is neither
    // followed nor touched. Test: DurableFileChoice.OnlyARegularFileOfOurOwnCountsAsLeftOver
    struct stat status;
    const bool isLeftOver = m_isLocked && ::lstat(m_temporary.c_str(), &status) == 0 &&
                            S_ISREG(status.st_mode) && status.st_uid == ::geteuid() &&
                            ::unlink(m_temporary.c_str()) == 0;
    if (isLeftOver) continue;
    if (++i > kMostFreshNames) return EEXIST;
    m_temporary = first + std::to_string(i);
  }
}

/// Collects the bytes in memory, where they can be read back by name as well.
int DurableFile::OpenMemory() {
  m_isInPlace = true;
  m_fd.Reset(AboveStandard(::memfd_create("bix", MFD_CLOEXEC)));
  if (!m_fd.IsOpen()) return errno;
  m_temporary = "/proc/self/fd/" + std::to_string(m_fd.Get());
  return OpenStream();
}

int DurableFile::OpenStream() {
  if (!m_isInPlace) m_targetFd.Reset();
  // The standard streams write from inside the C library; ours goes through one function, which
  // repeats what was cut short and keeps the first error.
  m_stream.reset(::fopencookie(this, "w", {nullptr, WriteCookie, nullptr, nullptr}));
  if (m_stream == nullptr) {
    const int error = errno;
    Discard();
    return error;
  }
  m_buffer = std::make_unique<char[]>(kStreamBuffer);
  (void)std::setvbuf(m_stream.get(), m_buffer.get(), _IOFBF, kStreamBuffer);
  return 0;
}

ssize_t DurableFile::WriteCookie(void* cookie, const char* bytes, std::size_t size) {
  auto* self = static_cast<DurableFile*>(cookie);
  if (self->m_writeError == 0) self->m_writeError = WriteWhole(self->m_fd.Get(), bytes, size);
  return self->m_writeError == 0 ? static_cast<ssize_t>(size) : 0;
}

/// Gives the temporary file the owner, mode and access list of the target.
int DurableFile::KeepAttributes() {
  if (!m_hadTarget) return 0;
  const int fd = m_fd.Get();
  struct stat status;
  if (::fstat(fd, &status) != 0) return errno;
  mode_t mode = m_targetStatus.st_mode & kPermissionBits;
  const bool isOthers =
      status.st_uid != m_targetStatus.st_uid || status.st_gid != m_targetStatus.st_gid;
  if (isOthers && ::fchown(fd, m_targetStatus.st_uid, m_targetStatus.st_gid) != 0) {
    // Not permitted: the group alone may be, and rights that ran under another owner must go.
    (void)::fchown(fd, static_cast<uid_t>(-1), m_targetStatus.st_gid);
    mode &= static_cast<mode_t>(~(S_ISUID | S_ISGID));
  }
  if (::fchmod(fd, mode) != 0) return errno;
  // An access list is a refinement of the mode; a file system without them has none to lose.
  std::vector<char> list(64 * 1024);
  const ssize_t size = ::getxattr(m_resolved.c_str(), kAccessList, list.data(), list.size());
  if (size > 0) (void)::fsetxattr(fd, kAccessList, list.data(), static_cast<std::size_t>(size), 0);
  return 0;
}

/// Writes the collected bytes into the target itself.
int DurableFile::WriteInPlace() {
  if (::lseek(m_fd.Get(), 0, SEEK_SET) < 0) return errno;
  const int target = m_targetFd.Get();
  if (!S_ISREG(m_targetStatus.st_mode)) {
    const WithoutSigpipe noSignal;  // the reader of a fifo may leave
    const int error = CopyRest(m_fd.Get(), target);
    const int closeError = m_targetFd.Close();
    return error != 0 ? error : closeError;
  }
  // The old bytes stay at hand, and the room for more is taken beforehand: a full disk shows before
  // the first byte is overwritten, and after another failure the old bytes go back.
  struct stat status;
  if (::fstat(m_fd.Get(), &status) != 0) return errno;
  const off_t newSize = status.st_size;
  if (::fstat(target, &status) != 0) return errno;
  const off_t oldSize = status.st_size;
  ScopedFd old(AboveStandard(::memfd_create("bix-old", MFD_CLOEXEC)));
  ScopedFd reader(OpenRetrying(m_target.c_str(), O_RDONLY));
  bool isKept = false;
  if (reader.IsOpen()) {
    if (!old.IsOpen()) return errno;
    if (const int error = CopyRest(reader.Get(), old.Get())) return error;
    isKept = true;
  }
  int error = 0;
  if (newSize > oldSize) {
    error = AllocateRetrying(target, oldSize, newSize - oldSize);
    if (error == EOPNOTSUPP || error == EINVAL || error == ENOSYS) error = 0;
    if (error != 0) {
      (void)TruncateRetrying(target, oldSize);
      return error;
    }
  }
  error = CopyRest(m_fd.Get(), target);
  if (error == 0) error = TruncateRetrying(target, newSize);
  if (error == 0) error = SyncRetrying(target);
  if (error != 0 && isKept && ::lseek(old.Get(), 0, SEEK_SET) == 0 &&
      ::lseek(target, 0, SEEK_SET) == 0) {
    // The first failure is what the caller learns; this one only could not be made good.
    if (CopyRest(old.Get(), target) == 0) (void)TruncateRetrying(target, oldSize);
  }
  const int closeError = m_targetFd.Close();
  return error != 0 ? error : closeError;
}

/// Whether the target's last line has no end. One that cannot be read counts as ended.
bool DurableFile::EndsInsideOfLine() const {
  if (!S_ISREG(m_targetStatus.st_mode) || m_targetStatus.st_size == 0) return false;
  const ScopedFd reader(OpenRetrying(m_target.c_str(), O_RDONLY));
  char last = '\n';
  return reader.IsOpen() && ::pread(reader.Get(), &last, 1, m_targetStatus.st_size - 1) == 1 &&
         last != '\n';
}

/// Brings the target's name onto the disk.
void DurableFile::SyncDirectory() {
  if (!m_directory.IsOpen())
    m_directory.Reset(OpenRetrying(DirectoryOf(m_resolved).c_str(), O_RDONLY | O_DIRECTORY));
  // CHOICE(directory-sync-is-silent): the new file is in its place already, whole and on the
  // disk. A crash may still bring the old one back, whole too; reporting a failure would tell the
  // caller that the old file is there now.
  // Test: DurableFileChoice.AFailedSyncOfTheDirectoryIsNoFailure
  if (m_directory.IsOpen()) (void)SyncRetrying(m_directory.Get());
}

/// Drops the temporary file and everything open but the lock.
void DurableFile::Discard() {
  if (m_writeError == 0) m_writeError = ECANCELED;  // what the stream still holds is not written
  m_stream.reset();
  m_fd.Reset();
  m_targetFd.Reset();
  if (m_isTemporary) RemoveQuietly(m_temporary);
  m_isTemporary = false;
}

int CopyAside(const char* file, std::string* copyName) {
  // Without waiting: a fifo has no bytes to keep.
  ScopedFd source(OpenRetrying(file, O_RDONLY | O_NONBLOCK));
  if (!source.IsOpen()) return errno;
  struct stat status;
  if (::fstat(source.Get(), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  for (int i = 1; i <= kMostCopies; ++i) {
    const std::string name = std::string(file) + ".bad-" + std::to_string(i);
    ScopedFd copy(OpenRetrying(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600));
    if (!copy.IsOpen() && errno == EEXIST) continue;
    if (!copy.IsOpen()) return errno;
    MadeFile made(name);
    int error = CopyRest(source.Get(), copy.Get());
    // Without the rights to run under its owner: the copy is ours.
    if (error == 0 && ::fchmod(copy.Get(), status.st_mode & 0777) != 0) error = errno;
    if (error == 0) error = SyncRetrying(copy.Get());
    const int closeError = copy.Close();
    if (error == 0) error = closeError;
    if (error != 0) return error;
    ScopedFd directory(OpenRetrying(DirectoryOf(name).c_str(), O_RDONLY | O_DIRECTORY));
    // The copy is whole and on the disk; its name follows with the directory, as it always does.
    if (directory.IsOpen()) (void)SyncRetrying(directory.Get());
    if (copyName != nullptr) *copyName = name;
    made.Keep();
    return 0;
  }
  return EEXIST;
}

}  // namespace bix::impl
