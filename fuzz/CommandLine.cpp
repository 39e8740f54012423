// Every reader of the command line in the order that the input wants, with mark and restore between them.
#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/files/HostAddress.h>
#include <tvk/time/DateTime.h>

#include <cstring>
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

}  // namespace

void fuzz::run(Input in) {
  std::vector<std::vector<char>> texts(in.Take() % 5);  // their ends are guarded
  tvk::ArgumentList arguments;
  for (std::vector<char>& text : texts) {
    const std::string source = in.Text();
    text.assign(source.c_str(), source.c_str() + source.size() + 1);
    arguments.Add(text.data());
  }
  Parser(arguments, in);
}
