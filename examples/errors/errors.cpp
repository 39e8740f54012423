// errors FILE...: reads an amount from each file, reports what is wrong with it, and goes on with the next.
#include <cstdint>
#include <cstdlib>
#include <system_error>

#include <tvk/cmdline/ArgumentList.h>
#include <tvk/console/Console.h>
#include <tvk/files/File.h>
#include <tvk/files/FileException.h>
#include <tvk/process/Application.h>
#include <tvk/text/ErrorLocation.h>
#include <tvk/text/MessageTable.h>

namespace {

constexpr std::int64_t s_accessDenied = 1013;
// Below 2000 is fatal, up to 3999 an error, from 4000 a warning. The library has no texts of its own here.
constexpr std::int64_t s_noAmount = 3001;
constexpr std::int64_t s_bigAmount = 5001;
constexpr std::uint32_t s_largest = 1000;

void registerTexts() {
  tvk::registerMessage("errors", {s_noAmount, "%1 holds no amount: \"%2\""});
  tvk::registerMessage("errors", {s_bigAmount, "%1 is more than %2"});
}

std::uint32_t readAmount(const char* path) {
  tvk::File file(path);
  file.open(tvk::ModeRead | tvk::ModeMustExist);
  char text[10] = {};
  file.read(text, sizeof text - 1);
  char* end = nullptr;
  const unsigned long amount = std::strtoul(text, &end, 10);
  if (end == text) throw tvk::Exception::Of(s_noAmount, path, text);
  if (amount > s_largest) throw tvk::Exception::Of(s_bigAmount, amount, s_largest);
  return static_cast<std::uint32_t>(amount);
}

class Errors : public tvk::Application {
 public:
  Errors() : Application("ER", "errors") {}

  std::int32_t Main() override {
    registerTexts();
    const tvk::ArgumentList& paths = tvk::ArgumentList::OfProcess();
    std::int32_t failed = 0;
    for (std::size_t i = 0; i < paths.Count(); ++i) {
      const tvk::ErrorLocation scope("reading amounts", true);  // in every text of this block
      try {
        tvk::Console::Get().PrintLine("%u", readAmount(paths[i]));
      } catch (const tvk::FileException& e) {
        ++failed;
        tvk::Console::Get().PrintLine("%s", e.what());
        if (e.cause() == std::errc::permission_denied || e.GetCode() == s_accessDenied)
          tvk::Console::Get().PrintLine("Who may read %s?", e.fileName().c_str());
      } catch (const tvk::Exception& e) {
        ++failed;
        tvk::Console::Get().PrintLine("%s", e.what());
      }
    }
    if (failed == 0 && tvk::ConsoleStreamBuf::Get().WriteError() == 0) return 0;
    return 1;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Errors errors;
  return tvk::Application::Main(argc, argv);
}
