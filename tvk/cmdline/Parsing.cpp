#include <tvk/cmdline/Parsing.h>

#include <string.h>

#include <atomic>
#include <cassert>
#include <cstddef>

#include <tvk/text/Characters.h>
#include <tvk/text/Exception.h>

namespace tvk {
namespace {

constexpr std::int32_t codeNoEnd = 2006;
constexpr std::int32_t codeTooLong = 2007;
constexpr std::int32_t codeBadItem = 2023;
constexpr std::int32_t codeMissingItem = 2024;

std::atomic<bool> s_lineBreaksAreBlank{false};

bool isLineBreak(char c) noexcept { return c == '\r' || c == '\n'; }

// A character that the item takes as it is, where `end` needs a look.
bool isPlain(char c, char end) noexcept { return characters::toUnsigned(c) >= 32 && c != '\\' && c != end; }

bool fail(ItemRecord& record, std::int32_t code) noexcept {
  record.errorCode = code;
  return false;
}

// Says whether the item may grow.
bool mayAppend(ItemRecord& record) noexcept {
  return record.count < record.maximumLength || fail(record, codeTooLong);
}

// What stands for the character behind a backslash, or 0 when that is no escape of one letter.
char escapedCharacter(char c) noexcept {
  switch (c) {
    case 't':
      return '\t';
    case 'v':
      return '\v';
    case 'b':
      return '\b';
    case 'r':
      return '\r';
    case 'f':
      return '\f';
    case 'a':
      return '\a';
    case '\\':
    case '?':
    case '\'':
    case '"':
      return c;
    default:
      return '\0';
  }
}

}  // namespace

Parsing::Parsing(const char* text) noexcept
    : m_text(text != nullptr ? text : ""), m_itemStart(m_text), m_cursor(m_text) {}

Parsing::~Parsing() = default;

void Parsing::SetCursor(const char* position) noexcept {
  m_cursor = position != nullptr ? position : m_text + strlen(m_text);
}

bool Parsing::IsBlank() const noexcept {
  return *m_cursor == ' ' || *m_cursor == '\t' || (isLineBreak(*m_cursor) && LineBreaksAreBlank());
}

void Parsing::SkipBlanks() noexcept {
  while (IsBlank()) ++m_cursor;
}

void Parsing::SetLineBreaksAreBlank(bool areBlank) noexcept {
  s_lineBreaksAreBlank.store(areBlank, std::memory_order_relaxed);
}

bool Parsing::LineBreaksAreBlank() noexcept { return s_lineBreaksAreBlank.load(std::memory_order_relaxed); }

bool Parsing::ReadItem(StringBase<char>& out, std::uint32_t flags, std::int32_t maxLength,
                       std::uintptr_t extra) {
  out.clear();
  if (const auto limit = static_cast<std::size_t>(maxLength); maxLength > 0 && out.capacity() < limit)
    out.reserve(strnlen(m_cursor, limit));
  ItemRecord record{maxLength, 0, flags, extra, out, 0};
  const bool isRead = ReadWhole(record);
  [[maybe_unused]] const char* const before = m_cursor;
  const bool isAccepted = EndItem(record);
  assert(IsInText(before));
  if (isRead && isAccepted) return true;
  throw Exception(record.errorCode, m_itemStart, {}, {}, {});
}

bool Parsing::BeginItem(ItemRecord&, char) { return true; }

bool Parsing::EndItem(ItemRecord&) { return true; }

bool Parsing::HandleEscape(ItemRecord&) { return false; }

bool Parsing::Append(ItemRecord& record, char character) {
  if (!mayAppend(record)) return false;
  record.output.push_back(character);
  return true;
}

bool Parsing::AppendLineBreak(ItemRecord& record) {
  if ((record.flags & ItemRaw) == 0) return Append(record, '\n');
  return Append(record, '\\') && Append(record, 'n');
}

bool Parsing::ReadWhole(ItemRecord& record) {
  if (IsBlank()) {
    MarkItemStart();
    if (record.flags & ItemSkipBlanks) SkipBlanks();
    if ((record.flags & ItemEndsAtBlank) && *m_cursor != '"') {
      m_cursor = m_itemStart;
      return fail(record, codeMissingItem);
    }
  }
  MarkItemStart();
  const char first = *m_cursor;
  const bool isQuoted = first == '"';
  if (isQuoted) {
    ++m_cursor;
  } else if (first == '\0') {
    return fail(record, codeMissingItem);
  } else if (record.flags & ItemQuoted) {
    return fail(record, codeBadItem);
  }
  [[maybe_unused]] const char* const before = m_cursor;
  if (!BeginItem(record, first)) return false;
  assert(IsInText(before));
  if (isQuoted && (record.flags & ItemRaw) && !Append(record, '"')) return false;
  return ReadCharacters(record, isQuoted);
}

bool Parsing::ReadCharacters(ItemRecord& record, bool isQuoted) {
  const bool endsAtBlank = !isQuoted && (record.flags & ItemEndsAtBlank);
  const char end = isQuoted ? '"' : endsAtBlank ? ' ' : '\0';
  const auto limit = static_cast<std::size_t>(record.maximumLength);  // without effect below 0
  while (record.output.size() < limit) {
    const std::size_t room = limit - record.output.size();
    std::size_t length = 0;
    while (length < room && isPlain(m_cursor[length], end)) ++length;
    if (length != 0) {
      const bool fits = mayAppend(record);
      if (fits) record.output.append(m_cursor, length);
      m_cursor += fits ? length : 1;
      if (!fits) return false;
      if (length == room) break;
    }
    const char c = *m_cursor;
    if (c == '\0') break;
    ++m_cursor;
    if (c == '\\') {
      if (!ReadEscape(record)) return false;
    } else if (isQuoted && c == '"') {
      const Piece piece = EndPiece(record);
      if (piece != Piece::goesOn) return piece == Piece::ended;
    } else if (endsAtBlank && (c == ' ' || c == '\t')) {
      --m_cursor;
      return true;
    } else if ((record.flags & ItemLineBreaks) && isLineBreak(c)) {
      if (!AppendLineBreak(record)) return false;
      SkipPartner(c);
    } else {
      return fail(record, codeNoEnd);
    }
  }
  if (!isQuoted) return true;
  if (*m_cursor == '"') {
    ++m_cursor;
    return true;
  }
  m_cursor = m_itemStart;
  return fail(record, codeNoEnd);
}

bool Parsing::ReadEscape(ItemRecord& record) {
  if (record.flags & ItemRaw) {
    if (!Append(record, '\\')) return false;
    return *m_cursor == '\0' || Append(record, *m_cursor++);
  }
  [[maybe_unused]] const char* const before = m_cursor;
  const bool isHandled = HandleEscape(record);
  assert(IsInText(before));
  if (isHandled) return true;
  if (record.errorCode != 0) return false;

  if (const char escaped = escapedCharacter(*m_cursor); escaped != '\0') {
    ++m_cursor;
    return Append(record, escaped);
  }
  if (*m_cursor == 'n') {
    ++m_cursor;
    return AppendLineBreak(record);
  }
  unsigned value = 0;
  if (*m_cursor == 'x') {
    while (characters::isHexDigit(*++m_cursor))
      value = value * 16 + static_cast<unsigned>(characters::hexValue(*m_cursor));
  } else if (characters::isOctalDigit(*m_cursor)) {
    for (int digits = 0; digits < 3 && characters::isOctalDigit(*m_cursor); ++digits)
      value = value * 8 + static_cast<unsigned>(*m_cursor++ - '0');
  } else {
    return true;
  }
  return Append(record, static_cast<char>(value & 0xFF));
}

Parsing::Piece Parsing::EndPiece(ItemRecord& record) {
  const bool skipsBlanks = record.flags & ItemSkipBlanks;
  const bool isRaw = record.flags & ItemRaw;
  bool isContinued = false;
  if (skipsBlanks) SkipBlanks();
  while ((record.flags & ItemLineBreaks) && isLineBreak(*m_cursor)) {
    SkipPartner(*m_cursor++);
    if (!AppendLineBreak(record)) return Piece::failed;
    if (skipsBlanks) SkipBlanks();
    isContinued = true;
  }
  if (isRaw && !isContinued && !Append(record, '"')) return Piece::failed;
  if (*m_cursor != '"') return Piece::ended;
  ++m_cursor;
  if (isRaw && !isContinued && !Append(record, '"')) return Piece::failed;
  return Piece::goesOn;
}

void Parsing::SkipPartner(char lineBreak) noexcept {
  if (isLineBreak(*m_cursor) && *m_cursor != lineBreak) ++m_cursor;
}

bool Parsing::IsInText(const char* before) const noexcept {
  if (m_cursor <= before) return m_cursor >= m_text;
  return memchr(before, '\0', static_cast<std::size_t>(m_cursor - before)) == nullptr;
}

}  // namespace tvk
