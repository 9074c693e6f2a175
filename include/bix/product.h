#ifndef BIX_PRODUCT_H_
#define BIX_PRODUCT_H_

/// The names and the version of the tool suite, and the identifiers made of them.
///
///   bix::SString key = bix::AtelanProduct::GetRegistryToolPath();   // SOFTWARE\Kestrane\Vorn\4.2
///
/// Threads: re-entrant.

#include "bix/hostmacros_off.h"

#include "bix/export.h"
#include "bix/text.h"

namespace bix {

/// The one place that spells the identity of the product.
class BIX_EXPORT AtelanProduct {
 public:
  static SString GetRegistryCompanyName();                ///< "Kestrane"
  static SString GetRegistryToolName();                   ///< "Vorn"
  static SString GetRegistryToolVersion(char separator);  ///< '.' => "4.2"
  static SString GetFullToolVersion();                    ///< "4.2.0.2.13177"
  static int GetToolID();                                 ///< 1

  static SString GetRegistryToolPath();        ///< "SOFTWARE\Kestrane\Vorn\4.2"
  static SString GetRegistryLocalePath();      ///< "SOFTWARE\Kestrane\Vorn\4.2\Locale"
  static SString GetRegistryToolCustomPath();  ///< "SOFTWARE\Kestrane\Vorn\4.2\Custom\Atelan"

  static SString GetVornEditorActiveXCtrlProgID();  ///< "Kestrane.VornEditorsActiveXCtrl.4v2"
  static SString GetVornModelProgID();              ///< "Kestrane.VornDeveloperModelAPI.4.2M"
  static SString GetVornAtelanProgID();             ///< "Kestrane.VornDeveloperAtelanAPI.4.2M"
};

}  // namespace bix

#include "bix/hostmacros_on.h"

#endif  // BIX_PRODUCT_H_
