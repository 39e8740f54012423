// Every reader of the command line in the order that the input wants, with mark and restore between them.
#include <netdb.h>
#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/files/HostAddress.h>
#include <tvk/time/DateTime.h>

#include <cstring>
#include <list>
#include <set>

#include "Input.h"

// No name is known, and none leaves the process.
extern "C" int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**) { return EAI_NONAME; }

namespace {

struct Values {
  std::int32_t a, b;
  std::uint32_t low = static_cast<std::uint32_t>(a), high = static_cast<std::uint32_t>(b);
  std::string words;
  std::string text{}, folder{}, name{};
  tvk::DateTimeO date{0};
  tvk::HostAddress host{};
  unsigned char bytes[9] = {};
};

class Parser : public tvk::CommandLineParsing {
 public:
  Parser(const tvk::ArgumentList& arguments, fuzz::Input& in) : CommandLineParsing(arguments), m_in(in) {
    while (!m_in.AtEnd()) Step();
  }

 private:
  template <class Number>
  static void isIn(Number least, Number value, Number largest) {
    REQUIRE(least <= value && value <= largest);
  }
  bool HandleOption() override { return Step(), Step(), m_in.Take() & 7; }

  // One operation; what it throws is one of its codes, and the cursor stays within the arguments.
  void Step() {
    using Operation = void (*)(Parser & p, Values & v);
    static constexpr Operation operations[] = {
        [](Parser& p, Values&) { p.SkipSpaces(); },
        [](Parser& p, Values&) { REQUIRE(!p.AtEndOfAll(false) || p.AtEndOfAll(true)); },
        [](Parser& p, Values& v) {
          REQUIRE(p.IsNext(static_cast<char>(v.a)) == p.Accept(static_cast<char>(v.a)));
        },
        [](Parser& p, Values& v) { p.Advance(v.a % 2 ? v.b : v.b % 16); },
        [](Parser& p, Values&) { p.Mark(), p.m_mark = p.Position(), p.m_isMarked = p.Argument() != nullptr; },
        [](Parser& p, Values&) { p.ClearMark(), p.m_isMarked = false; },
        [](Parser& p, Values&) { p.Restore(), REQUIRE(!p.m_isMarked || p.Position() == p.m_mark); },
        [](Parser& p, Values&) { p.SelectArgument(); },
        [](Parser& p, Values&) { p.SkipArgument(); },
        [](Parser& p, Values& v) { isIn<std::int64_t>(v.a, p.ReadInt64(v.a, v.b), v.b); },
        [](Parser& p, Values& v) {
          isIn<std::uint64_t>(v.low, p.ReadUInt64(v.low, ~0ul - v.high), ~0ul - v.high);
        },
        [](Parser& p, Values& v) { p.ReadDigits(v.low % 17, p.Position()); },
        [](Parser& p, Values&) { p.ReadUnsigned(); },
        [](Parser& p, Values& v) { isIn(v.low, p.ReadUnsignedRange(v.low, v.high), v.high); },
        [](Parser& p, Values& v) { isIn(0u, p.ReadUnsignedMax(v.low), v.low != 0 ? v.low : ~0u); },
        [](Parser& p, Values& v) { isIn(v.a, p.ReadSignedRange(v.a, v.b), v.b); },
        [](Parser& p, Values& v) { isIn(-INT32_MAX, p.ReadSignedMax(v.a), v.a != 0 ? v.a : INT32_MAX); },
        [](Parser& p, Values& v) { isIn<std::size_t>(1, p.ReadHexBytes(v.bytes, v.low % 10), v.low % 10); },
        [](Parser& p, Values& v) { p.ReadCharLower(v.a & 1); },
        [](Parser& p, Values& v) { p.ExpectChar(static_cast<char>(v.a)); },
        [](Parser& p, Values& v) { p.ReadOneOf(v.words.c_str()); },
        [](Parser& p, Values& v) {
          isIn(-1, p.ReadKeyword(v.words.c_str()), static_cast<int>(v.words.size()));
        },
        [](Parser& p, Values& v) { p.ReadText(v.text, v.a), isIn(0u, unsigned(v.text.size()), v.low); },
        [](Parser& p, Values& v) { p.ReadQuotedText(v.text, v.a), isIn(0u, unsigned(v.text.size()), v.low); },
        [](Parser& p, Values& v) {
          p.ReadFileName(v.text, v.folder, v.name);
          REQUIRE(v.text.find(',') == v.text.npos && v.name.find('/') == v.name.npos);
          REQUIRE(v.text.starts_with(v.folder) && v.text.ends_with(v.name));
        },
        [](Parser& p, Values& v) { p.ReadHost(v.host), REQUIRE(v.host.IsValid()); },
        [](Parser& p, Values& v) {
          bool isoForm = false;
          p.ReadDate(v.date, isoForm);
          isIn<int>(2000, v.date.GetFields().year, 2099);
          p.ReadTimeOfDay(v.date, isoForm, v.a & 1);
          isIn<int>(2000, v.date.GetFields().year, 2099);
        },
        [](Parser& p, Values& v) { p.Fail(v.a & 1 ? 2001 : 2021); },
        [](Parser& p, Values&) { ++p.m_depth < 4 ? p.Parse() : void(); }};
    const Operation operation = operations[m_in.Take() % std::size(operations)];
    Values values{.a = m_in.Take<std::int32_t>(), .b = m_in.Take<std::int32_t>(), .words = m_in.Text()};
    const std::int64_t code = fuzz::codeOf([&] { operation(*this, values); });
    REQUIRE((std::set<std::int64_t>{-1, 1313, 2001, 2003, 2005, 2021, 2023}.contains(code)));
    if (const char* const at = Position())
      REQUIRE(Argument() <= at && at <= Argument() + std::strlen(Argument()) &&
              AtEnd(false) == (*at == '\0'));
  }

  fuzz::Input& m_in;
  const char* m_mark = nullptr;
  bool m_isMarked = false;
  int m_depth = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input in(data, size);
  std::list<std::vector<char>> blocks(in.Take() % 5);  // their ends are guarded
  tvk::ArgumentList arguments;
  for (std::vector<char>& block : blocks) {
    const std::string text = in.Text();
    block.assign(text.c_str(), text.c_str() + text.size() + 1);
    arguments.Add(block.data());
  }
  Parser(arguments, in);
  return 0;
}
