#ifndef BIX_CONTEXTS_H_
#define BIX_CONTEXTS_H_

/// Where errors and dumps go.
///
///   bix::CBufferErrorContext errors;
///   errors << "no such file";
///   for (void* at = errors.GetFirstErrorPosition(); at != nullptr;)
///     Show(errors.GetNextError(at)->GetText());
///
///   bix::CStringDumpContext dump;
///   dump << "count " << 7;
///   Show(dump);                          // count 7
///
/// Error contexts take errors and messages, and write them to a file at once or keep them in a list.
/// The process's current error context, which the host sets, is where errors flush themselves to.
/// Dump contexts take the state of objects for debugging, and write it to a file or gather a text.
///
/// Owner: texts and errors that are passed are borrowed for the call; null counts as "".
/// Errors: writing to a file reports no failure; without an open file what is written is dropped.
/// Encoding: bytes, passed on unchanged. Threads: one context is not used from two threads at once.

#include "bix/hostmacros_off.h"

#include <cstdint>
#include <cstdio>

#include "bix/buffer.h"
#include "bix/export.h"
#include "bix/text.h"

namespace bix {

/// An error: its text. Hosts derive classes of their own.
class BIX_EXPORT CError {
 public:
  /// An error without a text.
  CError() = default;
  /// An error with a copy of the text.
  explicit CError(const char* text) : m_text(text) {}

  /// Passes this error to the current error context; does nothing when there is none. The error is
  /// not deleted.
  virtual void Flush();  // slot 1
  virtual ~CError();     // slot 2

  const SString& GetText() const { return m_text; }

 private:
  SString m_text;
};

/// What takes errors and messages.
class BIX_EXPORT CErrorContext {
 public:
  CErrorContext() = default;
  CErrorContext(const CErrorContext&) = delete;
  CErrorContext& operator=(const CErrorContext&) = delete;

  /// Takes an error and counts it; null is neither.
  ///
  /// Owner: the caller keeps the error.
  virtual void FlushError(CError* error) = 0;  // slot 1
  /// Takes a message, which does not count as an error.
  virtual void FlushMessage(const char* message) = 0;  // slot 2
  virtual ~CErrorContext();                            // slot 3

  /// FlushError and FlushMessage.
  CErrorContext& operator<<(CError* error);
  CErrorContext& operator<<(const char* message);

  /// How often FlushError has taken an error. Not the same as the number of entries that a
  /// CBufferErrorContext holds.
  std::int32_t GetFlushedErrorCount() const { return m_errorCount; }

 protected:
  std::int32_t m_errorCount = 0;  // raised by the FlushError of each derived class
};

/// Writes errors and messages to a file, as they stand and without a newline.
class BIX_EXPORT CFileErrorContext : public CErrorContext {
 public:
  /// Has no file. Errors are only counted.
  CFileErrorContext() = default;
  /// Writes to a stream.
  ///
  /// Owner: the stream is borrowed until the context ends, and is not closed by it.
  explicit CFileErrorContext(std::FILE* file) : m_file(file) {}
  /// Writes to the file of that name, which is made empty now and closed when the context ends.
  /// Children of the host do not inherit it.
  ///
  /// Errors: when it cannot be opened the context has no file; `errno` tells why.
  explicit CFileErrorContext(const char* name);

  void FlushError(CError* error) override;
  void FlushMessage(const char* message) override;
  ~CFileErrorContext() override;

 private:
  SString m_name;  // of the file that was opened by name
  std::FILE* m_file = nullptr;
};

/// Keeps errors and messages in a list, in the order in which they came.
class BIX_EXPORT CBufferErrorContext : public CErrorContext {
 public:
  CBufferErrorContext() = default;

  /// Adds a new error with a copy of the text.
  void FlushError(CError* error) override;
  /// Adds a new error with the message for its text. Unlike with FlushError, GetFlushedErrorCount
  /// does not rise.
  void FlushMessage(const char* message) override;
  /// Deletes every error of the list.
  ~CBufferErrorContext() override;

