#ifndef QV_MESSAGEOUTPUTHANDLER_H_
#define QV_MESSAGEOUTPUTHANDLER_H_

/// Where a host shows the messages of the library, such as a window of an editor.
///
///   class MessageWindow : public qv::IMessageOutputHandler {
///    public:
///     bool HandleOutput(const std::string& text) override { Append(text); return true; }
///     void OutputDone() override { Redraw(); }
///   };
///
/// Owner: the host. A channel only borrows its handlers and never deletes one.

#include "bix/hostmacros_off.h"

#include <string>

namespace qv {

/// Receives each message of a channel when it is flushed. Exactly two slots, in this order; hosts
/// are compiled against them.
class IMessageOutputHandler {
 public:
  /// Receives one complete message, an empty one too. Returns true when the message is dealt with
  /// and the console must not show it. The log file gets it either way.
  ///
  /// Owner: `text` is borrowed for the call.
  virtual bool HandleOutput(const std::string& text) = 0;  // slot 1

  /// Called at the end of every flush of a channel that has a handler.
  virtual void OutputDone() = 0;  // slot 2

 protected:
  // COMPAT(handler-two-slots): no virtual destructor, although the class is a base: it would move
  // the two slots that hosts are compiled against. Test: MessageHandlerCompat.HasExactlyTwoSlots
  ~IMessageOutputHandler() = default;
};

}  // namespace qv

#include "bix/hostmacros_on.h"

#endif  // QV_MESSAGEOUTPUTHANDLER_H_
