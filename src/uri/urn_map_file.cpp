#include "uri/urn_map_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include <sys/stat.h>

#include "bix/directories.h"
#include "support/durable_file.h"
#include "support/read_file.h"
#include "uri/own_message.h"
#include "uri/urn_map.h"

namespace bix::impl {
namespace {

// CHOICE(urn-map-limit): what is larger is no map, but a device without an end or a file by mistake.
// It is as good as one that cannot be opened. Test: UrnMapFile.AFileWithoutAnEndCannotBeRead
constexpr std::size_t kLargestMap = 16u << 20;

// COMPAT(urn-file-reports): both texts are known to the letter, with the blank before the colon and
// none behind it in the second. Test: UrnMapFileCompat.FailuresAreReportedInFixedTexts

void ReportNotOpened(const SPathName& file) { ReportToUser("Can not open the file: ", file); }

void ReportNotWritten(const SPathName& file) {
  ReportToUser("Error occured while writing to file :", file);
}

// CHOICE(urn-map-fifo): a fifo keeps no entries, and writing to it would wait for somebody who reads
// them. So it cannot be opened for writing. Test: UrnMapFaults.AFifoIsNotWaitedFor
bool IsFifo(const SPathName& file) {
  struct stat status = {};
  return ::stat(file.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

}  // namespace

bool FindUrnMapFile(SPathName& file) {
  SPathName path;
  if (!BixGetSharedDataDirectory(path)) return false;
  path.AddPathElement("urnmap.txt");
  file = path;
  return true;
}

void SetUrnMapVariable(const SPathName& file) {
  // COMPAT(urn-variable-replaced): what the user had set is gone from here on, for this process and
  // the programs that it starts. Test: UrnRegisterCompat.TheUsersVariableIsReplaced
  // The environment gets a copy of its own, which stays when the library goes.
  (void)::setenv(kUrnMapVariable, file.c_str(), 1);
}

int ReadUrnMapFile(const SString& file, SString& text) {
  std::string bytes;
  // CHOICE(urn-map-unreadable): a file that fails while it is read, or is a directory, cannot be
  // read, and nothing is taken from it: half a map would let saved files lose their places.
  // Test: UrnMapFile.WhatFailsWhileItIsReadIsReported
  if (const int error = ReadFileWithin(file.c_str(), kLargestMap, bytes)) return error;
  // COMPAT(urn-map-returns): carriage returns go wherever they stand, but only those of a file: the
  // option text keeps them. Test: UrnMapFileCompat.CarriageReturnsGoFromTheFileOnly
  bytes.erase(std::remove(bytes.begin(), bytes.end(), '\r'), bytes.end());
  text = std::move(bytes);
  return 0;
}

void WriteUrnMapFile(const SPathName& name, std::string_view entries) {
  DurableFile file(name.c_str());
  int error = IsFifo(name) ? ENXIO : file.Lock();
  if (error == 0) error = file.Open();
  if (error != 0) {
    ReportNotOpened(name);
    return;
  }
  // COMPAT(urn-map-as-written): the file gets the entries as the user wrote them, with their capital
  // letters and their separators. Test: UrnOptionCompat.TheFileGetsTheEntriesAsTheyAreWritten
  ForEachUrnEntry(entries, [&file](std::string_view entry) {
    // What goes wrong shows at the end, when nothing is replaced yet.
    (void)std::fwrite(entry.data(), 1, entry.size(), file.GetStream());
    (void)std::fputc('\n', file.GetStream());
  });
  error = file.Finish();
  if (error == 0) error = file.Commit();
  // CHOICE(urn-map-kept): entries that cannot be stored leave the old file as it was, and not one
  // that is cut off. Test: UrnMapFaults.AFailedWriteKeepsTheOldFile
  if (error != 0) ReportNotWritten(name);
}

bool AppendToUrnMapFile(const SPathName& name, std::string_view entry) {
  DurableFile file(name.c_str());
  int error = IsFifo(name) ? ENXIO : file.Lock();
  if (error == 0) error = file.OpenToAppend();
  if (error != 0) {
    ReportNotOpened(name);
    return false;
  }
  // CHOICE(urn-append-own-line): a file whose last line has no end gets one first: an entry never
  // becomes one with what stands before it. Test: UrnAppend.AnUnfinishedLineIsEndedFirst
  if (file.AppendLine(entry) == 0) return true;
  ReportNotWritten(name);
  return false;
}

}  // namespace bix::impl
