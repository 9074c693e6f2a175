#ifndef QV_MESSAGEOUTPUTHANDLER_H_
#define QV_MESSAGEOUTPUTHANDLER_H_

#include <string>

namespace qv {

/// Where a host shows the messages of the library, such as a window of an editor.
class IMessageOutputHandler {
 public:
  virtual bool HandleOutput(const std::string& text) = 0;  // slot 1
  virtual void OutputDone() = 0;                           // slot 2

 protected:
  ~IMessageOutputHandler() = default;  // not virtual: hosts count on exactly two slots
};

}  // namespace qv

#endif  // QV_MESSAGEOUTPUTHANDLER_H_