  /// Appends the error itself.
  ///
  /// Owner: adopted; the context deletes it.
  virtual void AddError(CError* error);  // slot 4
  /// Takes the first entry of this error out of the list. An error that is not in it is none of
  /// its business.
  ///
  /// Owner: the caller deletes it from now on.
  virtual void RemoveError(CError* error);  // slot 5

  /// AddError and RemoveError.
  void LinkError(CError* error) { AddError(error); }
  void UnlinkError(CError* error) { RemoveError(error); }

  /// The position of the first error; null when there is none.
  ///
  /// Owner: owned by the context, valid until its error is removed.
  void* GetFirstErrorPosition() const { return m_first; }
  /// The error at a position, which moves on to the next one, and becomes null behind the last. Null
  /// when the position is.
  ///
  /// Owner: owned by the context, valid until it is removed.
  CError* GetNextError(void*& position) const;

  /// Calls `callback` with each error, from the first on, and `data`, until it returns something
  /// other than 0. Returns its last result; 0 when there are no errors. The callback may remove the
  /// error that it is given.
  long MapErrors(long (*callback)(CError* error, void* data), void* data);

  /// Whether the list holds this very error.
  bool ErrorPresent(CError* error) const;

  /// The number of errors in the list, messages included.
  int GetErrorCount() const { return m_count; }

 private:
  struct Entry {
    Entry* next;
    CError* error;
  };

  void Append(const char* text);

  // Hosts are compiled against the order of these members; new ones go to the end.
  Entry* m_first = nullptr;
  Entry* m_last = nullptr;
  std::int32_t m_count = 0;
};

/// What takes the state of objects, piece by piece.
class BIX_EXPORT CDumpCtx {
 public:
  CDumpCtx() = default;
  CDumpCtx(const CDumpCtx&) = delete;
  CDumpCtx& operator=(const CDumpCtx&) = delete;

  /// The number in decimal; "true" or "false"; one byte; a text. Pointers other than to characters
  /// are taken for truth values.
  virtual CDumpCtx& operator<<(int number) = 0;        // slot 1
  virtual CDumpCtx& operator<<(bool value) = 0;        // slot 2
  virtual CDumpCtx& operator<<(char byte) = 0;         // slot 3
  virtual CDumpCtx& operator<<(const char* text) = 0;  // slot 4
  virtual ~CDumpCtx();                                 // slot 5

 private:
  [[maybe_unused]] std::int32_t m_reserved = 0;
};

/// Writes to a file.
class BIX_EXPORT CFileDumpContext : public CDumpCtx {
 public:
  /// The constructors and the destructor treat the file as those of CFileErrorContext do.
  CFileDumpContext() = default;
  explicit CFileDumpContext(std::FILE* file) : m_file(file) {}
  explicit CFileDumpContext(const char* name);

  CDumpCtx& operator<<(int number) override;
  CDumpCtx& operator<<(bool value) override;
  CDumpCtx& operator<<(char byte) override;
  CDumpCtx& operator<<(const char* text) override;
  ~CFileDumpContext() override;

 private:
  SString m_name;  // of the file that was opened by name
  std::FILE* m_file = nullptr;
};

/// Gathers a text.
class BIX_EXPORT CStringDumpContext : public CDumpCtx {
 public:
  CStringDumpContext();

  CDumpCtx& operator<<(int number) override;
  CDumpCtx& operator<<(bool value) override;
  CDumpCtx& operator<<(char byte) override;
  CDumpCtx& operator<<(const char* text) override;
  ~CStringDumpContext() override;

  /// What has been gathered so far.
  ///
  /// Owner: owned by the context, valid until the next piece.
  operator const char*() const { return m_text; }

 private:
  CBuffer m_text;
};

}  // namespace bix

/// Where errors flush themselves to: null until the host sets it, and put back by the host before
/// that context ends.
///
/// Owner: the host's.
extern BIX_EXPORT bix::CErrorContext* _QelCurrentErrorCtx;

#include "bix/hostmacros_on.h"

#endif  // BIX_CONTEXTS_H_
