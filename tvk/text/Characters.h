// Classification of bytes by ASCII alone: neither the sign of `char` nor the locale changes an answer.
#pragma once

namespace tvk::characters {

constexpr unsigned char toUnsigned(char c) noexcept { return static_cast<unsigned char>(c); }
constexpr bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
constexpr bool isOctalDigit(char c) noexcept { return c >= '0' && c <= '7'; }
constexpr bool isLetter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isSpace(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr char toLower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
constexpr char toUpper(char c) noexcept {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// The value of a hexadecimal digit in either case, 0 to 15, or -1.
constexpr int hexValue(char c) noexcept {
  if (isDigit(c)) return c - '0';
  const char lower = toLower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}
constexpr bool isHexDigit(char c) noexcept { return hexValue(c) >= 0; }

}  // namespace tvk::characters
