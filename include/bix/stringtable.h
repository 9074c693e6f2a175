#ifndef BIX_STRINGTABLE_H_
#define BIX_STRINGTABLE_H_

/// Numbered texts, one table for each module.

#include "bix/export.h"
#include "bix/hosttypes.h"
#include "bix/text.h"

namespace bix {

BIX_EXPORT int BixLoadString(HINSTANCE module, unsigned int id, SString& out);
BIX_EXPORT int BixLoadString(HINSTANCE module, unsigned int id, char* buffer, int size);
BIX_EXPORT int BixLoadString(unsigned int id, char* buffer, int size);
BIX_EXPORT bool LoadStringA(HINSTANCE module, unsigned int id, SString& out);
BIX_EXPORT HINSTANCE BixGetResourceHandle();
BIX_EXPORT HINSTANCE BixSetResourceHandle(HINSTANCE module);

}  // namespace bix

#endif  // BIX_STRINGTABLE_H_
