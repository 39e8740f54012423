// The parser of a program's arguments: a loop over the options and readers for their values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <tvk/Export.h>
#include <tvk/cmdline/ArgumentList.h>

namespace tvk {

class DateTimeO;
class HostAddress;

// Walks through the arguments with a cursor. A program derives from it and handles its options; the readers
// take values from the cursor and move it behind what they took. After Parse() the same object reads the
// arguments that are no options.
//
// Cursor   a position in the current argument, or null once a reader has taken the whole rest. Null and the
//          end of the argument are both "empty".
// Errors   every failure throws Exception with the text from the cursor, or from where the value began, to
//          the end of the argument as the first parameter. On an empty cursor every reader throws 2003;
//          further codes stand beside the readers. Nothing is printed. Outputs then keep their values, save
//          `isoForm` of ReadDate(), the buffer of ReadHexBytes() and the host of ReadHost(); where the cursor
//          stands is not promised: Mark() and Restore() go back.
// Text     syntax is ASCII, whatever the locale: letters, digits and white space are those of ASCII, and
//          "equal" characters differ at most in ASCII case.
// Threads  one parser belongs to one thread.
// Lifetime the argument list and its texts must outlive the parser, which points into them.
//
//   class Options : public tvk::CommandLineParsing {
//     bool HandleOption() override {
//       if (!Accept('n')) return false;               // 2001, invalid option
//       ExpectChar('=');
//       m_count = ReadUnsignedRange(1, 64);           // -n=8
//       return true;
//     }
//     std::uint32_t m_count = 1;
//   };
class TVK_EXPORT CommandLineParsing {
 public:
  // Stands on the first argument.
  explicit CommandLineParsing(const ArgumentList& arguments = ArgumentList::OfProcess());
  CommandLineParsing(const CommandLineParsing&) = delete;
  CommandLineParsing& operator=(const CommandLineParsing&) = delete;
  virtual ~CommandLineParsing();

 protected:
  // Called with the cursor behind the "-" of an option. True: the option was understood and its value was
  // taken, from this argument or, through NextArgument(), from the next. False: there is no such option.
  virtual bool HandleOption() = 0;

 public:
  // Handles arguments as long as they begin with "-", from the first one on, and stays on the first that does
  // not; when all were options ArgumentIndex() is their count. An option that HandleOption() refuses, or
  // leaves more of than white space, throws 2001. "--" has no meaning of its own; an empty argument is no
  // option.
  void Parse();

  // --- Cursor and arguments. These do not throw, but for Advance().

  const char* Position() const noexcept { return m_position; }
  std::size_t ArgumentIndex() const noexcept { return m_argumentIndex; }
  // The whole current argument; null when there is none.
  const char* Argument() const noexcept { return m_argumentStart; }
  // Known once Parse() or one of the operations below has made an argument the current one.
  bool IsLastArgument() const noexcept { return m_isLastArgument != 0; }

  void SkipSpaces() noexcept;
  // Whether the cursor is empty or, with `skipSpaces`, has only white space in front of it. Never moves it.
  bool AtEnd(bool skipSpaces) const noexcept;
  // The same for the whole list: false while arguments follow the current one.
  bool AtEndOfAll(bool skipSpaces) const noexcept;
  // The character at the cursor; zero when it is empty.
  char Peek() const noexcept { return m_position != nullptr ? *m_position : '\0'; }
  // Whether the character at the cursor equals `c`, in either case.
  bool IsNext(char c) const noexcept;
  // IsNext(), and when true moves over the character.
  bool Accept(char c) noexcept;
  // Whether a digit of base 8, 10 or 16 stands at the cursor; true for every other base.
  bool IsDigitFor(unsigned base) const noexcept;
  // Moves by `count` characters, back when negative. 2005 when that leaves the argument.
  void Advance(std::ptrdiff_t count);

  // One place can be kept and gone back to, across arguments; a second Mark() replaces the first.
  void Mark() noexcept;
  void ClearMark() noexcept;
  // Goes to the mark and keeps it. Does nothing without one.
  void Restore() noexcept;

  // Goes to the start of the argument at ArgumentIndex(). Behind the last one the cursor is null.
  void SelectArgument() noexcept;
  // Goes to the start of the next argument; false, and stays, on the last.
  bool NextArgument() noexcept;
  void SkipArgument() noexcept { NextArgument(); }

  // --- Numbers. Outside [min, max] is 2005, no number 2021.

  // Decimal, "0x" hexadecimal, or octal behind a leading 0, with white space and a sign in front allowed.
  // Beyond the 64 bits is 2005, but for one thing: below the least number counts as the least number, and is
  // in range where that is. The unsigned reader takes a "-" as well and counts down from 2^64: "-1" is
  // 18446744073709551615.
  std::int64_t ReadInt64(std::int64_t min, std::int64_t max);
  std::uint64_t ReadUInt64(std::uint64_t min, std::uint64_t max);

