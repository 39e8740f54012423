#include "Settings.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <thread>

#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/text/Exception.h>
#include <tvk/time/DateTime.h>

namespace tvkpack {
namespace {

constexpr std::uint32_t maxJobs = 64;
constexpr std::size_t maxSkipBytes = 64;

constexpr std::int64_t codeMissingValue = 2003;
constexpr std::int64_t codeMissingSpecification = 2024;
constexpr std::int64_t codeOutOfRange = 2005;
constexpr std::int64_t codeBadSpecification = 2023;
constexpr std::int64_t codeTakenTwice = 2026;
constexpr std::int64_t codeWrongMode = 2027;

class Parser : public tvk::CommandLineParsing {
 public:
  Parser() { m_settings.jobs = std::clamp(std::thread::hardware_concurrency(), 1u, maxJobs); }

  Settings Read() {
    Parse();
    if (m_settings.mode == Mode::Help || m_settings.mode == Mode::Version) return m_settings;
    CheckCombination();
    SelectArgument();
    if (Argument() == nullptr) Fail(codeMissingSpecification);
    do {
      m_settings.targets.push_back(ReadTarget());
    } while (NextArgument());
    return m_settings;
  }

 private:
  enum class Option {
    Pack,
    Unpack,
    Test,
    List,
    Recurse,
    Keep,
    Overwrite,
    Before,
    After,
    Larger,
    Smaller,
    Skip,
    Jobs,
    Ask,
    Page,
    Log,
    Quiet,
    Help,
    Version
  };
  static constexpr const char* optionNames =
      "pack\tunpack\ttest\tlist\trecurse\tkeep\toverwrite\tbefore\tafter\tlarger\tsmaller\tskip\tjobs\task\tp"
      "age\tlog\t"
      "quiet\thelp\tversion";

  bool HandleOption() override {
    if (AtEnd(false)) return false;
    const int index = ReadKeyword(optionNames);
    if (index < 0) return false;
    switch (static_cast<Option>(index)) {
      case Option::Pack:
        SetMode(Mode::Pack);
        break;
      case Option::Unpack:
        SetMode(Mode::Unpack);
        break;
      case Option::Test:
        SetMode(Mode::Test);
        break;
      case Option::List:
        SetMode(Mode::List);
        break;
      case Option::Recurse:
        m_settings.recurse = true;
        break;
      case Option::Keep:
        m_settings.keep = true;
        break;
      case Option::Overwrite:
        m_settings.overwrite = true;
        break;
      case Option::Before:
        m_settings.before = ReadMoment();
        break;
      case Option::After:
        m_settings.after = ReadMoment();
        break;
      case Option::Larger:
        m_settings.larger = ReadSize();
        break;
      case Option::Smaller:
        m_settings.smaller = ReadSize();
        break;
      case Option::Skip:
        m_settings.skip = ReadBytes();
        break;
      case Option::Jobs:
        ExpectValue();
        m_settings.jobs = ReadUnsignedRange(1, maxJobs);
        break;
      case Option::Ask:
        m_settings.ask = true;
        break;
      case Option::Page:
        m_settings.page = true;
        break;
      case Option::Log:
        m_settings.toLog = true;
        break;
      case Option::Quiet:
        m_settings.quiet = true;
        break;
      case Option::Help:
        m_settings.mode = Mode::Help;
        break;
      case Option::Version:
        m_settings.mode = Mode::Version;
        break;
    }
    return true;
  }

  void SetMode(Mode mode) {
    if (m_settings.mode == Mode::Help || m_settings.mode == Mode::Version) return;
    if (m_modeIsGiven && m_settings.mode != mode) FailAt(codeTakenTwice, Argument());
    m_modeIsGiven = true;
    m_settings.mode = mode;
  }

  // A value follows the name behind "=" or ":".
  void ExpectValue() {
    if (AtEnd(false)) Fail(codeMissingValue);
    if (!Accept('=')) ExpectChar(':');
  }

  std::int64_t ReadMoment() {
    ExpectValue();
    tvk::DateTimeO moment;
    bool isoForm = false;
    ReadDate(moment, isoForm);
    ReadTimeOfDay(moment, isoForm, true);
    return moment.ToUnixTime();
  }

  std::uint64_t ReadSize() {
    ExpectValue();
    if (IsNext('-')) Fail(codeOutOfRange);
    return ReadUInt64(0, std::numeric_limits<std::uint64_t>::max());
  }

  std::string ReadBytes() {
    ExpectValue();
    unsigned char bytes[maxSkipBytes];
    const std::size_t count = ReadHexBytes(bytes, std::size(bytes));
    return std::string(bytes, bytes + count);
  }

  // An option that the mode has no use for is a mistake that should not pass unnoticed.
  void CheckCombination() const {
    const bool writes = m_settings.mode == Mode::Pack || m_settings.mode == Mode::Unpack;
    if (!writes && (m_settings.keep || m_settings.overwrite))
      throw tvk::Exception::Of(codeWrongMode, m_settings.mode == Mode::Test ? "test" : "list");
  }

  Target ReadTarget() {
    if (AtEnd(false)) Fail(codeMissingSpecification);
    Target target;
    std::string folder, name;
    ReadFileName(target.path, folder, name);
    while (Accept(',')) {
      std::string pattern;
      ReadFileName(pattern, folder, name);
      target.patterns.emplace_back(pattern);
    }
    if (!AtEnd(false)) Fail(codeBadSpecification);
    return target;
  }

  Settings m_settings;
  bool m_modeIsGiven = false;
};

}  // namespace

Settings readSettings() { return Parser().Read(); }

}  // namespace tvkpack
