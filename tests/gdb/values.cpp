// Values to be looked at in gdb: stops at every call of look().
#include <cstdio>

#include <tvk/files/FileException.h>
#include <tvk/text/ErrorLocation.h>
#include <tvk/text/Utf8.h>
#include <tvk/time/DateTime.h>
#include <zed/ByteBuffer.h>

namespace {

void look(const tvk::Exception& e) { std::printf("%s\n", e.what()); }

}  // namespace

int main() {
  const tvk::StringBase<char> narrow("two \"words\"");
  const tvk::StringBase<char> withZero(std::string("a\0b", 3));
  const tvk::StringBase<wchar_t> wide(L"Grüße");
  const tvk::StringOld old("old");
  const tvk::FileString path("/tmp/x"), none;
  const tvk::Utf8 utf8(
      "Gr\xC3\xBC\xC3\x9F"
      "e"),
      noUtf8;
  const tvk::DateTimeO fields(2024, 3, 15, 12, 0, 0, 7, 60), unset;
  const tvk::DateTimeO ticks = tvk::DateTimeO::FromUnixTime(951782400, -330);
  const tvk::DateTimeO moment = tvk::DateTimeO::FromUnixTime(0);
  zed::ByteBuffer bytes{1, 2, 255};
  const zed::ByteBuffer noBytes;
  zed::ByteBuffer secret{1, 2};
  secret.SetWipe(true);
  const tvk::ErrorLocation scope("saving", true);
  const tvk::FileException fileError = tvk::FileException::OfSystem(1003, path, 13);
  const tvk::Exception ready("all is lost", 77);
  look(tvk::Exception::Of(2005, "text", 12));
}
