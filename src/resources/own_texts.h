#ifndef BIX_RESOURCES_OWN_TEXTS_H_
#define BIX_RESOURCES_OWN_TEXTS_H_

/// The library's own numbered texts.

#include "bix/hosttypes.h"

namespace bix::impl {

/// The numbers of the texts. 15 and 16 have numbered parameters, the others are printf-style.
enum OwnText : unsigned int {
  kMsgDuringWrite = 1,
  kMsgDuringRead = 2,
  kMsgInputStreamFailed = 3,
  kMsgInputStreamInternalError = 4,
  kMsgReadingFromFileFailed = 5,
  kMsgOutputStreamFailed = 6,
  kMsgOutputStreamInternalError = 7,
  kMsgMyProjects = 8,
  kMsgOpenForWriteFailed = 9,
  kMsgOpenForReadFailed = 10,
  kMsgUrnTargetNotFound = 11,
  kMsgUrnTargetNotAbsolute = 12,
  kMsgUrnUnknown = 13,
  kMsgUrnAlreadyDefined = 14,
  kMsgUrnTargetNotFoundBecause = 15,
  kMsgFilterInvalid = 16,
};

/// Makes the table of the English texts and registers it for `module`.
void RegisterOwnTexts(HINSTANCE module);

}  // namespace bix::impl

#endif  // BIX_RESOURCES_OWN_TEXTS_H_
