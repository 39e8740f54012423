#include <tvk/text/Hexadecimal.h>

#include <string_view>

#include <tvk/text/Characters.h>
#include <tvk/text/Exception.h>

namespace tvk {

StringBase<char> EncodeHexadecimal(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  StringBase<char> text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

std::vector<std::uint8_t> DecodeHexadecimal(const StringBase<char>& text) {
  std::vector<std::uint8_t> bytes(text.size() / 2);
  bool isValid = text.size() % 2 == 0;
  for (std::size_t at = 0; isValid && at < text.size(); at += 2) {
    const int high = characters::hexValue(text[at]);
    const int low = characters::hexValue(text[at + 1]);
    isValid = high >= 0 && low >= 0;
    bytes[at / 2] = static_cast<std::uint8_t>(high << 4 | low);
  }
  if (!isValid) throw Exception::Of(2005, text);
  return bytes;
}

}  // namespace tvk
