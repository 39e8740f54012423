// What the fuzz targets have in common: the input cut into values, and checks in every kind of build.
#pragma once

#undef NDEBUG
#include <cassert>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <tvk/text/Exception.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

// Takes values off the front of the input; an empty input gives zeros and empty texts for ever.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : m_rest(reinterpret_cast<const char*>(data), size) {}
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

// The code of the Exception that `work` throws; -1 when it throws none.
std::int64_t codeOf(auto&& work) try { return work(), -1; } catch (const tvk::Exception& e) {
  return e.GetCode();
}

}  // namespace fuzz
