// The options of a program, each stated once: parsing, help, completion and the manual come from the table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <tvk/Export.h>
#include <tvk/cmdline/CommandLineParsing.h>

namespace tvk {

// One option: its names, separated by tabs, the code of the message that describes it in a few words, and
// where its value goes.
//
// Names        ASCII letters, digits, "-" and "_"; the first one is what the help shows first.
// Destination  a variable, which is assigned; a std::optional of one; a std::vector, to which each value is
//              appended and which makes the option repeatable; or a function that takes the value, as what it
//              takes. Variables must outlive the parsing. A value that is refused goes nowhere.
class TVK_EXPORT Option {
  template <class Out>
  struct Contents {
    using Type = Out;
    static constexpr bool areMany = false;
  };
  template <class Item>
  struct Contents<std::optional<Item>> : Contents<Item> {};
  template <class Item>
  struct Contents<std::vector<Item>> {
    using Type = Item;
    static constexpr bool areMany = true;
  };
  // What a function takes, where it has one parameter of one type.
  template <class Function>
  struct Taken;
  template <class Result, class Value>
  struct Taken<std::function<Result(Value)>> {
    using Type = std::remove_cvref_t<Value>;
    static constexpr bool areMany = false;
  };
  template <class Out>
  using TakenBy = Taken<decltype(std::function(std::declval<Out>()))>;
  template <class Out>
  requires requires { typename TakenBy<Out>::Type; }
  struct Contents<Out> : TakenBy<Out> {};
  template <class Out>
  using ContentsOf = Contents<std::remove_cvref_t<Out>>;
  // The numbers of a destination; what does not tell takes 64 bits with a sign.
  template <class Out>
  using NumberOf = std::conditional_t<std::is_integral_v<typename ContentsOf<Out>::Type>,
                                      typename ContentsOf<Out>::Type, std::int64_t>;
  template <class Number>
  using LimitsOf = std::numeric_limits<Number>;

 public:
  // Reads the value at the cursor, with any of the parser's readers.
  using Reader = std::function<void(CommandLineParsing&)>;

  // Takes no value; "true" goes to the destination, which may also be a function of nothing. May be repeated: it
  // says the same again.
  template <class Out>
  static Option Flag(const char* names, std::uint32_t text, Out&& out) {
    return Option(names, text,
                  [store = Into<bool>(std::forward<Out>(out))](CommandLineParsing&) { store(true); })
        .WithoutValue();
  }

  // A whole number from `min` to `max`, 2005 outside: decimal, "0x" hexadecimal, or octal behind a leading 0.
  // Limits that are not given are those of the destination's type, 64 bits with a sign where that does not tell.
  template <class Out>
  static Option Number(const char* names, std::uint32_t text, Out&& out,
                       NumberOf<Out> min = LimitsOf<NumberOf<Out>>::min(),
                       NumberOf<Out> max = LimitsOf<NumberOf<Out>>::max()) {
    using Value = NumberOf<Out>;
    using Wide = std::conditional_t<std::is_signed_v<Value>, std::int64_t, std::uint64_t>;
    return NumberBetween(names, text, Wide{min}, Wide{max}, Into<Wide>(std::forward<Out>(out)))
        .Limits(min != LimitsOf<Value>::min(), std::to_string(min), max != LimitsOf<Value>::max(),
                std::to_string(max))
        .RepeatableIf(ContentsOf<Out>::areMany);
  }

  // One of the words that `keywords` lists, separated by tabs, in either case: its index from 0, also for an
  // enumeration. 2023 for another word.
  template <class Out>
  static Option Keyword(const char* names, std::uint32_t text, Out&& out, const char* keywords) {
    return OneOf(names, text, keywords, Into<int>(std::forward<Out>(out)))
        .RepeatableIf(ContentsOf<Out>::areMany);
  }

  // The whole rest of the argument, for every kind of narrow string; 2007 for more than `maxLength` bytes, -1
  // is no limit.
  template <class Out>
  static Option Text(const char* names, std::uint32_t text, Out&& out, std::ptrdiff_t maxLength = -1) {
    return AnyText(names, text, maxLength, Into<std::string>(std::forward<Out>(out)))
        .RepeatableIf(ContentsOf<Out>::areMany);
  }

