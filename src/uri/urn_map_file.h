#ifndef BIX_URI_URN_MAP_FILE_H_
#define BIX_URI_URN_MAP_FILE_H_

/// The file that keeps the URN map.

#include <string_view>

#include "bix/pathname.h"
#include "bix/text.h"

namespace bix::impl {

/// The environment variable that names the file to read.
inline constexpr char kUrnMapVariable[] = "VORN_URN_MAP_FILE";

/// Finds "urnmap.txt" in the shared data directory; false when there is no such directory.
bool FindUrnMapFile(SPathName& file);

/// Has "VORN_URN_MAP_FILE" name `file`.
void SetUrnMapVariable(const SPathName& file);

/// Reads all of a map file, without its carriage returns; 0, or an error number.
int ReadUrnMapFile(const SString& file, SString& text);

/// Replaces the file by the entries of a map's text. Reports to the user what fails.
void WriteUrnMapFile(const SPathName& file, std::string_view entries);

/// Appends one entry. Reports to the user what fails; false then.
bool AppendToUrnMapFile(const SPathName& file, std::string_view entry);

}  // namespace bix::impl

#endif  // BIX_URI_URN_MAP_FILE_H_
