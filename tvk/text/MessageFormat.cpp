#include <tvk/text/MessageFormat.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace tvk {
namespace {

constexpr std::size_t maxPlaceholders = 9;
constexpr std::size_t maxGrowth = 64 * 1024;
constexpr std::size_t maxPlaces = 16;  // of a format that is filled in one pass

using Arguments = std::span<const std::string_view>;

// Replaces every `placeholder` of `text`; a replacement that would make the text longer than `limit` is not
// made, nor any behind it. Answers whether the work may go on.
bool replaceAll(StringOld& text, std::string_view placeholder, std::string_view argument, std::size_t limit) {
  StringOld result;
  std::size_t done = 0;
  bool fits = true;
  for (std::size_t at = text.find(placeholder); at != text.npos; at = text.find(placeholder, done)) {
    const std::size_t rest = text.size() - at - placeholder.size();
    fits = result.size() + (at - done) + argument.size() + rest <= limit;
    if (!fits) break;
    result.append(text, done, at - done).append(argument);
    done = at + placeholder.size();
  }
  result.append(text, done);
  text.swap(result);
  return fits;
}

// A pass over the whole text for each number.
[[gnu::noinline]] StringOld filledInPasses(std::string_view format, Arguments arguments, std::size_t limit) {
  StringOld text(format);
  char placeholder[] = "%1";
  for (const std::string_view argument : arguments) {
    if (text.find(placeholder) == text.npos) break;
    if (!replaceAll(text, placeholder, argument, limit)) break;
    ++placeholder[1];
  }
  return text;
}

// The same in one pass. Answers false, with `text` untouched, where the passes may meet more than the format
// has: a placeholder that came with an argument or came about beside one, or growth beyond the limit.
bool fillInOnePass(std::string& text, std::string_view format, Arguments arguments, std::size_t limit) {
  for (const std::string_view argument : arguments)
    if (argument.find('%') != argument.npos) return false;

  struct Place {
    std::size_t percent;
    std::size_t number;
  };
  std::array<Place, maxPlaces> places;
  std::size_t count = 0;
  unsigned present = 0;
  std::size_t size = format.size();
  const std::size_t lastPlace = format.size() - 1;  // of the digit of a placeholder
  for (std::size_t at = format.find('%'); at < lastPlace; at = format.find('%', at + 1)) {
    if (format[at + 1] == '%') return false;
    const auto number = static_cast<std::size_t>(format[at + 1] - '1');
    if (number >= arguments.size()) continue;
    if (count == places.size()) return false;
    places[count++] = {at, number};
    present |= 1u << number;
    size += arguments[number].size();
  }
  if (size > limit) return false;

  const auto used = static_cast<std::size_t>(std::countr_one(present));  // a gap ends the work
  text.resize(size);
  char* to = text.data();
  std::size_t done = 0;
  const auto put = [&to](std::string_view piece) { to += piece.copy(to, piece.size()); };
  for (std::size_t i = 0; i < count; ++i) {
    const auto [percent, number] = places[i];
    if (number >= used) continue;
    put(format.substr(done, percent - done));
    put(arguments[number]);
    done = percent + 2;
  }
  put(format.substr(done));
  text.resize(static_cast<std::size_t>(to - text.data()));
  return true;
}

}  // namespace

void formatMessageWith(StringBase<char>& out, const char* format,
                       std::span<const std::string_view> arguments) {
  const Arguments used = arguments.first(std::min(arguments.size(), maxPlaceholders));
  const std::string_view pattern = format != nullptr ? format : "";
  std::size_t limit = pattern.size() + maxGrowth;
  for (const std::string_view argument : used) limit += argument.size();

  std::string text;
  if (!fillInOnePass(text, pattern, used, limit)) text = filledInPasses(pattern, used, limit);
  out = std::move(text);
}

}  // namespace tvk
