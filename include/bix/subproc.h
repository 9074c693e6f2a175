#ifndef BIX_SUBPROC_H_
#define BIX_SUBPROC_H_

/// Child processes: a program whose standard input is fed through one pipe, and whose standard
/// output and standard error both come back through another.
///
///   const char* arguments[] = {"sort", "-r", nullptr};
///   bix::CSubProc child;
///   if (child.launch("sort", arguments, nullptr, false) != 0) return child.launch_error();
///   child.write("a\nb\n", 4);
///   child.close_write();                         // its end of input
///   for (int n; (n = child.read(buffer, sizeof buffer)) > 0;) Show(buffer, n);
///   const int status = child.get_exit_status();  // raw: decode it with WIFEXITED, WEXITSTATUS
///
/// The child is set up in the child: launching does not touch the host's standard streams, working
/// directory or environment, and costs the same however much memory the host holds. launch() returns
/// as soon as the program runs. The child has the default action for every signal that the host
/// catches; those that the host ignores or blocks it ignores or blocks as well.
///
/// A child gets only descriptors 0, 1 and 2. With the environment variable "MORVEL_NO_CLOSE" set, to
/// any value, it inherits every descriptor of the host that is not close-on-exec, the host's ends of
/// its own pipes included; so it does not see the end of its input then.
///
/// SIGPIPE never reaches the host: writing to a child that has gone is a negative result.
///
/// Errors: -1 where something fails; "fork", "execvp", "kill" and "waitpid" are printed through
/// perror as each operation says.
/// Threads: a child belongs to one thread, but another may kill() it. Children may be launched from
/// several threads at once; hosts that also run elsewhere should not rely on it.

#include "bix/hostmacros_off.h"

#include <atomic>
#include <mutex>

#include "bix/export.h"

namespace bix {

/// One program at a time.
class BIX_EXPORT CSubProc {
 public:
  /// Launches nothing.
  CSubProc();
  CSubProc(const CSubProc&) = delete;
  CSubProc& operator=(const CSubProc&) = delete;

  /// In state 1 kills the child, which prints "kill" when it has been waited for; in state 2 as well
  /// everything is closed and the killed child reaped. In state 0 nothing happens.
  virtual ~CSubProc();  // slot 1

  /// Calls launch.
  virtual int launchw(const char* file, const char** argv, const char* dir, bool flag);  // slot 2

  /// Starts `file`, looked up on "PATH" when it has no slash, with the arguments `argv`, the first of
  /// which is its own name, in the directory `dir`, when that is neither null nor empty. A relative
  /// `file`, and relative directories of "PATH", count from `dir`. `flag` is not used. Returns 0.
  ///
  /// A program that cannot be run does not make this fail: "execvp: " and the reason come through
  /// the child's pipe then, and its exit code is 1.
  ///
  /// Owner: `file`, `dir` and `argv`, which null ends, are borrowed for the call.
  /// Errors: -1, state 0, both descriptors -1; launch_error() and `errno` say why. So it is for a null
  /// `file` or `argv` (EINVAL), in another state than 0 (EBUSY, and everything stays as it is), for a
  /// missing `dir`, when descriptor 0, 1 or 2 of the host is closed (EBADF), when with `dir` the
  /// host's own directory cannot be told, and when the system has no process ("fork" is printed).
  virtual int launch(const char* file, const char** argv, const char* dir, bool flag);  // slot 3

  /// Writes to the child's standard input, as the system's write. Returns the number of bytes, or 0
  /// when the descriptor is closed. They are fewer than `len` when the child goes meanwhile, or a
  /// signal of the host comes.
  ///
  /// Owner: `buf` is borrowed for the call.
  /// Errors: -1, `errno` is that of the system, state 2; EPIPE when the child has closed its input.
  virtual int write(const char* buf, unsigned len);  // slot 4

  /// Closes the child's standard input. Returns 0.
  virtual int close_write();  // slot 5

  /// The descriptor that write() uses, or -1.
  ///
  /// Owner: this object, valid until close_write, kill, reset or destruction.
  virtual int wfd() const;  // slot 6

  /// Reads what the child has written, as the system's read. Returns the number of bytes, or 0 at
  /// the end of its output or when the descriptor is closed.
  ///
  /// Owner: `buf` is borrowed for the call.
  /// Errors: -1, `errno` is that of the system, state 2.
  virtual int read(char* buf, unsigned len);  // slot 7

  /// Closes the child's output. Returns 0.
  virtual int close_read();  // slot 8

  /// The descriptor that read() uses, or -1.
  ///
  /// Owner: as wfd().
  virtual int rfd() const;  // slot 9

  /// Sends SIGKILL, closes both descriptors, goes to state 2. Returns 0. The child is reaped by the
  /// next reset() or at destruction.
  ///
  /// Errors: -1 in another state than 1, nothing happens. When the signal cannot be sent, because the
  /// child has already been waited for, "kill" is printed, and the result is 0 all the same.
  /// Threads: any, also while the owner reads, writes or waits.
  virtual int kill();  // slot 10

  /// Closes both descriptors, goes to state 0. A child that is still running, or was not waited for,
  /// is left to itself; one that was killed is reaped.
  virtual void reset();  // slot 11

