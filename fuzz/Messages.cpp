// Messages with placeholders in placeholders, against the rule written down word by word.
#include <tvk/text/MessageFormat.h>

#include <algorithm>
#include <vector>

#include "Input.h"

void fuzz::run(Input in) {
  std::vector<std::string> texts(in.Take() % 12 + 1);  // the format is the last one
  std::size_t limit = 64 * 1024;
  for (std::string& text : texts) {
    const std::size_t length = in.Take() % 32 == 31 ? in.Take<std::uint16_t>() % 20000 : 1;
    for (const std::string piece = in.Text(); text.size() < length && !piece.empty();) text += piece;
    if (&text - texts.data() < 9 || &text == &texts.back()) limit += text.size();
  }
  std::string expected = texts.back();
  tvk::StringBase<char> out(expected);  // the text may be its own format
  texts.pop_back();
  const std::vector<std::string_view> arguments(texts.begin(), texts.end());
  tvk::formatMessageWith(out, out.c_str(), arguments);

  bool goesOn = true;
  for (std::size_t i = 0; goesOn && i < std::min<std::size_t>(texts.size(), 9); ++i) {
    std::size_t at = expected.find("%" + std::to_string(i + 1));
    for (goesOn = at != expected.npos; goesOn && at != expected.npos;) {
      goesOn = expected.size() - 2 + texts[i].size() <= limit;
      if (goesOn) expected.replace(at, 2, texts[i]);
      at = expected.find("%" + std::to_string(i + 1), at + texts[i].size());
    }
  }
  assert(out == expected);
}
