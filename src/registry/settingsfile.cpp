// The reader of the settings text format; docs/settings-format.md has the grammar.
//
//   file       = { stray character } { section }
//   section    = "[" component { "/" component } "]" [ key attributes ] { value }
//   key attrs  = "(" raw "=" raw { any token, raw "=" raw } ")"
//   value      = quoted "=" token [ "(" token "=" token { any token, token "=" token } ")" ]
//
// One function per rule. The end of the file ends every rule with success, and a token that fits
// nowhere ends the reading with failure; what was made up to there stays.

#include "bix/settingsfile.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

#include <strings.h>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "registry/load_memory.h"
#include "registry/plain_layer.h"
#include "registry/settings_input.h"

namespace bix {

namespace {

enum Token : int {
  kStray = 0,
  kRawName = 1,
  kWord = 2,
  kQuoted = 3,
  kNumber = 4,
  kTrue = 5,
  kFalse = 6,
  kOpen = 7,
  kClose = 8,
  kOpenSection = 9,
  kCloseSection = 10,
  kEquals = 11,
  kComma = 12,
  kSlash = 13,
  kEnd = 14,
};

// The scanners for headers and key attributes tell some characters in kinds of their own.
constexpr Token kHeaderEnd = kOpenSection;
constexpr Token kAttributeComma = kSlash;

constexpr char kExpectedSection[] = "\"[\" at the start of a section";
constexpr char kExpectedKeyName[] = "a key name in the section header";
constexpr char kExpectedAfterHeader[] =
    "\"(\", a quoted value name, \"[\" or the end of the file after the section header";
constexpr char kExpectedAfterKeyAttributes[] =
    "a quoted value name, \"[\" or the end of the file after the key attributes";
constexpr char kExpectedAttributeEquals[] = "\"=\" after the attribute name";
constexpr char kExpectedAttributeEnd[] = "\",\" or \")\" after the attribute";
constexpr char kExpectedValueEquals[] = "\"=\" after the value name";
constexpr char kExpectedValue[] = "a quoted text, a number or a word after \"=\"";
constexpr char kExpectedAfterValue[] =
    "\"(\", a quoted value name, \"[\" or the end of the file after the value";
constexpr char kExpectedAfterValueAttributes[] =
    "a quoted value name, \"[\" or the end of the file after the value attributes";

/// isspace for any byte; those above 127 depend on the locale.
bool IsBlank(int character) {
  if (character < 0x80) return character == ' ' || (character >= '\t' && character <= '\r');
  return std::isspace(character) != 0;
}

/// The first quote in a text, or null. Names and values are short, so the first bytes are looked at
/// here: all at once, because a loop over texts of many lengths ends where no processor expects it.
char* FindQuote(char* begin, char* end) {
#ifdef __SSE2__
  constexpr std::ptrdiff_t kAtOnce = 64;
  if (end - begin >= kAtOnce) {
    const __m128i quotes = _mm_set1_epi8('"');
    std::uint64_t found = 0;  // a bit for each byte
    for (int i = 0; i < kAtOnce; i += 16) {
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(begin + i));
      const int mask = _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, quotes));
      found |= std::uint64_t{static_cast<unsigned>(mask)} << i;
    }
    if (found != 0) return begin + __builtin_ctzll(found);
    begin += kAtOnce;
  }
#endif
  return static_cast<char*>(std::memchr(begin, '"', static_cast<std::size_t>(end - begin)));
}

bool CarriesText(int kind) { return kind >= kRawName && kind <= kFalse; }

bool IsDigit(int character) { return character >= '0' && character <= '9'; }

bool IsWordCharacter(int character) { return std::isalnum(character) != 0 || character == '_'; }

int ClampToInt(std::int64_t number) {
  return static_cast<int>(std::min<std::int64_t>(number, INT_MAX));
}

}  // namespace

