// Filling the placeholders of message texts.
#pragma once

#include <array>
#include <span>
#include <string_view>
#include <type_traits>

#include <tvk/Export.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// Fills `out` from `format`: every "%1" becomes the first argument, then every "%2" the second, and so on up
// to "%9". A number that the text lacks, or for which there is no argument, ends the work: what follows
// stays as it is. Later placeholders are also found inside earlier arguments, "%1" also inside "%10". Null
// arguments are empty; a null format gives an empty text. The work stops before the text grows more than 64
// KiB beyond the sum of format and arguments.
TVK_EXPORT void formatMessageWith(StringBase<char>& out, const char* format,
                                  std::span<const std::string_view> arguments);

// The same with the arguments as zero-terminated texts, each possibly null.
template <class... Texts>
requires(std::is_convertible_v<Texts, const char*>&&...) void formatMessage(StringBase<char>& out,
                                                                            const char* format,
                                                                            Texts... texts) {
  const auto view = [](const char* text) {
    return text != nullptr ? std::string_view(text) : std::string_view();
  };
  const std::array<std::string_view, sizeof...(texts)> arguments{view(texts)...};
  formatMessageWith(out, format, arguments);
}

}  // namespace tvk
