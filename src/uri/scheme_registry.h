#ifndef BIX_URI_SCHEME_REGISTRY_H_
#define BIX_URI_SCHEME_REGISTRY_H_

/// Which of the registered schemes gets a request.

#include "bix/text.h"
#include "bix/urischeme.h"

namespace bix::impl {

/// The scheme registered last of those that can handle `uri`, or null.
SUriScheme* FindLatestScheme(const SString& uri);

/// The scheme registered last of those that have the capability and can handle `uri`, or null.
SUriScheme* FindLatestScheme(SUriScheme::SCapability capability, const SString& uri);

/// The one scheme that has the capability; of several the one that the callback picks, which may be
/// none. Null without a callback.
SUriScheme* SelectScheme(SUriScheme::SCapability capability);

/// The capabilities of all schemes.
int AllCapabilities();

}  // namespace bix::impl

#endif  // BIX_URI_SCHEME_REGISTRY_H_
