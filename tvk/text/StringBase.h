// The string classes of the library: standard strings with conversions between the two widths, to and from
// 16-bit code units and UTF-8, and copying into the caller's buffers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <tvk/Export.h>

namespace tvk {

class Utf8;

// Throws the exception without a text (1000) for text that cannot be converted. Defined with Exception, which
// stands on the strings.
[[noreturn]] void throwNoText();

// A standard string of `char` (narrow: bytes) or `wchar_t` (wide: one character a unit), with everything that
// std::basic_string offers.
//
// Encodings  Narrow text is bytes. Conversions between the widths follow the locale of the process (LC_CTYPE)
//            and stop at the first zero character. The UTF-8 conversions do not depend on the locale: narrow
//            text counts as ISO-8859-15, wide text as UTF-32, and zeros are kept.
// Errors     Widening bytes that are no text of the locale throws Exception 1000 with empty parameters.
//            Narrowing never throws: what the locale cannot express becomes "?". A length beyond the standard
//            string's maximum throws std::length_error.
// Threads    A string belongs to one thread at a time; constant use may be shared, but for OtherWidth().
template <class C>
class TVK_EXPORT StringBase : public std::basic_string<C> {
  static_assert(std::is_same_v<C, char> || std::is_same_v<C, wchar_t>, "narrow or wide text");
  static constexpr bool isWide = std::is_same_v<C, wchar_t>;

 public:
  using Standard = std::basic_string<C>;
  using View = std::basic_string_view<C>;
  using OtherChar = std::conditional_t<isWide, char, wchar_t>;
  using Other = StringBase<OtherChar>;

  StringBase() noexcept = default;
  StringBase(std::nullptr_t) noexcept {}
  StringBase(const StringBase& other) : Standard(other) {}
  StringBase(StringBase&& other) noexcept : Standard(static_cast<Standard&&>(other)) { other.clear(); }
  StringBase(const Standard& text) : Standard(text) {}
  StringBase(Standard&& text) noexcept : Standard(std::move(text)) {}
  StringBase(View text) : Standard(text) {}
  // A null pointer gives the empty string, whatever the count.
  StringBase(const C* text) : Standard(text != nullptr ? View(text) : View()) {}
  StringBase(const C* text, std::size_t count) : Standard(text != nullptr ? View(text, count) : View()) {}
  explicit StringBase(C character) : Standard(1, character) {}
  StringBase(std::size_t count, C character) : Standard(count, character) {}

  // One character of the other width through the locale. Narrow: "?" when the locale lacks it, empty for
  // zero. Wide: Exception 1000 when the byte alone is no character.
  explicit StringBase(OtherChar character);
  // The whole text through the locale, up to its first zero. Narrowing allows two bytes a character plus two
  // and cuts a longer result there between characters; a character that cannot be expressed turns the whole
  // result into one "?" a character. ToUtf8() and FromUtf8() lose nothing.
  explicit StringBase(const Other& text);
  explicit StringBase(const OtherChar* text);

  // 16-bit units, each widened with zero extension; surrogates are not joined. A null array gives the empty
  // string. The narrow forms narrow the widened text as above.
  StringBase(const char16_t* units, std::size_t count);
  StringBase(const std::uint16_t* units, std::size_t count);
  explicit StringBase(char16_t unit) requires(std::is_same_v<C, wchar_t>)
      : Standard(1, static_cast<C>(unit)) {}
  StringBase(std::size_t count, char16_t unit) requires(std::is_same_v<C, wchar_t>)
      : Standard(count, static_cast<C>(unit)) {}

  // Through the process-wide converter; empty when the bytes are not valid UTF-8 or hold a character that
  // ISO-8859-15 lacks. FromUtf8() tells such a failure from an empty text.
  explicit StringBase(const Utf8& text);

  virtual ~StringBase();

