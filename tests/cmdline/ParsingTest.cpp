#include <tvk/cmdline/Parsing.h>

#include "support/Support.h"

using namespace tvk;

namespace {

enum : std::uint32_t { skip = 0x01, quoted = 0x20, blankEnds = 0x40, raw = 0x80, lines = 0x100 };

// What reading one item comes to: "item|rest", or "CODE text|rest" when it fails.
std::string outcome(Parsing& scanner, std::uint32_t flags, std::int32_t limit) {
  StringBase<char> item = "rubbish";
  try {
    EXPECT_TRUE(scanner.ReadItem(item, flags, limit, 7));
  } catch (const Exception& e) {
    item = std::to_string(e.GetCode()) + ' ' + e.First() + e.Second() + e.Third();
  }
  return item + '|' + scanner.Cursor();
}

// Notes the calls of its hooks, refuses items that begin with "#" or are "bad", and takes "\!" as an escape.
struct Hooked : Parsing {
  using Parsing::Parsing;
  bool BeginItem(ItemRecord& record, char first) override {
    EXPECT_EQ(record.extra, 7u);
    calls += std::string("begin ") + first + ' ';
    return first != '#';
  }
  bool EndItem(ItemRecord& record) override {
    calls += "end " + record.output;
    if (record.output == "bad") record.errorCode = 2005;
    return record.output != "bad";
  }
  bool HandleEscape(ItemRecord& record) override {
    if (*Cursor() == '?') record.errorCode = 4711;
    if (*Cursor() != '!') return false;
    SetCursor(Cursor() + 1);
    return Append(record, '<') && AppendLineBreak(record) && Append(record, '>');
  }
  std::string calls;
};

// Reads one item from each text; behind each text stands what it comes to.
void expectItems(std::uint32_t flags, std::int32_t limit, const std::vector<std::string>& textsAndOutcomes) {
  for (std::size_t i = 0; i < textsAndOutcomes.size(); i += 2) {
    Parsing scanner(textsAndOutcomes[i].c_str());
    EXPECT_EQ(outcome(scanner, flags, limit), textsAndOutcomes[i + 1]) << flags << ' ' << textsAndOutcomes[i];
  }
}

}  // namespace

TEST(Parsing, Items) {
  // plain
  expectItems(0, 99,
              {"abc def", "abc def|", " abc", " abc|", "", "2024 |", "a\xE4\x80\"b'", "a\xE4\x80\"b'|",
               "abc\tdef", "2006 abc\tdef|def", "a\nb", "2006 a\nb|b"});
  expectItems(blankEnds, 99,
              {"abc def", "abc| def", "abc\tdef", "abc|\tdef", "\"a b\"c", "a b|c", "\"a\tb\"",
               "2006 \"a\tb\"|b\"", " \"abc\"", "2024  \"abc\"| \"abc\""});
  expectItems(skip | blankEnds, 99, {" \t\"abc\"", "abc|", "  abc", "2024   abc|  abc"});
  expectItems(quoted, 99, {"abc", "2023 abc|abc", "\"abc\"", "abc|"});
  // quoted pieces and line breaks
  expectItems(0, 99, {"\"abc\" \"def\"", "abc| \"def\"", "\"abc", "2006 \"abc|\"abc"});
  expectItems(
      skip, 99,
      {" \tabc", "abc|", "  ", "2024 |", "\"abc\" \"def\" x", "abcdef|x", "\"a\"\n\"b\"", "a|\n\"b\""});
  expectItems(skip | raw, 99, {"\"abc\" \"def\"", "\"abc\"\"def\"|"});
  expectItems(lines, 99, {"a\r\nb\n\rc\n\nd\re", "a\nb\nc\n\nd\ne|", "\"a\"\n \"b\"", "a\n| \"b\""});
  expectItems(lines | raw, 99, {"\"a\nb\"", "\"a\\nb\"|"});
  expectItems(lines | skip, 99, {"\"a\"\r\n \"b\"", "a\nb|", "\"a\"\n\n  b", "a\n\n|b"});
  expectItems(lines | skip | raw, 99, {"\"a\"\r\n \"b\"", "\"a\\nb\"|"});
  // escapes
  expectItems(
      0, 99,
      {"\\t\\v\\b\\r\\f\\a\\\\\\?\\'\\\"\\n", "\t\v\b\r\f\a\\?'\"\n|", "a\\x41g\\101b\\qb\\8", "aAgAbqb8|",
       "\\1012\\x1F41\\xaBz\\400", std::string("A2A\xABz\0|", 7), "a\\x", std::string("a\0|", 3), "a\\\tb",
       "2006 a\\\tb|b", "a\\", "a|", "\"a\\\"", "2006 \"a\\\"|\"a\\\""});
  expectItems(blankEnds, 99, {"a\\ b", "a| b"});
  expectItems(raw, 99, {"a\\q\\\tb\\", "a\\q\\\tb\\|", "\"a\\\"b\"", "\"a\\\"b\"|"});
  // limits
  expectItems(0, 3,
              {"abcdef", "abc|def", "abc", "abc|", "\"abcdef\"", "2006 \"abcdef\"|\"abcdef\"", "\"abc\"\"d\"",
               "abc|\"d\""});
  expectItems(raw, 3, {"ab\\qc", "ab\\q|c"});
  expectItems(0, 0, {"abc", "|abc"});
  expectItems(raw, 0, {"\"abc\"", "2007 \"abc\"|abc\""});
  expectItems(0, -1, {"abc", "2007 abc|bc", "\\n", "2007 \\n|", "\"\"", "|"});
  expectItems(lines, -1, {"\r\na", "2007 \r\na|\na", "\"\"\r\na", "2007 \"\"\r\na|a"});
  expectItems(lines, 3, {"\"ab\"\n\r\n\nx", "ab\n\n\n|x"});
}

TEST(Parsing, Hooks) {
  for (const auto& [text, expected] : {std::pair{"\"a\\!b\\q\" rest", "a<\n>bq|rest begin \" end a<\n>bq"},
                                       {"ab\\?c", "4711 ab\\?c|?c begin a end ab"},
                                       {static_cast<const char*>(nullptr), "2024 | end "},
                                       {"#ab", "0 #ab|#ab begin # end "},
                                       {"bad", "2005 bad| begin b end bad"}}) {
    Hooked scanner(text);
    EXPECT_EQ(outcome(scanner, skip, 99) + ' ' + scanner.calls, expected);
  }
  EXPECT_TRUE(support::slotOf(&Hooked::BeginItem) == 3 && support::slotOf(&Hooked::HandleEscape) == 5);
}

TEST(Parsing, CursorAndBlanks) {
  Parsing scanner("a \r\n\tb");
  scanner.SetCursor(scanner.ItemStart() + 1);
  scanner.MarkItemStart();
  scanner.SkipBlanks();
  EXPECT_STREQ(scanner.Cursor(), "\r\n\tb");
  Parsing::SetLineBreaksAreBlank(true);
  scanner.SkipBlanks();
  Parsing::SetLineBreaksAreBlank(false);
  EXPECT_EQ(std::string(scanner.Cursor()) + scanner.ItemStart(), "b \r\n\tb");
  scanner.SetCursor(nullptr);
  EXPECT_STREQ(scanner.Cursor(), "");
}
