#include <tvk/console/Console.h>

#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <new>
#include <sstream>
#include <thread>
#include <vector>

#include "support/Support.h"

namespace {

bool s_isMemoryShort = false;
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return s_isMemoryShort ? nullptr : ::operator new[](size);
}

namespace {

using namespace std::literals;
using tvk::Console;
using tvk::ConsoleStreamBuf;

const std::string blankLine = "\r" + std::string(79, ' ') + "\r";

// What `work` writes in a process of its own whose standard input is a file that holds `input`.
std::string transcript(const std::string& input, const std::function<void(Console&)>& work) {
  const support::ScopedFolder folder;
  const std::string path = folder / "in";
  support::writeWhole(path, input);
  return support::inChild([&] { return std::freopen(path.c_str(), "r", stdin), work(Console::Get()), 0; })
      .output;
}

// What the screen shows then, byte for byte, and the keys typed: a line in line mode, others when one is awaited.
using Steps = std::vector<std::pair<std::string, std::string>>;

// Plays `work` at a new terminal of 100 columns and 30 lines, in line mode and without echo, and answers what it
// shows last. Nothing is waited for longer than ten seconds.
std::string play(const std::function<void(Console&)>& work, const Steps& steps) {
  const winsize size{30, 100, 0, 0};
  termios mode{};
  mode.c_cflag = CREAD | CS8;
  mode.c_lflag = ICANON | ISIG;
  mode.c_cc[VINTR] = 3;
  std::fflush(nullptr);
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, &mode, &size);
  if (child == 0) std::exit((work(Console::Get()), 0));

