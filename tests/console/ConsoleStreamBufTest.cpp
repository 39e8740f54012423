#include <tvk/console/Console.h>
#include <tvk/console/ConsoleStreamBuf.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <memory>
#include <ostream>
#include <thread>
#include <vector>

#include "support/Support.h"

namespace {

std::vector<std::string> s_logged;
std::string s_events;

void collect(const tvk::StringBase<char>& text) { s_events += "(" + text + ")"; }

// Shows each piece and each flush.
struct Recorder : std::streambuf {
  std::streamsize xsputn(const char* text, std::streamsize n) override {
    s_events += "[" + std::string(text, static_cast<std::size_t>(n)) + "]";
    return n;
  }
  int sync() override {
    s_events += "!";
    return 0;
  }
};

}  // namespace

// In place of the C library's: what the library logs.
extern "C" void syslog(int priority, const char* format, ...) {
  va_list values;
  va_start(values, format);
  s_logged.push_back(std::to_string(priority) + format + va_arg(values, const char*));
  va_end(values);
}

extern "C" void openlog(const char* name, int option, int facility) {
  s_logged.push_back("open " + std::string(name) + " " + std::to_string(option | facility));
}

namespace {

class ConsoleStreamBufTest : public testing::Test {
 protected:
  void SetUp() override {
    s_events.clear();
    s_logged.clear();
  }
  std::string Events() { return std::exchange(s_events, {}); }

