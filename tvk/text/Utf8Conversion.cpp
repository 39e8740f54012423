#include <tvk/text/Utf8Conversion.h>

#include <iconv.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <tvk/text/Characters.h>

namespace tvk {
namespace {

constexpr const char* narrowSet = "ISO-8859-15";
constexpr const char* utf8Set = "UTF-8";
constexpr const char* wideSet = std::endian::native == std::endian::little ? "UTF-32LE" : "UTF-32BE";
constexpr wchar_t oppositeByteOrderMark = static_cast<wchar_t>(0xFFFE0000);

const iconv_t notOpened = reinterpret_cast<iconv_t>(-1);

template <class From, class To>
Utf8Conversion<From, To>& processWideConverter() {
  struct Unlisted : Utf8Conversion<From, To> {
    Unlisted() : Utf8Conversion<From, To>(Singleton::Unlisted()) {}
  };
  static Lasting<Unlisted> s_converter;
  return s_converter.value;
}

// How many units there are before the first one that is not ASCII.
std::size_t asciiLength(std::string_view text) noexcept {
  constexpr std::uint64_t highBits = 0x8080808080808080;
  std::size_t length = 0;
  for (std::uint64_t block = 0; length + sizeof block <= text.size(); length += sizeof block) {
    std::memcpy(&block, text.data() + length, sizeof block);
    if ((block & highBits) != 0) break;
  }
  while (length < text.size() && characters::toUnsigned(text[length]) < 0x80) ++length;
  return length;
}

std::size_t asciiLength(std::wstring_view text) noexcept {
  constexpr std::size_t step = 8;
  std::size_t length = 0;
  for (; length + step <= text.size(); length += step) {
    std::uint32_t all = 0;
    for (std::size_t i = 0; i < step; ++i) all |= static_cast<std::uint32_t>(text[length + i]);
    if (all >= 0x80) break;
  }
  while (length < text.size() && static_cast<std::uint32_t>(text[length]) < 0x80) ++length;
  return length;
}

// The sum over all units, piece by piece in 32 bits: the compiler adds up more of them at once than in 64.
template <class C, class Weight>
std::size_t sumOver(std::basic_string_view<C> text, Weight weight) noexcept {
  constexpr std::size_t piece = 65536;
  std::size_t sum = 0;
  for (; !text.empty(); text.remove_prefix(std::min(piece, text.size()))) {
    std::uint32_t part = 0;
    for (const C c : text.substr(0, piece)) part += weight(c);
    sum += part;
  }
  return sum;
}

// How many bytes of UTF-8 a text makes: ISO-8859-15 has one character, the euro sign, that takes three.
std::size_t utf8Size(std::string_view narrow) noexcept {
  const auto more = [](char c) -> std::uint32_t {
    return std::uint32_t{characters::toUnsigned(c) >= 0x80} + std::uint32_t{c == '\xA4'};
  };
  return narrow.size() + sumOver(narrow.substr(asciiLength(narrow)), more);
}

std::size_t utf8Size(std::wstring_view wide) noexcept {
  const auto more = [](wchar_t c) -> std::uint32_t {
    const auto code = static_cast<std::uint32_t>(c);
    return std::uint32_t{code >= 0x80} + std::uint32_t{code >= 0x800} + std::uint32_t{code >= 0x10000};
  };
  return wide.size() + sumOver(wide.substr(asciiLength(wide)), more);
}

// How many characters valid UTF-8 holds.
std::size_t characterCount(std::string_view utf8) noexcept {
  const std::size_t length = asciiLength(utf8);
  const auto isFirst = [](char c) -> std::uint32_t { return (characters::toUnsigned(c) & 0xC0) != 0x80; };
  return length + sumOver(utf8.substr(length), isFirst);
}

}  // namespace

CharsetConverter::CharsetConverter(const char* to, const char* from) : m_descriptor(iconv_open(to, from)) {}
CharsetConverter::CharsetConverter(Unlisted unlisted, const char* to, const char* from)
    : Singleton(unlisted), m_descriptor(iconv_open(to, from)) {}

CharsetConverter::~CharsetConverter() {
  if (m_descriptor != notOpened) iconv_close(m_descriptor);
}

template <class In, class Out>
std::ptrdiff_t CharsetConverter::ConvertText(std::basic_string_view<In> in, Out* out, std::size_t capacity) {
  if (m_descriptor == notOpened) return -1;
  const std::size_t ascii = std::min(asciiLength(in), capacity);
  std::transform(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(ascii), out,
                 [](In c) { return static_cast<Out>(c); });
  if (ascii == in.size()) return static_cast<std::ptrdiff_t>(ascii);

  const CriticalSectionLock lock(m_lock);
  iconv(m_descriptor, nullptr, nullptr, nullptr, nullptr);
  char* input = const_cast<char*>(reinterpret_cast<const char*>(in.data() + ascii));
  std::size_t inputLeft = (in.size() - ascii) * sizeof(In);
  char* output = reinterpret_cast<char*>(out + ascii);
  std::size_t roomLeft = (capacity - ascii) * sizeof(Out);
  if (iconv(m_descriptor, &input, &inputLeft, &output, &roomLeft) != 0) return -1;
  return static_cast<std::ptrdiff_t>(capacity - roomLeft / sizeof(Out));
}

template <class In>
std::size_t CharsetConverter::ConvertToUtf8(std::basic_string_view<In> in, Utf8& out) {
  std::vector<char> bytes;
  if (!in.empty()) {
    bytes.resize(utf8Size(in) + 1);
    const std::ptrdiff_t produced = ConvertText(in, bytes.data(), bytes.size() - 1);
    bytes.resize(produced > 0 ? static_cast<std::size_t>(produced) + 1 : 0);
  }
  out.m_bytes = std::move(bytes);
  return out.Size();
}

// Narrow to UTF-8.

Utf8Conversion<StringBase<char>, Utf8>::Utf8Conversion() : CharsetConverter(utf8Set, narrowSet) {}
Utf8Conversion<StringBase<char>, Utf8>::Utf8Conversion(Unlisted unlisted)
    : CharsetConverter(unlisted, utf8Set, narrowSet) {}
Utf8Conversion<StringBase<char>, Utf8>::~Utf8Conversion() = default;

Utf8Conversion<StringBase<char>, Utf8>& Utf8Conversion<StringBase<char>, Utf8>::Get() {
  return processWideConverter<StringBase<char>, Utf8>();
}

std::size_t Utf8Conversion<StringBase<char>, Utf8>::Convert(const StringBase<char>& in, Utf8& out) {
  return ConvertToUtf8(std::string_view(in), out);
}

// UTF-8 to narrow.

Utf8Conversion<Utf8, StringBase<char>>::Utf8Conversion() : CharsetConverter(narrowSet, utf8Set) {}
Utf8Conversion<Utf8, StringBase<char>>::Utf8Conversion(Unlisted unlisted)
    : CharsetConverter(unlisted, narrowSet, utf8Set) {}
Utf8Conversion<Utf8, StringBase<char>>::~Utf8Conversion() = default;

Utf8Conversion<Utf8, StringBase<char>>& Utf8Conversion<Utf8, StringBase<char>>::Get() {
  return processWideConverter<Utf8, StringBase<char>>();
}

std::size_t Utf8Conversion<Utf8, StringBase<char>>::Convert(std::string_view in, StringBase<char>& out) {
  std::string text(characterCount(in), '\0');
  const std::ptrdiff_t produced = ConvertText(in, text.data(), text.size());
  // Every character gives one byte; glibc drops those from U+E0000 to U+E007F and calls that a success.
  if (produced != static_cast<std::ptrdiff_t>(text.size())) text.clear();
  out = std::move(text);
  return out.size();
}

// Wide to UTF-8.

Utf8Conversion<StringBase<wchar_t>, Utf8>::Utf8Conversion() : CharsetConverter(utf8Set, wideSet) {}
Utf8Conversion<StringBase<wchar_t>, Utf8>::Utf8Conversion(Unlisted unlisted)
    : CharsetConverter(unlisted, utf8Set, wideSet) {}
Utf8Conversion<StringBase<wchar_t>, Utf8>::~Utf8Conversion() = default;

Utf8Conversion<StringBase<wchar_t>, Utf8>& Utf8Conversion<StringBase<wchar_t>, Utf8>::Get() {
  return processWideConverter<StringBase<wchar_t>, Utf8>();
}

std::size_t Utf8Conversion<StringBase<wchar_t>, Utf8>::Convert(const StringBase<wchar_t>& in, Utf8& out) {
  return ConvertToUtf8(std::wstring_view(in), out);
}

// UTF-8 to wide.

Utf8Conversion<Utf8, StringBase<wchar_t>>::Utf8Conversion() : CharsetConverter(wideSet, utf8Set) {}
Utf8Conversion<Utf8, StringBase<wchar_t>>::Utf8Conversion(Unlisted unlisted)
    : CharsetConverter(unlisted, wideSet, utf8Set) {}
Utf8Conversion<Utf8, StringBase<wchar_t>>::~Utf8Conversion() = default;

Utf8Conversion<Utf8, StringBase<wchar_t>>& Utf8Conversion<Utf8, StringBase<wchar_t>>::Get() {
  return processWideConverter<Utf8, StringBase<wchar_t>>();
}

std::size_t Utf8Conversion<Utf8, StringBase<wchar_t>>::Convert(std::string_view in,
                                                               StringBase<wchar_t>& out) {
  std::wstring text(characterCount(in), L'\0');
  const std::ptrdiff_t produced = ConvertText(in, text.data(), text.size());
  text.resize(produced > 0 ? static_cast<std::size_t>(produced) : 0);
  if (!text.empty() && text.front() == oppositeByteOrderMark) text.erase(0, 1);
  out = std::move(text);
  return out.size();
}

// What a string does with UTF-8: its other operations stand below the converters.

template <class C>
StringBase<C>::StringBase(const Utf8& text) {
  Utf8Conversion<Utf8, StringBase<C>>::Get().Convert(text, *this);
}

template <class C>
Utf8 StringBase<C>::ToUtf8() const {
  Utf8 result;
  if (Utf8Conversion<StringBase<C>, Utf8>::Get().Convert(*this, result) == 0 && !this->empty()) throwNoText();
  return result;
}

template <class C>
StringBase<C> StringBase<C>::FromUtf8(std::string_view utf8) {
  StringBase result;
  if (Utf8Conversion<Utf8, StringBase<C>>::Get().Convert(utf8, result) == 0 && !utf8.empty()) throwNoText();
  return result;
}

template <class C>
StringBase<C> StringBase<C>::FromUtf8(const Utf8& utf8) {
  return FromUtf8(utf8.View());
}

template StringBase<char>::StringBase(const Utf8&);
template StringBase<wchar_t>::StringBase(const Utf8&);
template Utf8 StringBase<char>::ToUtf8() const;
template Utf8 StringBase<wchar_t>::ToUtf8() const;
template StringBase<char> StringBase<char>::FromUtf8(std::string_view);
template StringBase<wchar_t> StringBase<wchar_t>::FromUtf8(std::string_view);
template StringBase<char> StringBase<char>::FromUtf8(const Utf8&);
template StringBase<wchar_t> StringBase<wchar_t>::FromUtf8(const Utf8&);

}  // namespace tvk
