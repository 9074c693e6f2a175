// What script/check-layout asks the compiler about.

#include "bix/bix.h"

// Types that no declaration uses, and of which not every compiler tells otherwise.
bix::SUriScheme::SCapability capability;
bix::CStyle* style;
auto code = bix::CStyle::ParentGoes;