  // A path, commas and all, as it is or in double quotation marks; "~" in front is replaced by HOME.
  template <class Out>
  static Option FileName(const char* names, std::uint32_t text, Out&& out) {
    return Path(names, text, Into<std::string>(std::forward<Out>(out)))
        .RepeatableIf(ContentsOf<Out>::areMany);
  }

  // Pairs of hexadecimal digits, as a string of at most `capacity` bytes; 2005 for anything else.
  template <class Out>
  static Option HexBytes(const char* names, std::uint32_t text, Out&& out, std::size_t capacity) {
    return Bytes(names, text, capacity, Into<std::string>(std::forward<Out>(out)))
        .RepeatableIf(ContentsOf<Out>::areMany);
  }

  // A date, alone or with a time: CommandLineParsing::ReadDate() and ReadTimeOfDay().
  template <class Out>
  static Option Date(const char* names, std::uint32_t text, Out&& out) {
    return Moment(names, text, Into<const DateTimeO&>(std::forward<Out>(out)))
        .RepeatableIf(ContentsOf<Out>::areMany);
  }

  // A host name or address: CommandLineParsing::ReadHost(); 2023 for one that is not valid.
  template <class Out>
  static Option Host(const char* names, std::uint32_t text, Out&& out) {
    return Address(names, text, Into<const HostAddress&>(std::forward<Out>(out)))
        .RepeatableIf(ContentsOf<Out>::areMany);
  }

  // A value of the program's own kind.
  static Option Value(const char* names, std::uint32_t text, Reader reader) {
    return Option(names, text, std::move(reader));
  }

  // --- What else there is to say about an option.

  // It must be given: 2024 otherwise.
  Option& Required() { return m_isRequired = true, *this; }
  // It may be given more than once: 2026 otherwise.
  Option& Repeatable() { return m_isRepeatable = true, *this; }
  // The value without the option, read as if it had been given.
  Option& Default(std::string text) { return m_default = std::move(text), *this; }
  // The message whose text stands for the value in the help: "N", "FILE".
  Option& ValueName(std::uint32_t text) { return m_valueName = text, *this; }
  // The message that stands above this option and the others of its group in the help.
  Option& Group(std::uint32_t text) { return m_group = text, *this; }

 private:
  friend class OptionTable;

  // What puts values into a destination.
  template <class Value, class Out>
  static std::function<void(Value)> Into(Out&& out) {
    using Item = typename ContentsOf<Out>::Type;
    if constexpr (requires { typename TakenBy<Out>::Type; }) {
      return [function = std::forward<Out>(out)](Value value) mutable { function(static_cast<Item>(value)); };
    } else if constexpr (std::is_same_v<Value, bool> && std::is_invocable_v<Out&>) {
      return [function = std::forward<Out>(out)](Value) mutable { function(); };
    } else if constexpr (std::is_invocable_v<Out&, Value>) {
      return std::forward<Out>(out);
    } else {
      static_assert(std::is_lvalue_reference_v<Out>, "a variable that outlives the parsing, or a function");
      static_assert(!std::is_same_v<Item, std::string_view>, "a string that keeps its text");
      return [&out](Value value) {
        if constexpr (ContentsOf<Out>::areMany) {
          out.push_back(static_cast<Item>(value));
        } else {
          out = static_cast<Item>(value);
        }
      };
    }
  }

  Option(const char* names, std::uint32_t text, Reader reader);
  static Option NumberBetween(const char* names, std::uint32_t text, std::int64_t min, std::int64_t max,
                              std::function<void(std::int64_t)> store);
  static Option NumberBetween(const char* names, std::uint32_t text, std::uint64_t min, std::uint64_t max,
                              std::function<void(std::uint64_t)> store);
  static Option OneOf(const char* names, std::uint32_t text, const char* keywords,
                      std::function<void(int)> store);
  static Option AnyText(const char* names, std::uint32_t text, std::ptrdiff_t maxLength,
                        std::function<void(std::string)> store);
  static Option Path(const char* names, std::uint32_t text, std::function<void(std::string)> store);
  static Option Bytes(const char* names, std::uint32_t text, std::size_t capacity,
                      std::function<void(std::string)> store);
  static Option Moment(const char* names, std::uint32_t text, std::function<void(const DateTimeO&)> store);
  static Option Address(const char* names, std::uint32_t text, std::function<void(const HostAddress&)> store);

