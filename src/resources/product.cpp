#include "bix/product.h"

#include <string>

#include "resources/product_identity.h"

namespace bix {
namespace {

constexpr const char* kCompany = "Kestrane";
constexpr const char* kTool = "Vorn";
constexpr const char* kMajor = "4";
constexpr const char* kMinor = "2";
constexpr const char* kFullVersion = "4.2.0.2.13177";
constexpr int kToolId = 1;

/// <company>.<component>.<version>, and the suffix of programming interfaces.
SString ApiProgID(const char* component) {
  // COMPAT(product-api-suffix): the "M" depends on the tool id, even where that is always 1: a
  // build for tool 5 goes without. Test: ProductCompat.OnlyToolFiveGoesWithoutTheSuffix
  return std::string(kCompany) + '.' + component + '.' +
         AtelanProduct::GetRegistryToolVersion('.') + impl::ApiSuffix(AtelanProduct::GetToolID());
}

}  // namespace

SString AtelanProduct::GetRegistryCompanyName() { return kCompany; }

SString AtelanProduct::GetRegistryToolName() { return kTool; }

SString AtelanProduct::GetRegistryToolVersion(char separator) {
  SString version(kMajor);
  // A zero byte ends the text, as it would in any formatted text.
  if (separator != 0) version.append(1, separator).append(kMinor);
  return version;
}

SString AtelanProduct::GetFullToolVersion() { return kFullVersion; }

int AtelanProduct::GetToolID() { return kToolId; }

SString AtelanProduct::GetRegistryToolPath() {
  return std::string("SOFTWARE\\") + kCompany + '\\' + kTool + '\\' + GetRegistryToolVersion('.');
}

SString AtelanProduct::GetRegistryLocalePath() { return GetRegistryToolPath() + "\\Locale"; }

SString AtelanProduct::GetRegistryToolCustomPath() {
  return GetRegistryToolPath() + "\\Custom\\Atelan";
}

// COMPAT(product-control-id): the version is joined by "v" here, and there is never an "M".
// Test: ProductCompat.TheControlIdIsSpelledDifferently
SString AtelanProduct::GetVornEditorActiveXCtrlProgID() {
  return std::string(kCompany) + ".VornEditorsActiveXCtrl." + GetRegistryToolVersion('v');
}

SString AtelanProduct::GetVornModelProgID() { return ApiProgID("VornDeveloperModelAPI"); }

SString AtelanProduct::GetVornAtelanProgID() { return ApiProgID("VornDeveloperAtelanAPI"); }

}  // namespace bix
