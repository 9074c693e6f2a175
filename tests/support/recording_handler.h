#ifndef TESTS_SUPPORT_RECORDING_HANDLER_H_
#define TESTS_SUPPORT_RECORDING_HANDLER_H_

/// Message handlers that remember what a channel delivered.

#include <string>
#include <vector>

#include "bix/messages.h"

namespace bix_test {

/// Remembers each message and the calls in their order. Takes the message, or leaves it to the
/// console.
class RecordingHandler : public qv::IMessageOutputHandler {
 public:
  explicit RecordingHandler(bool consumes = true) : m_consumes(consumes) {}

  bool HandleOutput(const std::string& text) override {
    messages.push_back(text);
    calls.push_back("HandleOutput:" + text);
    return m_consumes;
  }
  void OutputDone() override { calls.push_back("OutputDone"); }

  /// All messages in one text.
  std::string Text() const {
    std::string all;
    for (const std::string& message : messages) all += message;
    return all;
  }

  std::vector<std::string> messages;
  std::vector<std::string> calls;

 private:
  bool m_consumes;
};

/// Takes what a channel delivers, `bixerr` unless told otherwise, until the end of the scope.
class ScopedRecorder : public RecordingHandler {
 public:
  explicit ScopedRecorder(bix::CMsgOut& channel = bix::bixerr) : m_channel(channel) {
    m_channel.PushOutput(this);
  }
  ScopedRecorder(const ScopedRecorder&) = delete;
  ScopedRecorder& operator=(const ScopedRecorder&) = delete;
  ~ScopedRecorder() { m_channel.PopOutput(); }

 private:
  bix::CMsgOut& m_channel;
};

}  // namespace bix_test

#endif  // TESTS_SUPPORT_RECORDING_HANDLER_H_
