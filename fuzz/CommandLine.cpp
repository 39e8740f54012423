// Every reader of the command line in the order that the input wants, with mark and restore between them, or a table
// with an option of each kind.
#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/cmdline/OptionTable.h>
#include <tvk/console/ConsoleStreamBuf.h>
#include <tvk/files/HostAddress.h>
#include <tvk/time/DateTime.h>

#include <cstdlib>
#include <cstring>
#include <optional>
#include <tuple>
#include <vector>

#include "Input.h"

namespace {

template <class Number>
void isIn(Number least, Number value, Number largest) {
  assert(least <= value && value <= largest);
}

class Parser : public tvk::CommandLineParsing {
 public:
  Parser(const tvk::ArgumentList& arguments, fuzz::Input& in)
      : CommandLineParsing(arguments), m_in(in), m_count(arguments.Count()) {
    while (!m_in.AtEnd()) Step();
  }

 private:
  bool HandleOption() override { return Step(), Step(), m_in.Take() & 7; }

  // One operation; what it throws is one of its codes, and the cursor stays within the arguments.
  void Step() {
    const auto operation = m_in.Take();
    const auto a = m_in.Take<std::int32_t>(), b = m_in.Take<std::int32_t>();
    const std::string words = m_in.Text();
    const std::int64_t code = fuzz::codeOf([&] { Do(operation, a, b, words); });
    assert(code == -1 || code == 1313 || code == 2001 || code == 2003 || code == 2005 || code == 2021 ||
           code == 2023);
    const char* const at = Position();
    assert(at == nullptr || (Argument() <= at && at <= Argument() + std::strlen(Argument())));
  }

  void Do(unsigned operation, std::int32_t a, std::int32_t b, const std::string& words) {
    const auto low = static_cast<std::uint32_t>(a), high = static_cast<std::uint32_t>(b);
    const auto isNext = [&operation] { return operation-- == 0; };
    operation %= 26;
    if (isNext()) Advance(a % 2 ? b : b % 16);
    if (isNext()) Mark(), m_mark = Position(), m_isMarked = ArgumentIndex() < m_count;
    if (isNext()) ClearMark(), m_isMarked = false;
    if (isNext()) Restore(), assert(!m_isMarked || Position() == m_mark);
    if (isNext()) SelectArgument();
    if (isNext()) SkipArgument();
    if (isNext()) isIn<std::int64_t>(a, ReadInt64(a, b), b);
    if (isNext()) isIn<std::uint64_t>(low, ReadUInt64(low, ~0ul - high), ~0ul - high);
    if (isNext()) ReadDigits(low % 17, Position());
    if (isNext()) isIn(low, ReadUnsignedRange(low, high), high);
    if (isNext()) isIn(0u, ReadUnsignedMax(low), low != 0 ? low : ~0u);
    if (isNext()) isIn(a, ReadSignedRange(a, b), b);
    if (isNext()) isIn(-INT32_MAX, ReadSignedMax(a), a != 0 ? a : INT32_MAX);
    if (isNext()) isIn<std::size_t>(1, ReadHexBytes(m_bytes, low % 10), low % 10);
    if (isNext()) m_text = ReadCharLower(a & 1), assert(m_text < "A" || m_text > "Z");
    if (isNext()) ExpectChar(static_cast<char>(a));
    if (isNext()) ReadOneOf(words.c_str());
    if (isNext()) isIn(-1, ReadKeyword(words.c_str()), static_cast<int>(words.size()));
    if (isNext()) ReadText(m_text, a), isIn(0u, unsigned(m_text.size()), low);
    if (isNext()) ReadQuotedText(m_text, a), isIn(0u, unsigned(m_text.size()), low);
    if (isNext()) ReadFileName(m_text, m_folder, m_name), assert(m_text.ends_with(m_name));
    if (isNext()) ReadHost(m_host), assert(m_host.IsValid());
    if (isNext()) ReadDate(m_date, m_isIso), isIn<int>(2000, m_date.GetFields().year, 2099);
    if (isNext()) ReadTimeOfDay(m_date, m_isIso, a & 1);
    if (isNext()) Fail(a & 1 ? 2001 : 2021);
    if (isNext() && ++m_depth < 4) Parse();
  }

