#include "Settings.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <thread>

#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/files/FileStatus.h>
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
    do {
      m_settings.targets.push_back(ReadTarget());
    } while (NextArgument());
    return m_settings;
  }

 private:
  bool HandleOption() override {
    static constexpr bool Settings::*flags[] = {&Settings::recurse, &Settings::keep, &Settings::overwrite,
                                                &Settings::ask,     &Settings::page, &Settings::toLog,
                                                &Settings::quiet};
    if (AtEnd(false)) return false;
    if (const int mode = ReadKeyword("pack\tunpack\ttest\tlist\thelp\tversion"); mode >= 0) {
      SetMode(static_cast<Mode>(mode));
      return true;
    }
    if (const int flag = ReadKeyword("recurse\tkeep\toverwrite\task\tpage\tlog\tquiet"); flag >= 0) {
      m_settings.*flags[flag] = true;
      return true;
    }
    switch (ReadKeyword("before\tafter\tlarger\tsmaller\tskip\tjobs")) {
      case 0:
        m_settings.before = ReadMoment();
        return true;
      case 1:
        m_settings.after = ReadMoment();
        return true;
      case 2:
        m_settings.larger = ReadSize();
        return true;
      case 3:
        m_settings.smaller = ReadSize();
        return true;
      case 4:
        m_settings.skip = ReadBytes();
        return true;
      case 5:
        ExpectValue();
        m_settings.jobs = ReadUnsignedRange(1, maxJobs);
        return true;
      default:
        return false;
    }
  }

  // Two different modes are a mistake, but for "help" and "version", which win.
  void SetMode(Mode mode) {
    if (mode < Mode::Help) {
      if (m_settings.mode >= Mode::Help) return;
      if (m_modeIsGiven && m_settings.mode != mode) FailAt(codeTakenTwice, Argument());
      m_modeIsGiven = true;
    }
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

  // An option that cannot do what it says is a mistake that should not pass unnoticed.
  void CheckCombination() const {
    const bool writes = m_settings.mode == Mode::Pack || m_settings.mode == Mode::Unpack;
    if (!writes && (m_settings.keep || m_settings.overwrite))
      throw tvk::Exception::Of(codeWrongMode, m_settings.mode == Mode::Test ? "test" : "list");
    if (m_settings.toLog && (m_settings.ask || m_settings.page))
      throw tvk::Exception::Of(codeWrongMode, "log");
  }

  Target ReadTarget() {
    if (AtEnd(false)) Fail(codeMissingSpecification);
    Target target;
    std::string folder, name;
    Mark();
    ReadQuotedText(name);
    if (name[0] != '~' && AtEnd(false) && (tvk::isFile(name) || tvk::isFolder(name))) {  // it may hold commas
      target.path = name;
      return target;
    }
    Restore();
    const bool isQuoted = IsNext('"');
    ReadFileName(target.path, folder, name);
    while (Accept(',')) {
      std::string pattern;
      ReadFileName(pattern, folder, name);
      target.patterns.emplace_back(pattern);
    }
    // The marks may also stand around the folder and its patterns together.
    if (isQuoted && !target.patterns.empty() && target.patterns.back().ends_with('"'))
      target.patterns.back().pop_back();
    if (!AtEnd(false)) Fail(codeBadSpecification);
    return target;
  }

  Settings m_settings;
  bool m_modeIsGiven = false;
};

}  // namespace

Settings readSettings() { return Parser().Read(); }

}  // namespace tvkpack
