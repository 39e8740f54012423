// Text to and from UTF-8, narrow and wide, a mix of characters and plain ASCII.
#include <iconv.h>

#include <clocale>
#include <string>
#include <string_view>

#include <tvk/text/StringBase.h>
#include <tvk/text/Utf8.h>

#include "Sides.h"

#ifdef BENCH_ICU
#include <unicode/unistr.h>
#endif
#ifdef BENCH_GLIB
#include <glib.h>
#endif
#ifdef BENCH_BOOST
#include <boost/locale/encoding_utf.hpp>
#endif
#ifdef BENCH_POCO
#include <Poco/UnicodeConverter.h>
#endif

namespace {

using Narrow = tvk::StringBase<char>;
using Wide = tvk::StringBase<wchar_t>;

std::string repeated(std::string_view text, int size) {
  std::string all;
  while (all.size() + text.size() <= static_cast<std::size_t>(size)) all += text;
  return all;
}

// What one writes with iconv: an open descriptor, a block that is surely large enough, one call.
template <class Out>
class Converter {
 public:
  Converter(const char* to, const char* from) : m_descriptor(iconv_open(to, from)) {}

  template <class In>
  Out operator()(const In& text, std::size_t most) const {
    Out out(most, 0);
    char* in = const_cast<char*>(reinterpret_cast<const char*>(text.data()));
    char* to = reinterpret_cast<char*>(out.data());
    std::size_t inLeft = text.size() * sizeof text[0], outLeft = most * sizeof out[0];
    iconv(m_descriptor, &in, &inLeft, &to, &outLeft);
    out.resize(most - outLeft / sizeof out[0]);
    return out;
  }

 private:
  iconv_t m_descriptor;
};

void questions(const std::string& kind, const std::string& size, const std::string& utf8) {
  static const Converter<std::string> toNarrow("ISO-8859-15", "UTF-8"), fromNarrow("UTF-8", "ISO-8859-15"),
      fromWide("UTF-8", "UTF-32LE");
  static const Converter<std::wstring> toWide("UTF-32LE", "UTF-8");
  const auto narrow = std::string(Narrow::FromUtf8(utf8));
  const auto wide = std::wstring(Wide::FromUtf8(utf8));

  bench::Question<std::string>("utf8_" + kind + "_to_narrow", size)
      .side("tvk", [utf8] { return std::string(Narrow::FromUtf8(utf8)); })
      .side("iconv", [utf8] { return toNarrow(utf8, utf8.size()); });

  bench::Question<std::string>("utf8_" + kind + "_from_narrow", size)
      .side("tvk", [text = Narrow(narrow)] { return text.ToUtf8().ToString(); })
      .side("iconv", [narrow] { return fromNarrow(narrow, narrow.size() * 3); });

  bench::Question<std::wstring> to("utf8_" + kind + "_to_wide", size);
  to.side("tvk", [utf8] { return std::wstring(Wide::FromUtf8(utf8)); });
  to.side("iconv", [utf8] { return toWide(utf8, utf8.size()); });
#ifdef BENCH_ICU
  to.side("ICU", [utf8] {
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(utf8);
    std::wstring out(static_cast<std::size_t>(text.length()), L' ');
    UErrorCode error = U_ZERO_ERROR;
    const auto length =
        text.toUTF32(reinterpret_cast<UChar32*>(out.data()), static_cast<int32_t>(out.size()), error);
    out.resize(static_cast<std::size_t>(length));
    return out;
  });
#endif
#ifdef BENCH_GLIB
  to.side("GLib", [utf8] {
    glong length = 0;
    gunichar* const text =
        g_utf8_to_ucs4(utf8.data(), static_cast<glong>(utf8.size()), nullptr, &length, nullptr);
    std::wstring out(reinterpret_cast<wchar_t*>(text), static_cast<std::size_t>(length));
    g_free(text);
    return out;
  });
#endif
#ifdef BENCH_BOOST
  to.side("Boost", [utf8] { return boost::locale::conv::utf_to_utf<wchar_t>(utf8); });
#endif
#ifdef BENCH_POCO
  to.side("POCO", [utf8] {
    Poco::UTF32String out;
    Poco::UnicodeConverter::convert(utf8, out);
    return std::wstring(out.begin(), out.end());
  });
#endif

  bench::Question<std::string> from("utf8_" + kind + "_from_wide", size);
  from.side("tvk", [text = Wide(wide)] { return text.ToUtf8().ToString(); });
  from.side("iconv", [wide] { return fromWide(wide, wide.size() * 4); });
#ifdef BENCH_BOOST
  from.side("Boost", [wide] { return boost::locale::conv::utf_to_utf<char>(wide); });
#endif
}

}  // namespace

void bench::ask() {
  std::setlocale(LC_ALL, "C.UTF-8");
  for (const auto& [name, size] : {std::pair{"1 KiB", 1 << 10}, {"1 MiB", scaled(1 << 20)}}) {
    questions("mixed", name, repeated("Grüße aus Köln, naïve café: 25 € für Žižkov, ŒUVRE. ", size));
    questions("ascii", name, repeated("The quick brown fox jumps over the lazy dog. ", size));
  }
}
