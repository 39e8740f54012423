// Both directions and both widths of the conversion to and from UTF-8: what can be converted comes back.
#include <tvk/text/Utf8.h>

#include <algorithm>

#include "Input.h"

namespace {

// Answers the text that the bytes are; empty when they are none.
template <class C>
tvk::StringBase<C> checkBytes(const std::string& bytes) {
  tvk::StringBase<C> text;
  const std::int64_t code =
      fuzz::codeOf([&] { text = tvk::StringBase<C>::FromUtf8(std::string_view(bytes)); });
  REQUIRE(code == (bytes.empty() || !text.empty() ? -1 : 1000));
  REQUIRE(tvk::StringBase<C>(tvk::Utf8::Counted(bytes)) == text &&
          (code == 1000 || text.ToUtf8().View() == bytes));
  return text;
}

template <class C>
void checkText(const tvk::StringBase<C>& text, bool isValid) {
  tvk::Utf8 bytes;
  REQUIRE(fuzz::codeOf([&] { bytes = text.ToUtf8(); }) == (isValid ? -1 : 1000));
  if (isValid) REQUIRE(tvk::StringBase<C>::FromUtf8(bytes) == text && bytes.Data()[bytes.Size()] == '\0');
}

bool isCharacter(wchar_t c) { return (c >= 0 && c < 0xD800) || (c > 0xDFFF && c <= 0x10FFFF); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input in(data, size);
  const std::string bytes = fuzz::Input(data, size).Rest();
  const auto wide = checkBytes<wchar_t>(bytes);
  const auto narrow = checkBytes<char>(bytes);
  REQUIRE(std::ranges::all_of(wide, isCharacter) && (narrow.empty() || narrow.size() == wide.size()));
  tvk::StringBase<wchar_t> units;
  while (!in.AtEnd()) units += in.Take<wchar_t>();
  checkText(units, std::ranges::all_of(units, isCharacter));
  checkText(tvk::StringBase<char>(bytes), true);
  return 0;
}
