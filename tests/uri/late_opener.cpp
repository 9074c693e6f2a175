// A module that a host calls when the static objects of the library have ended.

#include <istream>
#include <memory>
#include <ostream>
#include <string>

#include "bix/urischeme.h"

/// Saves a text to a file and reads it again; 0 when that went well.
extern "C" __attribute__((visibility("default"))) int RunLate(const char* file) {
  bix::SVector<bix::SString> errors;
  std::unique_ptr<std::ostream> out(bix::SUri.OpenWrite(errors, file));
  if (out == nullptr) return 1;
  *out << "saved late";
  out.reset();
  const std::unique_ptr<std::istream> in(bix::SUri.OpenRead(errors, file));
  if (in == nullptr) return 2;
  std::string text;
  std::getline(*in, text);
  return text == "saved late" && errors.empty() ? 0 : 3;
}