  /// Waits for the child to end.
  ///
  ///   state 0   the status of the last time, unchanged; -1 before the first
  ///   state 1   waits, and returns the raw status: 0x300 for exit code 3, 9 for SIGKILL
  ///   state 2   -1; so it is too when the child is killed while this waits
  ///
  /// The state stays what it is. Waiting a second time prints "waitpid".
  ///
  /// Errors: "waitpid" is printed, the status of the last time comes back.
  virtual int get_exit_status();  // slot 12

  /// 0 nothing launched; 1 launched; 2 killed, or a read or write failed.
  int state() const { return m_state; }

  /// Waits until the child has ended, but not longer than so many milliseconds; 0 only looks. The
  /// child is neither killed nor reaped, so that get_exit_status() still tells how it ended.
  ///
  /// Returns whether it has ended: true also when somebody else has reaped it, such as the system for
  /// a host that ignores SIGCHLD; false in another state than 1, which has no child to wait for.
  bool wait_for(unsigned milliseconds) const;

  /// Why the last launch returned -1: an error number of the system; 0 after one that succeeded, and
  /// before the first.
  int launch_error() const { return m_launchError; }

  /// Asks that in the next child, and in no other, "LD_LIBRARY_PATH" be the value that
  /// "R5_SAVED_LD_LIBRARY_PATH" has then, if it is set: the library path from before the host's own
  /// start-up changed it. Asking ends with the next attempt to start a process.
  void restore_ld_library_path() { m_restoresLibraryPath = true; }

  /// Sets "LD_LIBRARY_PATH" of this very process to the value of "R5_SAVED_LD_LIBRARY_PATH", if that
  /// is set.
  ///
  /// Threads: as setenv.
  static void do_restore_ld_library_path();

 private:
  class PipeUse;

  void CloseWhenUnused(std::atomic<int>& descriptor, int& users, int& closing);
  void CloseBoth();
  void CountTraffic(unsigned bytes);
  void ReapKilled();
  int FailLaunch(int error);

  std::atomic<int> m_state{0};
  int m_exitStatus = -1;
  int m_pid = -1;
  std::atomic<int> m_rfd{-1};
  std::atomic<int> m_wfd{-1};
  int m_bufferSize = 512;
  bool m_restoresLibraryPath = false;
  // What follows is not part of the record that hosts know.
  bool m_isReaped = false;  // the child of m_pid has been waited for: its number is not ours
  int m_launchError = 0;
  int m_killedPid = -1;       // a child that was killed and not yet reaped
  mutable std::mutex m_lock;  // of all that kill() shares with the owner; never held while waiting
  int m_readers = 0;          // calls under way
  int m_writers = 0;
  int m_closingRead = -1;  // to be closed by the last of them
  int m_closingWrite = -1;
  std::atomic<unsigned> m_traffic{0};  // bytes through both pipes, until these are made large
};

/// Starts `file` with the arguments `argv` in a child process that shares descriptors 0, 1 and 2 with
/// this one, see the top of this file for the others, and returns its process id. With `restore` its
/// "LD_LIBRARY_PATH" is the one saved in "R5_SAVED_LD_LIBRARY_PATH". When `file` cannot be run,
/// "execvp" is printed through perror, and the child's exit code is 1.
///
/// Owner: the texts are borrowed for the call. The caller waits for the child.
/// Errors: -1 when there is no process; "fork" is printed through perror, `errno` says why.
BIX_EXPORT int local_spawn(const char* file, const char** argv, bool restore);

/// Kills a child when it takes too long.
///
///   bix::CSubProcTimeOut watch(child);
///   watch.Start(30);               // seconds
///   while (child.read(...) > 0) ...
///   watch.Abort();
///   const bool wasKilled = child.state() == 2;
///
/// Threads: the child is killed from a thread of the watch. The owner neither resets nor destroys the
/// child before Abort() has returned or the watch is gone. A derived class that overrides
/// LaunchFunction() calls Abort() in its destructor.
class BIX_EXPORT CSubProcTimeOut {
 public:
  /// Watches nothing yet.
  ///
  /// Owner: the caller; `process` outlives the watch.
  explicit CSubProcTimeOut(CSubProc& process);
  CSubProcTimeOut(const CSubProcTimeOut&) = delete;
  CSubProcTimeOut& operator=(const CSubProcTimeOut&) = delete;

  /// Ends a watch that is under way, without killing the child, and waits for its thread.
  virtual ~CSubProcTimeOut();  // slot 1

  /// Begins to watch: the child is killed in `count` seconds unless Abort() comes before.
  ///
  /// Errors: false when the thread cannot be started, or while a watch is under way.
  virtual bool Start(unsigned int count);  // slot 2

  /// Ends the watch, and returns when it is over, whether or not the child was killed. Without a
  /// watch it returns at once.
  virtual void Abort();  // slot 3

  /// What the thread of the watch does: waits for Abort() or the time-out, kills the child in the
  /// latter case, and says that it is done. An override ends with a call of this one.
  virtual void LaunchFunction();  // slot 4

  /// Starts the thread of the watch on LaunchFunction(); Start() calls it.
  ///
  /// Errors: as Start().
  bool Launch();

 private:
  struct Watch;

  static unsigned long Run(void* self);
  bool EndLast();

  Watch* const m_watch;  // owned
  unsigned int m_count = 0;
  CSubProc& m_process;
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_SUBPROC_H_
