// Many threads that do everything at once, each at random, and check what they get.
//
//   TVK_STRESS=SECONDS stress_tests     the long form: that long a test and 100,000 short threads
//   TVK_STRESS_SEED=NUMBER              the same choices again; the order is the system's all the same
#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>
#include <signal.h>
#include <sys/time.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <optional>
#include <random>
#include <thread>

#include <tvk/console/Console.h>
#include <tvk/files/CurrentProcess.h>
#include <tvk/files/File.h>
#include <tvk/files/FileException.h>
#include <tvk/files/FileTreeScan.h>
#include <tvk/process/Application.h>
#include <tvk/process/Module.h>
#include <tvk/process/ModuleRegistry.h>
#include <tvk/process/Platform.h>
#include <tvk/process/SystemInfo.h>
#include <tvk/process/Thread.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/Utf8.h>
#include <tvk/time/DateTime.h>
#include <zed/Compressor.h>
#include <zed/Decompressor.h>

#include "support/Support.h"

// The loader guards its memory in a way that the thread sanitizer does not see.
extern "C" const char* __tsan_default_options() { return "atexit_sleep_ms=0:report_thread_leaks=0"; }
extern "C" const char* __tsan_default_suppressions() { return "race:^_dl_\n"; }
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace {

using namespace tvk;
using namespace std::chrono_literals;
using Random = std::minstd_rand;
using Text = StringBase<char>;

const char* const s_long = std::getenv("TVK_STRESS");
const auto s_duration = std::chrono::milliseconds(s_long != nullptr ? std::atoi(s_long) * 1000 : 700);
const char* const s_seed = std::getenv("TVK_STRESS_SEED");
unsigned s_nextSeed = static_cast<unsigned>(s_seed != nullptr ? std::atoi(s_seed) : getpid());

constexpr const char* s_name = "stress";
constexpr std::size_t s_recordSize = 64;

struct Frame : Module {
  explicit Frame(const char* name) : Module("", name) {}
};

// What the jobs share.
CriticalSection& s_lock = *new CriticalSection;  // static destructors leave all of it alone
CriticalSection& s_frameLock = *new CriticalSection;
long s_locked = 0;
std::atomic<long> s_lockings, s_lines, s_records;
File* s_file;
std::atomic<bool> s_isDown;  // services have gone down: shut-down may come at any time
std::atomic<bool> s_isLate;  // the frame is going or gone, and results with it

std::string record(Random& random) {
  return std::string(s_recordSize - 1, static_cast<char>('a' + random() % 26)) + '\n';
}

struct ShortThread : Thread {
  void* Run(void* left) override {
    const ErrorLocation scope("short", false);
    ++*static_cast<std::atomic<int>*>(left);
    ExitCurrent();
  }
};

using Plugin = std::unique_ptr<void, decltype([](void* handle) { dlclose(handle); })>;

struct Job {
  const char* name;
  bool (*isRight)(Random&);
};

// clang-format off
const Job s_jobs[] = {
    {"throw, catch and print", [](Random& random) {
      const std::string mine = std::to_string(random());
      const ErrorLocation outer(mine, false), inner("inner", true);
      return support::caught<Exception>([&] { throw Exception::Of(2005, mine); }, [&](const Exception& e) {
        return Exception(e).what() == s_name + (", " + mine) + ", inner: error 2005 - value " + mine + " out of range.";
      });
    }},
    {"file error", [](Random& random) {
      const FileString path = "/nowhere/" + std::to_string(random());
      return support::caught<FileException>([&] { File(path).open(ModeRead | ModeMustExist); }, [&](const auto& e) {
        return e.GetCode() == 1001 && std::string(e.what()).find(path) != std::string::npos;
      });
    }},
    {"texts", [](Random& random) {
      const std::uint32_t code = 80000 + static_cast<std::uint32_t>(random() % 500);
      registerMessage("", {code, std::to_string(code).c_str()});
      Text text;
      return loadMessage("", code, false, text) && text == std::to_string(code);
    }},
    {"language library", [](Random&) {
      SharedLibrary library;
      if (!library.Open(TVK_WORDS_LIBRARY)) return false;
      library.LoadStrings();
      Text text;
      return loadMessage("", 1001, false, text) && text == "Datei %1 fehlt";
    }},
    {"module with texts", [](Random&) {
      const Plugin module(dlopen(TVK_TEST_MODULE, RTLD_NOW | RTLD_LOCAL));
      Text text;
      return module != nullptr && loadMessage("", 70001, true, text) && text == "256";
    }},
    {"module that throws", [](Random&) {
      const Plugin module(dlopen(TVK_PLUGIN, RTLD_NOW | RTLD_LOCAL));
      const auto raise = reinterpret_cast<void (*)(int)>(dlsym(module.get(), "pluginThrow"));
      const auto codeOf = [](const auto& e) { return e.GetCode(); };
      return support::caught<FileException>([&] { raise(0); }, codeOf) == 1001 &&
             support::caught<AbortException>([&] { raise(1); }, codeOf) == 11 &&
             support::caught<Exception>([&] { raise(2); }, codeOf) == 2001;
    }},
    {"frame", [](Random&) {
      if (s_isLate) return true;
      const CriticalSectionLock lock(s_frameLock);
      Frame frame("another");
      return frame.Init() && StartUp::Get() != &frame && frame.GetName() == "another";
    }},
    {"strings", [](Random& random) {
      const StringBase<wchar_t> wide(random() % 5000, wchar_t{0x20AC});
      const Text narrow(random() % 5000, '\xA4');
      return StringBase<wchar_t>::FromUtf8(wide.ToUtf8()) == wide && Text::FromUtf8(narrow.ToUtf8()) == narrow &&
             Text(StringBase<wchar_t>(L"wide")) == "wide" && Text::Empty().empty() && separator() == "/";
    }},
    {"lock", [](Random&) {
      const CriticalSectionLock lock(s_lock);
      ++s_locked, ++s_lockings;
      return true;
    }},
    {"console", [](Random& random) {
      const std::string line = record(random);
      if (random() % 2 == 0) Console::Get().PrintLine("%.63s", line.c_str());
      else Console::Get().Printf("%s", line.c_str());
      return ++s_lines > 0;
    }},
    {"one open file", [](Random& random) {
      s_file->write(record(random).data(), s_recordSize);
      return ++s_records > 0 && s_file->size() % s_recordSize == 0;
    }},
    {"thread", [](Random& random) {
      const platform::QuietScope notCancelled;  // the thread needs what is here
      ShortThread thread;
      const Thread copy = thread;
      std::atomic<int> left = 0;
      const bool isJoined = random() % 2 == 0;
      if (!thread.Start(&left, isJoined) || (isJoined && !Thread(copy).Join())) return false;
      while (copy.IsValid()) Thread::Yield();
      return left == 1;
    }},
    {"system", [](Random&) {
      Text name;
      std::vector<HostAddress> addresses;
      return SystemInfo::GetHostName(name) && SystemInfo::GetDirectorySeparator() == "/" &&
             SystemInfo::GetInterfaceAddresses(addresses, true) && !SystemInfo::GetOsDescription().empty() &&
             CurrentProcess::Get().Id() == getpid() && LoadedModules().at(0).Path().empty();
    }},
    {"time", [](Random& random) {
      const auto seconds = static_cast<std::int64_t>(random());
      const auto time = DateTimeO::FromUnixTime(seconds, DateTimeO::LocalZone);
      return DateTimeO::FromRfc3339(time.ToRfc3339()).ToUnixTime() == seconds;
    }},
    {"packing", [](Random& random) {
      const zed::ByteBuffer block(record(random));
      zed::GZip gzip;
      zed::Decompressor gunzip;
      return gzip.Compress(block) && gunzip.Decompress(gzip.Result()) && gunzip.Result() == block;
    }},
    {"shut-down", [](Random&) {
      const CriticalSectionLock lock(s_frameLock);
      if (s_isDown) StartUp::ShutDown();
      return true;
    }},
};
// clang-format on

std::atomic<long> s_done[std::size(s_jobs)];

void doOne(Random& random) {
  const std::size_t number = random() % std::size(s_jobs);
  if (!s_jobs[number].isRight(random) && !s_isLate) ADD_FAILURE() << s_jobs[number].name;
  ++s_done[number];
  if (random() % 8 == 0) Thread::Yield();
}

struct Worker : Thread {
  void* Run(void*) override {
    for (Random random(seed); !isOver;) doOne(random);
    return nullptr;
  }
  unsigned seed = s_nextSeed++;
  static inline std::atomic<bool> isOver{false};
};

// Begins like a worker of a host that knows nothing of the library, and is cancelled somewhere.
void cancelOne(unsigned seed) {
  pthread_t thread;
  ASSERT_EQ(0, pthread_create(
                   &thread, nullptr,
                   [](void* arg) -> void* {
                     for (Random random(*static_cast<unsigned*>(arg));;) doOne(random);
                   },
                   &seed));
  std::this_thread::sleep_for(std::chrono::microseconds(seed * 7919 % 3000));
  EXPECT_EQ(0, pthread_cancel(thread));
  EXPECT_EQ(0, pthread_join(thread, nullptr));
}

// Every job by many threads, with signals and cancelled threads in between; the console's lines are answered.
std::string mixedWork(bool isDown) {
  return support::inOwnProcess([isDown] {
    const support::ScopedFolder folder;
    Frame frame(s_name);
    ASSERT_TRUE(frame.Init() && (!isDown || frame.Exit()));
    s_isDown = isDown;
    s_file = new File(folder / "records");
    s_file->open(ModeWriteCreate | ModeAppend);
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGPROF, &action, nullptr);
    const itimerval often{{0, 1000}, {0, 1000}}, never{};
    setitimer(ITIMER_PROF, &often, nullptr);

    std::vector<Worker> workers(16);
    for (Worker& worker : workers) ASSERT_TRUE(worker.Start(nullptr, true));
    const auto end = std::chrono::steady_clock::now() + s_duration;
    while (std::chrono::steady_clock::now() < end) cancelOne(s_nextSeed++);
    Worker::isOver = true;
    for (Worker& worker : workers) EXPECT_TRUE(worker.Join());

    setitimer(ITIMER_PROF, &never, nullptr);
    s_file->close();
    EXPECT_GE(std::filesystem::file_size(folder / "records"), s_records * s_recordSize);
    EXPECT_GE(s_locked, s_lockings);
  });
}

