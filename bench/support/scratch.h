#ifndef BENCH_SUPPORT_SCRATCH_H_
#define BENCH_SUPPORT_SCRATCH_H_

/// Files and directories that last as long as they are measured with.

#include <string>

namespace bix_bench {

/// An empty directory that goes with all its content.
class ScratchDirectory {
 public:
  ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ~ScratchDirectory();

  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;
};

/// A file with this content, in a directory of its own, where it can be saved and replaced.
class ScratchFile {
 public:
  explicit ScratchFile(const std::string& content, const char* name = "file");

  const std::string& Path() const { return m_path; }

 private:
  ScratchDirectory m_directory;
  std::string m_path;
};

}  // namespace bix_bench

#endif  // BENCH_SUPPORT_SCRATCH_H_
