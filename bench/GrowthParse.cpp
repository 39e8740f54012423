// How the scanner and the parser of the command line grow with their input, also when every item fails.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/cmdline/Parsing.h>
#include <tvk/text/Exception.h>

#include "Sides.h"

namespace {

// The items of a text that could be read, and those that could not.
struct Count {
  int good = 0, bad = 0;
  bool operator==(const Count&) const = default;
};

Count scan(const std::string& text) {
  Count count;
  tvk::Parsing scanner(text.c_str());
  tvk::StringBase<char> item;
  while (*scanner.Cursor() != '\0') {
    try {
      scanner.ReadItem(item, tvk::Parsing::ItemQuoted, 200);
      ++count.good;
    } catch (const tvk::Exception&) {
      ++count.bad;
      const std::size_t at = static_cast<std::size_t>(scanner.Cursor() - text.c_str());
      scanner.SetCursor(text.c_str() + std::min(text.find('\n', at), text.size()));
    }
    scanner.SkipBlanks();
    if (*scanner.Cursor() == '\n') scanner.SetCursor(scanner.Cursor() + 1);
  }
  return count;
}

class Options : public tvk::CommandLineParsing {
 public:
  using CommandLineParsing::CommandLineParsing;
  bool HandleOption() override {
    if (ReadKeyword("count\tlimit") < 0) return false;
    ExpectChar('=');
    try {
      ReadInt64(INT64_MIN, INT64_MAX);
      ++m_count.good;
    } catch (const tvk::Exception&) {
      ++m_count.bad;
      SkipRest();
    }
    return true;
  }
  Count m_count;

 private:
  void SkipRest() {
    while (Peek() != '\0') Accept(Peek());
  }
};

// So many items, each a text of its own or all in one.
void scanner(const std::string& name, int size, const char* item, bool isOneText, Count expected) {
  std::vector<std::string> texts;
  for (int n = 0; n < size; ++n) {
    if (isOneText && n != 0) {
      texts.front() += item;
    } else {
      texts.emplace_back(item);
    }
  }
  bench::Question<Count>(name, std::to_string(size)).expect(expected).side("tvk", [texts] {
    Count sum;
    for (const std::string& text : texts) {
      const Count count = scan(text);
      sum.good += count.good, sum.bad += count.bad;
    }
    return sum;
  });
}

void options(const std::string& name, int size, const char* option, Count expected) {
  const std::vector<std::string> texts(static_cast<std::size_t>(size), option);
  bench::Question<Count>(name, std::to_string(size)).expect(expected).side("tvk", [texts] {
    tvk::ArgumentList list;
    for (const std::string& text : texts) list.Add(text.c_str());
    Options options(list);
    options.Parse();
    return options.m_count;
  });
}

}  // namespace

void bench::ask() {
  const char* const good = "\"say \\\"7\\\" twice\"\n";
  const char* const bad = "say 7, which should be quoted\n";
  for (int size = 100; size <= scaled(100'000); size *= 10) {
    scanner("grow_items", size, good, true, {size, 0});
    scanner("grow_bad_items", size, bad, false, {0, size});
    options("grow_options", size, "-limit=12345", {size, 0});
    options("grow_bad_options", size, "-limit=many of them", {0, size});
  }
  for (int size = 100; size <= scaled(10'000); size *= 10)
    scanner("grow_bad_items_in_one_text", size, bad, true, {0, size});
}