  std::string shown, expected;
  const auto readUntil = [&](std::size_t wanted) {
    pollfd input{terminal, POLLIN, 0};
    char buffer[4096];
    for (ssize_t count = 1; count > 0 && shown.size() < wanted;) {
      count = poll(&input, 1, 10'000) == 1 ? read(terminal, buffer, sizeof buffer) : 0;
      if (count > 0) shown.append(buffer, static_cast<std::size_t>(count));
    }
  };
  for (const auto& [text, keys] : steps) {
    expected += text;
    readUntil(expected.size());
    EXPECT_EQ(shown, expected);
    for (int waited = 0; waited < 10'000 && !keys.ends_with('\n'); ++waited, usleep(1000))
      if (tcgetattr(terminal, &mode) == 0 && (mode.c_lflag & ICANON) == 0) break;
    EXPECT_GT(write(terminal, keys.data(), keys.size()), 0);
  }
  readUntil(std::string::npos);
  close(terminal);
  EXPECT_EQ(support::statusOf(child), 0);
  return shown.substr(std::min(shown.size(), expected.size()));
}

// What stdin read ahead comes first.
TEST(Console, ReadsKeysAtATerminal) {
  const auto work = [](Console& console) {
    console.PrintLine("poll %d", console.PollKey(Console::FlagInterrupt));
    for (const std::uint32_t flags : {0u, 4u}) console.PrintLine("key %d", console.WaitKey(flags));
    console << support::thrownCode([&] { console.WaitKey(Console::FlagInterrupt); });
    console.SetFlags(Console::FlagEcho, true);
    console << support::thrownCode([&] { console.Ask("Go", "yn", 'n'); });
    tvk::StringBase<char> word;
    console.ReadLine(word);
    console.PrintLine("poll %d", console.PollKey());
  };
  const Steps steps = {{"poll 0\n", "\xFF"},
                       {"key 255\n", "\xA9"},
                       {"key 169\n", "\x03"},
                       {blankLine + "11Go (yn) [N]", "\x03"},
                       {"^C\n11", "word\n"}};
  EXPECT_EQ(play(work, steps), "poll 10\n");
}

TEST(Console, PausesWhenThePageIsFull) {
  struct Wordy : Console {
    void ShowPausePrompt() override { PrintLine("more"); }
  };
  const auto work = [](Console& console) {
    Wordy wordy;
    console.Init(Console::FlagPauses);
    for (int i = 0; i < 23; ++i) console.NewLine();
    console.Printf("%d.", console.LinesWritten());
    console.SetFlags(Console::FlagPage, false);
    for (int i = 0; i < 22; ++i) console.PrintLine("%s", "");
    for (const std::uint32_t count : {0u, 1u, 22u, 4'000'000'000u}) console.NeedLines(count);
    for (int i = 0; i < 30; ++i) wordy.NewLine();
    wordy.SetFlags(Console::FlagPage, true);
    wordy.NewLine();
  };
  const std::string prompt = "[Press any key to continue]";
  const Steps steps = {{std::string(23, '\n') + prompt, "x"},
                       {blankLine + "0." + std::string(22, '\n') + prompt, "x"},
                       {blankLine + prompt, "x"},
                       {blankLine + std::string(31, '\n') + "more\n", "x"}};
  EXPECT_EQ(play(work, steps), blankLine);
}

TEST(Console, ProgressLineAndSize) {
  const auto work = [](Console& console) {
    setlocale(LC_ALL, "de_DE.UTF-8");
    console.Progress("one\n%d", 10);
    console.Progress("two");
    console << "line\n";
    console.Progress("%s", (std::string(78, 'x') + "\xC3\xA4" + "z").c_str());
    console.ClearProgress();
    console.SetFlags(Console::FlagTerminalSize | Console::FlagEcho, true);
    console.Progress("silent");
    console.PrintLine("%d %ux%u", console.WritesToTerminal(), console.Width(), console.Height());
    const winsize unknown{0, 50, 0, 0};
    ioctl(STDOUT_FILENO, TIOCSWINSZ, &unknown);
    console.PrintLine("%d %u", console.TakeTerminalSize(), console.Width());
    console.SetFlags(Console::FlagEcho, false);
    console.Progress("end");
    Console::Destroy();
  };
  EXPECT_EQ(play(work, {}), "\rone 10\rtwo   \r   \rline\n\r" + std::string(78, 'x') + "\xC3\xA4" +
                                blankLine + "1 100x30\n0 100\n\rend\r   \r");
  EXPECT_EQ(transcript("", work), "line\n0 80x24\n0 80\n");
}

TEST(Console, ReadsWordsAndKeysFromOneInput) {
  const std::string big(1024 * 1024, 'b');
  const auto read = [](Console& console) {
    std::stringbuf copy;
    ConsoleStreamBuf::Get().SetCopyTarget(&copy);
    std::ostringstream seen;
    tvk::StringBase<char> word = "old";
    seen << console.PollKey() << ',' << console.ReadLine(word) << word << ',' << console.WaitKey() << ',';
    for (int i = 0; i < 5; ++i) seen << console.ReadLine(word) << word.substr(0, 3) << ',';
    seen << console.WaitKey() << console.PollKey() << ',' << copy.str();
    ConsoleStreamBuf::Get().SetCopyTarget(nullptr);
    console << seen.str();
  };
  EXPECT_EQ(transcript("\xFF \n one\x03two\v" + std::string("a\0b", 3) + "\n" + big + "cd  ", read),
            "255,7one\x03two,11,3" + std::string("a\0b", 3) + ",1048576bbb,2cd,0,0,-1-1,\xFF\v");
  EXPECT_EQ(transcript("\x03", [](Console& console) { console << console.WaitKey(); }), "3");
  const auto closed = support::inChild([] { return close(STDIN_FILENO) + 2 + Console::Get().WaitKey(); });
  EXPECT_EQ(closed.status, 1);
  EXPECT_EQ(closed.errors, "ICANON: Bad file descriptor\n");
}

TEST(Console, AsksUntilAnAnswerFits) {
  const std::tuple<const char*, char, std::string_view> rows[] = {
      {"y", 'n', "Go (ynQ) [N]\r\ny"},    {"?zq", 'N', "Go (ynQ) [N]\r\nQ"}, {"\n", 'q', "Go (ynQ) [Q]\r\nQ"},
      {"z\r", 'x', "Go (ynQ) [X]\r\nx"},  {"X", 'x', "Go (ynQ) [X]\r\nx"},   {"", 'N', "Go (ynQ) [N]\r\nn"},
      {"\n\xF9N", '\0', "Go (ynQ)\r\nn"}, {"\n", '\0', "Go (ynQ)\r\n\0"sv}};
  for (const auto& [input, choice, output] : rows) {
    const auto ask = [&, c = choice](Console& console) { console << console.Ask("Go", "ynQ", c); };
    EXPECT_EQ(transcript(input, ask), output);
  }
}

TEST(Console, FlagsAndSize) {
  const auto work = [](Console& console) {
    ConsoleStreamBuf& buffer = ConsoleStreamBuf::Get();
    std::ostringstream seen;
    buffer.SetOutputFunction([](const tvk::StringBase<char>& text) {
      if (text == "first\n") std::thread([] { Console::Get().PrintLine("no lock is held"); }).join();
    });
    console.PrintLine("first");
    console.Init(Console::FlagPage | Console::FlagNoTerminal);
    for (int i = 0; i < 40; ++i) console.NewLine();
    console.NeedLines(100);
    console.ClearLine(false);
    seen << console.Width() << console.Height() << ' ' << console.LinesWritten();
    buffer.SetOutputFunction(nullptr);
    seen << ' ' << console.WaitKey();
    console.Init(Console::FlagNoTerminal);
    console.SetFlags(Console::FlagEcho | Console::FlagSystemLog, true);
    seen << ' ' << console.PollKey() << console.Ask("Go", "yn", 'N');
    console.SetFlags(Console::FlagPauses | Console::FlagEcho | Console::FlagSystemLog, false);
    seen << ' ' << console.WaitKey() << ' ' << console.LinesWritten() << ' ' << console.Width();
    console << seen.str();
    Console().Init(Console::FlagNoTerminal);
    console << "nowhere";
  };
  EXPECT_EQ(transcript("xy", work), "00 40 120 -1n 121 40 80");
}

TEST(Console, FormatsTextsOfEverySize) {
  for (const std::size_t size : {0u, 1u, 511u, 512u, 513u, 100'000u}) {
    const std::string text(size, 'x');
    const auto work = [&](Console& console) {
      console.Printf("%s", text.c_str());
      console.PrintLine("%s|", text.c_str());
      s_isMemoryShort = true;
      console << support::thrownCode([&] { console.Printf("%s", text.c_str()); });
      const char* const none = nullptr;
      console.Printf(none);
      console.Printf("a%lsb", L"\x20AC");
      std::exit(console.rdstate() == std::ios::failbit ? 0 : (std::puts("no fail bit"), 1));
    };
    EXPECT_EQ(transcript("", work), text + text + "|\n" + (size < 512 ? text + "0" : "1014"));
  }
}

// With a copy and through another buffer, neither of which guards anything; tests/stress has standard output.
TEST(Console, LinesOfSeveralThreadsStayWhole) {
  struct Unguarded : std::stringbuf {
    std::streamsize xsputn(const char* text, std::streamsize n) override {
      std::stringbuf::xsputn(text, n);
      return std::this_thread::yield(), n;
    }
  };
  support::inOwnProcess([] {
    Console& console = Console::Get();
    auto& kept = *new Unguarded;
    ConsoleStreamBuf::Get().SetCopyTarget(&kept);
    for (int round = 0; round < 2; ++round, console.rdbuf(&kept)) {
      std::vector<std::jthread> threads;
      for (const char letter : {'a', 'b', 'c', 'd'})
        threads.emplace_back([&console, letter] {
          for (int i = 0; i < 500; ++i) console.PrintLine("%s", std::string(30, letter).c_str());
        });
    }
    std::istringstream lines(kept.str());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) EXPECT_EQ(line, std::string(30, line[0]));
    EXPECT_EQ(count, 4000);
  });
}

}  // namespace
