// Messages with placeholders in placeholders, against the rule written down word by word.
#include <tvk/text/MessageFormat.h>

#include <vector>

#include "Input.h"

// Every "%1" becomes the first argument, then every "%2" the second, until a number is missing or the text would
// grow too long.
static std::string expected(std::string text, const std::vector<std::string>& arguments) {
  const std::size_t count = std::min<std::size_t>(arguments.size(), 9);
  std::size_t limit = text.size() + 64 * 1024;
  for (std::size_t i = 0; i < count; ++i) limit += arguments[i].size();
  for (std::size_t i = 0; i < count; ++i) {
    const std::string placeholder = "%" + std::to_string(i + 1);
    if (text.find(placeholder) == text.npos) break;
    for (std::size_t at = 0; (at = text.find(placeholder, at)) != text.npos; at += arguments[i].size()) {
      if (text.size() - 2 + arguments[i].size() > limit) return text;
      text.replace(at, 2, arguments[i]);
    }
  }
  return text;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input in(data, size);
  std::vector<std::string> texts(in.Take() % 12 + 1);
  for (std::string& text : texts) {
    const std::size_t length = in.Take() % 32 == 31 ? in.Take<std::uint16_t>() % 20000 : 1;
    for (const std::string piece = in.Text(); text.size() < length && !piece.empty();) text += piece;
  }
  const std::string format = std::move(texts.back());
  texts.pop_back();
  std::vector<const char*> arguments;
  for (const std::string& text : texts) arguments.push_back(text.empty() ? nullptr : text.c_str());
  tvk::StringBase<char> out(format);  // the text may be its own format
  tvk::formatMessageWith(out, out.c_str(), arguments);
  REQUIRE(out == expected(format, texts));
  return 0;
}
