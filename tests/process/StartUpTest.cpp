#include <tvk/process/StartUp.h>

#include <tvk/console/Console.h>
#include <tvk/process/AutoInit.h>
#include <tvk/process/Module.h>
#include <tvk/process/Singleton.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/ProgramName.h>
#include <tvk/time/DateTime.h>

#include "support/Support.h"

// What touches the life of a process happens in one of its own: it starts up and shuts down once.
namespace {

using support::inOwnProcess;
using tvk::Module;
using tvk::ProgramName;
using tvk::StartUp;

struct Frame : Module {
  explicit Frame(const char* name, const char* prefix = "") : Module(prefix, name) {}
  tvk::FileString GetPath() const override { return path; }
  void GetLanguageName(tvk::StringBase<char>& name) const override { name = language; }
  bool Init() override { return Module::Init() && starts; }
  std::string path, language;
  bool starts = true;
};

TEST(StartUp, TheFirstFrameIsCurrentUntilItGoes) {
  inOwnProcess([] {
    EXPECT_EQ(support::thrownCode([] { Frame("tool", "123456789012"); }), 2007);
    EXPECT_FALSE(StartUp::IsStarted()) << "a refused frame leaves nothing behind";
    auto first = std::make_unique<Frame>("first", "12345678901");
    auto second = std::make_unique<Frame>("second", nullptr);
    EXPECT_EQ(ProgramName::Get() + second->GetName() + ProgramName::CodePrefix(), "firstsecond");
    second.reset();
    EXPECT_TRUE(StartUp::Get() == first.get() && Module::GetModule() == nullptr);
    EXPECT_EQ(Frame(nullptr, "12345678901").GetName(), "");
    EXPECT_EQ(ProgramName::CodePrefix(), "12345678901") << "the newest prefix holds";
    first.reset();
    EXPECT_TRUE(StartUp::Get() == nullptr && ProgramName::Get() != "first");
  });
}

struct Service : tvk::AutoInitBase {
  explicit Service(char name) : m_name(name) {}
  ~Service() override { printf("deleted %c, ", m_name); }
  void Init() override { Tell("init", 'c'); }
  void Exit() override { Tell("exit", 'd'); }
  void Tell(const char* what, char next) {
    printf("%s %c, ", what, m_name);
    if (m_name == 'b') Register(std::make_unique<Service>(next));
  }
  char m_name;
};

struct Entry : tvk::Singleton {
  ~Entry() override { printf(tvk::Console::Existing() != nullptr ? "singleton, " : "late, "); }
};

TEST(StartUp, GoesDownInTheReverseOrderAndOnce) {
  const std::string output = inOwnProcess([] {
    tvk::AutoInit<Entry> service;
    service.Init(), service.Init(), service.Exit(), service.Exit();
    Frame frame("tool");
    for (const char name : {'a', 'b'}) tvk::AutoInitBase::Register(std::make_unique<Service>(name));
    new Entry;
    tvk::Console::Get();
    EXPECT_TRUE(frame.Init() && StartUp::ExitServices());
    EXPECT_NE(tvk::DateTimeInit::StartTime(), nullptr) << "the library's own services are up";
    EXPECT_TRUE(frame.Exit());
    StartUp::ShutDown();
    EXPECT_TRUE(StartUp::InitServices());
    EXPECT_TRUE(tvk::DateTimeInit::StartTime() == nullptr && tvk::Console::Existing() == nullptr);
    tvk::Console::Get() << tvk::StringBase<char>::Empty() << "late users are served" << std::flush;
  });
  EXPECT_EQ(output,
            "late, init a, init b, init c, exit c, deleted c, exit b, deleted b, exit d, deleted d, "
            "exit a, deleted a, singleton, late users are served");
}

TEST(StartUp, FindsTheLanguageLibraryBesideTheFrame) {
  const support::ScopedFolder folder;
  for (const char* name : {"tool-1.lDe", "tvk.lDe"})
    std::filesystem::create_symlink(TVK_WORDS_LIBRARY, folder / name);
  inOwnProcess([&] {
    std::filesystem::current_path(folder.path());
    Frame frame("tool");
    for (const auto& [path, language, directory, expected] :
         std::initializer_list<std::array<std::string, 4>>{
             {folder / "tool-1.2", "De", "", "Datei %1 fehlt"},
             {"./tool-1.2", "De", "/", "Datei %1 fehlt"},
             {folder / "tool-1.2", "", "", "file %1 not found"},
             {"tvk", "De", folder.path(), "Datei %1 fehlt"},
             {"tvk", "De", "", "1131"},            // not in the current folder
             {"tvk", "Ru", "", "Datei %1 fehlt"},  // TVK_OUTER_MODULE
             {"", "De", folder / "tvk", "Datei %1 fehlt"}}) {
      frame.path = path;
      frame.language = language;
      const char* const given = directory.c_str();
      tvk::StringBase<char> text("1131");
      if (support::thrownCode([&] { frame.LoadLanguageModule(given); }) != 1131)
        tvk::loadMessage("tvk", 1001, false, text);
      EXPECT_EQ(text, expected) << path << ", " << language << ", " << directory;
    }
  });
}

TEST(Module, StartsAndStopsTheCurrentOne) {
  const std::string output = inOwnProcess([] {
    EXPECT_FALSE(Module::Stop() || Module::Start(nullptr));
    Frame frame("frame");
    for (const bool starts : {true, false}) {
      frame.starts = starts;
      new Entry;
      EXPECT_EQ(Module::Start(&frame), starts);
      printf("up, ");
      EXPECT_TRUE(Module::Stop());
    }
  });
  EXPECT_EQ(output, "up, late, late, up, ");
}

}  // namespace
