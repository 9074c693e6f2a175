#ifndef TESTS_JAVA_RECORDING_KX_KX_OS_H_
#define TESTS_JAVA_RECORDING_KX_KX_OS_H_

/// A host's own layer over the operating system, whose mutex writes down what is done with it.

#include <string>
#include <vector>

namespace bix_test {

extern std::vector<std::string>* mutexLog;  // null: nothing is written down

}  // namespace bix_test

namespace kx {
namespace os {

class MutexRep {
 public:
  void init(bool recursive) { Write(recursive ? "init recursive" : "init non-recursive"); }
  void lock() {
    Write(m_isLocked ? "lock of a locked mutex" : "lock");
    m_isLocked = true;
  }
  void unlock() {
    Write("unlock");
    m_isLocked = false;
  }

 private:
  static void Write(const char* event) {
    if (bix_test::mutexLog != nullptr) bix_test::mutexLog->push_back(event);
  }
  bool m_isLocked = false;
};

}  // namespace os
}  // namespace kx

#endif  // TESTS_JAVA_RECORDING_KX_KX_OS_H_
