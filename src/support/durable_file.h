// Replaces a file so that at every moment, also after a crash, a full disk or a kill, the name
// leads to the whole old file or to the whole new one.
//
//   DurableFile file(name);
//   int error = file.Lock();
//   if (error == 0) error = file.Open();
//   if (error == 0) {
//     std::fputs("...", file.GetStream());
//     error = file.Finish();
//   }
//   if (error == 0) error = file.Commit();
//
// Or adds a line to the end of a file, whole or not at all:
//
//   if (error == 0) error = file.OpenToAppend();
//   if (error == 0) error = file.AppendLine("...");
//
// Results are error numbers, 0 for success. After a failure the object only waits to be destroyed.
// Encoding: names and contents are bytes. Threads: one object, one thread.
#ifndef BIX_SRC_SUPPORT_DURABLE_FILE_H_
#define BIX_SRC_SUPPORT_DURABLE_FILE_H_

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include <sys/stat.h>
#include <sys/types.h>

#include "support/scoped_fd.h"

namespace bix::impl {

/// One safe replacement of one file.
class DurableFile {
 public:
  /// Prepares to replace `target` (borrowed for the call); touches nothing yet.
  explicit DurableFile(const char* target);

  /// What was not committed is dropped: the temporary file is removed, the lock given back, the
  /// target is as it was. Keeps `errno`.
  ~DurableFile();

  DurableFile(const DurableFile&) = delete;
  DurableFile& operator=(const DurableFile&) = delete;

  /// Keeps other savers out of the target's directory until this object is gone. Waits up to ten
  /// seconds. Where the directory cannot be locked at all the save goes on without a lock.
  ///
  /// Errors: ETIMEDOUT when another saver holds the lock for too long; otherwise the error number
  /// of the failed call.
  int Lock();

  /// Opens the temporary file: `target~`, beside the file that `target` leads to through symbolic
  /// links. A regular file of that name which a killed save has left is removed first.
  ///
  /// In a directory that takes no new file, and for a target that is no regular file (a device, a
  /// fifo), the bytes are collected in memory and Commit() writes them into the target itself.
  ///
  /// Errors: the error number that opening the target for writing, or the temporary file, gives.
  int Open();

  /// The stream to write to, between Open() and Finish(). Owner: this object. Errors of writing
  /// show at Finish().
  std::FILE* GetStream() { return m_stream.get(); }

  /// Ends the writing: everything written, mode and where permitted owner of the target taken over,
  /// on the disk, closed.
  ///
  /// Errors: the number of the first failure; the temporary file is gone then.
  int Finish();

  /// Where the new bytes can be read back by name between Finish() and Commit().
  /// Owner: this object, valid until Commit().
  const char* GetTemporaryName() const { return m_temporary.c_str(); }

  /// Puts the new bytes in place of the old ones, by one rename.
  ///
  /// Errors: the error number; the temporary file is gone then and the target as it was.
  int Commit();

  /// Whether Commit() writes into the target itself, so that a failure may have changed it after
  /// all, where not even the old bytes could be written again.
  bool IsInPlace() const { return m_isInPlace; }

  /// Opens the target itself, made when it is missing, for AppendLine(). Never waits for a reader.
  ///
  /// Errors: the error number that opening the target for writing gives.
  int OpenToAppend();

  /// Appends `line` and a newline, on a line of their own also where the file's last one is not
  /// ended, and sees to it that they are on the disk.
  ///
  /// Errors: the error number; the file is as long as it was then.
  int AppendLine(std::string_view line);

 private:
  struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
  };

  int Resolve();
  int OpenTemporary();
  int OpenMemory();
  int OpenStream();
  int KeepAttributes();
  int WriteInPlace();
  bool EndsInsideOfLine() const;
  void SyncDirectory();
  void Discard();
  static ssize_t WriteCookie(void* cookie, const char* bytes, std::size_t size);

  const std::string m_target;
  std::string m_resolved;   // the target behind its symbolic links; empty until they are followed
  std::string m_temporary;  // name of the temporary file
  bool m_isTemporary = false;  // a temporary file lies beside the target
  bool m_isLocked = false;
  bool m_isInPlace = false;
  bool m_hadTarget = false;
  struct stat m_targetStatus {};
  ScopedFd m_directory;              // open and locked, or closed
  ScopedFd m_targetFd;               // the target itself, while it may have to be written in place
  ScopedFd m_fd;                     // the temporary file or the memory
  int m_writeError = 0;              // of the first failed write
  std::unique_ptr<char[]> m_buffer;  // of the stream, which goes first
  std::unique_ptr<std::FILE, CloseStream> m_stream;
};

/// Copies `file` beside itself as the first free of `file.bad-1`, `file.bad-2`, ..., with its mode,
/// and on the disk when this returns. `copy`, unless null, is set to its name.
///
/// Errors: the error number of what failed, no copy is left then; EINVAL when `file` is no regular
/// file, EISDIR when it is a directory.
int CopyAside(const char* file, std::string* copy = nullptr);

}  // namespace bix::impl

#endif  // BIX_SRC_SUPPORT_DURABLE_FILE_H_
