// The library's own English texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include <tvk/Export.h>

namespace tvk {

// A text and its code.
struct BuiltinMessage {
  std::uint32_t code;
  std::string_view text;
};

// Every built-in message, sorted by code. Texts are ASCII, save the circled-C sign of the two banner formats,
// which is the byte 0xA9 of ISO-8859-15. Constant data, safe from every thread and before any initialiser has
// run.
TVK_EXPORT std::span<const BuiltinMessage> builtinMessages() noexcept;

// The built-in message of a code, or null.
TVK_EXPORT const BuiltinMessage* builtinMessage(std::uint32_t code) noexcept;

}  // namespace tvk
