// What the command-line parser and the scanner answer (see Probe.cpp).
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/cmdline/OptionTable.h>
#include <tvk/cmdline/Parsing.h>
#include <tvk/files/FileString.h>
#include <tvk/files/HostAddress.h>
#include <tvk/text/Exception.h>
#include <tvk/text/Hexadecimal.h>
#include <tvk/time/DateTime.h>

#include "differential/Probe.h"

namespace {

using namespace std::string_literals;

struct Arguments : tvk::CommandLineParsing {
  using CommandLineParsing::CommandLineParsing;

  // Options: "-x", "-bVALUE" or "-b VALUE", and "-" alone.
  bool HandleOption() override {
    if (!Accept('b')) return AtEnd(false) || Accept('X');
    if (AtEnd(false)) NextArgument();
    ReadText(text);
    return true;
  }

  std::string Do(const std::string& operation, const std::string& a, const std::string& b) {
    const auto low = static_cast<std::uint32_t>(std::strtoll(a.c_str(), nullptr, 10));
    const auto high = static_cast<std::uint32_t>(std::strtoll(b.c_str(), nullptr, 10));
    const auto count = static_cast<std::int32_t>(low), most = static_cast<std::int32_t>(high);
    unsigned char bytes[8];
    if (operation == "int64") return std::to_string(ReadInt64(std::stoll(a), std::stoll(b)));
    if (operation == "uint64") return std::to_string(ReadUInt64(std::stoull(a), std::stoull(b)));
    if (operation == "unsigned") return std::to_string(ReadUnsignedRange(low, high));
    if (operation == "signed") return std::to_string(ReadSignedRange(count, most));
    if (operation == "bytes") return tvk::EncodeHexadecimal({bytes, ReadHexBytes(bytes, sizeof bytes)});
    if (operation == "unsigned max") return std::to_string(ReadUnsignedMax(low));
    if (operation == "signed max") return std::to_string(ReadSignedMax(count));
    if (operation == "digits") return std::to_string(ReadDigits(low, b.empty() ? nullptr : b.c_str()));
    if (operation == "char") return {ReadChar(low != 0)};
    if (operation == "lower") return {ReadCharLower(low != 0)};
    if (operation == "expect") return {ExpectChar(a[0])};
    if (operation == "one of") return {ReadOneOf(a.c_str())};
    if (operation == "keyword") return std::to_string(ReadKeyword(a.c_str()));
    if (operation == "text") return ReadText(text, count), text;
    if (operation == "quoted") return ReadQuotedText(text, count), text;
    if (operation == "file") return ReadFileName(text, folder, name), text + ";" + folder + ";" + name;
    if (operation == "host") return ReadHost(host), host.ToText();
    if (operation == "date") return ReadDate(moment, flag), (flag ? "iso " : "") + moment.ToRfc3339();
    if (operation == "no date") return moment = tvk::DateTimeO(), "";
    if (operation == "time") {
      const bool isRead = ReadTimeOfDay(moment, low != 0, high != 0);
      return (isRead ? "" : "no ") + moment.ToRfc3339().substr(11);
    }
    if (operation == "parse") return Parse(), text;
    if (operation == "next") return std::to_string(NextArgument());
    if (operation == "advance") return Advance(count), "";
    if (operation == "mark") return Mark(), "";
    if (operation == "clear mark") return ClearMark(), "";
    if (operation == "restore") return Restore(), "";
    if (operation == "at end") return std::to_string(AtEnd(low != 0));
    if (operation == "at end of all") return std::to_string(AtEndOfAll(low != 0));
    if (operation == "digit for") return std::to_string(IsDigitFor(low));
    if (operation == "where") return std::to_string(ArgumentIndex()) + (IsLastArgument() ? " last" : "");
    std::abort();
  }

  std::string text, folder, name;
  tvk::HostAddress host;
  tvk::DateTimeO moment = tvk::DateTimeO::FromRfc3339("2024-03-15T01:02:03Z");
  bool flag = false;
};

// A table with an option of each kind, and one of its own beside it.
struct Table : tvk::OptionTable {
  explicit Table(const tvk::ArgumentList& arguments)
      : OptionTable(
            {
                tvk::Option::Flag("quiet\tq", 1, quiet),
                tvk::Option::Number("count", 1, count, 1, 64).Default("0x10"),
                tvk::Option::Number("least", 1, least, -5),
                tvk::Option::Number("size", 1, size),
                tvk::Option::Number("wide", 1, wide),
                tvk::Option::Number("call", 1, [this](std::int8_t value) { called = value; }),
                tvk::Option::Keyword("mode", 1, mode, "fast\tslow\tslow-down"),
                tvk::Option::Text("name", 1, names, 3),
                tvk::Option::FileName("file", 1, file),
                tvk::Option::HexBytes("bytes", 1, bytes, 2),
                tvk::Option::Date("since", 1, since),
                tvk::Option::Host("host", 1, host),
                tvk::Option::Value("own-kind", 1,
                                   [this](CommandLineParsing& at) { own = at.ReadOneOf("xy"); }),
                tvk::Option::Flag("must", 1, must).Required(),
                tvk::Option::Flag("version", 1, [this] { own = 'v'; }),
            },
            arguments) {
    Version("1.0");
  }
  bool HandleOption() override {
    return OptionTable::HandleOption() || (!AtEnd(false) && ReadKeyword("sice") == 0);
  }

