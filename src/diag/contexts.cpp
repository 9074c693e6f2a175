#include "bix/contexts.h"

#include <cstring>
#include <memory>
#include <string_view>

#include "support/above_standard.h"
#include "support/uncancelled.h"

// Static storage
bix::CErrorContext* _QelCurrentErrorCtx = nullptr;

namespace bix {
namespace {

/// For writing, emptied; children of the host do not inherit it.
std::FILE* OpenNamed(const SString& name) {
  return impl::AboveStandard(std::fopen(name.c_str(), "we"), "we");
}

/// Closes a file that was opened by its name.
// COMPAT(context-keeps-stream): a stream that the host has handed in stays open.
// Test: FileContextCompat.AStreamIsNotClosed
void CloseNamed(const SString& name, std::FILE* file) {
  const impl::Uncancelled uncancelled;  // to be cancelled within a destructor would end the process
  if (!name.empty() && file != nullptr) (void)std::fclose(file);  // nobody left to tell
}

// CHOICE(context-without-file): what a context without a file is given is dropped.
// Test: FileContext.WithoutAFileNothingIsWritten
void Write(std::FILE* file, std::string_view bytes) {
  if (file != nullptr) (void)std::fwrite(bytes.data(), 1, bytes.size(), file);
}

std::string_view OrEmpty(const char* text) { return text != nullptr ? text : ""; }

const char* Word(bool value) { return value ? "true" : "false"; }

}  // namespace

void CError::Flush() {
  if (_QelCurrentErrorCtx != nullptr) *_QelCurrentErrorCtx << this;
}

CError::~CError() = default;

CErrorContext::~CErrorContext() = default;

CErrorContext& CErrorContext::operator<<(CError* error) {
  FlushError(error);
  return *this;
}

CErrorContext& CErrorContext::operator<<(const char* message) {
  FlushMessage(message);
  return *this;
}

CFileErrorContext::CFileErrorContext(const char* name) : m_name(name), m_file(OpenNamed(m_name)) {}

CFileErrorContext::~CFileErrorContext() { CloseNamed(m_name, m_file); }

// COMPAT(context-as-it-stands): no newline is added, neither to errors nor to messages.
// Test: FileContextCompat.TextsAreWrittenAsTheyStand
void CFileErrorContext::FlushError(CError* error) {
  // CHOICE(context-null-error): no error is not counted. Test: ErrorContext.NullIsNoError
  if (error == nullptr) return;
  Write(m_file, error->GetText());
  ++m_errorCount;
}

void CFileErrorContext::FlushMessage(const char* message) { Write(m_file, OrEmpty(message)); }

CBufferErrorContext::~CBufferErrorContext() {
  while (m_first != nullptr) {
    const std::unique_ptr<Entry> entry(m_first);
    m_first = entry->next;
    delete entry->error;
  }
}

void CBufferErrorContext::FlushError(CError* error) {
  if (error == nullptr) return;
  // COMPAT(context-copies-error): the caller keeps the error, which may be on its stack; what is
  // stored is a plain error with its text. Test: BufferContextCompat.AFlushedErrorIsCopied
  Append(error->GetText().c_str());
  ++m_errorCount;
}

// COMPAT(context-message-entry): a message becomes an entry like an error, but is not counted as
// one. Test: BufferContextCompat.MessagesAreEntriesButNotErrors
void CBufferErrorContext::FlushMessage(const char* message) { Append(message); }

void CBufferErrorContext::Append(const char* text) {
  auto error = std::make_unique<CError>(text);
  CBufferErrorContext::AddError(error.get());
  error.release();  // the list deletes it
}

void CBufferErrorContext::AddError(CError* error) {
  Entry* const entry = new Entry{nullptr, error};
  (m_last != nullptr ? m_last->next : m_first) = entry;
  m_last = entry;
  ++m_count;
}

void CBufferErrorContext::RemoveError(CError* error) {
  Entry* previous = nullptr;
  Entry* entry = m_first;
  while (entry != nullptr && entry->error != error) {
    previous = entry;
    entry = entry->next;
  }
  // CHOICE(context-remove-absent): an error that is not in the list is left alone.
  // Test: BufferContext.RemovingWhatIsNotInItChangesNothing
  if (entry == nullptr) return;
  (previous != nullptr ? previous->next : m_first) = entry->next;
  if (entry == m_last) m_last = previous;
  --m_count;
  delete entry;
}

CError* CBufferErrorContext::GetNextError(void*& position) const {
  if (position == nullptr) return nullptr;
  const Entry* const entry = static_cast<Entry*>(position);
  position = entry->next;
  return entry->error;
}

long CBufferErrorContext::MapErrors(long (*callback)(CError* error, void* data), void* data) {
  long result = 0;
  for (void* position = m_first; position != nullptr && result == 0;) {
    CError* const error = GetNextError(position);
    result = callback(error, data);
  }
  return result;
}

bool CBufferErrorContext::ErrorPresent(CError* error) const {
  for (const Entry* entry = m_first; entry != nullptr; entry = entry->next)
    if (entry->error == error) return true;
  return false;
}

CDumpCtx::~CDumpCtx() = default;

CFileDumpContext::CFileDumpContext(const char* name) : m_name(name), m_file(OpenNamed(m_name)) {}

CFileDumpContext::~CFileDumpContext() { CloseNamed(m_name, m_file); }

CDumpCtx& CFileDumpContext::operator<<(int number) {
  if (m_file != nullptr) (void)std::fprintf(m_file, "%d", number);
  return *this;
}

CDumpCtx& CFileDumpContext::operator<<(bool value) {
  Write(m_file, Word(value));
  return *this;
}

CDumpCtx& CFileDumpContext::operator<<(char byte) {
  Write(m_file, {&byte, 1});
  return *this;
}

CDumpCtx& CFileDumpContext::operator<<(const char* text) {
  Write(m_file, OrEmpty(text));
  return *this;
}

CStringDumpContext::CStringDumpContext() : m_text(512) {}

CStringDumpContext::~CStringDumpContext() = default;

CDumpCtx& CStringDumpContext::operator<<(int number) {
  m_text += number;
  return *this;
}

CDumpCtx& CStringDumpContext::operator<<(bool value) {
  m_text += value;
  return *this;
}

CDumpCtx& CStringDumpContext::operator<<(char byte) {
  m_text += byte;
  return *this;
}

CDumpCtx& CStringDumpContext::operator<<(const char* text) {
  if (text != nullptr) m_text += text;
  return *this;
}

}  // namespace bix
