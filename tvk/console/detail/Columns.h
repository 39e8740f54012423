// Text measured in columns of the screen, by the locale.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tvk {

// As much of a text as fits into `limit` columns, and how many it takes: what cannot be shown counts as a blank.
std::pair<std::string, std::size_t> fitToColumns(std::string_view text, std::size_t limit);

// The columns that a text takes.
std::size_t columnsOf(std::string_view text);

// The text in lines of at most `width` columns, broken at blanks; a longer word has a line of its own, and what
// begins with a blank stays as it is. A line feed ends a line. At least one line.
std::vector<std::string> wrapToColumns(std::string_view text, std::size_t width);

}  // namespace tvk
