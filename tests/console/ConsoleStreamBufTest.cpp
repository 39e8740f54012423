#include <tvk/console/Console.h>
#include <tvk/console/ConsoleStreamBuf.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdarg>
#include <memory>

#include "support/Support.h"

namespace {

std::string s_events;

void collect(const tvk::StringBase<char>& text) { s_events += "(" + text + ")"; }
void print(const tvk::StringBase<char>& text) { std::printf("<%s>", text.c_str()); }

// Shows each piece and each flush, or writes back what it gets.
struct Recorder : std::streambuf {
  std::streamsize xsputn(const char* text, std::streamsize n) override {
    if (back != nullptr) return back->sputn(text, n);
    return s_events += "[" + std::string(text, static_cast<std::size_t>(n)) + "]", n;
  }
  int sync() override { return s_events += "!", 0; }
  std::streambuf* back = nullptr;
};

}  // namespace

// In place of the C library's: what the library logs.
extern "C" void syslog(int priority, const char* format, ...) {
  va_list values;
  va_start(values, format);
  s_events += "{" + std::to_string(priority) + format + va_arg(values, const char*) + "}";
  va_end(values);
}
extern "C" void openlog(const char* name, int option, int facility) {
  s_events += std::string("{") + name + std::to_string(option | facility) + "}";
}

namespace {

class ConsoleStreamBufTest : public testing::Test {
 protected:
  std::string Events() { return std::exchange(s_events, {}); }

  Recorder m_recorder;
  tvk::ConsoleStreamBuf m_buffer;
  std::ostream m_stream{&m_buffer};
};

TEST_F(ConsoleStreamBufTest, CollectsForTheOutputFunction) {
  const std::string most(200, 'x');
  m_buffer.SetOutputFunction(&collect);
  m_stream << most;
  EXPECT_EQ(Events(), "") << "200 wait";
  for (const char* piece : {"y", "one\ntwo", "\xFF", "\n", "rest"}) m_stream << piece;
  EXPECT_EQ(Events(), "(" + most + "y)(one\ntwo\xFF\n)") << "only the end of a text counts";
  m_stream.write("a\0b\n", 4);
  m_buffer.PutLine(most + "\n");
  m_buffer.PutLine(most + "z\n");
  EXPECT_EQ(Events(), "(resta" + std::string(1, '\0') + "b\n)(" + most + "\n)(" + most + "z)(\n)");
}

TEST_F(ConsoleStreamBufTest, CopiesEachPieceAndFlushesByTheColumn) {
  const std::string line(79, 'x');
  m_buffer.SetToTerminal(false);
  EXPECT_TRUE(m_buffer.SetCopyTarget(&m_recorder) && !m_buffer.SetCopyTarget(&m_buffer));
  for (const char* piece : {"a\nb", "c\r", "d", "\n", line.c_str()}) m_stream << piece;
  EXPECT_EQ(tvk::ConsoleStreamBuf::CopyColumn(), 79);
  m_buffer.EchoKey('k');
  m_stream << line << line << 'y';
  EXPECT_EQ(Events(), "[a\nb][c\r]![d][\n]![" + line + "][k]![" + line + "][" + line + "]![y]");
  m_buffer.SetOutputFunction(&collect);
  m_buffer.PutLine("z\n");
  EXPECT_EQ(Events(), "[z](z\n)[\n]!") << "the function comes before the copy";
  m_recorder.back = &m_buffer;
  m_stream << "a\n";
  EXPECT_EQ(Events(), "(a\n)(a\n)!") << "a copy that leads back ends";
}

TEST_F(ConsoleStreamBufTest, LogsWhatIsCollected) {
  const std::string most(64 * 1024 - 1, 'x');
  m_buffer.SetToSystemLog(true);
  for (const char* piece : {"50%", "s\nb\n", "c", most.c_str(), most.c_str()}) m_stream << piece;
  EXPECT_EQ(Events(), "{6%s50%s\nb\n}{6%sc" + most + "}");
  m_buffer.PutLine("\n\n");
  EXPECT_EQ(Events(), "{6%s" + most + "\n}{6%s\n}") << "the second for the line end alone";
  const std::string shown = support::inOwnProcess([] {
    tvk::Console console;
    console.Init(tvk::Console::FlagSystemLog);
    console.PrintLine("%d%d", 1, console.WaitKey());
    EXPECT_TRUE(s_events == "{console_tests10}{6%s1-1\n}" && !tvk::ConsoleStreamBuf::Get().ThirdFlag());
  });
  EXPECT_EQ(shown, "");
}

// That an error is kept is seen in tests/faults.
TEST_F(ConsoleStreamBufTest, WritesExactBytesAtOnce) {
  const std::string bytes = std::string("a\0%d\xFF", 5) + std::string(100'000, 'x');
  const auto done = support::inChild([&]() -> int {
    m_stream << bytes;
    _exit(m_stream.rdbuf()->sputc('\xFF') == 255 && m_buffer.sputn(nullptr, 7) == 7 ? 0 : 1);
  });
  EXPECT_EQ(done.status, 0);
  EXPECT_EQ(done.output, bytes + "\xFF");
}

// The service takes over the buffer that somebody needed before it; whoever writes after it finds it as new.
TEST_F(ConsoleStreamBufTest, LivesAsLongAsItsService) {
  const std::string shown = support::inOwnProcess([] {
    using tvk::Console, tvk::ConsoleStreamBuf;
    tvk::AutoInit<ConsoleStreamBuf> service;
    service.Exit();
    ConsoleStreamBuf::Get().SetOutputFunction(&print);
    std::make_unique<Console>();  // gone before the buffer
    Console own;
    std::iostream other(nullptr);
    ConsoleStreamBuf::Get().Attach(other);
    other.exceptions(std::ios::badbit);  // does not stop the end of the buffer
    for (int i = 0; i < 2; ++i) service.Init();
    Console::Get() << "first";
    for (int i = 0; i < 2; ++i) service.Exit();
    EXPECT_TRUE(ConsoleStreamBuf::Existing() == nullptr && other.rdbuf() == nullptr);
    Console::Get() << ", second";
    own.Printf(", third");
    ConsoleStreamBuf::Get().SetOutputFunction(&print);
    Console::Get() << ", last";
    for (int i = 0; i < 2; ++i) Console::Destroy();
    EXPECT_EQ(Console::Existing(), nullptr);
  });
  EXPECT_EQ(shown, "<first>, second, third<, last>");
}

}  // namespace
