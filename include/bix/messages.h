#ifndef BIX_MESSAGES_H_
#define BIX_MESSAGES_H_

/// Message channels and numbered-parameter formats.

#include <cstdint>
#include <deque>
#include <fstream>
#include <sstream>

#include "bix/export.h"
#include "bix/hosttypes.h"
#include "bix/text.h"
#include "qv/messageoutputhandler.h"

namespace bix {

/// A format text whose "%1", "%2", ... are filled in order.
class BIX_EXPORT SFmt {
 public:
  SFmt(const char* format);
  SFmt(HINSTANCE module, unsigned int id);

  SFmt& operator<<(const SString& value);
  SFmt& operator<<(long number);
  SFmt& operator<<(const char* text);
  const SString& str();

 private:
  SString m_text;
  std::int32_t m_count = 0;
};

/// A message channel.
class BIX_EXPORT CMsgOut {
 public:
  enum MessageKind : std::int32_t { Error = 0, Normal = 1 };

  explicit CMsgOut(MessageKind kind);
  CMsgOut(const CMsgOut&) = delete;
  CMsgOut& operator=(const CMsgOut&) = delete;
  virtual ~CMsgOut();

  CMsgOut& operator<<(const char* text);
  CMsgOut& operator<<(long number);
  CMsgOut& operator<<(const SString& text);
  CMsgOut& operator<<(SFmt& format);
  CMsgOut& operator<<(CMsgOut& (*manipulator)(CMsgOut&));

  void SetOutput(qv::IMessageOutputHandler* handler);
  qv::IMessageOutputHandler* GetOutput() const;
  void PushOutput(qv::IMessageOutputHandler* handler);
  void PopOutput();

 private:
  friend BIX_EXPORT CMsgOut& flush(CMsgOut& channel);
  friend BIX_EXPORT CMsgOut& endl(CMsgOut& channel);

  const MessageKind m_kind;
  std::ostringstream m_buffer;
  qv::IMessageOutputHandler* m_handler = nullptr;
  std::deque<qv::IMessageOutputHandler*> m_handlers;
  bool m_assertDialog = false;
  bool m_quiet = false;
  std::ofstream m_log;
  UTF8String m_logName;
};

BIX_EXPORT CMsgOut& endl(CMsgOut& channel);
BIX_EXPORT CMsgOut& flush(CMsgOut& channel);
BIX_EXPORT CMsgOut& IntErr(CMsgOut& channel);

extern BIX_EXPORT CMsgOut bixerr;
extern BIX_EXPORT CMsgOut bixout;

}  // namespace bix

#endif  // BIX_MESSAGES_H_
