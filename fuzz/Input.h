// What the fuzz targets have in common: the input cut into values, and checks in every kind of build.
#pragma once

#undef NDEBUG
#include <cassert>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <tvk/text/Exception.h>

namespace fuzz {

// Takes values off the front of the input; an empty input gives zeros and empty texts for ever.
class Input {
 public:
  explicit Input(std::string_view bytes) : m_rest(bytes) {}
  bool AtEnd() const { return m_rest.empty(); }
  template <class Number = std::uint8_t>
  Number Take() {
    Number number{};
    m_rest.remove_prefix(m_rest.copy(reinterpret_cast<char*>(&number), sizeof number));
    return number;
  }
  // Up to the next zero, which is dropped.
  std::string Text() {
    const std::string text(m_rest.substr(0, m_rest.find('\0')));
    m_rest.remove_prefix(text.size() + (text.size() < m_rest.size()));
    return text;
  }
  std::string Rest() { return std::string(std::exchange(m_rest, {})); }

 private:
  std::string_view m_rest;
};

// What a target does with an input. A fault ends the process.
void run(Input in);

// The code of the Exception that `work` throws; -1 when it throws none.
std::int64_t codeOf(auto&& work) try { return work(), -1; } catch (const tvk::Exception& e) {
  return e.GetCode();
}

}  // namespace fuzz