  std::string Values() const {
    std::string text;
    const auto add = [&](const std::string& name, const std::string& value, bool isSet) {
      if (isSet) text += name + "=" + value + " ";
    };
    add("quiet", "1", quiet);
    add("count", std::to_string(count), count != 16);
    add("least", std::to_string(least), least != 0);
    add("size", std::to_string(size.value_or(0)), size.has_value());
    add("wide", std::to_string(wide), wide != 0);
    add("call", std::to_string(called), called != -1);
    add("mode", std::to_string(static_cast<int>(mode)), mode != Fast);
    for (const std::string& name : names) add("name", name, true);
    add("file", file, !file.empty());
    add("bytes", tvk::EncodeHexadecimal({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}),
        !bytes.empty());
    if (since) add("since", since->ToRfc3339(), true);
    add("host", host.ToText(), !host.ToText().empty());
    add("own", {own}, own != '-');
    return text;
  }

  enum Speed { Fast, Slow, SlowDown } mode = Fast;
  bool quiet = false, must = false;
  std::uint8_t count = 0;
  int least = 0;
  std::optional<std::uint64_t> size;
  std::int64_t wide = 0;
  int called = -1;
  std::vector<std::string> names;
  tvk::FileString file;
  std::string bytes;
  std::optional<tvk::DateTimeO> since;
  tvk::HostAddress host;
  char own = '-';
};

// Refuses items that begin with "#" or are "bad". Takes the escapes "\!" and, for the whole rest, "\$"; fails at "\?".
struct Hooked : tvk::Parsing {
  using Parsing::Parsing;
  bool BeginItem(tvk::ItemRecord& record, char first) override {
    calls += " begin "s + first + std::to_string(record.extra);
    return first != '#';
  }
  bool EndItem(tvk::ItemRecord& record) override {
    calls += " end " + record.output;
    if (record.output == "bad") record.errorCode = 2005;
    return record.output != "bad";
  }
  bool HandleEscape(tvk::ItemRecord& record) override {
    if (*Cursor() == '?') record.errorCode = 4711;
    if (*Cursor() != '!' && *Cursor() != '$') return false;
    SetCursor(*Cursor() == '!' ? Cursor() + 1 : nullptr);
    return Append(record, '<') && AppendLineBreak(record) && Append(record, '>');
  }
  std::string calls;
};

}  // namespace

// Operations of three words (name and parameters), "--" and the arguments. Answered by what each
// operation answers or puts out, with ";" between them, and "|REST".
std::string answerArguments(const std::string& question) {
  const auto words = split(question + '\0');
  const auto end = std::find(words.begin(), words.end(), "--");
  tvk::ArgumentList list;
  std::for_each(end + 1, words.end(), [&](const std::string& word) { list.Add(word.c_str()); });
  Arguments arguments(list);
  std::string answers;
  for (auto word = words.begin(); word != end; word += 3)
    answers += (word == words.begin() ? "" : ";") + arguments.Do(word[0], word[1], word[2]);
  return answers + "|" + (arguments.Position() != nullptr ? arguments.Position() : "null");
}

// Arguments. Answered by the values that differ from those without options, and the operands behind "|".
std::string answerOptions(const std::string& question) {
  tvk::ArgumentList list;
  const auto words = split(question + '\0');
  for (const std::string& word : words) list.Add(word.c_str());
  Table table(list);
  const std::string values = table.Values();
  try {
    if (!table.Parse()) return "answered";
  } catch (const tvk::Exception&) {
    const bool isOnlyOne = list.Count() == 2;  // behind "-must"
    if (isOnlyOne && table.Values() != values) return "a value that was refused";
    throw;
  }
  std::string answer = table.Values() + "|";
  for (bool isThere = table.Argument() != nullptr; isThere; isThere = table.NextArgument())
    answer += " "s + table.Argument();
  return answer;
}

// Flags, a limit, "hooked", "blank breaks" or "plain", and the text, or nothing for the null text. Answered
// by the item or "!" and the failure, "|REST", and the calls of the hooks.
std::string answerItem(const std::string& question) {
  const auto parts = split(question + '\0');
  const char* const text = parts.size() > 3 ? parts[3].c_str() : nullptr;
  Hooked hooked(text);
  tvk::Parsing plain(text);
  tvk::Parsing& scanner = parts[2] == "hooked" ? hooked : plain;
  tvk::Parsing::SetLineBreaksAreBlank(parts[2] == "blank breaks");
  tvk::StringBase<char> out = "rubbish";
  try {
    if (!scanner.ReadItem(out, static_cast<std::uint32_t>(std::stoul(parts[0])), std::stoi(parts[1]), 7))
      out = "failed without an exception";
  } catch (const tvk::Exception& e) {
    out = "!" + std::to_string(e.GetCode()) + ":" + e.First();
  }
  return out + "|" + scanner.Cursor() + hooked.calls;
}
