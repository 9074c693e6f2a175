#include "bix/url.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <iostream>
#include <string_view>
#include <utility>

namespace bix {
namespace {

bool IsLineEnd(char byte) { return byte == '\n' || byte == '\r'; }

/// One line on the process's standard error stream, whatever width the host has set there.
void WriteUnknownProtocol(const std::string& protocol) {
  const std::string line = "unknown protocol in SplitUrl: '" + protocol + "'\n";
  try {
    std::cerr.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
  } catch (const std::ios_base::failure&) {
    // A host that has asked the stream for exceptions did not ask this function for them.
  }
}

/// Drops the line end and the version of HTTP from a request.
void DropEndOfRequest(std::string& request) {
  for (int i = 0; i < 2; ++i)
    if (!request.empty() && IsLineEnd(request.back())) request.pop_back();
  constexpr std::string_view kVersion = "HTTP/1.";
  if (request.size() <= kVersion.size()) return;
  if (request.compare(request.size() - 1 - kVersion.size(), kVersion.size(), kVersion) != 0) return;
  // COMPAT(request-version): the character in front goes with it, whatever it is.
  // Test: RequestCompat.TheCharacterBeforeTheVersionGoes
  request.resize(request.size() - std::min<std::size_t>(request.size(), kVersion.size() + 2));
}

/// The value of a parameter.
// COMPAT(request-plus-first): each "+" is a blank before anything is decoded, also as the digit of
// an escape. Test: RequestCompat.APlusIsABlankEvenAsADigit
std::string DecodeValue(std::string_view text) {
  std::string spaced(text);
  std::replace(spaced.begin(), spaced.end(), '+', ' ');
  UTF8String value;
  DecodeURL(spaced, value);
  return value;
}

/// Adds one parameter, unless its name is there already.
void AddParameter(std::string_view piece, std::map<std::string, std::string>& params) {
  const std::size_t equals = piece.find('=');
  // COMPAT(request-no-value): a parameter without "=" is its own value.
  // Test: RequestCompat.AParameterWithoutAValueIsItsOwn
  const std::string_view value =
      equals != std::string_view::npos ? piece.substr(equals + 1) : piece;
  // COMPAT(request-first-counts): names are kept as they stand, not decoded, and the first of a
  // name counts. Test: RequestCompat.TheFirstOfANameCountsAndNamesAreNotDecoded
  const auto [entry, isNew] = params.try_emplace(std::string(piece.substr(0, equals)));
  if (isNew) entry->second = DecodeValue(value);
}

}  // namespace

// The text is held in two parts: what is done, and what is still to be searched. The search goes on
// one byte behind where it would find the same again, which may be up to length(from) - 1 bytes
// within what is done: these move back in front of what is to be searched.
std::string ReplaceInStr(const std::string& text, const std::string& from, const std::string& to) {
  std::string done;
  std::string rest = text;
  std::size_t at = 0;  // of what is still to be searched
  for (std::size_t hit = rest.find(from); hit != std::string::npos; hit = rest.find(from, at)) {
    done.append(rest, at, hit - at).append(to);
    at = hit + from.size();
    if (from.empty()) {
      // Found again at the very next byte, up to the end.
      if (at == rest.size()) break;
      done += rest[at++];
      continue;
    }
    // COMPAT(replace-looks-back): with a longer `from` the search looks back into what was inserted.
    // Test: ReplaceCompat.LooksBackIntoWhatWasInserted
    // CHOICE(replace-ends): where that would lie in front of the text the search ends.
    // Test: Replace.EndsInFrontOfTheText
    const std::size_t back = from.size() - 1;
    if (done.size() < back) break;
    at -= back;
    rest.replace(at, back, done, done.size() - back, back);
    done.resize(done.size() - back);
  }
  return done.append(rest, at);
}

bool RemoveProtocolFromUrl(const std::string& url, std::string& protocol, std::string& rest) {
  // COMPAT(url-first-colon): only the first colon counts, "://" behind another one does not.
  // Test: UrlCompat.OnlyTheFirstColonCounts
  const std::size_t colon = url.find(':');
  if (colon == std::string::npos || url.compare(colon + 1, 2, "//") != 0) {
    rest = url;
    return false;
  }
  // Either result may be the URL itself.
  std::string behind = url.substr(colon + 3);
  protocol = url.substr(0, colon);
  rest = std::move(behind);
  return true;
}

std::string TruncAtNewLine(const std::string& s) {
  const std::size_t end = s.find_first_of("\n\r");
  // COMPAT(first-line-end): a line end at the very start does not count, nor any behind it.
  // Test: FirstLineCompat.ALineEndAtTheStartKeepsEverything
  return end != 0 ? s.substr(0, end) : s;
}

void ToLower(std::string& text) {
  for (char& byte : text) byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
}

void ToUpper(std::string& text) {
  for (char& byte : text) byte = static_cast<char>(std::toupper(static_cast<unsigned char>(byte)));
}

void SplitUrl(const std::string& url, std::string& protocol, std::string& host, std::string& path) {
  // COMPAT(url-preset-protocol): without "://" the protocol that the caller has left there decides.
  // Test: UrlCompat.WithoutAProtocolTheCallersCounts
  (void)RemoveProtocolFromUrl(url, protocol, host);
  // COMPAT(url-case): protocols are compared with regard to case.
  // Test: UrlCompat.CapitalLettersMakeAnUnknownProtocol
  if (protocol == "http") {
    const std::size_t slash = host.find('/');
    path = slash != std::string::npos ? host.substr(slash) : "/";
    host.resize(std::min(slash, host.size()));
  } else if (protocol == "file") {
    path = host;
    std::replace(path.begin(), path.end(), '\\', '/');
    host.clear();
  } else {
    // COMPAT(url-unknown-protocol): past the message channels, and the path stays as it was.
    // Test: UrlCompat.AnUnknownProtocolIsReportedOnTheStandardStream
    WriteUnknownProtocol(protocol);
  }
}

void SplitGetReq(std::string request, std::string& path,
                 std::map<std::string, std::string>& params) {
  DropEndOfRequest(request);
  const std::size_t question = request.find('?');
  path = request.substr(0, question);
  if (question == std::string::npos) return;
  const std::string_view pieces = std::string_view(request).substr(question + 1);
  // COMPAT(request-empty-piece): an empty piece is a parameter without name and value, also when
  // nothing follows the "?". Test: RequestCompat.AnEmptyPieceIsAParameter
  for (std::size_t at = 0; at <= pieces.size();) {
    const std::size_t end = std::min(pieces.find('&', at), pieces.size());
    AddParameter(pieces.substr(at, end - at), params);
    at = end + 1;
  }
}

}  // namespace bix
