// From the start of a program that says hello to its end.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "Sides.h"

extern char** environ;

namespace {

// What the program writes, when it ends well.
std::string run(const std::string& program) {
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
  if (child == 0 || waitpid(child, &status, 0) != child || status != 0) return "failed: " + program;
  return text;
}

// The program itself tells how long what is asked took, in nanoseconds.
void told(const std::string& name, const std::string& program) {
  const auto measure = [program](benchmark::State& state) {
    for (auto _ : state) state.SetIterationTime(std::stod(run(program)) * 1e-9);
    state.counters["items"] = benchmark::Counter(1, benchmark::Counter::kAvgThreads);
  };
  benchmark::RegisterBenchmark(name.c_str(), measure)->UseManualTime()->Iterations(50);
}

}  // namespace

void bench::ask() {
  // Without a locale: the time of the C library's reading of its files is not asked for.
  for (const char* name : {"LANG", "LC_ALL", "LC_CTYPE", "LC_TIME"}) unsetenv(name);
  Question<std::string> shared("start_shared");
  shared.wall();
  shared.side("tvk", [] { return run(BENCH_HELLO_TVK); });
  shared.side("iostream", [] { return run(BENCH_HELLO_IOSTREAM); });
#ifdef BENCH_HELLO_POCO
  shared.side("POCO", [] { return run(BENCH_HELLO_POCO); });
#endif
#ifdef BENCH_HELLO_KJ
  shared.side("KJ", [] { return run(BENCH_HELLO_KJ); });
#endif
  Question<std::string>("start_static")
      .wall()
      .side("tvk", [] { return run(BENCH_HELLO_TVK_STATIC); })
      .side("iostream", [] { return run(BENCH_HELLO_IOSTREAM_STATIC); });
  told("registration/tvk", BENCH_REGISTRATION);
  told("registration/no library", BENCH_NO_REGISTRATION);
}
