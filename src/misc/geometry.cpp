#include "bix/geometry.h"

namespace bix {

// Out of line, so that the tables of virtual operations are in the library.
CRPoint::~CRPoint() = default;

CRSize::~CRSize() = default;

}  // namespace bix
