#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/files/HostAddress.h>
#include <tvk/time/DateTime.h>

#include "support/Support.h"

namespace {

// Options: "-x", "-bVALUE" or "-b VALUE", and "-" alone.
struct Arguments : tvk::CommandLineParsing {
  using CommandLineParsing::CommandLineParsing;
  bool HandleOption() override {
    if (!Accept('b')) return AtEnd(false) || Accept('X');
    if (AtEnd(false)) NextArgument();
    ReadText(text);
    return true;
  }
  std::string text, folder, name;
  tvk::DateTimeO moment;
  bool flag = false;
};

using Reader = std::function<std::string(Arguments&)>;
using std::to_string;
std::string to_string(char c) { return {c}; }

// A reader that calls one operation, and one that answers what an operation put out.
#define VALUE(call) [](Arguments& a) { return to_string(a.call); }
#define OUTPUT(call, output) [](Arguments& a) { return a.call, std::string(output); }

// "RESULT|REST", or "CODE:FIRST" for an exception, with its location behind ";".
std::string read(const Reader& reader, const std::string& text) {
  const tvk::ArgumentList list{text.c_str()};
  Arguments a(list);
  try {
    const std::string result = reader(a);
    return result + "|" + (a.Position() != nullptr ? a.Position() : "null");
  } catch (const tvk::Exception& e) {
    EXPECT_EQ(e.Second(), e.Location());
    return to_string(e.GetCode()) + ":" + e.First() + (e.Location().empty() ? "" : ";" + e.Location());
  }
}

// Each case is "TEXT=>ANSWER", two blanks between them; an empty text is tried besides.
void check(const Reader& reader, std::string cases, const char* onEmpty = "2003:") {
  for (cases += "  "; !cases.empty(); cases.erase(0, cases.find("  ") + 2)) {
    const std::string row = cases.substr(0, cases.find("  "));
    const std::size_t arrow = row.find("=>");
    EXPECT_EQ(read(reader, row.substr(0, arrow)), row.substr(arrow + 2)) << row;
  }
  EXPECT_EQ(read(reader, ""), onEmpty);
}

// Numbers and bytes are compared with those of the C library in tests/differential.
TEST(CommandLineParsing, ReadsDigitsCharactersAndWords) {
  check(VALUE(ReadUnsignedMax(0)), "4294967295=>4294967295|");
  check(VALUE(ReadSignedMax(7)), "7=>7|  8=>2005:8");
  check(VALUE(ReadSignedMax(0)), "2147483647=>2147483647|");
  check(VALUE(ReadDigits(8, "err")), "178=>15|8  -1=>2005:err");
  check(VALUE(ReadDigits(10, nullptr)), ":5x=>105|x  \xE9=>185|  a=>49|");
  check(VALUE(ReadChar(true)), " \t\vX=>X|");
  check(VALUE(ReadCharLower(false)), " X=> |X  X=>x|");
  check(VALUE(ExpectChar('a')), "Ab=>a|b  b=>2023:b");
  check(VALUE(ReadOneOf(",X")), "xy=>x|y  y=>2023:y");
  check(VALUE(ReadKeyword("Jan\tJune\tjun")), "JAN5=>0|5  january=>-1|january  jun-e=>2|-e  1=>-1|1");
  check(VALUE(ReadKeyword("x1\tx\tX12\tx12")), "X123=>2|3  xx=>1|x  y=>-1|y");
}

TEST(CommandLineParsing, ReadsTextsFileNamesAndHosts) {
  const support::ScopedVariable home("HOME", "/home/u");
  check(OUTPUT(ReadText(a.text), a.text), "abc=>abc|null");
  check(OUTPUT(ReadText(a.text, 3), a.text), "abc=>abc|  abcd=>abc|d");
  check(OUTPUT(ReadQuotedText(a.text), a.text), "\"a b\"c=>a b|c  \"\"x=>|x  \"ab=>\"ab|null  ab=>ab|null");
  check(OUTPUT(ReadQuotedText(a.text, 2), a.text), "\"abc\"d=>ab|d  \"a\"d=>a|d");
  const Reader file = OUTPUT(ReadFileName(a.text, a.folder, a.name), a.text + ";" + a.folder + ";" + a.name);
  check(file,
        "~/data,rest=>/home/u/data;/home/u;data|,rest  \"a,b\"=>a;;a|,b\"  \"a b\",c=>a b;;a b|,c  "
        "\"a/b=>a/b;a;b|null  /x=>/x;/;x|null  ~bob=>/home/ubob;/home;ubob|null  \"=>2003:  ,=>;;|,");
  unsetenv("HOME");
  EXPECT_EQ(read(file, "~"), "~;;~|null");
  static tvk::HostAddress host;
  check(OUTPUT(ReadHost(host), host.ToText()),
        "127.0.0.1;x=>127.0.0.1|;x  LOCALHOST#=>127.0.0.1|#  0:0:1+=>0:0:1::|+  ::1 x=>0:0:1::| x  "
        "::1\tx=>0:0:1::|\tx  ::1\nx=>0:0:1::|\nx  ::1*=>0:0:1::|*  ,=>2001:,;,");
  EXPECT_FALSE(host.IsValid());  // the last one read was none
}

TEST(CommandLineParsing, ReadsDatesAndTimes) {
  const support::ScopedVariable zone("TZ", "XST-3");
  check(OUTPUT(ReadDate(a.moment, a.flag), a.moment.ToRfc3339().replace(11, 8, to_string(a.flag))),
        "2024-03-15T=>2024-03-15T1+03:00|T  2024mAr15,=>2024-03-15T0+03:00|,  0x7E8-3-5=>2024-03-05T1+03:00| "
        " 2024 Mar 15=>2023:2024 Mar 15  1999-03-15=>2005:1999  2100Jan1=>2005:2100  2024=>2003:  "
        "2024-02-30=>1313:2024-02-30  2024-4294967299-1=>2005:4294967299-1  2024/1=>2023:2024/1");
  EXPECT_EQ(read(VALUE(ReadTimeOfDay(a.moment, true, true)), "T1:2:3"), "1313:1:2:3");
  const auto time = [](Arguments& a, bool isIso, bool isRequired) {
    a.moment = tvk::DateTimeO::FromRfc3339("2024-03-15T01:02:03Z");
    const bool isRead = a.ReadTimeOfDay(a.moment, isIso, isRequired);
    return (isRead ? "" : "no ") + a.moment.ToRfc3339().substr(11);
  };
  check(
      [&](Arguments& a) { return time(a, true, true); },
      "T12:30:00Z=>12:30:00Z|  T12:30:00+02:00=>12:30:00+02:00|  T12:30:00+02:30=>2023:30  "
      "T12:30:00+13=>2005:13  T1:2:3+08=>01:02:03+08:00|  T1:2:3-12:00=>01:02:03-12:00|  "
      "t1:2:3+-5,x=>01:02:03-05:00|,x  T1:2:3+=>2003:  T1:2:3+x=>2021:x  T1:2:3+4294967298=>2005:4294967298  "
      "T1:2:3x=>2005:x  T25:0:0Z=>1313:25:0:0Z  T65548:0:0=>1313:65548:0:0  T=>2003:  /1=>2023:/1",
      "no 01:02:03Z|");
  check([&](Arguments& a) { return time(a, false, false); },
        "/1:2:3CET=>01:02:03+01:00|  ,1:2:3hst;=>01:02:03-10:00|;  T1:2:3msk=>01:02:03+03:00|  "
        "T1:2:3,=>01:02:03+03:00|,  T1:2:3xyz=>2005:xyz  /abc=>no 01:02:03Z|/abc  x=>2023:x",
        "no 01:02:03Z|");
}

TEST(CommandLineParsing, LoopsOverOptions) {
  check(OUTPUT(Parse(), to_string(a.ArgumentIndex()) + to_string(a.IsLastArgument())),
        "-x=>11|  -=>11|  -X \t=>11|  x=>01|x  -y=>2001:y;-y  -xyz=>2001:yz;-xyz", "01|");
  const tvk::ArgumentList none, list{"-x", "-b", "value", "-bv", "file", "-x"};
  Arguments a(list), empty(none);
  a.Parse();
  EXPECT_TRUE(a.text == "v" && a.ArgumentIndex() == 4 && !a.IsLastArgument() && !a.AtEndOfAll(true));
  empty.Parse();
  EXPECT_TRUE(empty.AtEndOfAll(false) && empty.Position() == nullptr && !empty.NextArgument());
  EXPECT_EQ(2003, support::thrownCode([&] { empty.Advance(0); }));
  EXPECT_EQ(3u, support::slotOf(&Arguments::HandleOption));
}

// Where the cursor may be is checked in fuzz.
TEST(CommandLineParsing, TellsWhereTheCursorIs) {
  const tvk::ArgumentList list{"ab  ", "c"};
  Arguments a(list);
  a.Advance(2);
  a.Mark();
  EXPECT_TRUE(a.AtEnd(true) && !a.AtEnd(false) && !a.AtEndOfAll(true));
  EXPECT_TRUE(a.NextArgument() && a.IsDigitFor(16) && !a.IsDigitFor(10) && a.IsDigitFor(7));
  EXPECT_FALSE(a.NextArgument());
  a.ClearMark();
  a.SkipArgument();
  a.Advance(1);
  a.Restore();
  EXPECT_TRUE(a.AtEndOfAll(false));
}

}  // namespace