  Option& WithoutValue() { return m_takesValue = false, Repeatable(); }
  Option& RepeatableIf(bool isRepeatable) { return m_isRepeatable = isRepeatable, *this; }
  Option& Limits(bool hasLeast, std::string least, bool hasMost, std::string most);
  std::string ValueText() const;
  std::string Description() const;

  std::vector<std::string> m_names;
  std::uint32_t m_text, m_valueName, m_group = 0;
  Reader m_reader;
  std::vector<std::string> m_keywords;
  std::string m_least, m_most, m_default;
  std::size_t m_capacity = 0;
  bool m_takesValue = true, m_isRequired = false, m_isRepeatable = false;
};

// A parser that knows its options from a table.
//
//   tvk::OptionTable options({
//       tvk::Option::Number("jobs", TextJobs, jobs, 1, 64).Default("2"),
//       tvk::Option::Flag("quiet", TextQuiet, quiet),
//   });
//   options.Version("1.0.0");
//   if (!options.Parse()) return 0;
//
// Names    behind one or two dashes, in either case, in full or as far as no other option begins like it: 2025
//          for one that several do.
// Values   behind "=" or ":", or in the next argument. 2003 without one, 2002 for a value that the option does
//          not take and for what is left behind one that was read.
// Errors   the codes of the readers and of the table, each with the option as its location: "tool, -jobs=99:
//          error 2005 - value 99 out of range." An unknown option that resembles one of the table is 2001 as
//          ever: "tool, -jbos=3 (did you mean -jobs?): error 2001 - invalid option."
// Always   "-help" and, with Version(), "-version", unless the table has options of these names; "--" ends the
//          options, so that arguments behind it may begin with a dash.
// Texts    all come from the message table; texts of the options are asked for when they are shown.
// Shell    "complete -o default -o nospace -C 'tool --tvk-complete' tool" has bash ask the program for completions;
//          "tool --tvk-manual" prints ManualSection(), for the build of a manual page.
//
// Options that no table can state are handled by a class derived from this one, whose HandleOption() calls this
// one first and handles what it refuses; it comes first itself with a name that one of the table begins with.
class TVK_EXPORT OptionTable : public CommandLineParsing {
 public:
  explicit OptionTable(std::vector<Option> options,
                       const ArgumentList& arguments = ArgumentList::OfProcess());
  ~OptionTable() override;

  // Messages for the help, each 0 for none: what stands behind the program's name in the first line ("[options]
  // FILE..."), and the paragraphs before and behind the options. A paragraph is one line of the text; one that
  // begins with a blank is not broken.
  void Describe(std::uint32_t usage, std::uint32_t before, std::uint32_t behind);
  // What "-version" answers behind the program's name.
  void Version(std::string version);

  // Reads the options, which come first, and stands on the first argument that is none; the readers go on from
  // there. Argument() is null where all were options. False when an option asked for help, the version or
  // completion: that was shown, and the program has nothing more to do. Uses the one mark.
  bool Parse();

  // Writes the help to the console, as wide as the terminal and with a pause after each page of one.
  void ShowHelp() const;
  // The options as a section of a manual page, in man(7).
  std::string ManualSection() const;

 protected:
  // Handles an option of the table; false, without a move, for another.
  bool HandleOption() override;

 private:
  const Option* Named(std::string_view name) const;
  const Option* Find(std::string_view name) const;
  std::string Suggestion(std::string_view name) const;
  void ReadValue(const Option& option);
  void Answer(const std::function<void()>& show);
  void SkipRest();
  void ShowCompletions() const;
  void ForEachGroup(
      const std::function<void(const std::string&, const std::vector<const Option*>&)>& work) const;

  std::vector<Option> m_options;
  std::vector<bool> m_isGiven;
  std::uint32_t m_usage = 0, m_before = 0, m_behind = 0;
  std::string m_version;
  std::string m_suggestion;  // for the option that was refused last
  bool m_isAnswered = false, m_hasOperands = false;
};

}  // namespace tvk
