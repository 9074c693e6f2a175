#ifndef BIX_JAVA_JAVA_TABLES_H_
#define BIX_JAVA_JAVA_TABLES_H_

/// What the Java bridge remembers while the library is loaded. Needs no header of a JDK.

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "bix/javabridge.h"
#include "kx/os.h"

namespace bix::impl {

/// Holds a mutex for the scope.
class LockedMutex {
 public:
  explicit LockedMutex(kx::os::MutexRep& mutex) : m_mutex(mutex) { m_mutex.lock(); }
  LockedMutex(const LockedMutex&) = delete;
  LockedMutex& operator=(const LockedMutex&) = delete;
  ~LockedMutex() { m_mutex.unlock(); }

 private:
  kx::os::MutexRep& m_mutex;
};

/// The tables of the bridge.
struct JavaTables {
  JavaTables();

  // By the simple name of the interface. Not owned; no lock.
  std::map<std::string, jniutils::ICppWrapperObjectCreator*, std::less<>>
      mapCppWrapperObjectCreators;

  // Guards what follows, up to the next mutex.
  kx::os::MutexRep wrappersMutex;
  // By the address of the object's qv::IUnknown: a weak global reference.
  std::map<qv::IUnknown*, jobject> mapWrapperJavaObjects;
  std::uint64_t made = 0;
  std::uint64_t unregistered = 0;

  // Guards the texts.
  kx::os::MutexRep errorsMutex;
  std::set<std::string, std::less<>> errors;  // the texts of all bridge errors so far
};

/// The tables of the process. Defined with all other objects that live as long as the library.
JavaTables& Tables();

}  // namespace bix::impl

#endif  // BIX_JAVA_JAVA_TABLES_H_
