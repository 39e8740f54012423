// Text between narrow and wide by the locale.
#include <clocale>
#include <cstdlib>
#include <cwchar>
#include <string>

#include <tvk/text/StringBase.h>

#include "Sides.h"

namespace {

void questions(const std::string& size, const std::string& narrow) {
  using Narrow = tvk::StringBase<char>;
  using Wide = tvk::StringBase<wchar_t>;
  bench::Question<std::wstring>("widen", size)
      .side("tvk", [text = Narrow(narrow)] { return std::wstring(Wide(text)); })
      .side("mbsrtowcs", [narrow] {
        std::wstring out(narrow.size(), L' ');
        std::mbstate_t state{};
        const char* in = narrow.c_str();
        out.resize(std::mbsrtowcs(out.data(), &in, out.size() + 1, &state));
        return out;
      });
  const std::wstring wide = Wide(Narrow(narrow));
  bench::Question<std::string>("narrow", size)
      .side("tvk", [text = Wide(wide)] { return std::string(Narrow(text)); })
      .side("wcsrtombs", [wide] {
        std::string out(wide.size() * 2 + 2, ' ');
        std::mbstate_t state{};
        const wchar_t* in = wide.c_str();
        out.resize(std::wcsrtombs(out.data(), &in, out.size(), &state));
        return out;
      });
}

}  // namespace

void bench::ask() {
  std::setlocale(LC_ALL, "C.UTF-8");
  std::string text;
  while (text.size() < static_cast<std::size_t>(scaled(1 << 20))) {
    text += "Grüße aus Köln, naïve café. ";
    if (text.size() / 1024 == 1 && text.size() < 1024 + 34) questions("1 KiB", text);
  }
  questions("1 MiB", text);
}
