#ifndef BIX_URI_COMPOSITE_SCHEME_H_
#define BIX_URI_COMPOSITE_SCHEME_H_

/// The scheme that stands for all others.

#include <istream>
#include <ostream>

#include "bix/urischeme.h"

namespace bix::impl {

/// Resolves URNs and hands each request to the scheme that gets it. One object, not registered, known
/// to hosts as `SUri`.
class CCompositeScheme final : public SUriScheme {
 public:
  std::istream* OpenRead(SVector<SString>& errors, const SString& uri) override;
  std::ostream* OpenWrite(SVector<SString>& errors, const SString& uri) override;
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

#endif  // BIX_URI_COMPOSITE_SCHEME_H_
