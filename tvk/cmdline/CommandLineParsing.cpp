#include <tvk/cmdline/CommandLineParsing.h>

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <limits>
#include <string_view>

#include <tvk/files/FileString.h>
#include <tvk/files/HostAddress.h>
#include <tvk/text/Characters.h>
#include <tvk/text/Exception.h>
#include <tvk/time/DateTime.h>

namespace tvk {
namespace {

using namespace characters;

// The codes that the readers raise.
constexpr std::int64_t invalidOption = 2001;
constexpr std::int64_t missingArgument = 2003;
constexpr std::int64_t outOfRange = 2005;
constexpr std::int64_t numberExpected = 2021;
constexpr std::int64_t badText = 2023;

constexpr const char* monthNames = "Jan\tFeb\tMar\tApr\tMay\tJun\tJul\tAug\tSep\tOct\tNov\tDec";
constexpr const char* zoneNames = "HST\tAKST\tPST\tMST\tCST\tEST\tAST\tUTC\tCET\tEET\tMSK";
constexpr std::int32_t zoneMinutes[] = {-600, -540, -480, -420, -360, -300, -240, 0, 60, 120, 180};

bool areEqual(char left, char right) { return left == right || toLower(left) == toLower(right); }

}  // namespace

// What stands at the cursor as the C library's base 0 reads it, but with the same answers on every host.
struct CommandLineParsing::Number {
  const char* start;
  std::uint64_t magnitude = 0;
  bool isNegative = false;
  bool isTooLarge = false;  // for 64 bits
  bool isPresent = false;
};

CommandLineParsing::CommandLineParsing(const ArgumentList& arguments) : m_arguments(arguments) {
  MakeCurrent(0);
  m_isLastArgument = 0;
}

CommandLineParsing::~CommandLineParsing() = default;

void CommandLineParsing::Parse() {
  for (std::size_t index = 0; index < m_arguments.Count(); index = m_argumentIndex + 1) {
    MakeCurrent(index);
    if (*m_position != '-') return;  // NOLINT(clang-analyzer-core.NullDereference): MakeCurrent() sets it
    ++m_position;
    if (!HandleOption()) Fail(invalidOption);
    SkipSpaces();
    if (!IsEmpty()) Fail(invalidOption);
  }
  m_argumentIndex = m_arguments.Count();
}

// --- Cursor and arguments

void CommandLineParsing::MakeCurrent(std::size_t index) noexcept {
  m_argumentIndex = index;
  m_position = m_argumentStart = index < m_arguments.Count() ? m_arguments[index] : nullptr;
  m_isLastArgument = index + 1 == m_arguments.Count() ? 1 : 0;
}

void CommandLineParsing::SkipSpaces() noexcept {
  while (isSpace(Peek())) ++m_position;
}

bool CommandLineParsing::AtEnd(bool skipSpaces) const noexcept {
  if (IsEmpty()) return true;
  if (!skipSpaces) return false;
  const char* at = m_position;
  while (isSpace(*at)) ++at;
  return *at == '\0';
}

bool CommandLineParsing::AtEndOfAll(bool skipSpaces) const noexcept {
  return m_argumentIndex + 1 >= m_arguments.Count() && (m_arguments.IsEmpty() || AtEnd(skipSpaces));
}

bool CommandLineParsing::IsNext(char c) const noexcept { return !IsEmpty() && areEqual(*m_position, c); }

bool CommandLineParsing::Accept(char c) noexcept {
  const bool isNext = IsNext(c);
  if (isNext) ++m_position;
  return isNext;
}

bool CommandLineParsing::IsDigitFor(unsigned base) const noexcept {
  switch (base) {
    case 8:
      return isOctalDigit(Peek());
    case 10:
      return isDigit(Peek());
    case 16:
      return isHexDigit(Peek());
    default:
      return true;
  }
}

void CommandLineParsing::Advance(std::ptrdiff_t count) {
  if (m_position == nullptr) Fail(missingArgument);
  const bool isInside =
      count < 0 ? count >= m_argumentStart - m_position
                : strnlen(m_position, static_cast<std::size_t>(count)) == static_cast<std::size_t>(count);
  if (!isInside) Fail(outOfRange);
  m_position += count;
}

void CommandLineParsing::Mark() noexcept {
  m_markPosition = m_position;
  m_markIndex = m_argumentIndex;
}

void CommandLineParsing::ClearMark() noexcept {
  m_markPosition = nullptr;
  m_markIndex = NoMark;
}

void CommandLineParsing::Restore() noexcept {
  if (m_markIndex >= m_arguments.Count()) return;  // so is NoMark
  MakeCurrent(m_markIndex);
  m_position = m_markPosition;
}

void CommandLineParsing::SelectArgument() noexcept { MakeCurrent(m_argumentIndex); }

bool CommandLineParsing::NextArgument() noexcept {
  if (m_argumentIndex + 1 >= m_arguments.Count()) return false;
  MakeCurrent(m_argumentIndex + 1);
  return true;
}

// --- Numbers

CommandLineParsing::Number CommandLineParsing::TakeNumber() {
  NeedText();
  Number number{m_position};
  const char* at = m_position;
  while (isSpace(*at)) ++at;
  if (*at == '-' || *at == '+') number.isNegative = *at++ == '-';
  unsigned base = 10;
  if (*at == '0') {
    const bool isHex = toLower(at[1]) == 'x' && isHexDigit(at[2]);
    base = isHex ? 16 : 8;
    if (isHex) at += 2;
  }
  for (int digit = hexValue(*at); digit >= 0 && digit < static_cast<int>(base); digit = hexValue(*++at)) {
    std::uint64_t next = 0;
    number.isTooLarge |= __builtin_mul_overflow(number.magnitude, base, &next) ||
                         __builtin_add_overflow(next, static_cast<unsigned>(digit), &next);
    number.magnitude = next;
    number.isPresent = true;
  }
  if (number.isPresent) m_position = at;
  return number;
}

std::int64_t CommandLineParsing::ReadInt64(std::int64_t min, std::int64_t max) {
  using Limits = std::numeric_limits<std::int64_t>;
  const Number number = TakeNumber();
  const auto largest = static_cast<std::uint64_t>(Limits::max());
  const bool isBeyond = number.isTooLarge || number.magnitude > largest;
  if (isBeyond && !number.isNegative) FailAt(outOfRange, number.start);
  std::int64_t value = Limits::min();
  if (!isBeyond)
    value = static_cast<std::int64_t>(number.isNegative ? 0 - number.magnitude : number.magnitude);
  if (value < min || value > max) FailAt(outOfRange, number.start);
  if (!number.isPresent) FailAt(numberExpected, number.start);
  return value;
}

std::uint64_t CommandLineParsing::ReadUInt64(std::uint64_t min, std::uint64_t max) {
  const Number number = TakeNumber();
  if (number.isTooLarge) FailAt(outOfRange, number.start);
  const std::uint64_t value = number.isNegative ? 0 - number.magnitude : number.magnitude;
  if (value < min || value > max) FailAt(outOfRange, number.start);
  if (!number.isPresent) FailAt(numberExpected, number.start);
  return value;
}

std::uint32_t CommandLineParsing::ReadDigits(unsigned base, const char* errorText) {
  NeedText();
  std::uint32_t value = 0;
  do {
    const char c = *m_position++;
    const bool isHexLetter = base == 16 && isLetter(c) && isHexDigit(c);
    const auto digit = static_cast<std::uint32_t>(isHexLetter ? hexValue(c) : toUnsigned(c) - '0');
    const std::uint32_t next = value * base + digit;
    if (next < value) FailAt(outOfRange, errorText);
    value = next;
  } while (!IsEmpty() && IsDigitFor(base));
  return value;
}

std::uint32_t CommandLineParsing::ReadUnsigned() {
  NeedText();
  const char* const start = m_position;
  if (IsNext('-')) Fail(outOfRange);
  if (Accept('0')) {
    if (Accept('x')) {
      if (!IsDigitFor(16)) FailAt(numberExpected, start);
      return ReadDigits(16, start);
    }
    return IsDigitFor(8) ? ReadDigits(8, start) : 0;
  }
  if (!IsDigitFor(10)) Fail(numberExpected);
  return ReadDigits(10, start);
}

std::uint32_t CommandLineParsing::ReadUnsignedRange(std::uint32_t min, std::uint32_t max) {
  const char* const start = m_position;
  const std::uint32_t value = ReadUnsigned();
  if (value < min || value > max) FailAt(outOfRange, start);
  return value;
}

std::uint32_t CommandLineParsing::ReadUnsignedMax(std::uint32_t max) {
  return ReadUnsignedRange(0, max != 0 ? max : std::numeric_limits<std::uint32_t>::max());
}

std::int32_t CommandLineParsing::ReadSigned() {
  const bool isNegative = Accept('-');
  const auto value = static_cast<std::int32_t>(ReadUnsignedMax(std::numeric_limits<std::int32_t>::max()));
  return isNegative ? -value : value;
}

std::int32_t CommandLineParsing::ReadSignedRange(std::int32_t min, std::int32_t max) {
  const char* const start = m_position;
  const std::int32_t value = ReadSigned();
  if (value < min || value > max) FailAt(outOfRange, start);
  return value;
}

std::int32_t CommandLineParsing::ReadSignedMax(std::int32_t max) {
  using Limits = std::numeric_limits<std::int32_t>;
  return ReadSignedRange(Limits::min(), max != 0 ? max : Limits::max());
}

std::size_t CommandLineParsing::ReadHexBytes(unsigned char* buffer, std::size_t capacity) {
  NeedText();
  const char* const start = m_position;
  if (*start == '0' && toLower(start[1]) == 'x') m_position += 2;
  for (std::size_t count = 0;; ++count) {
    if (!isHexDigit(m_position[0])) {
      if (count == 0) break;
      return count;
    }
    if (count == capacity || !isHexDigit(m_position[1])) break;
    buffer[count] = static_cast<unsigned char>(hexValue(m_position[0]) * 16 + hexValue(m_position[1]));
    m_position += 2;
  }
  FailAt(outOfRange, start);
}

// --- Characters and words

char CommandLineParsing::ReadChar(bool skipSpaces) {
  if (skipSpaces) SkipSpaces();
  NeedText();
  return *m_position++;
}

char CommandLineParsing::ReadCharLower(bool skipSpaces) { return toLower(ReadChar(skipSpaces)); }

char CommandLineParsing::ExpectChar(char c) {
  NeedText();
  if (!Accept(c)) Fail(badText);
  return c;
}

char CommandLineParsing::ReadOneOf(const char* chars) {
  NeedText();
  const std::string_view set = chars != nullptr ? chars : "";
  if (std::none_of(set.begin(), set.end(), [this](char c) { return IsNext(c); })) Fail(badText);
  return ReadCharLower(false);
}

int CommandLineParsing::ReadKeyword(const char* keywords) {
  NeedText();
  if (keywords == nullptr || *keywords == '\0') return -1;
  const bool isByPrefix = strpbrk(keywords, "0123456789") != nullptr;

  int found = -1;
  std::ptrdiff_t foundLength = 0;
  const char* at = keywords;
  const auto isInWord = [&at] { return *at != '\t' && *at != '\0'; };
  for (int index = 0;; ++index) {
    const char* text = m_position;
    for (; isInWord() && (isByPrefix || isLetter(*text)) && areEqual(*at, *text); ++at) ++text;
    const std::ptrdiff_t length = text - m_position;
    if (!isInWord() && (isByPrefix ? found < 0 || length > foundLength : !isLetter(*text))) {
      found = index;
      foundLength = length;
      if (!isByPrefix) break;
    }
    while (isInWord()) ++at;
    if (*at++ == '\0') break;
  }
  m_position += foundLength;
  return found;
}

// --- Text

void CommandLineParsing::ReadText(std::string& out, std::ptrdiff_t maxLength) {
  NeedText();
  const std::string_view rest = m_position;
  const std::string_view text = maxLength < 0 ? rest : rest.substr(0, static_cast<std::size_t>(maxLength));
  out = text;
  m_position = maxLength < 0 ? nullptr : text.data() + text.size();
}

void CommandLineParsing::ReadQuotedText(std::string& out, std::ptrdiff_t maxLength) {
  const char* const closing = IsNext('"') ? strchr(m_position + 1, '"') : nullptr;
  if (closing == nullptr) return ReadText(out, maxLength);
  const std::ptrdiff_t length = closing - ++m_position;
  ReadText(out, maxLength < 0 ? length : std::min(maxLength, length));
  m_position = closing + 1;
}

void CommandLineParsing::ReadFileName(std::string& out, std::string& folder, std::string& name) {
  NeedText();
  const bool isQuoted = Accept('"');
  NeedText();
  const char* const end = strpbrk(m_position, isQuoted ? ",\"" : ",");
  FileString path = end != nullptr ? std::string_view(m_position, end) : std::string_view(m_position);
  m_position = end != nullptr && *end == '"' ? end + 1 : end;

  const char* const home = getenv("HOME");
  if (!path.empty() && path[0] == '~' && home != nullptr) path.replace(0, 1, home);
  out = path;
  folder = path.find('/') == 0 && path.rfind('/') == 0 ? "/" : folderPart(path, "");
  name = fileNamePart(path);
}

void CommandLineParsing::ReadHost(HostAddress& out) {
  NeedText();
  const char* const start = m_position;
  m_position += strcspn(m_position, ",; \t\n#*+");
  if (!out.Assign(std::string_view(start, m_position))) FailAt(invalidOption, start);
}

// --- Dates and times

void CommandLineParsing::ReadDate(DateTimeO& out, bool& isoForm) {
  const char* const start = m_position;
  const std::uint32_t year = ReadUnsigned();
  if (year < 2000 || year > 2099) FailAt(outOfRange, std::to_string(year).c_str());
  isoForm = IsNext('-');
  std::uint32_t month = 0;
  if (isoForm) {
    ExpectChar('-');
    month = ReadDigits(10, m_position);
    ExpectChar('-');
  } else {
    const int index = ReadKeyword(monthNames);
    if (index < 0) FailAt(badText, start);
    month = static_cast<std::uint32_t>(index) + 1;
  }
  const std::uint32_t day = ReadDigits(10, m_position);
  try {
    out = DateTimeO(static_cast<int>(year), static_cast<int>(month), static_cast<int>(day), 0, 0, 0, 0);
  } catch (const Exception& e) {
    FailAt(e.GetCode(), start);
  }
}

// The hours of a zone behind its sign: decimal, leading zeros and all, so that "+08" is eight hours.
std::int32_t CommandLineParsing::ReadZoneHours() {
  constexpr std::int32_t largest = 12;
  const char* const start = m_position;
  const bool isNegative = Accept('-');
  NeedText();
  if (!IsDigitFor(10)) FailAt(numberExpected, start);
  std::int32_t hours = 0;
  for (; IsDigitFor(10); ++m_position) hours = std::min(hours * 10 + (*m_position - '0'), largest + 1);
  if (hours > largest) FailAt(outOfRange, start);
  return isNegative ? -hours : hours;
}

bool CommandLineParsing::ReadTimeOfDay(DateTimeO& inOut, bool isoForm, bool required) {
  if (IsEmpty()) return false;
  if (isoForm) {
    ExpectChar('T');
  } else {
    ReadOneOf(",/T");
  }
  if (!required && !IsDigitFor(10)) {
    Advance(-1);
    return false;
  }
  const char* const start = m_position;
  const std::uint32_t hour = ReadDigits(10, m_position);
  ExpectChar(':');
  const std::uint32_t minute = ReadDigits(10, m_position);
  ExpectChar(':');
  const std::uint32_t second = ReadDigits(10, m_position);

  std::int32_t zone = DateTimeO::LocalZone;
  if (!IsEmpty() && !IsNext(',')) {
    if (!isoForm) {
      const int index = ReadKeyword(zoneNames);
      if (index < 0) Fail(outOfRange);
      zone = zoneMinutes[index];
    } else if (Accept('Z')) {
      zone = 0;
    } else {
      if (!Accept('+') && !IsNext('-')) Fail(outOfRange);
      zone = ReadZoneHours() * 60;
      if (IsNext(':')) {
        for (const char c : {':', '0', '0'}) ExpectChar(c);
      }
    }
  }
  try {
    const auto date = inOut.GetFields();
    inOut = DateTimeO(date.year, date.month, date.day, static_cast<int>(hour), static_cast<int>(minute),
                      static_cast<int>(second), 0, zone);
  } catch (const Exception& e) {
    FailAt(e.GetCode(), start);
  }
  return true;
}

// --- Failures

// The first step of every reader: nothing is read behind the end of an argument.
void CommandLineParsing::NeedText() const {
  if (IsEmpty()) Fail(missingArgument);
}

void CommandLineParsing::Fail(std::int64_t code) const { FailAt(code, nullptr); }

void CommandLineParsing::FailAt(std::int64_t code, const char* text) const {
  const StringBase<char> argument = code == invalidOption ? m_argumentStart : nullptr;
  throw Exception(code, text != nullptr ? text : m_position, argument, StringBase<char>::Empty(), argument);
}

}  // namespace tvk
