// What the benchmarks share: a question, and the sides that answer it.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace bench {

// Every benchmark program defines this and asks its questions here.
void ask();

// How many, or how much: a hundredth with BENCH_SAMPLE in the environment, when the sides are only to be compared.
inline int scaled(int count) {
  static const int divisor = std::getenv("BENCH_SAMPLE") != nullptr ? 100 : 1;
  return count / divisor;
}

// Several sides do the same work and show it by the same answer: before anything is measured every side works once,
// and one that answers otherwise than the first ends the program. Benchmarks are named QUESTION/SIDE or, where a
// question comes in several sizes, QUESTION/SIDE/SIZE.
template <class Answer>
class Question {
 public:
  explicit Question(std::string name, std::string size = {})
      : m_name(std::move(name)), m_size(std::move(size)) {}

  // The answer that every side has to give.
  Question& expect(Answer answer) { return m_answer = std::move(answer), *this; }
  // The memory that it takes, where that is asked for.
  Question& bytes(double count) { return m_bytes = count, *this; }
  // How many times one call of a side does what is asked; figures are of one time.
  Question& items(double count) { return m_items = count, *this; }
  // That many threads work at once; time is then wall time.
  Question& threads(int count) { return m_threads = count, *this; }
  // So many rounds and no more, where one takes long.
  Question& rounds(int count) { return m_rounds = count, *this; }
  // The work waits, or other threads and processes do it: wall time. Otherwise it is the processor's.
  Question& wall() { return m_isWall = true, *this; }

  template <class Work>
  Question& side(const std::string& name, Work work) {
    check(name, work());
    auto* const registered = add(name, [work](benchmark::State& state) mutable {
      for (auto _ : state) benchmark::DoNotOptimize(work());
    });
    if (m_isWall || m_threads > 1) registered->UseRealTime();
    return *this;
  }

  // `prepare` comes before each call of `work` and is not measured; the time is wall time.
  template <class Prepare, class Work>
  Question& side(const std::string& name, Prepare prepare, Work work) {
    prepare();
    check(name, work());
    add(name, [prepare, work](benchmark::State& state) mutable {
      for (auto _ : state) {
        prepare();
        const auto start = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(work());
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(time.count());
      }
    })->UseManualTime();
    return *this;
  }

 private:
  template <class Loop>
  benchmark::internal::Benchmark* add(const std::string& side, Loop loop) {
    const std::string name = m_name + '/' + side + (m_size.empty() ? "" : '/' + m_size);
    const auto run = [loop, items = m_items, bytes = m_bytes](benchmark::State& state) mutable {
      loop(state);
      state.counters["items"] = benchmark::Counter(items, benchmark::Counter::kAvgThreads);
      if (bytes != 0) state.counters["bytes"] = bytes;
    };
    auto* const registered = benchmark::RegisterBenchmark(name.c_str(), run);
    if (m_threads > 1) registered->Threads(m_threads);
    if (m_rounds != 0) registered->Repetitions(m_rounds);
    return registered;
  }

  void check(const std::string& side, Answer answer) {
    if (!m_answer) {
      m_answer = std::move(answer);
    } else if (!(answer == *m_answer)) {
      std::fprintf(stderr, "%s: %s does not answer as the first side\n", m_name.c_str(), side.c_str());
      std::exit(1);
    }
  }

  std::string m_name, m_size;
  double m_items = 1, m_bytes = 0;
  int m_threads = 1, m_rounds = 0;
  bool m_isWall = false;
  std::optional<Answer> m_answer;
};

}  // namespace bench