TEST(Stress, EverythingAtOnce) {
  for (const bool isDown : {false, true}) {
    std::istringstream lines(mixedWork(isDown));
    for (std::string line; std::getline(lines, line);)
      ASSERT_TRUE(line == std::string(s_recordSize - 1, line[0])) << line;
  }
}

std::size_t memoryInUse() {
  if (__sanitizer_get_current_allocated_bytes != nullptr) return __sanitizer_get_current_allocated_bytes();
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

TEST(Stress, ShortThreadsLeaveNothingBehind) {
  support::inOwnProcess([] {
    Frame frame(s_name);
    ASSERT_TRUE(frame.Init());
    const auto runMany = [](int count) {
      std::atomic<int> left = 0;
      for (int i = 0; i < count; i += 4) {
        ShortThread threads[4];
        for (ShortThread& thread : threads) ASSERT_TRUE(thread.Start(&left, true));
        for (ShortThread& thread : threads) EXPECT_TRUE(thread.Join());
      }
      EXPECT_EQ(left, count);
    };
    runMany(1000);
    const support::DescriptorWatch descriptors;
    const auto mappings = [] { return std::ranges::count(support::readWhole("/proc/self/maps"), '\n'); };
    const auto before = mappings();
    const std::size_t memory = memoryInUse();
    runMany(s_long != nullptr ? 100'000 : 2000);
    EXPECT_LE(memoryInUse(), memory + 16 * 1024);
    EXPECT_LE(mappings(), before + 8);
    EXPECT_EQ(ErrorLocation::Current(), "");
  });
}

// The process ends in every way while threads that nobody joins are inside the library, and so does a static
// object.
struct LateUser {
  ~LateUser() {
    Random random(s_nextSeed);
    for (int i = 0; s_isLate && i < 20; ++i) doOne(random);
  }
} s_lateUser;

struct Program : Application {
  explicit Program(unsigned way) : Application("", s_name), m_way(way) {}
  std::int32_t Main() override {
    s_isLate = true;
    for (int i = 0; i < 4; ++i)
      std::thread([random = Random(s_nextSeed++)]() mutable {
        for (;;) doOne(random);
      }).detach();
    std::this_thread::sleep_for(std::chrono::microseconds(s_nextSeed * 7919 % 5000));
    if (m_way == 1) throw Exception::Of(2005, "late");
    if (m_way == 2) Terminate(2);
    if (m_way == 4) std::exit(4);
    return 0;
  }
  unsigned m_way;
};

TEST(Stress, EndsOfTheProcessUnderLateUsers) {
  const support::ScopedFolder folder;
  const auto end = std::chrono::steady_clock::now() + s_duration;
  constexpr int statusOf[] = {0, 3, 2, 0, 4};
  unsigned round = 0;
  do {
    const unsigned way = round % std::size(statusOf);
    s_nextSeed += 7;
    const auto result = support::inChild([&] {
      alarm(60);
      s_file = new File(folder / "records");
      s_file->open(ModeWriteCreate | ModeAppend);
      Program program(way);
      return Application::Main(0, nullptr);
    });
    ASSERT_EQ(result.status, statusOf[way]) << way << result.errors << "seed " << s_nextSeed;
  } while (++round < std::size(statusOf) || std::chrono::steady_clock::now() < end);
  std::printf("%u processes\n", round);
}

}  // namespace
