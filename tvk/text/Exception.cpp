#include <tvk/text/Exception.h>

#include <tvk/process/Platform.h>
#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/ProgramName.h>

namespace tvk {
namespace {

constexpr std::int64_t firstError = 2000;
constexpr std::int64_t firstWarning = 4000;
constexpr std::int64_t freeTextCodes[] = {1000, firstError, firstWarning};

constexpr std::uint32_t messageUndocumented = 55296;
constexpr std::uint32_t wordError = 55297;
constexpr std::uint32_t wordWarning = 55298;
constexpr std::uint32_t wordFatalError = 55299;

constexpr std::int64_t codeTooLong = 2007;

bool isFreeText(std::int64_t code) noexcept {
  for (const std::int64_t freeText : freeTextCodes)
    if (code == freeText) return true;
  return false;
}

bool lookUp(std::uint32_t code, StringBase<char>& text) { return loadMessage("tvk", code, true, text); }

StringBase<char> severityWord(std::int64_t code) {
  StringBase<char> word;
  lookUp(code < firstError ? wordFatalError : code < firstWarning ? wordError : wordWarning, word);
  return word;
}

std::unique_ptr<StringBase<char>> copyOf(const std::unique_ptr<StringBase<char>>& text) {
  return text != nullptr ? std::make_unique<StringBase<char>>(*text) : nullptr;
}

StringBase<char> locationWith(const StringBase<char>& inner) {
  if (inner.empty()) return ErrorLocation::Current();
  const ErrorLocation scope(inner, true);
  return ErrorLocation::Current();
}

}  // namespace

void throwNoText() { throw Exception::Of(1000); }

Exception::Exception() : m_location(ErrorLocation::Current()) {}

Exception::Exception(std::int64_t code, const StringBase<char>& first, const StringBase<char>& second,
                     const StringBase<char>& third, const StringBase<char>& location)
    : m_code(code), m_first(first), m_second(second), m_third(third), m_location(locationWith(location)) {}

Exception::Exception(std::int64_t code, Parameters&& parameters)
    : m_code(code),
      m_first(std::move(parameters.first)),
      m_second(std::move(parameters.second)),
      m_third(std::move(parameters.third)),
      m_location(ErrorLocation::Current()) {}

Exception::Exception(std::int64_t code, ...) : m_code(code) {}

Exception::Exception(ReadyText, StringBase<char> text, std::int64_t code)
    : m_isFixed(true), m_code(code), m_fixedText(std::make_unique<StringBase<char>>(std::move(text))) {}

Exception::Exception(const Exception& other)
    : std::exception(other),
      m_isFixed(other.m_isFixed),
      m_code(other.m_code),
      m_first(other.m_first),
      m_second(other.m_second),
      m_third(other.m_third),
      m_location(other.m_location),
      m_text(other.m_isFixed ? copyOf(other.m_text) : nullptr),
      m_fixedText(other.m_isFixed ? copyOf(other.m_fixedText) : nullptr) {}

Exception& Exception::operator=(const Exception& other) {
  if (this == &other) return *this;
  m_isFixed = other.m_isFixed;
  m_code = other.m_code;
  m_first = other.m_first;
  m_second = other.m_second;
  m_third = other.m_third;
  m_location = other.m_location;
  m_text = other.m_isFixed ? copyOf(other.m_text) : nullptr;
  m_fixedText = other.m_isFixed ? copyOf(other.m_fixedText) : nullptr;
  return *this;
}

Exception::~Exception() = default;

const char* Exception::what() const noexcept {
  const platform::QuietScope quiet;  // a cancelled thread that unwinds out of here would end the process
  try {
    return Text();
  } catch (const std::exception&) {
    return "out of memory";
  }
}

const char* Exception::Text() const { return FormText(m_first, m_second, m_third); }

const char* Exception::FormText(const StringBase<char>& first, const StringBase<char>& second,
                                const StringBase<char>& third) const {
  if (m_isFixed) return m_fixedText->c_str();
  if (m_text == nullptr) {
    m_text = std::make_unique<StringBase<char>>();
  } else {
    m_text->clear();
  }

  StringBase<char> message;
  if (isFreeText(m_code)) {
    formatMessage(message, first.c_str(), second.c_str(), third.c_str());
  } else if (StringBase<char> format; lookUp(static_cast<std::uint32_t>(m_code), format)) {
    formatMessage(message, format.c_str(), first.c_str(), second.c_str(), third.c_str());
  } else {
    std::string values = std::to_string(m_code);
    for (const StringBase<char>* parameter : {&first, &second, &third})
      if (!parameter->empty()) values.append(", ").append(*parameter);
    lookUp(messageUndocumented, format);
    formatMessage(message, format.c_str(), values.c_str());
  }

  const StringBase<char> name = ProgramName::Get(), severity = severityWord(m_code);
  std::string number;
  if (!isFreeText(m_code))
    number.append(" ").append(ProgramName::CodePrefix()).append(std::to_string(m_code));
  constexpr std::size_t marks = sizeof ", : - .";
  StringBase<char>& text = *m_text;
  text.reserve(name.size() + m_location.size() + severity.size() + number.size() + message.size() + marks);
  text.append(name);
  if (!m_location.empty()) text.append(", ").append(m_location);
  text.append(": ").append(severity).append(number).append(" - ").append(message).append(".");
  return text.c_str();
}

void Exception::SetCodePrefix(const char* prefix) {
  if (!ProgramName::SetCodePrefix(prefix)) throw Of(codeTooLong);
}

AbortException::~AbortException() = default;

}  // namespace tvk
