#include <tvk/console/detail/Columns.h>

#include <wchar.h>

#include <cwchar>
#include <limits>

namespace tvk {

std::pair<std::string, std::size_t> fitToColumns(std::string_view text, std::size_t limit) {
  std::string fitting;
  std::size_t columns = 0;
  std::mbstate_t state{};
  while (!text.empty()) {
    wchar_t character = 0;
    std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
    const bool isText = length != 0 && length <= text.size();
    const int width = isText ? wcwidth(character) : -1;
    if (!isText) {
      length = 1;
      state = {};
    }
    const std::size_t wanted = width < 0 ? 1 : static_cast<std::size_t>(width);
    if (columns + wanted > limit) break;
    if (width < 0) {
      fitting += ' ';
    } else {
      fitting.append(text.substr(0, length));
    }
    columns += wanted;
    text.remove_prefix(length);
  }
  return {std::move(fitting), columns};
}

std::size_t columnsOf(std::string_view text) {
  return fitToColumns(text, std::numeric_limits<std::size_t>::max()).second;
}

std::vector<std::string> wrapToColumns(std::string_view text, std::size_t width) {
  std::vector<std::string> lines;
  for (bool isLast = false; !isLast;) {
    const std::size_t end = text.find('\n');
    isLast = end == text.npos;
    std::string_view rest = text.substr(0, end);
    text.remove_prefix(isLast ? text.size() : end + 1);
    lines.emplace_back();
    if (rest.starts_with(' ')) {
      lines.back() = rest;
      continue;
    }
    std::size_t columns = 0;
    while (!rest.empty()) {
      const std::string_view word = rest.substr(0, rest.find(' '));
      const std::size_t wanted = columnsOf(word);
      if (columns != 0 && columns + 1 + wanted > width) {
        lines.emplace_back();
        columns = 0;
      }
      if (columns != 0) lines.back() += ' ';
      lines.back() += word;
      columns += (columns != 0) + wanted;
      rest.remove_prefix(word.size());
      rest.remove_prefix(std::min(rest.size(), rest.find_first_not_of(' ')));
    }
  }
  return lines;
}

}  // namespace tvk
