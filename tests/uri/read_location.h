#ifndef BIX_TESTS_URI_READ_LOCATION_H_
#define BIX_TESTS_URI_READ_LOCATION_H_

#include <istream>
#include <memory>
#include <sstream>
#include <string>

#include "bix/urischeme.h"

namespace bix_test {

/// What is read from a location: its text, or "<null>", and the errors behind it.
inline std::string Read(const bix::SString& uri) {
  bix::SVector<bix::SString> errors;
  const std::unique_ptr<std::istream> stream(bix::SUri.OpenRead(errors, uri));
  std::ostringstream text;
  if (stream != nullptr)
    text << stream->rdbuf();
  else
    text << "<null>";
  for (const bix::SString& error : errors) text << " [" << error << "]";
  return text.str();
}

}  // namespace bix_test

#endif  // BIX_TESTS_URI_READ_LOCATION_H_
