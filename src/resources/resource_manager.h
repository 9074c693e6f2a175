#ifndef BIX_RESOURCES_RESOURCE_MANAGER_H_
#define BIX_RESOURCES_RESOURCE_MANAGER_H_

/// The registered ranges of message numbers and their handlers.

#include <cstdint>
#include <vector>

#include "bix/modulemanager.h"

namespace bix {

/// A registered handler, with the range that it had then.
struct SResourceHandlerInfo {
  const IBixResourceHandler* handler;  // not owned
  std::uint32_t low;
  std::uint32_t high;
};

/// A range of numbers that a module has claimed.
struct SResourceRange {
  std::uint32_t low;
  std::uint32_t high;
  SString prefix;
};

/// Both, each in the order of registration.
class CResourceManager {
 public:
  /// The one of the process: made at the first use. It outlives all static objects, so that modules
  /// may unregister their handlers while the process exits.
  static CResourceManager& Instance();

  /// Gives its memory back, as the library's very last code. Whoever still uses it makes a new one.
  static void End();

  std::vector<SResourceHandlerInfo> handlers;
  std::vector<SResourceRange> ranges;

 private:
  static CResourceManager* m_pInstance;
};

}  // namespace bix

#endif  // BIX_RESOURCES_RESOURCE_MANAGER_H_
