#include <tvk/console/Console.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <new>
#include <sstream>
#include <thread>
#include <vector>

#include "support/Pty.h"
#include "support/Support.h"

namespace {

bool s_isMemoryShort = false;

}  // namespace

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return s_isMemoryShort ? nullptr : ::operator new[](size);
}

namespace {

using support::ChildResult;
using support::Pty;
using tvk::Console;

const std::string blankLine(79, ' ');
const std::string prompt = "[Press any key to continue]";

// Runs `work` in a process of its own whose standard input holds `text`; without one it is closed.
ChildResult withInput(std::optional<std::string> text, const std::function<void(Console&)>& work) {
  return support::inChild([&] {
    close(STDIN_FILENO);
    int ends[2];
    if (text && pipe(ends) == 0) {
      EXPECT_EQ(write(ends[1], text->data(), text->size()), static_cast<ssize_t>(text->size()));
      close(ends[1]);
    }
    work(Console::Get());
    return testing::Test::HasFailure() ? 1 : 0;
  });
}

// The code of the abort that `work` ends in, as text.
std::string aborted(const std::function<void()>& work) {
  try {
    work();
  } catch (const tvk::AbortException& e) {
    return std::to_string(e.GetCode()) + e.First() + e.Second() + e.Third();
  }
  return "none";
}

TEST(Console, ReadsKeysAtATerminalAndPutsItBack) {
  Pty pty([] {
    Console& console = Console::Get();
    console.PrintLine("poll %d", console.PollKey(Console::FlagInterrupt));
    for (const std::uint32_t flags : {0u, 4u, 4u}) console.PrintLine("key %d", console.WaitKey(flags));
    for (const std::uint32_t flags : {0u, Console::FlagEcho}) {
      console.SetFlags(flags, true);
      console.PrintLine("abort %s", aborted([&] { console.WaitKey(Console::FlagInterrupt); }).c_str());
    }
    console.PrintLine("abort %s", aborted([&] { console.Ask("Go", "yn", 'n'); }).c_str());
    tvk::StringBase<char> word;
    console.ReadLine(word);
    console.PrintLine("poll %d", console.PollKey());
    console.WaitKey();
    return 0;
  });
  const termios before = pty.attributes();
  EXPECT_EQ(pty.readUntil("poll 0\n"), "poll 0\n");
  termios expected = before;
  expected.c_lflag &= ~static_cast<tcflag_t>(ICANON);
  expected.c_cc[VMIN] = 1;
  expected.c_cc[VTIME] = 0;
  EXPECT_TRUE(support::sameAttributes(pty.typeAtPrompt("\xFF"), expected));
  EXPECT_EQ(pty.readUntil("\n"), "key 255\n");
  expected.c_cc[VINTR] = _POSIX_VDISABLE;
  EXPECT_TRUE(support::sameAttributes(pty.typeAtPrompt("\xA9"), expected));
  EXPECT_EQ(pty.readUntil("\n"), "key 169\n");
  pty.typeAtPrompt("\r");
  EXPECT_EQ(pty.readUntil("\n"), "key 13\n");
  pty.typeAtPrompt("\x03");
  EXPECT_EQ(pty.readUntil("\n"), "\r" + blankLine + "\rabort 11\n");
  pty.typeAtPrompt("\x03");
  EXPECT_EQ(pty.readUntil("abort 11\n"), "^C\nabort 11\n");
  pty.typeAtPrompt("\x03");
  EXPECT_EQ(pty.readUntil("abort 11\n"), "Go (yn) [N]^C\nabort 11\n");
  EXPECT_TRUE(support::sameAttributes(pty.attributes(), before));
  pty.type("word\n");
  EXPECT_EQ(pty.readUntil("\n"), "poll 10\n") << "what stdin read ahead comes first";
  pty.typeAtPrompt("\x03");
  EXPECT_EQ(pty.finish(), 128 + SIGINT) << "without the flag nothing is done about signals";
}

TEST(Console, PausesWhenThePageIsFull) {
  Pty pty([] {
    struct Wordy : Console {
      void ShowPausePrompt() override { PrintLine("more"); }
    } wordy;
    Console& console = Console::Get();
    console.Init(Console::FlagPauses);
    for (int i = 0; i < 23; ++i) console.PrintLine("%d", i);
    console.Printf("%d.", console.LinesWritten());
    console.SetFlags(Console::FlagPage, false);
    for (int i = 0; i < 22; ++i) console.NewLine();
    console.NeedLines(0);
    console.NeedLines(1);
    console.NeedLines(22);
    console.NeedLines(4'000'000'000u);
    for (int i = 0; i < 30; ++i) wordy.NewLine();
    wordy.SetFlags(Console::FlagPage, true);
    wordy.NewLine();
    return 0;
  });
  std::string page;
  for (int i = 0; i < 23; ++i) page += std::to_string(i) + "\n";
  EXPECT_EQ(pty.readUntil(prompt), page + prompt);
  pty.typeAtPrompt("x");
  const std::string cleared = "\r" + blankLine + "\r";
  EXPECT_EQ(pty.readUntil(prompt), cleared + "0." + std::string(22, '\n') + prompt);
  pty.typeAtPrompt("x");
  EXPECT_EQ(pty.readUntil(prompt), cleared + prompt) << "22 lines fill no page, 4 milliards do";
  pty.typeAtPrompt("x");
  EXPECT_EQ(pty.readUntil("more\n"), cleared + std::string(31, '\n') + "more\n");
  pty.typeAtPrompt("x");
  EXPECT_EQ(pty.finish(), 0);
}

TEST(Console, ProgressLineAndSize) {
  const auto work = [] {
    setlocale(LC_ALL, "de_DE.UTF-8");
    Console& console = Console::Get();
    const bool isTerminal = console.WritesToTerminal();
    console.Progress("one\n%d", 10);
    console.Progress("two");
    console << "line\n";
    console.Progress("%s", (std::string(78, 'x') + "\xC3\xA4" + "z").c_str());
    console.ClearProgress();
    console.SetFlags(Console::FlagTerminalSize, true);
    console.PrintLine("%d %ux%u", isTerminal, console.Width(), console.Height());
    console.Progress("left");
    console.ClearLine(false);
    console.SetFlags(Console::FlagEcho, true);
    console.Progress("silent");
    console.SetFlags(Console::FlagEcho, false);
    console.Progress("end");
    Console::Destroy();
    return 0;
  };
  std::string output;
  EXPECT_EQ(Pty(work).finish(&output), 0);
  EXPECT_EQ(output, "\rone 10\rtwo   \r   \rline\n\r" + std::string(78, 'x') + "\xC3\xA4\r" + blankLine +
                        "\r1 100x30\n\rleft\r" + std::string(99, ' ') + "\r\rend\r   \r");
  EXPECT_EQ(support::inChild(work).output, "line\n0 80x24\n" + blankLine + "\r");
}

// A process in the background may poll: changing the terminal would stop it.
TEST(Console, LeavesTheTerminalAloneInTheBackground) {
  Pty pty([] {
    const pid_t child = fork();
    if (child == 0) {
      setpgid(0, 0);
      _exit(10 + Console::Get().PollKey(Console::FlagInterrupt));
    }
    int status = 0;
    waitpid(child, &status, WUNTRACED);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
  });
  EXPECT_EQ(pty.finish(), 10);
}

TEST(Console, ReadsWordsAndKeysFromOneInput) {
  const std::string big(1024 * 1024, 'b');
  support::ScopedFolder folder;
  support::writeWhole(folder / "in", " \n one\ttwo\v" + std::string("a\0b", 3) + "\n" + big + "cd  ");
  const auto done = withInput(std::nullopt, [&](Console& console) {
    ASSERT_EQ(open((folder / "in").c_str(), O_RDONLY), STDIN_FILENO);
    EXPECT_EQ(console.PollKey(), ' ') << "from the file itself";
    tvk::StringBase<char> word = "old";
    EXPECT_EQ(console.ReadLine(word), 3u);
    EXPECT_EQ(word, "one");
    EXPECT_EQ(console.WaitKey(), '\t');
    EXPECT_EQ(console.PollKey(), 't');
    EXPECT_EQ(console.ReadLine(word), 2u);
    EXPECT_EQ(console.ReadLine(word), 3u);
    EXPECT_EQ(console.ReadLine(word), big.size());
    EXPECT_EQ(word, big);
    EXPECT_EQ(console.ReadLine(word), 2u);
    EXPECT_EQ(word, "cd");
    EXPECT_EQ(console.ReadLine(word), 0u);
    EXPECT_EQ(word, "");
    EXPECT_EQ(console.WaitKey(), -1);
    EXPECT_EQ(console.PollKey(), -1);
  });
  EXPECT_EQ(done.status, 0) << done.output;

  const auto closed = withInput(std::nullopt, [](Console& console) { EXPECT_EQ(console.WaitKey(), -1); });
  EXPECT_EQ(closed.status, 0) << closed.output;
  EXPECT_EQ(closed.errors, "ICANON: Bad file descriptor\n");
}

TEST(Console, AsksUntilAnAnswerFits) {
  const struct {
    const char* input;
    char defaultChoice;
    char answer;
    const char* output;
  } rows[] = {
      {"y", 'n', 'y', "Go (ynQ) [N]\r\n"},    {"?zq", 'N', 'Q', "Go (ynQ) [N]\r\n"},
      {"\n", 'q', 'Q', "Go (ynQ) [Q]\r\n"},   {"z\r", 'x', 'x', "Go (ynQ) [X]\r\n"},
      {"X", 'x', 'x', "Go (ynQ) [X]\r\n"},    {"", 'N', 'n', "Go (ynQ) [N]\r\n"},
      {"\n\xF9", '\0', '\0', "Go (ynQ)\r\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.input);
    const auto done = withInput(row.input, [&](Console& console) {
      EXPECT_EQ(console.Ask("Go", "ynQ", row.defaultChoice), row.answer);
    });
    EXPECT_EQ(done.status, 0) << done.output;
    EXPECT_EQ(done.output, row.output);
  }
}

TEST(Console, FlagsAndSize) {
  const auto done = withInput("xyz", [](Console& console) {
    tvk::ConsoleStreamBuf& buffer = tvk::ConsoleStreamBuf::Get();
    buffer.SetOutputFunction([](const tvk::StringBase<char>& text) {
      if (text == "again\n") std::thread([] { Console::Get().PrintLine("no lock is held"); }).join();
    });
    console.PrintLine("again");
    console.Init(Console::FlagPage | Console::FlagNoTerminal);
    for (int i = 0; i < 40; ++i) console.NewLine();
    console.NeedLines(100);
    console.ClearLine(false);
    EXPECT_EQ(console.Width(), 0u);
    EXPECT_EQ(console.LinesWritten(), 40);
    EXPECT_TRUE(console.Paging() && !console.NoInput() && buffer.ToTerminal());
    buffer.SetOutputFunction(nullptr);

    EXPECT_EQ(console.WaitKey(), 'x');
    EXPECT_EQ(console.Width(), 80u);
    EXPECT_EQ(console.Height(), 24u);
    EXPECT_EQ(console.LinesWritten(), 40);
    console.Init(Console::FlagNoTerminal);
    EXPECT_FALSE(console.NoInput()) << "only the first initialisation counts";
    console.SetFlags(Console::FlagPage | Console::FlagEcho | Console::FlagSystemLog, true);
    EXPECT_TRUE(console.EchoMode() && buffer.ToSystemLog() && buffer.ThirdFlag());
    tvk::StringBase<char> word = "old";
    EXPECT_EQ(console.PollKey(), -1);
    EXPECT_EQ(console.ReadLine(word), 0u);
    EXPECT_EQ(console.Ask("Go", "yn", 'N'), 'n');
    console.SetFlags(Console::FlagPauses | Console::FlagEcho | Console::FlagSystemLog, false);
    EXPECT_FALSE(console.Paging() || console.EchoMode() || buffer.ToSystemLog() || console.NoInput());
    console.Printf("%d", console.WaitKey());

    Console other;
    other.Init(Console::FlagSystemLog | Console::FlagNoTerminal);
    EXPECT_TRUE(other.NoInput() && !buffer.ThirdFlag() && !buffer.ToTerminal());
    EXPECT_EQ(other.WaitKey(), -1);
    buffer.SetToSystemLog(false);
    console.Printf("nowhere");
  });
  EXPECT_EQ(done.status, 0) << done.output;
  EXPECT_EQ(done.output, "121");
  EXPECT_EQ(done.errors, "");
}

TEST(Console, FormatsTextsOfEverySize) {
  for (const int size : {0, 1, 511, 512, 513, 100'000}) {
    SCOPED_TRACE(size);
    const std::string text(static_cast<std::size_t>(size), 'x');
    const auto done = withInput("", [&](Console& console) {
      console.Printf("%s", text.c_str());
      console.PrintLine("%s|", text.c_str());
      std::ostringstream other;
      std::streambuf* const own = console.rdbuf(other.rdbuf());
      console.PrintLine("%s", text.c_str());
      EXPECT_EQ(other.str(), text + "\n");
      console.rdbuf(own);
      s_isMemoryShort = true;
      EXPECT_EQ(support::thrownCode([&] { console.Printf("%s", text.c_str()); }), size < 512 ? 0 : 1014);
      s_isMemoryShort = false;
      const char* const none = nullptr;
      console.Printf(none);
    });
    EXPECT_EQ(done.status, 0) << done.output;
    EXPECT_EQ(done.output, text + text + "|\n" + (size < 512 ? text : ""));
  }
  const auto done = withInput("", [](Console& console) {
    console.Printf("a%lsb", L"\x20AC");
    EXPECT_EQ(console.rdstate(), std::ios::failbit);
    console.clear();
    console.Interrupted();
  });
  EXPECT_EQ(done.status, 97);
  EXPECT_EQ(done.output, blankLine + "\r");
  EXPECT_EQ(done.errors.substr(0, 10), "\rescaped: ");
}

TEST(Console, LinesOfSeveralThreadsStayWhole) {
  const auto done = withInput("", [](Console& console) {
    std::ostringstream copy;
    tvk::ConsoleStreamBuf::Get().SetCopyTarget(copy.rdbuf());
    const auto printLines = [&] {
      std::vector<std::thread> threads;
      for (const char letter : {'a', 'b', 'c', 'd'}) {
        threads.emplace_back([&, letter] {
          for (int i = 0; i < 500; ++i) console.PrintLine("%s", std::string(30, letter).c_str());
        });
      }
      for (std::thread& thread : threads) thread.join();
    };
    printLines();
    tvk::ConsoleStreamBuf::Get().SetCopyTarget(nullptr);
    struct Unguarded : std::stringbuf {
      std::streamsize xsputn(const char* text, std::streamsize n) override {
        std::stringbuf::xsputn(text, n);
        std::this_thread::yield();
        return n;
      }
    } other;
    std::streambuf* const own = console.rdbuf(&other);
    printLines();
    console.rdbuf(own);
    EXPECT_EQ(console.LinesWritten(), 4000);
    console << "=" << copy.str() << other.str();
  });
  const std::size_t half = done.output.find('=');
  ASSERT_NE(half, std::string::npos);
  ASSERT_EQ(done.status, 0) << done.output;
  EXPECT_EQ(done.output.substr(0, half), done.output.substr(half + 1, half)) << "both in the same order";
  std::istringstream lines(done.output.substr(half + 1));
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) EXPECT_EQ(line, std::string(30, line[0]));
  EXPECT_EQ(count, 4000);
}

TEST(Console, KeysAreEchoedToTheCopyTarget) {
  const auto done = withInput("a\xFF\x03\r", [](Console& console) {
    struct Counter : std::stringbuf {
      int sync() override { return ++flushes, 0; }
      int flushes = 0;
    } copy;
    tvk::ConsoleStreamBuf::Get().SetCopyTarget(&copy);
    while (console.PollKey() > 0) {
    }
    EXPECT_EQ(copy.str(), "a\xFF\x03\r") << "the flag makes Ctrl-C special";
    EXPECT_EQ(copy.flushes, 1);
    tvk::ConsoleStreamBuf::Get().SetCopyTarget(nullptr);
  });
  EXPECT_EQ(done.status, 0) << done.output;
}

}  // namespace