  fuzz::Input& m_in;
  const std::size_t m_count;
  const char* m_mark = nullptr;
  bool m_isMarked = false, m_isIso = false;
  int m_depth = 0;
  unsigned char m_bytes[9];
  std::string m_text, m_folder, m_name;
  tvk::HostAddress m_host;
  tvk::DateTimeO m_date{0};
};

// What an option that is refused would have changed is as it was before it.
class Table : public tvk::OptionTable {
 public:
  explicit Table(const tvk::ArgumentList& arguments)
      : OptionTable(
            {
                tvk::Option::Flag("flag\tf", 1, m_flag),
                tvk::Option::Number("small", 1, m_small, -5, 99),
                tvk::Option::Number("wide", 1, m_wide),
                tvk::Option::Keyword("keyword", 1, m_keyword, "one\tone-two\tthree").Repeatable(),
                tvk::Option::Text("text", 1, m_texts, 3),
                tvk::Option::FileName("file-name", 1, [this](std::string path) { m_path = std::move(path); }),
                tvk::Option::HexBytes("hex", 1, m_bytes, 2),
                tvk::Option::Date("date", 1, m_date),
                tvk::Option::Host("host", 1, m_host),
                tvk::Option::Value("value", 1, [](CommandLineParsing& at) { at.ReadOneOf("xy"); }),
                tvk::Option::Number("default", 1, m_default).Default("7"),
            },
            arguments) {
    Version("1");
    std::optional<bool> isParsed;
    const std::int64_t code = fuzz::codeOf([&] { isParsed = Parse(); });
    assert(code == -1 || code == 1313 || (2001 <= code && code <= 2007) || code == 2021 || code == 2023 ||
           code == 2025 || code == 2026);
    const char* const at = Position();
    assert(at == nullptr || (Argument() <= at && at <= Argument() + std::strlen(Argument())));
    if (!isParsed) assert(Values() == m_before);
    assert(-5 <= m_small && m_small <= 99 && 0 <= m_keyword && m_keyword < 3 && m_bytes.size() <= 2);
    for (const std::string& text : m_texts) assert(!text.empty() && text.size() <= 3);
    if (!isParsed.value_or(false)) return;
    const std::size_t index = ArgumentIndex();
    assert(at == (index < arguments.Count() ? arguments[index] : nullptr) && at == Argument());
    assert(m_default == 7 || index > 0);
  }

 private:
  bool HandleOption() override { return m_before = Values(), OptionTable::HandleOption(); }

  using State = std::tuple<bool, int, std::uint64_t, int, std::size_t, std::string, std::string, std::int64_t,
                           std::string, int>;
  State Values() const {
    return {m_flag,
            m_small,
            m_wide.value_or(1),
            m_keyword,
            m_texts.size(),
            m_path,
            m_bytes,
            m_date ? m_date->ToUnixTime() : 1,
            m_host.ToText(),
            m_default};
  }

  bool m_flag = false;
  std::int8_t m_small = 0;
  std::optional<std::uint64_t> m_wide;
  int m_keyword = 0;
  std::vector<std::string> m_texts;
  std::string m_path, m_bytes;
  std::optional<tvk::DateTimeO> m_date;
  tvk::HostAddress m_host;
  std::int16_t m_default = 0;
  State m_before = Values();
};

}  // namespace

void fuzz::run(Input in) {
  const auto kind = in.Take();
  std::vector<std::vector<char>> texts(kind % 5);  // their ends are guarded
  tvk::ArgumentList arguments;
  for (std::vector<char>& text : texts) {
    const std::string source = in.Text();
    text.assign(source.c_str(), source.c_str() + source.size() + 1);
    arguments.Add(text.data());
  }
  if (kind < 128) {
    Parser(arguments, in);
    return;
  }
  tvk::ConsoleStreamBuf::Get().SetOutputFunction([](auto...) {});
  setenv("COMP_POINT", std::to_string(in.Take()).c_str(), 1);
  setenv("COMP_LINE", in.Text().c_str(), 1);
  Table table(arguments);
}
