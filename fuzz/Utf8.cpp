// Both directions and both widths of the conversion to and from UTF-8: what can be converted comes back.
#include <tvk/text/Utf8.h>

#include <algorithm>

#include "Input.h"

template <class C>
static void check(const std::string& bytes, const tvk::StringBase<C>& text, bool isValid) {
  tvk::StringBase<C> ofBytes;
  std::int64_t code = fuzz::codeOf([&] { ofBytes = ofBytes.FromUtf8(std::string_view(bytes)); });
  assert(code == (bytes.empty() || !ofBytes.empty() ? -1 : 1000));
  assert(tvk::StringBase<C>(tvk::Utf8::Counted(bytes)) == ofBytes);
  assert(code == 1000 || ofBytes.ToUtf8().View() == bytes);
  tvk::Utf8 ofText;
  code = fuzz::codeOf([&] { ofText = text.ToUtf8(); });
  assert(code == (isValid ? -1 : 1000) && ofText.Data()[ofText.Size()] == '\0');
  assert(!isValid || text.FromUtf8(ofText) == text);
}

void fuzz::run(Input in) {
  const std::string bytes = Input(in).Rest();
  tvk::StringBase<wchar_t> units;
  while (!in.AtEnd()) units += in.Take<wchar_t>();
  const auto isCharacter = [](wchar_t c) { return c >= 0 && c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF); };
  check(bytes, units, std::ranges::all_of(units, isCharacter));
  check(bytes, tvk::StringBase<char>(bytes), true);
}
