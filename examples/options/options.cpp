// options [-jobs=N] [-since=DATE] [-kind=text|data] NAME...: options read by hand.
#include <cstdint>

#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/console/Console.h>
#include <tvk/process/Application.h>
#include <tvk/time/DateTime.h>

namespace {

class Options : public tvk::CommandLineParsing {
 public:
  std::uint32_t jobs = 1;
  int kind = 0;
  tvk::DateTimeO since;

 protected:
  bool HandleOption() override {
    const int option = ReadKeyword("jobs\tkind\tsince");
    if (option < 0) return false;  // 2001, invalid option
    ExpectChar('=');
    switch (option) {
      case 0:
        jobs = ReadUnsignedRange(1, 64);
        break;
      case 1:
        kind = ReadKeyword("text\tdata");
        if (kind < 0) Fail(2023);  // bad specification
        break;
      default:
        bool isIso = false;
        ReadDate(since, isIso);
    }
    return true;
  }
};

class Program : public tvk::Application {
 public:
  Program() : Application("OP", "options") {}

  std::int32_t Main() override {
    tvk::Console& console = tvk::Console::Get();
    Options options;
    options.Parse();
    console.PrintLine("%u jobs, %s", options.jobs, options.kind == 0 ? "text" : "data");
    if (options.since.IsSet()) console << "since " << options.since.Format(false) << '\n';
    const tvk::ArgumentList& arguments = tvk::ArgumentList::OfProcess();
    for (std::size_t i = options.ArgumentIndex(); i < arguments.Count(); ++i)
      console.PrintLine("%s", arguments[i]);
    return tvk::ConsoleStreamBuf::Get().WriteError() == 0 ? 0 : 1;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Program program;
  return tvk::Application::Main(argc, argv);
}
