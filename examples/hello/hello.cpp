// hello [NAME...]: greets everybody who is named, in the language of the user.
//
// The smallest program on the library: a frame, a text of its own, the console. ../language_library has the
// German text.
#include <tvk/cmdline/ArgumentList.h>
#include <tvk/console/Console.h>
#include <tvk/files/FileException.h>
#include <tvk/process/Application.h>
#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>

namespace {

constexpr std::uint32_t s_greeting = 5001;  // own texts have codes from 5000
constexpr std::int64_t s_notWritten = 1010;

class Hello : public tvk::Application {
 public:
  Hello() : Application("HL", "hello") {}

  // The language library, if there is one, is loaded by now, and its text of a code wins.
  std::int32_t Main() override {
    tvk::registerMessage("hello", {s_greeting, "Hello, %1!"});
    const tvk::ArgumentList& names = tvk::ArgumentList::OfProcess();
    if (names.IsEmpty()) Greet("world");
    for (std::size_t i = 0; i < names.Count(); ++i) Greet(names[i]);
    if (const int error = tvk::ConsoleStreamBuf::Get().WriteError())
      throw tvk::FileException(s_notWritten, "/dev/stdout", error);
    return 0;
  }

 private:
  static void Greet(const char* name) {
    tvk::StringBase<char> format;
    tvk::loadMessage("hello", s_greeting, false, format);
    tvk::StringBase<char> text;
    tvk::formatMessage(text, format.c_str(), name);
    tvk::Console::Get() << text << std::endl;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Hello hello;
  return tvk::Application::Main(argc, argv);
}
