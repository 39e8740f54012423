#include <tvk/cmdline/OptionTable.h>

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

#include <tvk/cmdline/OptionMessages.h>
#include <tvk/console/Console.h>
#include <tvk/console/detail/Columns.h>
#include <tvk/files/HostAddress.h>
#include <tvk/text/Characters.h>
#include <tvk/text/ErrorLocation.h>
#include <tvk/text/Exception.h>
#include <tvk/text/ProgramName.h>
#include <tvk/time/DateTime.h>

namespace tvk {
namespace {

using namespace characters;

constexpr std::int64_t invalidOption = 2001;
constexpr std::int64_t badArgument = 2002;
constexpr std::int64_t missingArgument = 2003;
constexpr std::int64_t outOfRange = 2005;
constexpr std::int64_t textTooLong = 2007;
constexpr std::int64_t badSpecification = 2023;
constexpr std::int64_t missingSpecification = 2024;
constexpr std::int64_t ambiguousSpecification = 2025;
constexpr std::int64_t multipleSpecification = 2026;

// What the shell and the build ask the program for; in no help.
constexpr std::string_view completionName = "tvk-complete";
constexpr std::string_view manualName = "tvk-manual";

constexpr std::size_t longestName = 64;    // that suggestions are looked for
constexpr std::size_t narrowestHelp = 40;  // columns
constexpr std::size_t widestOptions = 22;  // columns of the options themselves, in the help
constexpr std::size_t longestList = 24;    // of keywords that stand for the value themselves
constexpr const char* valueMarks = "=:";

bool isNameCharacter(char c) { return isLetter(c) || isDigit(c) || c == '-' || c == '_'; }

std::string lower(std::string_view text) {
  std::string result(text);
  std::ranges::transform(result, result.begin(), toLower);
  return result;
}

bool areEqual(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, {}, toLower, toLower);
}

bool beginsWith(std::string_view text, std::string_view beginning) {
  return areEqual(text.substr(0, beginning.size()), beginning);
}

std::vector<std::string> split(std::string_view list, const char* marks = "\t") {
  std::vector<std::string> words;
  for (std::size_t start = 0, end = 0; end != list.npos; start = end + 1) {
    end = list.find_first_of(marks, start);
    words.emplace_back(list.substr(start, end - start));
  }
  return words;
}

std::string join(const std::vector<std::string>& words, std::string_view between) {
  std::string text;
  for (const std::string& word : words) {
    if (&word != &words.front()) text += between;
    text += word;
  }
  return text;
}

// How many letters are to be put in, taken out, changed, or swapped with the next one.
std::size_t distance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> beforeLast(to.size() + 1), last(to.size() + 1), row(to.size() + 1);
  for (std::size_t at = 0; at <= to.size(); ++at) last[at] = at;
  for (std::size_t line = 1; line <= from.size(); ++line) {
    row[0] = line;
    for (std::size_t at = 1; at <= to.size(); ++at) {
      const bool isSame = from[line - 1] == to[at - 1];
      row[at] = std::min({last[at] + 1, row[at - 1] + 1, last[at - 1] + (isSame ? 0 : 1)});
      if (line > 1 && at > 1 && from[line - 1] == to[at - 2] && from[line - 2] == to[at - 1])
        row[at] = std::min(row[at], beforeLast[at - 2] + 1);
    }
    beforeLast.swap(last);
    last.swap(row);
  }
  return last[to.size()];
}

// Text of a manual page: every character as it is, a line in a line of its own.
std::string manualText(std::string_view text) {
  std::string result;
  bool beginsLine = true;
  for (const char c : text) {
    if (c == '\n') {
      result += "\n.br\n";
    } else if (c == '.' && beginsLine) {
      result += "\\&.";
    } else if (const std::string_view special = "\\-\"'`^~"; special.find(c) != special.npos) {
      constexpr const char* names[] = {"\\e", "\\-", "\\(dq", "\\(aq", "\\(ga", "\\(ha", "\\(ti"};
      result += names[special.find(c)];
    } else {
      result += c;
    }
    beginsLine = c == '\n';
  }
  return result;
}

// Nothing may stand behind a value.
void endValue(const CommandLineParsing& parser) {
  if (!parser.AtEnd(true)) parser.Fail(badArgument);
}

// One value that stands alone.
class OneValue : public CommandLineParsing {
 public:
  using CommandLineParsing::CommandLineParsing;

 private:
  bool HandleOption() override { return false; }
};

