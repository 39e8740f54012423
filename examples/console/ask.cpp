// ask NAME...: asks about each name and shows how far it is; Ctrl-C ends it with status 11.
#include <tvk/cmdline/ArgumentList.h>
#include <tvk/console/Console.h>
#include <tvk/process/Application.h>

namespace {

class Ask : public tvk::Application {
 public:
  Ask() : Application("AS", "ask") {}

  std::int32_t Main() override {
    tvk::Console& console = tvk::Console::Get();
    console.Init(tvk::Console::FlagTerminalSize);
    const tvk::ArgumentList& names = tvk::ArgumentList::OfProcess();
    bool all = false;
    for (std::size_t i = 0; i < names.Count(); ++i) {
      if (!all) {
        const tvk::StringBase<char> question = tvk::StringBase<char>("remove ") + names[i];
        const char answer = console.Ask(question, "yna", 'n');  // yes, no, all
        if (answer == 'n') continue;
        all = answer == 'a';
      }
      console.Progress("%zu of %zu", i + 1, names.Count());  // a terminal alone sees it
      console.PrintLine("%s is gone", names[i]);
    }
    console.ClearProgress();
    return tvk::ConsoleStreamBuf::Get().WriteError() == 0 ? 0 : 1;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Ask ask;
  return tvk::Application::Main(argc, argv);
}