/// What one Load holds: the stream and its input. Given back on every way out.
class CRgLoader::Reading {
 public:
  Reading(CRgLoader& loader, std::FILE* stream) : m_loader(loader) {
    m_loader.m_stream = stream;
    m_loader.m_token = m_loader.m_valueName = "";
    m_loader.m_tokenSize = m_loader.m_valueNameSize = 0;
    m_loader.m_isTokenInBlock = m_loader.m_isValueNameInBlock = false;
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
  ~Reading() {
    m_loader.DeleteAttributes();
    m_loader.m_input = nullptr;
    m_loader.m_memory = nullptr;
    (void)std::fclose(m_loader.m_stream);  // only read from
    m_loader.m_stream = nullptr;
    m_loader.m_current = ' ';
  }

  void Start() {
    m_input = std::make_unique<impl::SettingsInput>(fileno(m_loader.m_stream));
    m_loader.m_input = m_input.get();
    m_loader.m_memory = &m_memory.emplace(*m_input);
  }

 private:
  CRgLoader& m_loader;
  std::unique_ptr<impl::SettingsInput> m_input;
  std::optional<impl::LoadMemory> m_memory;
};

CRgLoader::CRgLoader(CRgKey& root) : m_root(root) {}

CRgLoader::~CRgLoader() = default;

int CRgLoader::Load(const char* fileName) {
  m_error = m_deviation = CRgLoadError();
  m_kind = kStray;
  if (fileName == nullptr || *fileName == 0) {
    m_error.expected = "the name of a file";
    return 1;
  }
  std::FILE* stream = std::fopen(fileName, "re");
  if (stream == nullptr) {
    m_error.errorNumber = errno;
    m_error.expected = "a file that can be opened for reading";
    return 1;
  }
  Reading reading(*this, stream);
  reading.Start();
  ReadSections();
  if (m_input->GetErrorNumber() != 0) {
    // CHOICE(reader-read-error): a file that breaks off, or is a directory, is not a short file:
    // whoever saves next would lose the rest of it. Tests: SettingsReader.ADirectoryCannotBeRead,
    // SettingsReader.AFileThatFailsWhileItIsReadIsAFailure
    m_error.errorNumber = m_input->GetErrorNumber();
    m_error.expected = "a file that can be read to its end";
    return 1;
  }
  if (m_kind == kEnd) return 0;
  NoteDeviation(m_expected);
  m_error = m_deviation;
  return 1;
}

// Scanners.

/// The next character, or 0 at the end of the file.
int CRgLoader::Look() {
  if (!m_input->HasByte()) {
    KeepTexts();
    if (!m_input->Fill()) return 0;
  }
  return m_input->GetByte();
}

/// Copies the texts that are still in the block, before the next block takes its place.
void CRgLoader::KeepTexts() {
  if (m_isTokenInBlock) m_token = (m_text = m_token).c_str();
  if (m_isValueNameInBlock) m_valueName = (m_valueNameText = m_valueName).c_str();
  m_isTokenInBlock = m_isValueNameInBlock = false;
}

int CRgLoader::SkipBlanks() {
  do {
    char* place = m_input->GetCursor();
    char* const end = m_input->GetEnd();
    while (place != end && IsBlank(static_cast<unsigned char>(*place))) ++place;
    m_input->TakeTo(place);
  } while (!m_input->HasByte() && Look() != 0);  // the next block may begin with blanks as well
  m_input->BeginToken();
  return m_current = Look();
}

void CRgLoader::NextToken() {
  switch (const int character = SkipBlanks()) {
    case 0:
      m_kind = kEnd;
      return;
    case ',':
      m_kind = kComma;
      break;
    case '(':
      m_kind = kOpen;
      break;
    case ')':
      m_kind = kClose;
      break;
    case '=':
      m_kind = kEquals;
      break;
    case '[':
      m_kind = kOpenSection;
      break;
    case ']':
      m_kind = kCloseSection;
      break;
    case '/':
      m_kind = kSlash;
      break;
    case '"':
      return ReadQuotedText();
    default:
      if (IsDigit(character)) return ReadNumber();
      if (std::isalpha(character) != 0) return ReadWord();
      // COMPAT(reader-stale-text): a token without text leaves the text of the last one standing,
      // so a value that is no value is stored under the text of its own name before reading fails.
      // Test: SettingsReaderCompat.TokenWithoutTextLeavesTheLastTextStanding
      m_kind = kStray;
      break;
  }
  m_input->Take();
}

/// Starts a token text in m_text.
void CRgLoader::StartText() {
  m_isTokenInBlock = false;
  m_token = "";
  m_tokenSize = 0;
  m_text.clear();
}

void CRgLoader::EndText() {
  m_token = m_text.c_str();
  m_tokenSize = m_text.size();
}

/// Reads a quoted text that ends in the present block, without a copy.
bool CRgLoader::ReadQuotedTextInPlace() {
  char* const begin = m_input->GetCursor();
  char* const quote = FindQuote(begin, m_input->GetEnd());
  if (quote == nullptr) return false;
  *quote = 0;
  m_token = begin;
  m_tokenSize = static_cast<std::size_t>(quote - begin);
  m_isTokenInBlock = true;
  m_input->TakeTo(quote + 1);
  return true;
}

void CRgLoader::ReadQuotedText() {
  m_kind = kQuoted;
  m_input->Take();
  if (!ReadQuotedTextInPlace()) ReadQuotedRest();
}

/// Reads a quoted text that goes on in the next block, or ends with the file.
void CRgLoader::ReadQuotedRest() {
  StartText();
  while (Look() != 0) {
    char* const begin = m_input->GetCursor();
    char* const end = m_input->GetEnd();
    char* const quote = FindQuote(begin, end);
    m_text.append(begin, quote != nullptr ? quote : end);
    m_input->TakeTo(quote != nullptr ? quote + 1 : end);
    if (quote != nullptr) break;
  }
  EndText();
}

void CRgLoader::ReadNumber() {
  // COMPAT(reader-number-wraps): 32 bits without overflow check, and printed as a signed number, so
  // 4294967295 reads as "-1" and "007" as "7". Test: SettingsReaderCompat.NumbersAre32BitAndSigned
  m_kind = kNumber;
  std::uint32_t number = 0;
  for (int digit; IsDigit(digit = Look()); m_input->Take())
    number = number * 10 + static_cast<std::uint32_t>(digit - '0');
  StartText();
  m_text.assign(std::to_string(static_cast<std::int32_t>(number)));
  EndText();
}

void CRgLoader::ReadWord() {
  StartText();
  for (int character; IsWordCharacter(character = Look()); m_input->Take())
    m_text.push_back(static_cast<char>(character));
  EndText();
  m_kind = strcasecmp(m_token, "true") == 0    ? kTrue
           : strcasecmp(m_token, "false") == 0 ? kFalse
                                               : kWord;
}

template <class IsEnd>
void CRgLoader::ReadRawText(IsEnd isEnd) {
  m_kind = kRawName;
  StartText();
  for (int character; (character = Look()) != 0 && !isEnd(character);) {
    char* const begin = m_input->GetCursor();
    char* const end = std::find_if(begin, m_input->GetEnd(), isEnd);
    m_text.append(begin, end);
    m_input->TakeTo(end);
  }
  EndText();
}

void CRgLoader::NextKey() {
  switch (SkipBlanks()) {
    case 0:
      m_kind = kEnd;
      return;
    case '/':
      m_kind = kSlash;
      break;
    case ']':
      m_kind = kHeaderEnd;
      break;
    default:
      // COMPAT(reader-header-keeps-blanks): only leading blanks are skipped; trailing ones and line
      // breaks belong to the name. Test: SettingsReaderCompat.HeaderKeepsTrailingBlanks
      return ReadRawText([](int character) { return character == ']' || character == '/'; });
  }
  m_input->Take();
}

void CRgLoader::NextAttribute() {
  switch (SkipBlanks()) {
    case 0:
      m_kind = kEnd;
      return;
    case ',':
      m_kind = kAttributeComma;
      break;
    case ')':
      m_kind = kClose;
      break;
    case '=':
      m_kind = kEquals;
      break;
    default:
      return ReadRawText(
          [](int character) { return character == ')' || character == '=' || character == ','; });
  }
  m_input->Take();
}

// Rules.

/// Notes where and why reading may be about to fail; the first note since the last element that was
/// read in full counts.
void CRgLoader::NoteDeviation(const char* expected) {
  if (m_deviation.line != 0) return;
  const impl::SettingsInput::Place place = m_input->GetTokenPlace();
  m_deviation.line = ClampToInt(place.line);
  m_deviation.column = ClampToInt(place.column);
  m_deviation.expected = expected;
}

void CRgLoader::ReadSections() {
  // COMPAT(reader-leading-punctuation): characters that start no token, a byte-order mark among
  // them, are skipped before the first section and nowhere else.
  // Test: SettingsReaderCompat.StrayCharactersBeforeTheFirstSectionAreSkipped
  do NextToken();
  while (m_kind == kStray);
  m_expected = kExpectedSection;
  while (m_kind == kOpenSection && ReadSection()) {
  }
}

/// Reads the rest of a section; false when its header does not end, which ends the reading too.
bool CRgLoader::ReadSection() {
  if (!ReadHeader()) return false;
  m_expected = kExpectedAfterHeader;
  NextToken();
  if (m_kind == kOpen) {
    ReadKeyAttributes();
    m_expected = kExpectedAfterKeyAttributes;
    NextToken();
  }
  HandOverKeyAttributes();
  ReadValues();
  return true;
}

/// Reads "A/B]"; true when the closing bracket was found.
bool CRgLoader::ReadHeader() {
  m_expected = kExpectedKeyName;
  m_key = &m_root;
  m_lastKey = nullptr;
  do {
    NextKey();
    if (m_kind != kRawName) break;
    if (m_key != nullptr) {
      m_key = m_key->CreateKey(m_token, nullptr);
      if (m_key != nullptr)
        m_lastKey = m_key;
      else
        m_component = m_token;
    }
    NextToken();
  } while (m_kind == kSlash);
  return m_kind == kCloseSection;
}

void CRgLoader::ReadKeyAttributes() {
  do {
    NextAttribute();
    const SString name = m_token;
    NextToken();
    // COMPAT(reader-key-attribute-dropped): a name without "=" ends the list, and the section goes
    // on behind the next token. Test: SettingsReaderCompat.KeyAttributeWithoutEqualsIsDropped
    if (m_kind != kEquals) return NoteDeviation(kExpectedAttributeEquals);
    NextAttribute();
    AddAttribute(name.c_str());
    NextToken();
  } while (m_kind != kClose);
}

/// Adds an attribute whose value is the last text.
void CRgLoader::AddAttribute(const char* name) {
  auto attribute = std::make_unique<CRgAttribute>(name, m_token);
  m_attributes.AddTail(attribute.get());
  (void)attribute.release();  // deleted by DeleteAttributes unless handed over
}

void CRgLoader::HandOverKeyAttributes() {
  if (m_attributes.IsEmpty()) return;
  if (m_key == nullptr && m_lastKey != nullptr) {
    m_key = m_lastKey->UseAttributes(&m_attributes, m_component.c_str());
    // CHOICE(reader-use-attributes): the key may have been made with the attributes; one that was
    // not gets them below. Test: SettingsReaderLayers.UseAttributesGetsTheRefusedComponent
    if (m_key != nullptr &&
        m_key->GetAttributeList()->Find(m_attributes.GetAt(m_attributes.GetHeadPosition())))
      return m_attributes.RemoveAll();
  }
  if (m_key == nullptr) return DeleteAttributes();
  m_key->SetAttributes(&m_attributes);
  m_attributes.RemoveAll();  // now the key's
}

void CRgLoader::ReadValues() {
  m_plainKey = m_key != nullptr ? impl::AsPlainKey(m_key) : nullptr;
  while (m_kind == kQuoted) {
    m_deviation.line = 0;
    TakeValueName();
    if (!ReadPlainValue()) {
      NextToken();
      if (m_kind != kEquals) return NoteDeviation(kExpectedValueEquals);
      NextToken();
      if (!CarriesText(m_kind)) NoteDeviation(kExpectedValue);
    }
    m_expected = kExpectedAfterValue;
    const int next = SkipBlanks();
    if (next == '(') {
      // The attributes overwrite the text of the value.
      const SString value = m_token;
      NextToken();
      ReadValueAttributes();
      m_expected = kExpectedAfterValueAttributes;
      NextToken();
      MakeValue(value);
    } else {
      MakeValue({m_token, m_tokenSize});
      next == '"' ? ReadQuotedText() : NextToken();
    }
  }
  if (m_kind == kOpenSection) m_deviation.line = 0;
}

/// Reads `="text"` as the writer writes it, when it is all in the present block; the short way for
/// what nearly every value looks like.
bool CRgLoader::ReadPlainValue() {
  const char* const cursor = m_input->GetCursor();
  if (m_input->GetEnd() - cursor < 2 || cursor[0] != '=' || cursor[1] != '"') return false;
  m_input->Take();
  m_input->BeginToken();
  m_input->Take();
  if (!ReadQuotedTextInPlace()) ReadQuotedRest();
  m_kind = kQuoted;
  return true;
}

/// Keeps the last text, the name of a value, while the value is read.
void CRgLoader::TakeValueName() {
  m_isValueNameInBlock = m_isTokenInBlock;
  m_valueName = m_isTokenInBlock ? m_token : (m_valueNameText = m_token).c_str();
  m_valueNameSize = m_tokenSize;
}

/// Makes a value of the name kept; `text` is ended by a zero byte.
void CRgLoader::MakeValue(std::string_view text) {
  if (m_key == nullptr) return DeleteAttributes();
  // COMPAT(reader-values-are-texts): the type is 0 whatever the token was, so a bare word or number
  // is written back quoted. Test: SettingsWriterCompat.BareTypesAreQuotedAfterALoad
  CRgValue* const value =
      m_plainKey != nullptr
          ? m_plainKey->CreateTextValue({m_valueName, m_valueNameSize}, text, *m_memory)
          : m_key->CreateValue(m_valueName, 0, text.data(), &m_attributes);
  if (!m_attributes.IsEmpty()) HandOverAttributes(value);
}

void CRgLoader::ReadValueAttributes() {
  do {
    NextToken();
    const SString name = m_token;
    NextToken();
    // COMPAT(reader-attribute-separator): any token stands for the comma, so the blank-separated
    // form of the writer loses its second name here, and reading stops behind the value.
    // Test: SettingsReaderCompat.AttributesWithoutCommaStopTheReading
    if (m_kind != kEquals) return NoteDeviation(kExpectedAttributeEquals);
    NextToken();
    const bool hasText = CarriesText(m_kind);
    if (!hasText) NoteDeviation(kExpectedValue);
    AddAttribute(name.c_str());
    NextToken();
    if (hasText) m_deviation.line = 0;
    if (m_kind != kComma && m_kind != kClose) NoteDeviation(kExpectedAttributeEnd);
  } while (m_kind != kClose);
}

/// Settles who owns the attributes of a value just made: the key layer may have taken them, some of
/// them or none; those it left are added here. Without a value they are deleted.
void CRgLoader::HandOverAttributes(CRgValue* value) {
  if (value == nullptr) return DeleteAttributes();
  // CHOICE(reader-value-attributes): the default layer takes none in CreateValue, and still they
  // read back. Test: SettingsReaderLayers.ValueGetsTheAttributesItsLayerLeft
  // What the value holds goes first, and without needing memory: it must not be deleted here when
  // there is none left for the others.
  for (void* position = m_attributes.GetHeadPosition(); position != nullptr;) {
    void* const place = position;
    if (value->GetAttributeList()->Find(m_attributes.GetNext(position)) != nullptr)
      m_attributes.RemoveAt(place);
  }
  while (void* position = m_attributes.GetHeadPosition()) {
    value->AddAttribute(m_attributes.GetAt(position));
    m_attributes.RemoveAt(position);
  }
}

void CRgLoader::DeleteAttributes() {
  while (void* position = m_attributes.GetHeadPosition()) {
    delete m_attributes.GetAt(position);
    m_attributes.RemoveAt(position);
  }
}

}  // namespace bix