// Lines of a terminal are paged while it lives.
class Paging {
 public:
  explicit Paging(Console& console) : m_console(console), m_wasOn(console.Paging()) {
    if (console.WritesToTerminal() && isatty(STDIN_FILENO) == 1) console.SetFlags(Console::FlagPage, true);
  }
  Paging(const Paging&) = delete;
  Paging& operator=(const Paging&) = delete;
  ~Paging() { m_console.SetFlags(Console::FlagPage, m_wasOn); }

 private:
  Console& m_console;
  bool m_wasOn;
};

}  // namespace

// --- One option

Option::Option(const char* names, std::uint32_t text, Reader reader)
    : m_names(split(names)), m_text(text), m_valueName(OptionValue), m_reader(std::move(reader)) {}

Option Option::NumberBetween(const char* names, std::uint32_t text, std::int64_t min, std::int64_t max,
                             std::function<void(std::int64_t)> store) {
  const auto read = [=](CommandLineParsing& parser) {
    constexpr auto least = std::numeric_limits<std::int64_t>::min();
    const char* const start = parser.Position();
    const std::int64_t value = parser.ReadInt64(min, max);
    if (value == least) {  // or below: the reader does not tell
      parser.Advance(start - parser.Position());
      parser.ReadUInt64(std::uint64_t{1} << 63, std::uint64_t{1} << 63);
    }
    endValue(parser);
    store(value);
  };
  return Option(names, text, read).ValueName(OptionNumber);
}

Option Option::NumberBetween(const char* names, std::uint32_t text, std::uint64_t min, std::uint64_t max,
                             std::function<void(std::uint64_t)> store) {
  const auto read = [=](CommandLineParsing& parser) {
    parser.SkipSpaces();
    if (parser.IsNext('-')) parser.Fail(outOfRange);
    const std::uint64_t value = parser.ReadUInt64(min, max);
    endValue(parser);
    store(value);
  };
  return Option(names, text, read).ValueName(OptionNumber);
}

Option Option::OneOf(const char* names, std::uint32_t text, const char* keywords,
                     std::function<void(int)> store) {
  const auto read = [=, words = split(keywords)](CommandLineParsing& parser) {
    std::string value;
    parser.ReadText(value);
    while (!value.empty() && isSpace(value.back())) value.pop_back();
    const auto found =
        std::ranges::find_if(words, [&](const std::string& word) { return areEqual(word, value); });
    if (found == words.end()) throw Exception::Of(badSpecification, value + " (" + join(words, ", ") + ")");
    store(static_cast<int>(found - words.begin()));
  };
  Option option(names, text, read);
  option.m_keywords = split(keywords);
  return option;
}

Option Option::AnyText(const char* names, std::uint32_t text, std::ptrdiff_t maxLength,
                       std::function<void(std::string)> store) {
  const auto read = [=](CommandLineParsing& parser) {
    std::string value;
    parser.ReadText(value, maxLength);
    if (!parser.AtEnd(false)) parser.Fail(textTooLong);
    store(std::move(value));
  };
  Option option(names, text, read);
  option.m_capacity = static_cast<std::size_t>(std::max<std::ptrdiff_t>(maxLength, 0));
  return option.ValueName(OptionText);
}

Option Option::Path(const char* names, std::uint32_t text, std::function<void(std::string)> store) {
  const auto read = [=](CommandLineParsing& parser) {
    std::string path;
    parser.ReadQuotedText(path);
    endValue(parser);
    const char* const home = getenv("HOME");
    if (path.starts_with('~') && home != nullptr) path.replace(0, 1, home);
    store(std::move(path));
  };
  return Option(names, text, read).ValueName(OptionFile);
}

Option Option::Bytes(const char* names, std::uint32_t text, std::size_t capacity,
                     std::function<void(std::string)> store) {
  const auto read = [=](CommandLineParsing& parser) {
    std::vector<unsigned char> bytes(capacity);
    bytes.resize(parser.ReadHexBytes(bytes.data(), capacity));
    endValue(parser);
    store(std::string(bytes.begin(), bytes.end()));
  };
  Option option(names, text, read);
  option.m_capacity = capacity;
  return option.ValueName(OptionHexBytes);
}

Option Option::Moment(const char* names, std::uint32_t text, std::function<void(const DateTimeO&)> store) {
  const auto read = [=](CommandLineParsing& parser) {
    DateTimeO moment;
    bool isoForm = false;
    parser.ReadDate(moment, isoForm);
    parser.ReadTimeOfDay(moment, isoForm, true);
    endValue(parser);
    store(moment);
  };
  return Option(names, text, read).ValueName(OptionDate);
}