  StringBase& operator=(const StringBase& other) {
    Standard::operator=(other);
    return *this;
  }
  StringBase& operator=(StringBase&& other) noexcept {
    if (this != &other) {
      Standard::operator=(static_cast<Standard&&>(other));
      other.clear();
    }
    return *this;
  }
  StringBase& operator=(const Standard& text) {
    Standard::operator=(text);
    return *this;
  }
  StringBase& operator=(Standard&& text) noexcept {
    Standard::operator=(std::move(text));
    return *this;
  }
  StringBase& operator=(View text) {
    Standard::operator=(text);
    return *this;
  }
  StringBase& operator=(const C* text) {
    Standard::operator=(text != nullptr ? text : Standard().c_str());
    return *this;
  }
  StringBase& operator=(C character) {
    Standard::operator=(character);
    return *this;
  }

  // --- Copying out. `capacity` counts units of the buffer and includes room for the terminator.

  // Copies up to `capacity` characters, one less and a zero behind them with `terminate`, and answers the
  // length of the whole string, so that the caller sees a truncation. Capacity 0 writes nothing and gives 0.
  std::size_t CopyTo(C* buffer, std::size_t capacity, bool terminate) const;
  // The same, with "?" in place of every character that is not ASCII.
  std::size_t CopyAsciiTo(char* buffer, std::size_t capacity, bool terminate) const;
  // Copies as many characters as fit and answers how many. A narrow byte is sign-extended (0xA9 gives
  // 0xFFA9), of a wide character the low 16 bits are taken. With `terminate` narrow text gets a zero only
  // where room is left, wide text always: over its last unit when the buffer is full.
  std::size_t CopyUnitsTo(char16_t* buffer, std::size_t capacity, bool terminate) const;
  std::size_t CopyUnitsTo(std::uint16_t* buffer, std::size_t capacity, bool terminate) const;
  // CopyUnitsTo() of the text converted to the other width first.
  std::size_t CopyOtherUnitsTo(char16_t* buffer, std::size_t capacity, bool terminate) const {
    return Other(*this).CopyUnitsTo(buffer, capacity, terminate);
  }
  std::size_t CopyOtherUnitsTo(std::uint16_t* buffer, std::size_t capacity, bool terminate) const {
    return Other(*this).CopyUnitsTo(buffer, capacity, terminate);
  }
  // Fills the buffer with zeros, then converts the text into it by the locale and answers the number of
  // units, without the terminator; a text that fills the buffer has none, whatever `terminate` says. A text
  // that the locale cannot convert throws Exception 1000.
  std::size_t CopyTo(OtherChar* buffer, std::size_t capacity, bool terminate) const;

  // The text in the other width, kept in this object until the next call or its end; later changes of the
  // text do not alter it. Not to be called by two threads at once.
  const OtherChar* OtherWidth();

  // --- UTF-8, without loss: zeros are kept, and what cannot be converted throws Exception 1000.
  Utf8 ToUtf8() const;
  static StringBase FromUtf8(const Utf8& utf8);
  static StringBase FromUtf8(std::string_view utf8);
  static StringBase FromUtf8(const char* utf8) {
    return FromUtf8(utf8 != nullptr ? std::string_view(utf8) : "");
  }

  // --- The shared instances: one object each, from first use to the end of the process.
  static const StringBase& Empty();
  static const StringBase& NewLine();

 private:
  std::unique_ptr<OtherChar[]> m_buffer;
};

extern template class StringBase<char>;
extern template class StringBase<wchar_t>;

// The working text of message formatting: a narrow string with a second owned block of characters.
class TVK_EXPORT StringOld : public StringBase<char> {
 public:
  using StringBase::StringBase;
  StringOld() noexcept = default;
  StringOld(const StringOld& other) : StringBase(other) {}
  StringOld(StringOld&& other) noexcept : StringBase(std::move(other)) {}
  StringOld& operator=(const StringOld& other) {
    StringBase::operator=(other);
    return *this;
  }
  StringOld& operator=(StringOld&& other) noexcept {
    StringBase::operator=(std::move(other));
    return *this;
  }
  ~StringOld() override;

 private:
  std::unique_ptr<char[]> m_second;
};

}  // namespace tvk

template <class C>
struct std::hash<tvk::StringBase<C>> {
  std::size_t operator()(const tvk::StringBase<C>& text) const noexcept {
    return std::hash<std::basic_string_view<C>>()(text);
  }
};
