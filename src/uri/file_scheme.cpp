#include "uri/file_scheme.h"

#include <cerrno>
#include <memory>

#include "bix/filestreams.h"
#include "bix/pathname.h"
#include "resources/own_texts.h"
#include "uri/own_message.h"

namespace bix::impl {
namespace {

/// Opens `path` with a stream of its own.
///
/// Errors: null; `message`, filled with the path, is appended to `errors`, and `errno` tells why.
template <class Stream>
Stream* OpenFile(SVector<SString>& errors, const SString& path, OwnText message) {
  auto stream = std::make_unique<Stream>();
  stream->open(path, 0);
  if (stream->good()) return stream.release();  // the caller's from here on
  const int error = errno;
  // CHOICE(scheme-message-missing): without its text the message is empty. It is appended all the
  // same: the caller sees that something failed. Test: FileSchemeChoice.AMissingTextIsAppendedEmpty
  errors.push_back(OwnMessage(message, path));
  errno = error;
  return nullptr;
}

}  // namespace

// COMPAT(file-scheme-directory): the system opens directories for reading, so a directory is no
// failure. Test: FileSchemeCompat.ADirectoryOpensForReading
std::istream* SDefaultFileScheme::OpenRead(SVector<SString>& errors, const SString& path) {
  return OpenFile<SFile2IstreamAdapter>(errors, path, kMsgOpenForReadFailed);
}

std::ostream* SDefaultFileScheme::OpenWrite(SVector<SString>& errors, const SString& path) {
  return OpenFile<SFile2OstreamAdapter>(errors, path, kMsgOpenForWriteFailed);
}

int SDefaultFileScheme::GetFormat(const SString& /*uri*/) const { return 0; }

// COMPAT(file-scheme-drive-letter): "C:/x" is a URI and not taken, also where a file of that name
// exists. Test: FileSchemeCompat.ADriveLetterPathIsNotTaken
bool SDefaultFileScheme::CanHandle(const SString& uri) const { return !BixIsAUri(uri.c_str()); }

void SDefaultFileScheme::GetSchemeDescription(SString& text) const {
  text = "The default file scheme";
}

// COMPAT(file-scheme-never-read-only): no file counts as read-only, whatever its permissions.
// Test: FileSchemeCompat.NoFileIsReadOnly
bool SDefaultFileScheme::IsReadOnly(const SString& /*uri*/) { return false; }

int SDefaultFileScheme::GetCapabilities() const { return eRead | eWrite; }

// COMPAT(file-scheme-idle): what the scheme has no means for it does nothing about, and says that it
// did its work. Test: FileSchemeCompat.DialogsAndDirectAccessDoNothingAndSucceed

int SDefaultFileScheme::OpenDialog(SVector<SString>& /*errors*/, const SString& /*start*/,
                                   SString& /*chosen*/, const SString& /*filter*/) {
  return 0;
}

int SDefaultFileScheme::SaveDialog(SVector<SString>& /*errors*/, const SString& /*start*/,
                                   SString& /*chosen*/, const SString& /*filter*/) {
  return 0;
}

int SDefaultFileScheme::DirDialog(SVector<SString>& /*errors*/, const SString& /*start*/,
                                  SString& /*chosen*/) {
  return 0;
}

int SDefaultFileScheme::DirectRead(SVector<SString>& /*errors*/, const SString& /*uri*/,
                                   SVector<void*>& /*items*/, const void* /*context*/) {
  return 0;
}

int SDefaultFileScheme::DirectWrite(SVector<SString>& /*errors*/, const SString& /*uri*/,
                                    const SVector<void*>& /*items*/, const void* /*context*/) {
  return 0;
}

}  // namespace bix::impl
