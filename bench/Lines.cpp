// Short lines are written to standard output and flushed one by one, in one piece and in several: to /dev/null and into
// a pipe.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <utility>

#include <tvk/console/Console.h>

#include "Output.h"
#include "Sides.h"

#ifdef BENCH_FMT
#include <fmt/core.h>
#endif

namespace {

const int s_count = bench::scaled(10'000);

// Writes the lines. The first call, whose answer is compared, writes into a file and answers what stands in it.
template <class Line>
auto lines(int to, Line line) {
  return [to, line, isFirst = true]() mutable {
    std::string text;
    if (std::exchange(isFirst, false)) {
      std::FILE* const file = std::tmpfile();
      if (file == nullptr) std::abort();
      {
        const bench::Output output(fileno(file));
        for (int i = 0; i < 20; ++i) line(i);
      }
      text.resize(4096);
      text.resize(
          static_cast<std::size_t>(std::max<ssize_t>(pread(fileno(file), text.data(), text.size(), 0), 0)));
      std::fclose(file);
    } else {
      const bench::Output output(to);
      for (int i = 0; i < s_count; ++i) line(i);
    }
    return text;
  };
}

void printfSide(bench::Question<std::string>& ask, int to) {
  ask.side("printf + fflush", lines(to, [](int i) {
             std::printf("line %d of %d\n", i, s_count);
             std::fflush(stdout);
           }));
}

// A line that is made first, as for a stream that writes each piece at once.
class Line {
 public:
  explicit Line(int i) : m_length(std::snprintf(m_text, sizeof m_text, "line %d of %d\n", i, s_count)) {}
  operator std::string_view() const { return {m_text, static_cast<std::size_t>(m_length)}; }

 private:
  char m_text[40];
  int m_length;
};

// Each line is one piece.
void wholeLines(const std::string& question, int to) {
  const auto asked = [&](const char* way) {
    bench::Question<std::string> ask(question, way);
    ask.items(s_count);
    return ask;
  };
  auto printLine = asked("PrintLine");
  printLine.side("tvk", lines(to, [](int i) { tvk::Console::Get().PrintLine("line %d of %d", i, s_count); }));
  printfSide(printLine, to);
#ifdef BENCH_FMT
  printLine.side("fmt", lines(to, [](int i) {
                   fmt::print("line {} of {}\n", i, s_count);
                   std::fflush(stdout);
                 }));
#endif
  auto printf = asked("Printf");
  printf.side("tvk", lines(to, [](int i) { tvk::Console::Get().Printf("line %d of %d\n", i, s_count); }));
  printfSide(printf, to);
  auto stream = asked("stream");
  stream.side("tvk", lines(to, [](int i) { tvk::Console::Get() << std::string_view(Line(i)); }));
  stream.side("std::cout", lines(to, [](int i) { std::cout << std::string_view(Line(i)) << std::flush; }));
  printfSide(stream, to);
}

// Each piece is written at once, which is what the console's stream promises: a prompt without a line end is seen.
void pieces(const std::string& question, int to) {
  bench::Question<std::string> ask(question);
  ask.items(s_count);
  ask.side("tvk",
           lines(to, [](int i) { tvk::Console::Get() << "line " << i << " of " << s_count << std::endl; }));
  ask.side("std::cout, unitbuf", lines(to, [](int i) {
             std::cout << std::unitbuf << "line " << i << " of " << s_count << std::endl << std::nounitbuf;
           }));
  ask.side("printf + fflush", lines(to, [](int i) {
             std::fputs("line ", stdout);
             std::fflush(stdout);
             std::printf("%d", i);
             std::fflush(stdout);
             std::fputs(" of ", stdout);
             std::fflush(stdout);
             std::printf("%d", s_count);
             std::fflush(stdout);
             std::fputc('\n', stdout);
             std::fflush(stdout);
           }));
}

}  // namespace

void bench::ask() {
  std::fflush(stdout);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  wholeLines("lines_to_null", nowhere);
  pieces("pieces_to_null", nowhere);
  // Another process reads: with a thread of our own every lock here would be dearer.
  std::FILE* const reader = popen("cat >/dev/null", "we");
  if (reader == nullptr) std::abort();
  wholeLines("lines_to_pipe", fileno(reader));
  pieces("pieces_to_pipe", fileno(reader));
}
