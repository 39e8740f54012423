#include <tvk/text/StringBase.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>

#include <tvk/process/Singleton.h>

namespace tvk {
namespace {

constexpr std::size_t conversionFailed = static_cast<std::size_t>(-1);
constexpr std::size_t conversionIncomplete = static_cast<std::size_t>(-2);

// The C library's conversion of a whole text by the locale; answers the count or conversionFailed.
std::size_t convert(char* out, const wchar_t* text, std::size_t limit) noexcept {
  std::mbstate_t state{};
  return std::wcsrtombs(out, &text, limit, &state);
}

std::size_t convert(wchar_t* out, const char* text, std::size_t limit) noexcept {
  std::mbstate_t state{};
  return std::mbsrtowcs(out, &text, limit, &state);
}

std::string narrowed(const wchar_t* text, std::size_t length) {
  std::string result(2 * length + 2, '\0');
  const std::size_t produced = convert(result.data(), text, result.size());
  if (produced == conversionFailed) return std::string(length, '?');
  result.resize(produced);
  return result;
}

std::wstring widened(const char* text, std::size_t length) {
  std::wstring result(length + 1, L'\0');
  const std::size_t produced = convert(result.data(), text, result.size());
  if (produced == conversionFailed) throwNoText();
  result.resize(produced);
  return result;
}

std::string inOtherWidth(const std::wstring& text) {
  return text.empty() ? "" : narrowed(text.c_str(), text.size());
}
std::wstring inOtherWidth(const std::string& text) {
  return text.empty() ? L"" : widened(text.c_str(), text.size());
}

std::string inOtherWidth(wchar_t character) {
  std::string bytes(MB_CUR_MAX + 1, '\0');
  std::mbstate_t state{};
  if (std::wcrtomb(bytes.data(), character, &state) == conversionFailed) return "?";
  return bytes.c_str();  // NOLINT(readability-redundant-string-cstr): ends at the first zero
}

std::wstring inOtherWidth(char byte) {
  wchar_t character = L'\0';
  std::mbstate_t state{};
  const std::size_t used = std::mbrtowc(&character, &byte, 1, &state);
  if (used == conversionFailed || used == conversionIncomplete) throwNoText();
  return std::wstring(1, character);
}

template <class C>
bool isAscii(C character) noexcept {
  return static_cast<std::make_unsigned_t<C>>(character) < 0x80;
}

// Copies up to `capacity` characters, mapped, and a zero behind them with `terminate`.
template <class C, class Unit, class Map>
std::size_t copyLong(const std::basic_string<C>& text, Unit* buffer, std::size_t capacity, bool terminate,
                     Map map) {
  if (buffer == nullptr || capacity == 0) return 0;
  const std::size_t count = std::min(text.size(), terminate ? capacity - 1 : capacity);
  std::transform(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(count), buffer, map);
  if (terminate) buffer[count] = Unit();
  return text.size();
}

template <class C, class Unit>
std::basic_string<C> fromUnits(const Unit* units, std::size_t count) {
  const std::wstring wide = units != nullptr ? std::wstring(units, units + count) : std::wstring();
  if constexpr (std::is_same_v<C, wchar_t>) {
    return wide;
  } else {
    return inOtherWidth(wide);
  }
}

template <class C, class Unit>
std::size_t copyUnits(const std::basic_string<C>& text, Unit* buffer, std::size_t capacity, bool terminate) {
  if (buffer == nullptr || capacity == 0) return 0;
  const std::size_t count = std::min(text.size(), capacity);
  // A narrow byte counts as signed whatever `char` is here: 0xA9 becomes 0xFFA9.
  constexpr bool isWide = std::is_same_v<C, wchar_t>;
  using Source = std::conditional_t<isWide, wchar_t, signed char>;
  for (std::size_t i = 0; i < count; ++i) buffer[i] = static_cast<Unit>(static_cast<Source>(text[i]));
  if (terminate) {
    if (count < capacity) {
      buffer[count] = Unit();
    } else if constexpr (isWide) {
      buffer[count - 1] = Unit();
    }
  }
  return count;
}

}  // namespace

template <class C>
StringBase<C>::StringBase(OtherChar character) : Standard(inOtherWidth(character)) {}

template <class C>
StringBase<C>::StringBase(const Other& text) : Standard(inOtherWidth(text)) {}

template <class C>
StringBase<C>::StringBase(const OtherChar* text) : StringBase(Other(text)) {}

template <class C>
StringBase<C>::StringBase(const char16_t* units, std::size_t count) : Standard(fromUnits<C>(units, count)) {}

template <class C>
StringBase<C>::StringBase(const std::uint16_t* units, std::size_t count)
    : Standard(fromUnits<C>(units, count)) {}

template <class C>
StringBase<C>::~StringBase() = default;

template <class C>
std::size_t StringBase<C>::CopyTo(C* buffer, std::size_t capacity, bool terminate) const {
  return copyLong(*this, buffer, capacity, terminate, [](C character) { return character; });
}

template <class C>
std::size_t StringBase<C>::CopyAsciiTo(char* buffer, std::size_t capacity, bool terminate) const {
  return copyLong(*this, buffer, capacity, terminate,
                  [](C character) { return isAscii(character) ? static_cast<char>(character) : '?'; });
}

template <class C>
std::size_t StringBase<C>::CopyUnitsTo(char16_t* buffer, std::size_t capacity, bool terminate) const {
  return copyUnits(*this, buffer, capacity, terminate);
}

template <class C>
std::size_t StringBase<C>::CopyUnitsTo(std::uint16_t* buffer, std::size_t capacity, bool terminate) const {
  return copyUnits(*this, buffer, capacity, terminate);
}

template <class C>
std::size_t StringBase<C>::CopyTo(OtherChar* buffer, std::size_t capacity, bool) const {
  if (buffer == nullptr || capacity == 0) return 0;
  std::fill_n(buffer, capacity, OtherChar());
  if (this->empty()) return 0;
  const std::size_t produced = convert(buffer, this->c_str(), capacity);
  if (produced == conversionFailed) throwNoText();
  return produced;
}

template <class C>
auto StringBase<C>::OtherWidth() -> const OtherChar* {
  const Other other(*this);
  m_buffer.reset(new OtherChar[other.size() + 1]);
  std::copy_n(other.c_str(), other.size() + 1, m_buffer.get());
  return m_buffer.get();
}

template <class C>
const StringBase<C>& StringBase<C>::Empty() {
  static const Lasting<StringBase> s_text;
  return s_text.value;
}

template <class C>
const StringBase<C>& StringBase<C>::NewLine() {
  static const Lasting<StringBase> s_text(C('\n'));
  return s_text.value;
}

template class StringBase<char>;
template class StringBase<wchar_t>;

StringOld::~StringOld() = default;

}  // namespace tvk
