#ifndef BIX_URI_OWN_MESSAGE_H_
#define BIX_URI_OWN_MESSAGE_H_

/// The library's own numbered texts, filled in for the user.

#include "bix/library.h"
#include "bix/messages.h"
#include "bix/text.h"
#include "resources/own_texts.h"
#include "resources/scoped_resource_module.h"

namespace bix::impl {

/// The printf-style text `id` of the library with the values filled in.
// CHOICE(own-message-missing): where the library has no texts, the look-up reports that, and the
// message itself is empty: one that goes to the error channel is an empty line.
// Test: UrnMessage.IsAnEmptyLineWithoutTheLibrarysTexts
template <class... Values>
SString OwnMessage(OwnText id, const Values&... values) {
  // COMPAT(own-module-for-messages): the library's own module is the current one only here, and the
  // host's is back however the formatting ends, and before the message is written. Tests:
  // UrnMessageCompat.TheHostsModuleIsPutBack,
  // UrnMessageCompat.TheHostsModuleIsBackWhenAMessageIsWritten
  const ScopedResourceModule own(BixhDllInstance);
  SString text;
  // The result is a bound of the length and no failure; what cannot be formatted is "".
  (void)text.Format(id, values.c_str()...);
  return text;
}

/// The same for a text with "%1", "%2" and so on.
template <class... Values>
SString OwnNumberedMessage(OwnText id, const Values&... values) {
  const ScopedResourceModule own(BixhDllInstance);
  SFmt text(BixhDllInstance, id);
  (text << ... << values);
  return text.str();
}

/// Writes one complete message for the user to the error channel.
template <class... Pieces>
void ReportToUser(const Pieces&... pieces) {
  (bixerr << ... << pieces) << endl << flush;
}

}  // namespace bix::impl

#endif  // BIX_URI_OWN_MESSAGE_H_
