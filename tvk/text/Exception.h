// The failures of the library: a message code, up to three texts, and where it happened.
#pragma once

#include <concepts>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <tvk/Export.h>
#include <tvk/text/ErrorLocation.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// A coded failure. Codes below 2000 are fatal errors, 2000 to 3999 errors, 4000 and above warnings. The codes
// 1000, 2000 and 4000 carry their own text: the first parameter is the format, the second and third fill its
// "%1" and "%2".
//
// The text is formed when asked for: "NAME, LOCATION: SEVERITY PREFIXCODE - MESSAGE." with the parts of
// ProgramName, ErrorLocation and the message table; code 1001 with "/tmp/x" in the program "tool" reads
// "tool: fatal error 1001 - file /tmp/x not found.". The message of an unknown code is
// "Undocumented/internal (CODE, PARAMETERS)".
//
// Threads   one exception is used by one thread at a time; the text of what() lives until the next call.
// Slicing   a FileException caught by value as Exception keeps its parameters and loses its path.
//
//   throw tvk::Exception::Of(2005, text);
class TVK_EXPORT Exception : public std::exception {
 public:
  // Code 0, no parameters, the current location.
  Exception();
  // Captures the current location, with `location` as an inner chained scope when it is not empty. Pass
  // StringBase<char>::Empty() for what is not used.
  Exception(std::int64_t code, const StringBase<char>& first, const StringBase<char>& second,
            const StringBase<char>& third, const StringBase<char>& location);
  // A ready text, answered as it is; no location.
  template <class Text>
  requires(!std::is_arithmetic_v<std::remove_cvref_t<Text>> && !std::is_enum_v<std::remove_cvref_t<Text>> &&
           std::constructible_from<StringBase<char>, Text>) Exception(Text&& text, std::int64_t code)
      : Exception(ReadyText(), StringBase<char>(std::forward<Text>(text)), code) {}
  // Keeps the code alone: what follows is not read, parameters and location stay empty. Use Of() to pass
  // values.
  explicit Exception(std::int64_t code, ...);

  // The usual way to make one: a code with up to three texts or whole numbers, at the current location.
  template <class... Values>
  requires(sizeof...(Values) <= 3) static Exception Of(std::int64_t code, const Values&... values) {
    return Exception(code, Parameters{ParameterText(values)...});
  }

  Exception(const Exception& other);
  Exception& operator=(const Exception& other);
  ~Exception() override;

  // The text operation's answer; never throws: "out of memory" when the text cannot be formed. Keeps `errno`.
  const char* what() const noexcept override;
  // Forms the text anew and answers it. The pointer holds until the next call or the end of the exception.
  // Throws std::bad_alloc only.
  virtual const char* Text() const;

  std::int64_t GetCode() const noexcept { return m_code; }
  void SetCode(std::int64_t code) noexcept { m_code = code; }
  const StringBase<char>& First() const noexcept { return m_first; }
  const StringBase<char>& Second() const noexcept { return m_second; }
  const StringBase<char>& Third() const noexcept { return m_third; }
  const StringBase<char>& Location() const noexcept { return m_location; }
  // True for an exception made from a ready text.
  bool HasFixedText() const noexcept { return m_isFixed; }

  // Sets the process-wide text in front of every code number, at most 11 characters; null counts as empty. A
  // longer one is refused with Exception 2007 and changes nothing.
  static void SetCodePrefix(const char* prefix);

 protected:
  // The text with other parameters in place of the exception's own, kept as Text() keeps it.
  const char* FormText(const StringBase<char>& first, const StringBase<char>& second,
                       const StringBase<char>& third) const;

  static StringBase<char> ParameterText(std::string_view text) { return text; }
  static StringBase<char> ParameterText(const char* text) { return text; }
  // A character as it is, every other whole number in decimal.
  template <std::integral Number>
  static StringBase<char> ParameterText(Number number) {
    if constexpr (std::is_same_v<Number, char>) {
      return StringBase<char>(number);
    } else {
      return std::to_string(number);
    }
  }

 private:
  struct ReadyText {};
  struct Parameters {
    StringBase<char> first = {}, second = {}, third = {};
  };
  Exception(std::int64_t code, Parameters&& parameters);
  Exception(ReadyText, StringBase<char> text, std::int64_t code);

  bool m_isFixed = false;
  std::int64_t m_code = 0;
  StringBase<char> m_first;
  StringBase<char> m_second;
  StringBase<char> m_third;
  StringBase<char> m_location;
  mutable std::unique_ptr<StringBase<char>> m_text;
  std::unique_ptr<StringBase<char>> m_fixedText;
};

// The user aborted (Ctrl-C at a prompt: code 11). The application frame reports it and exits with its code.
class TVK_EXPORT AbortException : public Exception {
 public:
  explicit AbortException(const Exception& other) : Exception(other) {}
  ~AbortException() override;
};

}  // namespace tvk
