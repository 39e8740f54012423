#include "Settings.h"

#include <algorithm>
#include <string>
#include <thread>

#include <tvk/Version.h>
#include <tvk/cmdline/OptionTable.h>
#include <tvk/files/FileStatus.h>
#include <tvk/text/Exception.h>
#include <tvk/time/DateTime.h>

#include "Messages.h"

namespace tvkpack {
namespace {

constexpr std::uint32_t maxJobs = 64;
constexpr std::size_t maxSkipBytes = 64;

constexpr std::int64_t codeMissingSpecification = 2024;
constexpr std::int64_t codeBadSpecification = 2023;
constexpr std::int64_t codeTakenTwice = 2026;
constexpr std::int64_t codeWrongMode = 2027;

// An option that cannot do what it says is a mistake that should not pass unnoticed.
void checkCombination(const Settings& settings) {
  const bool writes = settings.mode == Mode::Pack || settings.mode == Mode::Unpack;
  if (!writes && (settings.keep || settings.overwrite))
    throw tvk::Exception::Of(codeWrongMode, settings.mode == Mode::Test ? "test" : "list");
  if (settings.toLog && (settings.ask || settings.page)) throw tvk::Exception::Of(codeWrongMode, "log");
}

Target readTarget(tvk::OptionTable& arguments) {
  if (arguments.AtEnd(false)) arguments.Fail(codeMissingSpecification);
  Target target;
  std::string folder, name;
  arguments.Mark();
  arguments.ReadQuotedText(name);
  if (name[0] != '~' && arguments.AtEnd(false) && (tvk::isFile(name) || tvk::isFolder(name))) {
    target.path = name;  // it may hold commas
    return target;
  }
  arguments.Restore();
  const bool isQuoted = arguments.IsNext('"');
  arguments.ReadFileName(target.path, folder, name);
  while (arguments.Accept(',')) {
    std::string pattern;
    arguments.ReadFileName(pattern, folder, name);
    target.patterns.emplace_back(pattern);
  }
  // The marks may also stand around the folder and its patterns together.
  if (isQuoted && !target.patterns.empty() && target.patterns.back().ends_with('"'))
    target.patterns.back().pop_back();
  if (!arguments.AtEnd(false)) arguments.Fail(codeBadSpecification);
  return target;
}

}  // namespace

std::optional<Settings> readSettings() {
  using tvk::Option;
  Settings settings;
  std::optional<Mode> mode;
  const auto choose = [&mode](const char* name, MessageCode text, Mode chosen) {
    const auto take = [&mode, name, chosen](bool) {
      if (mode && *mode != chosen) throw tvk::Exception::Of(codeTakenTwice, std::string("-") + name);
      mode = chosen;
    };
    return Option::Flag(name, text, take);
  };
  const auto moment = [](std::optional<std::int64_t>& seconds) {
    return [&seconds](const tvk::DateTimeO& value) { seconds = value.ToUnixTime(); };
  };
  settings.jobs = std::clamp(std::thread::hardware_concurrency(), 1u, maxJobs);

  tvk::OptionTable options({
      choose("pack", OptionPack, Mode::Pack),
      choose("unpack", OptionUnpack, Mode::Unpack),
      choose("test", OptionTest, Mode::Test),
      choose("list", OptionList, Mode::List),
      Option::Flag("recurse", OptionRecurse, settings.recurse),
      Option::Flag("keep", OptionKeep, settings.keep),
      Option::Flag("overwrite", OptionOverwrite, settings.overwrite),
      Option::Date("before", OptionBefore, moment(settings.before)),
      Option::Date("after", OptionAfter, moment(settings.after)),
      Option::Number("larger", OptionLarger, settings.larger),
      Option::Number("smaller", OptionSmaller, settings.smaller),
      Option::HexBytes("skip", OptionSkip, settings.skip, maxSkipBytes),
      Option::Number("jobs", OptionJobs, settings.jobs, 1, maxJobs),
      Option::Flag("ask", OptionAsk, settings.ask),
      Option::Flag("page", OptionPage, settings.page),
      Option::Flag("log", OptionLog, settings.toLog),
      Option::Flag("quiet", OptionQuiet, settings.quiet),
  });
  options.Describe(HelpUsage, HelpBefore, HelpBehind);
  options.Version(TVK_VERSION_STRING);
  if (!options.Parse()) return {};
  settings.mode = mode.value_or(Mode::Pack);
  checkCombination(settings);
  do {
    settings.targets.push_back(readTarget(options));
  } while (options.NextArgument());
  return settings;
}

}  // namespace tvkpack
