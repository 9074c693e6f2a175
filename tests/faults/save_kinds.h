#ifndef TESTS_FAULTS_SAVE_KINDS_H_
#define TESTS_FAULTS_SAVE_KINDS_H_

/// The ways to save a file that all have to keep the same promises.

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace bix_test {

struct SaveKind {
  const char* name;
  bool readsTarget;          // a save reads the old file, and 1 means that it could not
  std::string oldText;       // of a file that is there already
  std::string newText;       // what a save makes of it
  std::string newTextAlone;  // what a save writes where no file is
  /// Makes what is to be saved; the result saves it and returns what the save returned.
  std::function<std::function<int()>(const std::string& path)> prepare;
};

const std::vector<SaveKind>& SaveKinds();
inline void PrintTo(const SaveKind& kind, std::ostream* out) { *out << kind.name; }

}  // namespace bix_test

#endif  // TESTS_FAULTS_SAVE_KINDS_H_