Option Option::Address(const char* names, std::uint32_t text, std::function<void(const HostAddress&)> store) {
  const auto read = [=](CommandLineParsing& parser) {
    HostAddress host;
    const char* const start = parser.Position();
    try {
      parser.ReadHost(host);
    } catch (const Exception& e) {
      if (e.GetCode() != invalidOption) throw;
      parser.FailAt(badSpecification, start);
    }
    endValue(parser);
    store(host);
  };
  return Option(names, text, read).ValueName(OptionHost);
}

Option& Option::Limits(bool hasLeast, std::string least, bool hasMost, std::string most) {
  if (hasLeast) m_least = std::move(least);
  if (hasMost) m_most = std::move(most);
  return *this;
}

// What stands for the value behind the name; empty where there is none.
std::string Option::ValueText() const {
  if (!m_takesValue) return {};
  const std::string list = join(m_keywords, "|");
  return list.empty() || list.size() > longestList ? optionMessage(m_valueName) : list;
}

// The text of the option with what else there is to know.
std::string Option::Description() const {
  std::vector<std::string> details;
  if (join(m_keywords, "|").size() > longestList) details.push_back(join(m_keywords, ", "));
  if (!m_least.empty() && !m_most.empty()) {
    details.push_back(optionMessage(OptionFromTo, {m_least, m_most}));
  } else if (!m_least.empty()) {
    details.push_back(optionMessage(OptionAtLeast, {m_least}));
  } else if (!m_most.empty()) {
    details.push_back(optionMessage(OptionAtMost, {m_most}));
  }
  if (m_capacity != 0) details.push_back(optionMessage(OptionBytes, {std::to_string(m_capacity)}));
  if (!m_default.empty()) details.push_back(optionMessage(OptionDefault, {m_default}));
  if (m_isRequired) details.push_back(optionMessage(OptionRequired));
  if (m_isRepeatable && m_takesValue) details.push_back(optionMessage(OptionRepeatable));
  std::string text = optionMessage(m_text);
  if (details.empty()) return text;
  if (!text.empty()) text += ' ';
  return text + '(' + join(details, "; ") + ')';
}

// --- The table

OptionTable::OptionTable(std::vector<Option> options, const ArgumentList& arguments)
    : CommandLineParsing(arguments), m_options(std::move(options)) {
  if (Named("help") != nullptr) return;
  m_options.push_back(Option::Flag("help", OptionHelp, [this](bool) { Answer([this] { ShowHelp(); }); }));
}

OptionTable::~OptionTable() = default;

void OptionTable::Describe(std::uint32_t usage, std::uint32_t before, std::uint32_t behind) {
  m_usage = usage;
  m_before = before;
  m_behind = behind;
}

void OptionTable::Version(std::string version) {
  if (Named("version") == nullptr) {
    const auto show = [this] {
      Console::Get().PrintLine("%s %s", ProgramName::Get().c_str(), m_version.c_str());
    };
    m_options.push_back(Option::Flag("version", OptionVersion, [this, show](bool) { Answer(show); }));
  }
  m_version = std::move(version);
}

bool OptionTable::Parse() {
  m_isGiven.assign(m_options.size(), false);
  m_isAnswered = m_hasOperands = false;
  try {
    CommandLineParsing::Parse();
  } catch (const Exception& e) {
    // A handler of the program's own that took something knows the option.
    const bool isRefused = e.GetCode() == invalidOption && e.First() == Argument() + 1;
    if (!isRefused || m_suggestion.empty()) throw;
    throw Exception(invalidOption, e.First(), e.Second(), StringBase<char>::Empty(),
                    optionMessage(OptionDidYouMean, {m_suggestion, Argument()}));
  }
  if (m_isAnswered) return false;

  for (const Option& option : m_options) {
    if (m_isGiven[static_cast<std::size_t>(&option - m_options.data())]) continue;
    const ErrorLocation location('-' + option.m_names.front(), true);
    if (option.m_isRequired) throw Exception::Of(missingSpecification);
    if (option.m_default.empty()) continue;
    const ArgumentList arguments{option.m_default.c_str()};
    OneValue value(arguments);
    option.m_reader(value);
    endValue(value);
  }
  if (m_hasOperands) {
    Restore();
  } else {
    SelectArgument();
  }
  ClearMark();
  return true;
}

