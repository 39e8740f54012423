// Bytes as hexadecimal text and back.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include <tvk/Export.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// Two digits of "0123456789ABCDEF" for each byte.
TVK_EXPORT StringBase<char> EncodeHexadecimal(std::span<const std::uint8_t> bytes);

// The bytes behind a text of digits in either case. Throws Exception 2005 with the text when it holds another
// character or an odd number of digits.
TVK_EXPORT std::vector<std::uint8_t> DecodeHexadecimal(const StringBase<char>& text);

}  // namespace tvk
