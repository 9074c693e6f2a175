// Starts a program in a child process that is set up in the child alone.
//
//   ProgramStart start;
//   start.file = "sort";
//   start.arguments = arguments;
//   start.input = inputPipe[0];
//   const StartedProgram child = StartProgram(start);
//   if (child.pid < 0) return child.error;
//
// Threads: any number at once.
#ifndef BIX_SRC_PROC_START_PROGRAM_H_
#define BIX_SRC_PROC_START_PROGRAM_H_

namespace bix::impl {

/// What is started and how. All texts are borrowed for the call.
struct ProgramStart {
  const char* file = nullptr;                // looked up on "PATH" when it has no slash
  const char* const* arguments = nullptr;    // null ends them
  const char* const* environment = nullptr;  // null: that of this process
  const char* directory = nullptr;           // null: that of this process
  int input = -1;                            // becomes descriptor 0; -1: that of this process
  int output = -1;           // becomes descriptors 1 and 2; -1: those of this process
  bool closesOthers = true;  // close every other descriptor
};

/// What has become of it.
struct StartedProgram {
  int pid = -1;
  int error = 0;        // why there is no child
  bool isFork = false;  // it was the process itself that could not be made
  int execError = 0;    // why the program cannot be run: the child has ended with exit code 1
};

/// Starts the program, and returns when it runs, or when it is clear that it cannot.
///
/// The child shares the memory of this process until then, so the cost does not depend on how much
/// that is. Descriptors and directory of this process stay as they are.
StartedProgram StartProgram(const ProgramStart& start);

}  // namespace bix::impl

#endif  // BIX_SRC_PROC_START_PROGRAM_H_