  // The digits at the cursor in base 8, 10 or 16. The first character is taken untested, a non-digit for its
  // code minus that of "0". An overflow is noticed (2005 with the text at `errorText`) only where the value
  // falls below what it was a digit before: "9999999999" reads as 1410065407. The 64-bit readers notice every
  // one.
  std::uint32_t ReadDigits(unsigned base, const char* errorText);
  // Decimal, "0x" hexadecimal, or octal behind a leading 0; overflows as in ReadDigits(). "08" and "09" read
  // as 0 and leave the cursor on the second digit. A "-" is 2005.
  std::uint32_t ReadUnsigned();
  std::uint32_t ReadUnsignedRange(std::uint32_t min, std::uint32_t max);
  // A maximum of 0 is no limit.
  std::uint32_t ReadUnsignedMax(std::uint32_t max);
  // ReadUnsigned() up to 2147483647 behind an optional "-"; -2147483648 is out of range too.
  std::int32_t ReadSigned();
  std::int32_t ReadSignedRange(std::int32_t min, std::int32_t max);
  // A maximum of 0 is no limit.
  std::int32_t ReadSignedMax(std::int32_t max);

  // Pairs of hexadecimal digits, "0x" in front allowed; answers the number of bytes stored. 2005 for anything
  // but whole pairs and for more than `capacity` of them.
  std::size_t ReadHexBytes(unsigned char* buffer, std::size_t capacity);

  // --- Characters and words.

  char ReadChar(bool skipSpaces);
  char ReadCharLower(bool skipSpaces);
  // Takes one character equal to `c` and answers `c`. 2023 for another, which stays.
  char ExpectChar(char c);
  // Takes one character that occurs in `chars`, in either case, and answers it in lower case. 2023 for
  // another, which stays.
  char ReadOneOf(const char* chars);
  // Takes one of the words that `keywords` lists, separated by tabs, in either case, and answers its index
  // from 0; -1 and no move when none is there. Where the list holds a digit anywhere, the longest word that
  // the text begins with is taken, and an empty one matches always; otherwise the run of letters at the
  // cursor must be the word.
  int ReadKeyword(const char* keywords);

  // --- Text. Every narrow string can be the output; a `maxLength` of -1 is no limit.

  // The rest of the argument; the cursor is null afterwards. With a limit at most that much of it.
  void ReadText(std::string& out, std::ptrdiff_t maxLength = -1);
  // What stands between double quotation marks, with the cursor behind the second one: what exceeds the limit
  // is lost. Without two marks as ReadText().
  void ReadQuotedText(std::string& out, std::ptrdiff_t maxLength = -1);
  // A path, as it is or in double quotation marks, up to the first comma, even one between the marks. A "~"
  // in front is replaced by HOME, if set, whatever follows it. `folder` gets what stands in front of the last
  // "/" ("/" alone for the root), `name` the rest.
  void ReadFileName(std::string& out, std::string& folder, std::string& name);
  // A host name or address up to one of ",; \t\n#*+", resolved by HostAddress::Assign() with its lenient
  // address forms; that may wait for the network. 2001 when it is no valid host; `out` has its name then.
  void ReadHost(HostAddress& out);

  // --- Dates and times.

  // "2024-03-15" (`isoForm` becomes true) or "2024Mar15" (false): midnight in the local zone. Only the years
  // 2000 to 2099, in any notation of ReadUnsigned(); others 2005. 2023 for another month name or separator,
  // 1313 for a day that does not exist.
  void ReadDate(DateTimeO& out, bool& isoForm);
  // A separator ("T", or one of ",/T" without `isoForm`), hours, minutes and seconds with ":" between them,
  // and unless the end or a "," follows the zone: "Z" or whole hours such as "+02", "-5", "+08:00" with
  // `isoForm`, else one of HST AKST PST MST CST EST AST UTC CET EET MSK. Without a zone the local one. Puts
  // them on the date in `inOut`. False, and nothing taken, on an empty cursor and, unless `required`, when no
  // digit follows the separator. 2005 for a zone that is none, 2023 for another separator, 1313 for a time
  // that does not exist or no date.
  bool ReadTimeOfDay(DateTimeO& inOut, bool isoForm, bool required);

  // --- Failures, for option handlers too.

  // Throws Exception `code` with the text from the cursor. 2001 also carries the whole argument as the second
  // parameter and shows it as the innermost location: "prog, -xyz: error 2001 - invalid option."
  [[noreturn]] void Fail(std::int64_t code) const;
  // The same with the text from `text`, or from the cursor when null.
  [[noreturn]] void FailAt(std::int64_t code, const char* text) const;

 private:
  struct Number;
  static constexpr std::size_t NoMark = ~std::size_t{0};

  bool IsEmpty() const noexcept { return Peek() == '\0'; }
  void NeedText() const;
  void MakeCurrent(std::size_t index) noexcept;
  Number TakeNumber();
  std::int32_t ReadZoneHours();

  const char* m_position = nullptr;
  const char* m_argumentStart = nullptr;
  const char* m_markPosition = nullptr;
  std::int32_t m_isLastArgument = 0;
  std::size_t m_argumentIndex = 0;
  std::size_t m_markIndex = NoMark;
  const ArgumentList& m_arguments;
};

}  // namespace tvk