bool OptionTable::HandleOption() {
  const char* const start = Position();
  m_suggestion.clear();
  if (Accept('-') && AtEnd(false)) {
    m_hasOperands = NextArgument();
    if (m_hasOperands) Mark();
    SkipRest();
    return true;
  }
  const char* const end = std::find_if_not(Position(), Position() + strlen(Position()), isNameCharacter);
  const std::string_view name(Position(), end);
  if (name == completionName) {
    Answer([this] { ShowCompletions(); });
    return true;
  }
  if (name == manualName) {
    Answer([this] { Console::Get().PrintLine("%s", ManualSection().c_str()); });
    return true;
  }
  const bool isWhole = *end == '\0' || isSpace(*end) || strchr(valueMarks, *end) != nullptr;
  const Option* const option = isWhole ? Find(name) : nullptr;
  if (option == nullptr) {
    m_suggestion = Suggestion(name);
    Advance(start - Position());
    return false;
  }
  Advance(end - Position());
  ReadValue(*option);
  return true;
}

// The option of that name.
const Option* OptionTable::Named(std::string_view name) const {
  for (const Option& option : m_options)
    for (const std::string& own : option.m_names)
      if (areEqual(own, name)) return &option;
  return nullptr;
}

// The same, or the only option with names that begin so.
const Option* OptionTable::Find(std::string_view name) const {
  if (name.empty()) return nullptr;
  if (const Option* const option = Named(name)) return option;
  const Option* found = nullptr;
  std::vector<std::string> candidates;
  for (const Option& option : m_options) {
    const auto begins =
        std::ranges::find_if(option.m_names, [&](const std::string& own) { return beginsWith(own, name); });
    if (begins == option.m_names.end()) continue;
    found = &option;
    candidates.push_back('-' + *begins);
  }
  if (candidates.size() > 1)
    throw Exception::Of(ambiguousSpecification,
                        std::string(Argument()) + " (" + join(candidates, ", ") + ")");
  return found;
}

// The name that the user may have meant, with its dash; empty where none comes near.
std::string OptionTable::Suggestion(std::string_view name) const {
  std::string nearest;
  if (name.size() > longestName) return nearest;
  std::size_t least = std::min(std::max<std::size_t>(1, name.size() / 3) + 1, name.size());
  for (const Option& option : m_options) {
    for (const std::string& candidate : option.m_names) {
      const std::size_t steps = distance(lower(name), lower(candidate));
      if (steps >= least) continue;
      nearest = '-' + candidate;
      least = steps;
    }
  }
  return nearest;
}

// Behind the name.
void OptionTable::ReadValue(const Option& option) {
  const auto index = static_cast<std::size_t>(&option - m_options.data());
  if (m_isGiven[index] && !option.m_isRepeatable) FailAt(multipleSpecification, Argument());
  const ErrorLocation location(Argument(), true);
  const bool hasValue = Accept('=') || Accept(':');
  if (hasValue && !option.m_takesValue) Fail(badArgument);
  if (!hasValue) {
    endValue(*this);
    if (option.m_takesValue && !NextArgument()) Fail(missingArgument);
  }
  option.m_reader(*this);
  endValue(*this);
  m_isGiven[index] = true;
}

// Shows what was asked for; nothing else is read then.
void OptionTable::Answer(const std::function<void()>& show) {
  show();
  m_isAnswered = true;
  SkipRest();
}

// To the end of the last argument.
void OptionTable::SkipRest() {
  while (NextArgument()) {
  }
  if (Position() != nullptr) Advance(static_cast<std::ptrdiff_t>(strlen(Position())));
}

// --- Help, manual and completion

// The options in the order of their groups, each with its heading.
void OptionTable::ForEachGroup(
    const std::function<void(const std::string&, const std::vector<const Option*>&)>& work) const {
  std::vector<std::uint32_t> groups;
  for (const Option& option : m_options)
    if (std::ranges::find(groups, option.m_group) == groups.end()) groups.push_back(option.m_group);
  for (const std::uint32_t group : groups) {
    std::vector<const Option*> members;
    for (const Option& option : m_options)
      if (option.m_group == group) members.push_back(&option);
    work(optionMessage(group != 0 ? group : OptionHeading), members);
  }
}

