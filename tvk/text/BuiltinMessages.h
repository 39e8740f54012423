// The library's own English texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <tvk/Export.h>
#include <tvk/text/MessageEntry.h>

namespace tvk {

// Every built-in message, sorted by code. Texts are ASCII, save the circled-C sign of the two banner formats,
// which is the byte 0xA9 of ISO-8859-15. Constant data, safe from every thread and before any initialiser has
// run.
TVK_EXPORT std::span<const TvkMessageEntry> builtinMessages() noexcept;

// The built-in text of a code, or null.
TVK_EXPORT const char* builtinMessage(std::uint32_t code) noexcept;

}  // namespace tvk
