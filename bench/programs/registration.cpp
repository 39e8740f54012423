// Writes how many nanoseconds pass between the first of the program's own initialisers and main(): with the library in
// the program that is the registration of its services, and what the C++ library does in that time.
#include <time.h>

#include <cstdio>

#ifdef BENCH_TVK
#include <tvk/process/Application.h>
#endif

namespace {

long long now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

long long s_start = 0;

[[gnu::constructor(65534)]] void begin() {
  now();  // the first call costs more
  s_start = now();
}

}  // namespace

int main() {
  const long long end = now();
#ifdef BENCH_TVK
  if (tvk::Application::GetApplication() != nullptr) return 1;  // brings frame and services into the program
#endif
  std::printf("%lld\n", end - s_start);
}