void OptionTable::ShowHelp() const {
  Console& console = Console::Get();
  console.TakeTerminalSize();
  const std::size_t screen = console.Width();
  const std::size_t width = screen == 0 ? 79 : std::max(screen, narrowestHelp) - 1;
  const Paging paging(console);
  const auto print = [&](const std::string& line) { console.PrintLine("%s", line.c_str()); };
  const auto paragraphs = [&](const std::string& text) {
    std::ranges::for_each(wrapToColumns(text, width), print);
  };

  paragraphs(optionMessage(OptionUsage,
                           {ProgramName::Get(), optionMessage(m_usage != 0 ? m_usage : OptionUsageRest)}));
  if (m_before != 0) {
    print("");
    paragraphs(optionMessage(m_before));
  }
  const auto headingOf = [](const Option& option) {
    const std::string value = option.ValueText();
    return "  -" + join(option.m_names, ", -") + (value.empty() ? "" : '=' + value);
  };
  std::size_t column = 0;
  for (const Option& option : m_options)
    if (const std::size_t wanted = columnsOf(headingOf(option)); wanted <= std::min(widestOptions, width / 3))
      column = std::max(column, wanted + 2);
  ForEachGroup([&](const std::string& heading, const std::vector<const Option*>& options) {
    print("");
    paragraphs(heading);
    for (const Option* const option : options) {
      std::string line = headingOf(*option);
      for (const std::string& text : wrapToColumns(option->Description(), width - column)) {
        if (text.empty()) {
          print(std::exchange(line, ""));
          continue;
        }
        if (const std::size_t used = columnsOf(line); used < column) {
          line.append(column - used, ' ');
        } else {
          print(std::exchange(line, std::string(column, ' ')));
        }
        print(std::exchange(line, "") + text);
      }
    }
  });
  if (m_behind != 0) {
    print("");
    paragraphs(optionMessage(m_behind));
  }
}

std::string OptionTable::ManualSection() const {
  std::string section = ".SH OPTIONS";
  ForEachGroup([&](const std::string& heading, const std::vector<const Option*>& options) {
    if (options.front()->m_group != 0) section += "\n.SS " + manualText(heading);
    for (const Option* const option : options) {
      section += "\n.TP\n";
      for (const std::string& name : option->m_names) {
        if (&name != &option->m_names.front()) section += ", ";
        section += "\\fB\\-" + manualText(name) + "\\fP";
      }
      if (const std::string value = option->ValueText(); !value.empty())
        section += "\\fB=\\fP\\fI" + manualText(value) + "\\fP";
      section += '\n' + manualText(option->Description());
    }
  });
  return section;
}

// What the last word of the line that bash is completing may become. Where "=" stands in it, bash wants what is to
// stand behind that.
void OptionTable::ShowCompletions() const {
  const char* const line = getenv("COMP_LINE");
  const char* const point = getenv("COMP_POINT");
  if (line == nullptr || point == nullptr) return;
  std::vector<std::string> words =
      split(std::string_view(line).substr(0, strtoul(point, nullptr, 10)), " \t");
  words.erase(std::remove(words.begin(), words.end() - 1, ""), words.end() - 1);
  const auto offer = [](std::string_view beginning, const std::string& whole, const std::string& shown) {
    if (beginsWith(whole, beginning)) Console::Get().PrintLine("%s", shown.c_str());
  };
  const auto offerKeywords = [&](const Option& option, std::string_view beginning) {
    for (const std::string& keyword : option.m_keywords) offer(beginning, keyword, keyword + ' ');
  };
  const auto dashesOf = [](std::string_view word) -> std::size_t {
    return word.starts_with("--") ? 2 : word.starts_with('-') ? 1 : 0;
  };

  const std::string_view word = words.back();
  const std::string before = words.size() > 1 ? words[words.size() - 2] : "";
  const Option* const asking = dashesOf(before) == 0 ? nullptr : Named(before.substr(dashesOf(before)));
  if (asking != nullptr && asking->m_takesValue) return offerKeywords(*asking, word);
  const std::size_t dashes = dashesOf(word);
  if (dashes == 0 || std::ranges::find(words, "--") < words.end() - 1) return;
  const std::size_t mark = word.find_first_of(valueMarks);
  const std::string_view name = word.substr(dashes, mark - dashes);
  if (mark != word.npos) {
    if (const Option* const option = Named(name)) offerKeywords(*option, word.substr(mark + 1));
    return;
  }
  for (const Option& option : m_options)
    for (const std::string& own : option.m_names)
      offer(name, own, std::string(word.substr(0, dashes)) + own + (option.m_takesValue ? "=" : " "));
}

}  // namespace tvk
