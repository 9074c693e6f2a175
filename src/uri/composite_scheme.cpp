#include "uri/composite_scheme.h"

#include "bix/urn.h"
#include "uri/scheme_registry.h"

namespace bix::impl {
namespace {

/// The result of a request that no scheme takes.
// COMPAT(composite-no-scheme): hosts tell by this number that no scheme was there to be asked.
// Test: CompositeSchemeCompat.WithoutASchemeTheResultIsTwo
constexpr int kNoScheme = 2;

}  // namespace

// COMPAT(composite-silent): nothing is appended to the errors when a URN cannot be resolved or no
// scheme takes the location: the one was reported on the error channel, the other is for the caller
// to say. Test: CompositeSchemeCompat.WhatItCannotHandOnLeavesTheErrorsEmpty

std::istream* CCompositeScheme::OpenRead(SVector<SString>& errors, const SString& uri) {
  SString path;
  if (!SUrnResolver::ResolveUrn(uri, path)) return nullptr;
  SUriScheme* const scheme = FindLatestScheme(eRead, path);
  return scheme != nullptr ? scheme->OpenRead(errors, path) : nullptr;
}

std::ostream* CCompositeScheme::OpenWrite(SVector<SString>& errors, const SString& uri) {
  SString path;
  if (!SUrnResolver::ResolveUrn(uri, path)) return nullptr;
  SUriScheme* const scheme = FindLatestScheme(eWrite, path);
  return scheme != nullptr ? scheme->OpenWrite(errors, path) : nullptr;
}

// COMPAT(composite-unresolved): formats and direct access are for the schemes' own locations: a URN
// reaches the schemes as it is.
// Test: CompositeSchemeCompat.FormatsDirectAccessAndDialogsDoNotResolveUrns
int CCompositeScheme::GetFormat(const SString& uri) const {
  const SUriScheme* const scheme = FindLatestScheme(uri);
  return scheme != nullptr ? scheme->GetFormat(uri) : 0;
}

bool CCompositeScheme::CanHandle(const SString& uri) const {
  SString path;
  return SUrnResolver::ResolveUrn(uri, path) && FindLatestScheme(path) != nullptr;
}

void CCompositeScheme::GetSchemeDescription(SString& text) const { text = "Composite Scheme"; }

bool CCompositeScheme::IsReadOnly(const SString& uri) {
  SString path;
  if (!SUrnResolver::ResolveUrn(uri, path)) return false;
  SUriScheme* const scheme = FindLatestScheme(path);
  // COMPAT(composite-read-only): the scheme that takes the resolved location is asked about the
  // location as the caller gave it. Test: CompositeSchemeCompat.ReadOnlyIsAskedWithTheUnresolvedUri
  return scheme == nullptr || scheme->IsReadOnly(uri);
}

int CCompositeScheme::GetCapabilities() const { return AllCapabilities(); }

int CCompositeScheme::OpenDialog(SVector<SString>& errors, const SString& start, SString& chosen,
                                 const SString& filter) {
  SUriScheme* const scheme = SelectScheme(eOpenDialog);
  return scheme != nullptr ? scheme->OpenDialog(errors, start, chosen, filter) : kNoScheme;
}

int CCompositeScheme::SaveDialog(SVector<SString>& errors, const SString& start, SString& chosen,
                                 const SString& filter) {
  SUriScheme* const scheme = SelectScheme(eSaveDialog);
  return scheme != nullptr ? scheme->SaveDialog(errors, start, chosen, filter) : kNoScheme;
}

int CCompositeScheme::DirDialog(SVector<SString>& errors, const SString& start, SString& chosen) {
  SUriScheme* const scheme = SelectScheme(eDirDialog);
  return scheme != nullptr ? scheme->DirDialog(errors, start, chosen) : kNoScheme;
}

int CCompositeScheme::DirectRead(SVector<SString>& errors, const SString& uri,
                                 SVector<void*>& items, const void* context) {
  SUriScheme* const scheme = FindLatestScheme(uri);
  return scheme != nullptr ? scheme->DirectRead(errors, uri, items, context) : kNoScheme;
}

int CCompositeScheme::DirectWrite(SVector<SString>& errors, const SString& uri,
                                  const SVector<void*>& items, const void* context) {
  SUriScheme* const scheme = FindLatestScheme(uri);
  return scheme != nullptr ? scheme->DirectWrite(errors, uri, items, context) : kNoScheme;
}

}  // namespace bix::impl
