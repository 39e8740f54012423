#include <tvk/process/Application.h>

#include <signal.h>

#include <clocale>

#include <tvk/cmdline/ArgumentList.h>
#include <tvk/console/Console.h>
#include <tvk/process/Module.h>
#include <tvk/process/Platform.h>
#include <tvk/process/Singleton.h>
#include <tvk/text/ProgramName.h>

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

struct Entry : tvk::Singleton {
  ~Entry() override { printf(Application::GetApplication() != nullptr ? "down " : "late "); }
};

// The exit status of a tool that does `work`, and what it wrote.
std::string ended(std::function<int()> work, char refuses = ' ', const char* program = "/opt/app/tool") {
  const auto result = support::inChild([&]() noexcept {
    std::atexit([] { printf(tvk::Console::Existing() == nullptr ? "end" : "end with console"); });
    Tool tool(work, refuses);
    new Entry;
    return Application::Run(program, "");
  });
  return std::to_string(result.status) + " " + result.output;
}

int fail() {
  tvk::Console::Get().setstate(std::ios::failbit);  // the report is to be seen all the same
  throw tvk::Exception::Of(1001, "/x");
}

template <class Thrown>
std::function<int()> throws(Thrown thrown) {
  return [thrown]() -> int { throw thrown; };
}

TEST(Application, EndsWithTheStatusThatFits) {
  const auto abort = [](std::int64_t code) { return throws(tvk::AbortException(tvk::Exception(code))); };
  const auto seven = [] { return 7; };
  EXPECT_EQ(ended(seven), "7 exit down end");
  EXPECT_EQ(ended(seven, 'i'), "0 exit down end");
  EXPECT_EQ(ended(seven, 'e'), "2 exit end");
  EXPECT_EQ(ended(fail), "3 tool: fatal error TL1001 - file /x not found.\nend");
  EXPECT_EQ(ended(throws(std::runtime_error("bad"))), "3 tool: bad\nend");
  EXPECT_EQ(ended(throws(5)), "134 ") << "not caught";
  EXPECT_EQ(ended(abort(11)), "11 \r\r\t\t\t\t\t\t\t\t\t       \rtool: aborted by user\nend");
  EXPECT_EQ(ended(abort(4)), "4 end");
  EXPECT_EQ(ended(abort(256)), "1 end") << "not to look like success";
  EXPECT_EQ(ended(abort(0)), "0 end");
  const auto result = support::inChild([] { return Application::Run("/opt/app/tool", ""); });
  EXPECT_EQ(std::to_string(result.status) + result.output, "1Aborted: no application object\n");
}

TEST(Application, PassesTheArgumentsOn) {
  const auto passed = [](const std::vector<const char*>& arguments) {
    return support::inOwnProcess([&] {
      const Tool tool([] {
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

TEST(Application, PreparesTheProcess) {
  const support::ScopedVariable variable("LC_ALL", "de_DE.UTF-8");
  support::inOwnProcess([] {
    const tvk::Module first("FI", "first");
    auto tool = std::make_unique<Tool>([] {
      for (const int number : {SIGHUP, SIGUSR1, SIGUSR2, SIGPIPE}) raise(number);
      EXPECT_EQ(system("true"), 0) << "children can be waited for";
      for (const int category : {LC_CTYPE, LC_TIME})
        EXPECT_STREQ(setlocale(category, nullptr), "de_DE.UTF-8");
      for (const int category : {LC_NUMERIC, LC_COLLATE}) EXPECT_STREQ(setlocale(category, nullptr), "C");
      return 5;
    });
    EXPECT_EQ(Application::GetApplication(), tool.get());
    EXPECT_EQ(tvk::StartUp::Get(), &first);
    EXPECT_EQ(tvk::ProgramName::Get() + std::to_string(Application::Main(2, nullptr)), "tool5");
    tool.reset();
    EXPECT_EQ(Application::GetApplication(), nullptr);
    EXPECT_EQ(tvk::ProgramName::Get(), "first");
  });
}

TEST(Application, SpeaksTheLanguageOfTheUser) {
  const support::ScopedFolder folder;
  for (const char* end : {"De", "Us"})
    std::filesystem::create_symlink(TVK_WORDS_LIBRARY, folder / "tool.l" + end);
  std::filesystem::create_directory(folder / "tool.lEs");
  support::writeWhole(folder / "tool.lFr", "broken");
  const std::string notice =
      "Language Module " + (folder / "tool.lFr") + "\nModule ignored. Embedded English language is used.\n";
  for (const std::string lang : {"de_DE", "en_US", "ru_RU", "es_ES", "fr_FR"}) {
    const support::ScopedVariable variable("LANG", lang);
    const std::string text = lang == "de_DE" ? "Datei /x fehlt" : "file /x not found";
    EXPECT_EQ(ended(fail, ' ', (folder / "tool").c_str()),
              "3 " + (lang == "fr_FR" ? notice : "") + "tool: fatal error TL1001 - " + text + ".\nend");
  }
}

}  // namespace
