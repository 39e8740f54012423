// 10 MB of quoted, escaped items are read.
#include <cstdint>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <string>

#include <tvk/cmdline/Parsing.h>

#include "Sides.h"

#ifdef BENCH_BOOST
#include <boost/spirit/include/qi.hpp>
#include <boost/tokenizer.hpp>
#endif

namespace {

// Items such as "say \"7\" C:\\dir" with a blank behind each.
std::string items() {
  std::string text;
  for (unsigned number = 0; text.size() < static_cast<std::size_t>(bench::scaled(10'000'000)); ++number)
    text += "\"say \\\"" + std::to_string(number * 7919 % 100'000) + "\\\" in C:\\\\folder, twice\" ";
  return text;
}

struct Sum {
  std::uint64_t count = 0, hash = 0;
  void Add(const std::string& item) {
    ++count;
    hash = hash * 31 + item.size() + static_cast<unsigned char>(item[item.size() / 2]);
  }
  bool operator==(const Sum&) const = default;
};

Sum byHand(const std::string& text) {
  Sum sum;
  std::string item;
  for (const char* c = text.c_str(); *c != '\0';) {
    if (*c++ != '"') continue;
    item.clear();
    for (; *c != '"'; ++c) {
      if (static_cast<unsigned char>(*c) < ' ') return {};
      if (*c == '\\') ++c;
      item += *c;
    }
    ++c;
    sum.Add(item);
  }
  return sum;
}

}  // namespace

void bench::ask() {
  static const std::string text = items();
  Question<Sum> question("scan_items");
  question.side("tvk", [] {
    Sum sum;
    tvk::Parsing scanner(text.c_str());
    tvk::StringBase<char> item;
    while (*scanner.Cursor() != '\0') {
      scanner.ReadItem(item, tvk::Parsing::ItemQuoted, 200);
      scanner.SkipBlanks();
      sum.Add(item);
    }
    return sum;
  });
  question.side("loop by hand", [] { return byHand(text); });
  question.side("std::quoted", [] {
    Sum sum;
    std::istringstream in(text);
    for (std::string item; in >> std::quoted(item);) sum.Add(item);
    return sum;
  });
#ifdef BENCH_BOOST
  question.side("tokenizer", [] {
    Sum sum;
    const boost::tokenizer<boost::escaped_list_separator<char>> tokens(
        text, boost::escaped_list_separator<char>('\\', ' ', '"'));
    for (const std::string& item : tokens)
      if (!item.empty()) sum.Add(item);
    return sum;
  });
  question.side("Spirit", [] {
    namespace qi = boost::spirit::qi;
    Sum sum;
    const char* at = text.data();
    const char* const end = at + text.size();
    const qi::rule<const char*, std::string()> rule =
        '"' >> *(('\\' >> qi::char_) | (qi::char_ - '"')) >> '"' >> qi::omit[*qi::char_(' ')];
    for (std::string item; at != end && qi::parse(at, end, rule, item); item.clear()) sum.Add(item);
    return sum;
  });
#endif
}
