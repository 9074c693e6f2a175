#include "bix/gmode.h"

namespace bix {
namespace {

// Static storage
gmode::EVornGlobalMode s_globalMode{};

}  // namespace

void gmode::SetVornGlobalMode(EVornGlobalMode mode) { s_globalMode = mode; }

gmode::EVornGlobalMode gmode::GetVornGlobalMode() { return s_globalMode; }

}  // namespace bix
