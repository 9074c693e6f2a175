#ifndef BIX_URI_FILE_SCHEME_H_
#define BIX_URI_FILE_SCHEME_H_

/// The scheme of plain files.

#include <istream>
#include <ostream>

#include "bix/urischeme.h"

namespace bix::impl {

/// Opens every location that is not a URI as a file. One object, the first scheme registered.
class SDefaultFileScheme final : public SUriScheme {
 public:
  std::istream* OpenRead(SVector<SString>& errors, const SString& path) override;
  std::ostream* OpenWrite(SVector<SString>& errors, const SString& path) override;
  int GetFormat(const SString& uri) const override;
  bool CanHandle(const SString& uri) const override;
  void GetSchemeDescription(SString& text) const override;
  bool IsReadOnly(const SString& uri) override;
  int GetCapabilities() const override;
  int OpenDialog(SVector<SString>& errors, const SString& start, SString& chosen,
                 const SString& filter) override;
  int SaveDialog(SVector<SString>& errors, const SString& start, SString& chosen,
                 const SString& filter) override;
  int DirDialog(SVector<SString>& errors, const SString& start, SString& chosen) override;
  int DirectRead(SVector<SString>& errors, const SString& uri, SVector<void*>& items,
                 const void* context) override;
  int DirectWrite(SVector<SString>& errors, const SString& uri, const SVector<void*>& items,
                  const void* context) override;
};

}  // namespace bix::impl

#endif  // BIX_URI_FILE_SCHEME_H_
