// Child processes: feeding a program and reading what it says, talking to one line by line, and
// giving one up that takes too long.

#include <cstdio>
#include <cstring>
#include <string>

#include <sys/wait.h>

#include "bix/subproc.h"

namespace {

/// All that the child says until its output ends.
std::string ReadAll(bix::CSubProc& child) {
  std::string text;
  char block[4096];
  for (int count; (count = child.read(block, sizeof block)) > 0;)
    text.append(block, static_cast<std::size_t>(count));
  return text;
}

std::string ReadLine(bix::CSubProc& child) {
  std::string line;
  for (char c; child.read(&c, 1) == 1 && c != '\n';) line += c;
  return line;
}

bool Write(bix::CSubProc& child, const std::string& text) {
  for (std::size_t at = 0; at < text.size();) {
    const int count = child.write(text.data() + at, static_cast<unsigned>(text.size() - at));
    if (count <= 0) return false;
    at += static_cast<std::size_t>(count);
  }
  return true;
}

/// A filter: everything in, everything out.
int Sort() {
  const char* arguments[] = {"sort", nullptr};
  bix::CSubProc child;
  if (child.launch("sort", arguments, nullptr, false) != 0) return child.launch_error();
  Write(child, "pear\napple\nquince\n");
  child.close_write();  // the end of its input
  std::printf("sorted:\n%s", ReadAll(child).c_str());
  const int status = child.get_exit_status();
  std::printf("exit code %d\n", WEXITSTATUS(status));
  child.reset();
  return status;
}

/// A conversation. Standard output and standard error come in one stream.
int Talk() {
  const char* const script =
      "while read -r a b; do"
      " if [ \"$b\" -eq 0 ]; then echo 'divided by zero' >&2; else echo $((a / b)); fi; done";
  const char* arguments[] = {"sh", "-c", script, nullptr};
  bix::CSubProc child;
  if (child.launch("sh", arguments, "/", false) != 0) return child.launch_error();
  for (const char* question : {"84 2", "1 0", "100 7"}) {
    Write(child, std::string(question) + "\n");
    std::printf("%s: %s\n", question, ReadLine(child).c_str());
  }
  child.close_write();
  const int status = child.get_exit_status();
  child.reset();
  return status;
}

/// A program that never ends is killed by its watch.
int GiveUp() {
  const char* arguments[] = {"sleep", "1000000", nullptr};
  bix::CSubProc child;
  if (child.launch("sleep", arguments, nullptr, false) != 0) return child.launch_error();
  std::printf("it has ended: %s\n", child.wait_for(10) ? "yes" : "no");
  bix::CSubProcTimeOut watch(child);
  watch.Start(0);  // seconds
  (void)ReadAll(child);
  watch.Abort();
  std::printf("killed: %s\n", child.state() == 2 ? "yes" : "no");
  child.reset();
  return 0;
}

/// What cannot be run says so itself; what cannot be launched fails at once.
void Failures() {
  const char* arguments[] = {"/nonexistent/tool", nullptr};
  bix::CSubProc child;
  if (child.launch(arguments[0], arguments, nullptr, false) == 0) {
    std::printf("%s", ReadAll(child).c_str());
    std::printf("exit code %d\n", WEXITSTATUS(child.get_exit_status()));
  }
  child.reset();
  if (child.launch("sort", arguments, "/nonexistent", false) != 0)
    std::printf("not launched: %s\n", std::strerror(child.launch_error()));
}

}  // namespace

int main() {
  if (Sort() != 0 || Talk() != 0 || GiveUp() != 0) return 1;
  Failures();
  return 0;
}
