#include <tvk/process/Application.h>

#include <signal.h>

#include <clocale>

#include <tvk/cmdline/ArgumentList.h>
#include <tvk/console/Console.h>
#include <tvk/process/Platform.h>

#include "support/Support.h"

namespace {

using tvk::Application;

struct Tool : Application {
  explicit Tool(std::function<int()> work, char refuses = ' ')
      : Application("TL", "tool"), m_work(std::move(work)), m_refuses(refuses) {}
  bool Init() override { return Application::Init() && m_refuses != 'i'; }
  bool Exit() override { return printf("exit ") > 0 && m_refuses != 'e'; }
  std::int32_t Main() override { return m_work(); }
  std::function<int()> m_work;
  char m_refuses;
};

// The exit status of a tool that does `work`, and what it wrote.
std::string ended(std::function<int()> work, char refuses = ' ', const char* program = "/opt/app/tool") {
  const auto result = support::inChild([&]() noexcept {
    std::atexit([] { printf(tvk::Console::Existing() == nullptr ? "end" : "end with console"); });
    Tool tool(work, refuses);
    return Application::Run(program, "");
  });
  return std::to_string(result.status) + " " + result.output;
}

int fail() {
  tvk::Console::Get().setstate(std::ios::failbit);  // the report is to be seen all the same
  throw tvk::Exception::Of(1001, "/x");
}

TEST(Application, EndsWithTheStatusThatFits) {
  const auto aborted = [](std::int64_t code) {
    return ended([=]() -> int { throw tvk::AbortException(tvk::Exception(code)); });
  };
  const auto seven = [] { return tvk::Console::Get(), 7; };
  EXPECT_EQ(ended(seven), "7 exit end");
  EXPECT_EQ(ended(seven, 'i'), "0 exit end");
  EXPECT_EQ(ended(seven, 'e'), "2 exit end");
  EXPECT_EQ(ended(fail), "3 tool: fatal error TL1001 - file /x not found.\nend");
  EXPECT_EQ(ended([]() -> int { throw std::runtime_error("bad"); }), "3 tool: bad\nend");
  EXPECT_EQ(ended([]() -> int { throw 5; }), "134 ") << "not caught";
  EXPECT_EQ(aborted(11), "11 \r\r\t\t\t\t\t\t\t\t\t       \rtool: aborted by user\nend");
  EXPECT_EQ(aborted(256) + aborted(0), "1 end0 end") << "only 0 looks like success";
  const auto result = support::inChild([] { return Application::Run("/opt/app/tool", ""); });
  EXPECT_EQ(std::to_string(result.status) + result.output, "1Aborted: no application object\n");
  EXPECT_EQ(support::slotOf(&Application::HandleException), 10u);
}

TEST(Application, PreparesTheProcessAndPassesTheArgumentsOn) {
  const support::ScopedVariable variable("LC_ALL", "de_DE.UTF-8");
  const auto passed = [](const std::vector<const char*>& arguments) {
    return support::inOwnProcess([&] {
      const Tool tool([] {
        std::string locales;
        for (const int number : {SIGHUP, SIGUSR1, SIGUSR2, SIGPIPE}) raise(number);
        EXPECT_EQ(system("true"), 0) << "children can be waited for";
        for (const int part : {LC_CTYPE, LC_TIME, LC_NUMERIC, LC_COLLATE})
          locales += setlocale(part, nullptr);
        EXPECT_EQ(locales, "de_DE.UTF-8de_DE.UTF-8CC");
        const tvk::ArgumentList& list = tvk::ArgumentList::OfProcess();
        const Application& self = *Application::GetApplication();
        printf("%s, %s:", self.GetPath().c_str(), self.GetCommandLine().c_str());
        for (std::size_t i = 0; i < list.Count(); ++i) printf(" %s;", list[i]);
        return 0;
      });
      Application::Main(static_cast<int>(arguments.size()), arguments.data());
    });
  };
  const std::string own = tvk::platform::executablePath();
  const std::string here = std::filesystem::current_path();
  EXPECT_EQ(passed({"/opt/app/tool", "a b", "c"}), "/opt/app/tool, \"a b\" c: a b; c;exit ");
  EXPECT_EQ(passed({"./tool", "\"a b", "", "tab\t-", "line\n-", "x\"y"}),
            here + "/tool, \"a b  \"tab\t-\" \"line\n-\" x\"y: \"a b; ; tab\t-; line\n-; x\"y;exit ");
  EXPECT_EQ(passed({"tool"}) + passed({}), own + ", :exit " + own + ", :exit ");
}

// One that works stands beside tvkpack, in its tests.
TEST(Application, GoesOnWithoutALanguageLibrary) {
  const support::ScopedFolder folder;
  const support::ScopedVariable variable("LANG", "de_DE");
  const std::string english = "tool: fatal error TL1001 - file /x not found.\nend";
  const auto said = [&] { return ended(fail, ' ', (folder / "tool").c_str()); };
  EXPECT_EQ(said(), "3 " + english);
  support::writeWhole(folder / "tool.lDe", "broken");
  EXPECT_EQ(said(), "3 Language Module " + (folder / "tool.lDe") +
                        "\nModule ignored. Embedded English language is used.\n" + english);
}

}  // namespace
