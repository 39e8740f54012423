// Short lines are written to standard output and flushed one by one: to /dev/null and into a pipe.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <thread>

#include <tvk/console/Console.h>

#include "Output.h"
#include "Sides.h"

#ifdef BENCH_FMT
#include <fmt/core.h>
#endif

namespace {

const int s_count = bench::scaled(10'000);

template <class Line>
auto lines(int to, Line line) {
  return [to, line] {
    const bench::Output output(to);
    for (int i = 0; i < s_count; ++i) line(i);
    return true;
  };
}

void question(const std::string& name, int to) {
  bench::Question<bool> ask(name);
  ask.items(s_count).wall();
  ask.side("tvk", lines(to, [](int i) { tvk::Console::Get().PrintLine("line %d of %d", i, s_count); }));
  ask.side("tvk Printf", lines(to, [](int i) { tvk::Console::Get().Printf("line %d of %d\n", i, s_count); }));
  ask.side("tvk stream",
           lines(to, [](int i) { tvk::Console::Get() << "line " << i << " of " << s_count << std::endl; }));
  ask.side("printf + fflush", lines(to, [](int i) {
             std::printf("line %d of %d\n", i, s_count);
             std::fflush(stdout);
           }));
  ask.side("std::cout",
           lines(to, [](int i) { std::cout << "line " << i << " of " << s_count << std::endl; }));
#ifdef BENCH_FMT
  ask.side("fmt", lines(to, [](int i) {
             fmt::print("line {} of {}\n", i, s_count);
             std::fflush(stdout);
           }));
#endif
}

}  // namespace

void bench::ask() {
  std::fflush(stdout);
  question("lines_to_null", open("/dev/null", O_WRONLY | O_CLOEXEC));
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  std::thread([from = ends[0]] {
    char block[65536];
    while (read(from, block, sizeof block) > 0) {
    }
  }).detach();
  question("lines_to_pipe", ends[1]);
}
