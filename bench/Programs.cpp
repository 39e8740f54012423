// From the start of a program that says hello to its end: the time of the processor, the system's part included, which
// other work on the machine does not change as it does the time on the clock.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "Sides.h"

extern char** environ;

namespace {

struct Outcome {
  std::string text;  // what it wrote, if it ended well
  double seconds;
};

Outcome run(const std::string& program) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  char* const words[] = {const_cast<char*>(program.c_str()), nullptr};
  pid_t child = 0;
  if (posix_spawn(&child, program.c_str(), &actions, nullptr, words, environ) != 0) child = 0;
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  std::string text;
  char block[4096];
  for (ssize_t got; (got = read(ends[0], block, sizeof block)) > 0;)
    text.append(block, static_cast<std::size_t>(got));
  close(ends[0]);
  int status = 1;
  rusage used{};
  if (child == 0 || wait4(child, &status, 0, &used) != child || status != 0) text = "failed: " + program;
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return {text, seconds(used.ru_utime) + seconds(used.ru_stime)};
}

template <class Measure>
benchmark::internal::Benchmark* add(const std::string& name, Measure measure) {
  const auto loop = [measure](benchmark::State& state) {
    for (auto _ : state) state.SetIterationTime(measure());
    state.counters["items"] = benchmark::Counter(1, benchmark::Counter::kAvgThreads);
  };
  return benchmark::RegisterBenchmark(name.c_str(), loop)->UseManualTime();
}

void started(const std::string& name, const std::string& program) {
  const Outcome first = run(program);
  if (first.text != "Hello, world!\n") {
    std::fprintf(stderr, "%s says: %s\n", program.c_str(), first.text.c_str());
    std::exit(1);
  }
  add(name, [program] { return run(program).seconds; });
}

// The program itself tells how long what is asked took, in nanoseconds.
void told(const std::string& name, const std::string& program) {
  add(name, [program] { return std::stod(run(program).text) * 1e-9; })->Iterations(50);
}

}  // namespace

void bench::ask() {
  // Without a locale: the time of the C library's reading of its files is not asked for.
  for (const char* name : {"LANG", "LC_ALL", "LC_CTYPE", "LC_TIME"}) unsetenv(name);
  started("start_shared/tvk", BENCH_HELLO_TVK);
  started("start_shared/iostream", BENCH_HELLO_IOSTREAM);
#ifdef BENCH_HELLO_POCO
  started("start_shared/POCO", BENCH_HELLO_POCO);
#endif
#ifdef BENCH_HELLO_KJ
  started("start_shared/KJ", BENCH_HELLO_KJ);
#endif
  started("start_static/tvk", BENCH_HELLO_TVK_STATIC);
  started("start_static/iostream", BENCH_HELLO_IOSTREAM_STATIC);
  told("registration/tvk", BENCH_REGISTRATION);
  told("registration/no library", BENCH_NO_REGISTRATION);
}
