// greet NAME...: greets everybody who is named, in the language of the user. A project of its own; docs/translating.md
// tells how its texts are translated.
#include <string>

#include <tvk/cmdline/ArgumentList.h>
#include <tvk/console/Console.h>
#include <tvk/process/Application.h>
#include <tvk/text/Exception.h>
#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>

namespace {

constexpr std::uint32_t s_greeting = 5001;
constexpr std::uint32_t s_total = 5002;
constexpr std::int64_t s_missingSpecification = 2024;  // a code of the library, with its text

void registerTexts() {
  tvk::registerMessage("greet", {s_greeting, "Hello, %1!"});
  tvk::registerMessage("greet", {s_total, "%1 greeted"});
}

// A text of the program in the language of the user, with its value.
tvk::StringBase<char> message(std::uint32_t code, const char* value) {
  tvk::StringBase<char> format, text;
  tvk::loadMessage("greet", code, false, format);
  tvk::formatMessage(text, format.c_str(), value);
  return text;
}

class Greet : public tvk::Application {
 public:
  Greet() : Application("GR", "greet") {}

  std::int32_t Main() override {
    registerTexts();
    const tvk::ArgumentList& names = tvk::ArgumentList::OfProcess();
    if (names.IsEmpty()) throw tvk::Exception::Of(s_missingSpecification);
    for (std::size_t i = 0; i < names.Count(); ++i)
      tvk::Console::Get().PrintLine("%s", message(s_greeting, names[i]).c_str());
    tvk::Console::Get().PrintLine("%s", message(s_total, std::to_string(names.Count()).c_str()).c_str());
    return 0;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Greet greet;
  return tvk::Application::Main(argc, argv);
}
