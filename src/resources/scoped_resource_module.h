#ifndef BIX_RESOURCES_SCOPED_RESOURCE_MODULE_H_
#define BIX_RESOURCES_SCOPED_RESOURCE_MODULE_H_

/// A temporary change of the current resource handle.

#include "bix/stringtable.h"

namespace bix::impl {

/// Makes a module current and the one before current again at the end of the scope.
class ScopedResourceModule {
 public:
  explicit ScopedResourceModule(HINSTANCE module) : m_previous(BixGetResourceHandle()) {
    BixSetResourceHandle(module);
  }
  ScopedResourceModule(const ScopedResourceModule&) = delete;
  ScopedResourceModule& operator=(const ScopedResourceModule&) = delete;
  ~ScopedResourceModule() { BixSetResourceHandle(m_previous); }

 private:
  HINSTANCE const m_previous;
};

}  // namespace bix::impl

#endif  // BIX_RESOURCES_SCOPED_RESOURCE_MODULE_H_
