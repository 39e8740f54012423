#include <tvk/text/MessageFormat.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace tvk {
namespace {

constexpr std::size_t maxPlaceholders = 9;
constexpr std::size_t maxGrowth = 64 * 1024;

std::string_view viewOf(const char* text) noexcept { return text != nullptr ? text : ""; }

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
  text = std::move(result);
  return fits;
}

}  // namespace

void formatMessageWith(StringBase<char>& out, const char* format, std::span<const char* const> arguments) {
  StringOld working(format);
  std::size_t limit = working.size() + maxGrowth;
  for (const char* argument : arguments) limit += viewOf(argument).size();

  char placeholder[] = "%1";
  for (const char* argument : arguments.first(std::min(arguments.size(), maxPlaceholders))) {
    if (working.find(placeholder) == working.npos) break;
    if (!replaceAll(working, placeholder, viewOf(argument), limit)) break;
    ++placeholder[1];
  }
  out = std::move(static_cast<StringBase<char>&>(working));
}

}  // namespace tvk
