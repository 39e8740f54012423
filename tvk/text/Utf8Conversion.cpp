#include <tvk/text/Utf8Conversion.h>

#include <iconv.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <memory>
#include <new>

#include <tvk/text/Characters.h>

namespace tvk {
namespace {

constexpr const char* narrowSet = "ISO-8859-15";
constexpr const char* utf8Set = "UTF-8";
constexpr const char* wideSet = std::endian::native == std::endian::little ? "UTF-32LE" : "UTF-32BE";
constexpr wchar_t oppositeByteOrderMark = static_cast<wchar_t>(0xFFFE0000);

// Room enough for the worst case: a narrow byte takes at most three bytes of UTF-8, a wide character four.
constexpr std::size_t bytesPerNarrow = 3;
constexpr std::size_t bytesPerWide = 4;

const iconv_t notOpened = reinterpret_cast<iconv_t>(-1);

template <class From, class To>
Utf8Conversion<From, To>& processWideConverter() {
  struct Unlisted : Utf8Conversion<From, To> {
    Unlisted() : Utf8Conversion<From, To>(Singleton::Unlisted()) {}
  };
  static Lasting<Unlisted> s_converter;
  return s_converter.value;
}

template <class C>
std::unique_ptr<C[]> uninitialised(std::size_t count) {
  return std::unique_ptr<C[]>(new C[count]);
}

}  // namespace

CharsetConverter::CharsetConverter(const char* to, const char* from) : m_descriptor(iconv_open(to, from)) {}
CharsetConverter::CharsetConverter(Unlisted unlisted, const char* to, const char* from)
    : Singleton(unlisted), m_descriptor(iconv_open(to, from)) {}

CharsetConverter::~CharsetConverter() {
  if (m_descriptor != notOpened) iconv_close(m_descriptor);
}

std::ptrdiff_t CharsetConverter::ConvertBytes(const char* bytes, std::size_t size, char* out,
                                              std::size_t capacity) {
  if (m_descriptor == notOpened) return -1;
  const CriticalSectionLock lock(m_lock);
  iconv(m_descriptor, nullptr, nullptr, nullptr, nullptr);
  char* input = const_cast<char*>(bytes);
  std::size_t inputLeft = size;
  std::size_t roomLeft = capacity;
  const std::size_t irreversible = iconv(m_descriptor, &input, &inputLeft, &out, &roomLeft);
  return irreversible == 0 ? static_cast<std::ptrdiff_t>(capacity - roomLeft) : -1;
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
  if (in.empty()) {
    out = Utf8();
    return 0;
  }
  const std::size_t room = in.size() * bytesPerNarrow;
  const auto block = uninitialised<char>(room);
  const std::ptrdiff_t produced = ConvertBytes(in.data(), in.size(), block.get(), room);
  out = produced > 0 ? Utf8::Counted({block.get(), static_cast<std::size_t>(produced)}) : Utf8();
  return out.Size();
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
  const auto block = uninitialised<char>(in.size());
  const std::ptrdiff_t produced = in.empty() ? 0 : ConvertBytes(in.data(), in.size(), block.get(), in.size());
  out.clear();
  // Every character gives one byte; glibc drops those from U+E0000 to U+E007F and calls that a success.
  const auto beginsCharacter = [](char c) { return (characters::toUnsigned(c) & 0xC0) != 0x80; };
  if (produced == std::count_if(in.begin(), in.end(), beginsCharacter))
    out.assign(block.get(), static_cast<std::size_t>(produced));
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
  if (in.empty()) {
    out = Utf8();
    return 0;
  }
  const std::size_t room = in.size() * bytesPerWide;
  const auto block = uninitialised<char>(room);
  const std::ptrdiff_t produced =
      ConvertBytes(reinterpret_cast<const char*>(in.data()), in.size() * sizeof(wchar_t), block.get(), room);
  out = produced > 0 ? Utf8::Counted({block.get(), static_cast<std::size_t>(produced)}) : Utf8();
  return out.Size();
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
  const std::size_t room = in.size() + 1;
  const auto block = uninitialised<wchar_t>(room);
  const std::ptrdiff_t produced =
      in.empty()
          ? 0
          : ConvertBytes(in.data(), in.size(), reinterpret_cast<char*>(block.get()), room * sizeof(wchar_t));
  out.clear();
  if (produced <= 0) return 0;
  const std::size_t count = static_cast<std::size_t>(produced) / sizeof(wchar_t);
  const std::size_t skipped = block[0] == oppositeByteOrderMark ? 1 : 0;
  out.assign(block.get() + skipped, count - skipped);
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
