#ifndef BIX_SRC_OPTIONS_OPTION_TEXT_H_
#define BIX_SRC_OPTIONS_OPTION_TEXT_H_

/// Option values as text: what the typed access reads, and what option files are written with.

#include <cstdio>
#include <string_view>

#include "bix/containers.h"
#include "bix/registry.h"

namespace bix::impl {

/// True when `text` begins with a lower-case "t"; null counts as "".
bool ToBool(const char* text);

/// `text` as a decimal number, clamped to 32 bits so that both platforms agree; null counts as "".
int ToInt(const char* text);

/// True when the settings reader makes of `text`, written without quotes, the very same text.
bool IsReadableBare(std::string_view text);

/// Writes one value line of an option file, quoted where it has to be.
///
///   "n"="a"              a text
///   "n"=5                a bare type
///   "n"="-5"             a bare type whose text does not read back without quotes
///   "n"="a" ("p"="1", "q"="2" )
void WriteOptionValue(std::FILE* file, std::string_view name, CRgValue::RvType type,
                      std::string_view text, const MList<CRgAttribute*>* attributes);

}  // namespace bix::impl

#endif  // BIX_SRC_OPTIONS_OPTION_TEXT_H_