  Recorder m_recorder;  // outlives the buffer
  tvk::ConsoleStreamBuf m_buffer;
  std::ostream m_stream{&m_buffer};
};

TEST_F(ConsoleStreamBufTest, CollectsForTheOutputFunction) {
  m_buffer.SetOutputFunction(&collect);
  const std::string text(200, 'x');
  m_stream << text;
  EXPECT_EQ(Events(), "") << "200 wait";
  m_stream << 'y';
  EXPECT_EQ(Events(), "(" + text + "y)") << "201 do not";
  m_stream << "one\ntwo" << '\xFF' << "\n"
           << "rest";
  EXPECT_EQ(Events(), "(one\ntwo\xFF\n)") << "only the end of a text counts";
  m_stream.write("a\0b\n", 4);
  EXPECT_EQ(Events(), "(resta" + std::string(1, '\0') + "b\n)");
  m_buffer.PutLine(text + "\n");
  EXPECT_EQ(Events(), "(" + text + "\n)");
  m_buffer.PutLine(text + "z\n");
  EXPECT_EQ(Events(), "(" + text + "z)(\n)") << "text and line end are two pieces";

  m_buffer.SetOutputFunction([](const tvk::StringBase<char>&) { throw std::runtime_error("full"); });
  m_stream << "lost\n";
  EXPECT_TRUE(m_stream.bad());
  m_stream.clear();
  m_buffer.SetOutputFunction(&collect);
  m_stream << "end";
  m_buffer.HandOver();
  EXPECT_EQ(Events(), "(end)");
}

TEST_F(ConsoleStreamBufTest, CopiesEachPieceAndFlushesByTheColumn) {
  m_buffer.SetToTerminal(false);
  ASSERT_TRUE(m_buffer.SetCopyTarget(&m_recorder));
  EXPECT_FALSE(m_buffer.SetCopyTarget(&m_buffer));
  EXPECT_EQ(m_buffer.CopyTarget(), &m_recorder);
  m_stream << "a\nb"
           << "c\r"
           << "d"
           << "\n";
  EXPECT_EQ(Events(), "[a\nb][c\r]![d][\n]!");
  const std::string text(79, 'x');
  m_stream << text;
  EXPECT_EQ(tvk::ConsoleStreamBuf::CopyColumn(), 79);
  EXPECT_EQ(Events(), "[" + text + "]");
  m_buffer.EchoKey('k');
  EXPECT_EQ(Events(), "[k]!");
  m_stream << text << text << 'y';
  EXPECT_EQ(Events(), "[" + text + "][" + text + "]![y]");
  EXPECT_EQ(tvk::ConsoleStreamBuf::CopyColumn(), 1);
  m_buffer.SetOutputFunction(&collect);
  m_buffer.PutLine("z\n");
  EXPECT_EQ(Events(), "[z](z\n)[\n]!") << "the function comes before the copy";
}

// A copy target that writes to the console again is not copied for ever.
TEST_F(ConsoleStreamBufTest, CopyThatLeadsBackEnds) {
  struct Loop : std::streambuf {
    explicit Loop(std::streambuf& start) : back(start) {}
    std::streamsize xsputn(const char* text, std::streamsize n) override { return back.sputn(text, n); }
    std::streambuf& back;
  } loop(m_buffer);
  m_buffer.SetOutputFunction(&collect);
  m_buffer.SetCopyTarget(&loop);
  m_stream << "a\n";
  EXPECT_EQ(Events(), "(a\n)(a\n)");
}

TEST_F(ConsoleStreamBufTest, LogsLinesAsCollected) {
  m_buffer.SetToSystemLog(true);
  const std::string most(64 * 1024 - 1, 'x');
  m_stream << "50%"
           << "s\nb\n"
           << "c" << most;
  EXPECT_THAT(s_logged, testing::ElementsAre("6%s50%s\nb\n", "6%sc" + most));
  s_logged.clear();
  m_stream << most;
  m_buffer.PutLine("\n\n");
  EXPECT_EQ(s_logged.size(), 2u) << "the second for the line end alone";
  m_stream << "rest";
  m_buffer.HandOver();
  EXPECT_EQ(s_logged.back(), "6%srest");
}

TEST_F(ConsoleStreamBufTest, ConsoleOpensTheLogUnderTheProgramsName) {
  const auto done = support::inChild([] {
    tvk::Console console;
    console.Init(tvk::Console::FlagSystemLog);
    console.PrintLine("%d\n", 1);
    EXPECT_EQ(console.WaitKey(), -1);
    EXPECT_THAT(s_logged, testing::ElementsAre("open console_tests 10", "6%s1\n", "6%s\n"));
    return testing::Test::HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(done.status, 0) << done.output;
  EXPECT_EQ(done.output, "");
}

TEST_F(ConsoleStreamBufTest, WritesExactBytesAndKeepsTheError) {
  const auto done = support::inChild([&]() -> int {
    m_stream.write("a\0%d\xFF", 5) << std::string(100'000, 'x') << '\xFF' << std::flush;
    const bool isEof = m_stream.rdbuf()->sputc('\xFF') != 255;
    m_stream.write(nullptr, 7);
    _exit(isEof || m_buffer.WriteError() != 0);  // nothing waits for the end of the process
  });
  EXPECT_EQ(done.status, 0);
  EXPECT_EQ(done.output, std::string("a\0%d\xFF", 5) + std::string(100'000, 'x') + "\xFF\xFF");

  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  const struct {
    int descriptor;
    int error;
  } rows[] = {{open("/dev/full", O_WRONLY), ENOSPC}, {ends[1], EPIPE}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.error);
    const auto failed = support::inChild([&]() -> int {
      signal(SIGPIPE, SIG_IGN);
      dup2(row.descriptor, STDOUT_FILENO);
      const bool isCounted = m_buffer.sputn("abc", 3) == 3;
      const int error = m_buffer.WriteError();
      m_buffer.ClearWriteError();
      _exit(isCounted && error == row.error && m_buffer.WriteError() == 0 ? 0 : 1);
    });
    EXPECT_EQ(failed.status, 0);
    close(row.descriptor);
  }
}

TEST_F(ConsoleStreamBufTest, PiecesOfSeveralThreadsStayWhole) {
  m_buffer.SetOutputFunction([](const tvk::StringBase<char>& text) {
    if (text != std::string(text.size() - 1, text[0]) + "\n") std::abort();
  });
  std::vector<std::thread> threads;
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    threads.emplace_back([this, letter] {
      for (int i = 0; i < 2000; ++i) m_buffer.PutLine(std::string(100, letter) + "\n");
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// The service takes over the buffer that somebody needed before it; whoever writes after it gets a new one.
TEST_F(ConsoleStreamBufTest, LivesAsLongAsItsService) {
  const auto done = support::inChild([] {
    tvk::AutoInit<tvk::ConsoleStreamBuf> service;
    service.Exit();
    tvk::ConsoleStreamBuf* const first = &tvk::ConsoleStreamBuf::Get();
    std::make_unique<tvk::Console>();  // gone before the buffer
    tvk::Console own;
    own.exceptions(std::ios::badbit);  // does not stop the end of the buffer
    service.Init();
    service.Init();
    EXPECT_EQ(tvk::ConsoleStreamBuf::Existing(), first);
    tvk::Console::Get().Init(tvk::Console::FlagPage);
    first->SetOutputFunction([](const tvk::StringBase<char>& text) { std::fputs(text.c_str(), stdout); });
    tvk::Console::Get() << "first";
    service.Exit();
    service.Exit();
    EXPECT_EQ(tvk::ConsoleStreamBuf::Existing(), nullptr);
    EXPECT_EQ(own.rdbuf(), nullptr);
    tvk::Console::Get() << ", second";
    own.Printf(", third");
    tvk::ConsoleStreamBuf::Existing()->SetOutputFunction(
        [](const tvk::StringBase<char>& text) { std::printf("<%s>", text.c_str()); });
    tvk::Console::Get() << ", last";
    tvk::Console::Destroy();
    EXPECT_EQ(tvk::Console::Existing(), nullptr);
    tvk::Console::Destroy();
    return testing::Test::HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(done.status, 0) << done.output << done.errors;
  EXPECT_EQ(done.output, "first, second, third<, last>");
}

}  // namespace
