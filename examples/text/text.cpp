// Text in two widths, UTF-8, messages and hexadecimal.
#include <cstdint>
#include <string>
#include <vector>

#include <tvk/console/Console.h>
#include <tvk/process/Application.h>
#include <tvk/text/Hexadecimal.h>
#include <tvk/text/MessageFormat.h>
#include <tvk/text/StringBase.h>
#include <tvk/text/Utf8.h>

namespace {

class Text : public tvk::Application {
 public:
  Text() : Application("TX", "text") {}

  std::int32_t Main() override {
    tvk::Console& console = tvk::Console::Get();

    // A standard string in every respect; a null pointer is the empty text.
    tvk::StringBase<char> name("Ada");
    name += " L.";
    console.PrintLine("%s has %zu bytes", name.c_str(), name.size());

    // UTF-8 and back without loss. What is no UTF-8 throws Exception 1000.
    const std::string fromNetwork = "\xE2\x82\xAC 20";
    const tvk::StringBase<wchar_t> wide = tvk::StringBase<wchar_t>::FromUtf8(fromNetwork);
    console.PrintLine("%zu characters", wide.size());
    if (wide.ToUtf8().View() != fromNetwork) return 1;

    // Into somebody's buffer: the answer is the whole length, so a truncation shows.
    char buffer[4];
    if (name.CopyTo(buffer, sizeof buffer, true) >= sizeof buffer) console.PrintLine("cut to %s", buffer);

    // Placeholders may stand in any order, as other languages need them.
    tvk::StringBase<char> text;
    tvk::formatMessage(text, "%1 of %2", "3", "7");
    console.PrintLine("%s", text.c_str());

    const std::vector<std::uint8_t> key = tvk::DecodeHexadecimal("c0ffee");
    console.PrintLine("%s", tvk::EncodeHexadecimal(key).c_str());
    return tvk::ConsoleStreamBuf::Get().WriteError() == 0 ? 0 : 1;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Text text;
  return tvk::Application::Main(argc, argv);
}
