// Many threads that do everything at once, each at random, and check what they get.
//
//   TVK_STRESS=SECONDS stress_tests    the long form: so long a test, and 100,000 short threads
//   TVK_STRESS_SEED=NUMBER             the same choices again; their order is the system's all the same
#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

#include <tvk/console/Console.h>
#include <tvk/files/CurrentProcess.h>
#include <tvk/files/FileException.h>
#include <tvk/files/FileTreeScan.h>
#include <tvk/process/Application.h>
#include <tvk/process/Module.h>
#include <tvk/process/ModuleRegistry.h>
#include <tvk/process/Platform.h>
#include <tvk/process/SystemInfo.h>
#include <tvk/process/Thread.h>
#include <tvk/process/detail/Sanitizers.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/Utf8.h>
#include <tvk/time/DateTime.h>

#include "support/Support.h"

extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));
extern "C" const char* __tsan_default_options() { return "atexit_sleep_ms=0:report_thread_leaks=0"; }
// The loader guards its memory in a way that the thread sanitizer does not see.
extern "C" const char* __tsan_default_suppressions() { return "race:^_dl_\nrace:ld-linux\n"; }

namespace {

using namespace tvk;
using Random = std::minstd_rand;
using Text = StringBase<char>;
using Wide = StringBase<wchar_t>;
using Library = std::unique_ptr<void, decltype([](void* handle) { dlclose(handle); })>;

const char* const s_long = std::getenv("TVK_STRESS");
const char* const s_seed = std::getenv("TVK_STRESS_SEED");
unsigned s_nextSeed = static_cast<unsigned>(s_seed != nullptr ? std::atoi(s_seed) : getpid());

const std::string s_name = "stress";
constexpr std::size_t s_recordSize = 64;

// What the jobs share; static destructors leave all of it alone.
CriticalSection &s_lock = *new CriticalSection, &s_frameLock = *new CriticalSection;
std::atomic<long> s_lockings, s_folders;
std::atomic<std::size_t> s_records;
long s_locked;
File& s_file = *new File;
std::atomic<bool> s_isOver, s_isDown;  // down: shut-down may come at any time
std::atomic<bool> s_isLate;            // the frame is going or gone, and results with it

// How many jobs were done, in forked processes too.
std::atomic<long>& s_jobsDone = *static_cast<std::atomic<long>*>(
    mmap(nullptr, sizeof(s_jobsDone), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

bool isTimeOver(std::uint64_t start) {
  return SystemInfo::GetTickCount() - start >= (s_long != nullptr ? std::stoull(s_long) * 1000 : 700);
}

std::string record(Random& random) {
  return std::string(s_recordSize - 1, static_cast<char>('a' + random() % 26)) + '\n';
}

// Leaves a scope open to the one who joins; the next thread may have its stack and its id.
struct ShortThread : Thread {
  void* Run(void* clean) override {
    if (ErrorLocation::Current().empty()) ++*static_cast<std::atomic<int>*>(clean);
    scope = std::make_unique<ErrorLocation>("short", false);
    ExitCurrent();
  }
  std::unique_ptr<ErrorLocation> scope;
};

// The address sanitizer does not bear that a library is opened at the very end of the process.
bool isTooLateToLoad() { return s_isLate && TVK_ADDRESS_SANITIZER; }

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
        return Exception(e).what() == s_name + ", " + mine + ", inner: error 2005 - value " + mine + " out of range.";
      });
    }},
    {"file error", [](Random& random) {
      const std::string path = "/nowhere/" + std::to_string(random());
      return support::caught<FileException>([&] { File(path).open(ModeRead | ModeMustExist); }, [&](const auto& e) {
        return e.GetCode() == 1001 && std::string(e.what()).find(path) != std::string::npos;
      });
    }},
    {"texts", [](Random& random) {
      if (isTooLateToLoad()) return true;
      const std::uint32_t code = 80000 + static_cast<std::uint32_t>(random() % 500);
      const Text number = std::to_string(code).c_str();
      registerMessage("", {code, number.c_str()});
      const auto is = [](std::uint32_t asked, const Text& expected) {
        Text text;
        return loadMessage("", asked, true, text) && text == expected;
      };
      SharedLibrary words;
      if (!words.Open(TVK_WORDS_LIBRARY)) return false;
      words.LoadStrings();
      const Library module(dlopen(TVK_TEST_MODULE, RTLD_NOW | RTLD_LOCAL));
      return is(code, number) && is(1001, "Datei %1 fehlt") && is(70001, "256");
    }},
    {"module that throws", [](Random&) {
      if (isTooLateToLoad()) return true;
      const Library module(dlopen(TVK_PLUGIN, RTLD_NOW | RTLD_LOCAL));
      const auto raise = reinterpret_cast<void (*)(int)>(dlsym(module.get(), "pluginThrow"));
      const auto codeOf = [](const auto& e) { return e.GetCode(); };
      return support::caught<FileException>([&] { raise(0); }, codeOf) == 1001 &&
             support::caught<AbortException>([&] { raise(1); }, codeOf) == 11 &&
             support::caught<Exception>([&] { raise(2); }, codeOf) == 2001;
    }},
    {"frame", [](Random&) {
      if (s_isLate) return true;
      const CriticalSectionLock lock(s_frameLock);
      Module frame("", "another");
      return frame.Init() && StartUp::Get() != &frame && frame.GetName() == "another";
    }},
    {"strings", [](Random& random) {
      const Wide wide(random() % 5000, wchar_t{0x20AC});
      const Text narrow(random() % 5000, '\xA4');
      return Wide::FromUtf8(wide.ToUtf8()) == wide && Text::FromUtf8(narrow.ToUtf8()) == narrow &&
             Text(Wide(L"wide")) == "wide" && Text::Empty().empty() && Wide::NewLine() == L"\n" && separator() == "/";
    }},
    {"lock", [](Random&) {
      const CriticalSectionLock lock(s_lock);
      return ++s_lockings, ++s_locked > 0;
    }},
    {"console", [](Random& random) {
      const std::string line = record(random);
      return random() % 2 == 0 ? Console::Get().PrintLine("%.63s", line.c_str()) : Console::Get().Printf("%s", line.c_str()), true;
    }},
    {"one open file", [](Random& random) {
      s_file.write(record(random).data(), s_recordSize);
      return ++s_records > 0 && s_file.size() % s_recordSize == 0;
    }},
    {"thread", [](Random& random) {
      const platform::QuietScope notCancelled;  // the thread needs what is here
      ShortThread thread;
      const Thread copy = thread;
      std::atomic<int> clean = 0;
      const bool isJoined = random() % 2 == 0;
      if (!thread.Start(&clean, isJoined) || (isJoined && !Thread(copy).Join())) return false;
      while (copy.IsValid()) Thread::Yield();
      return clean == 1;
    }},
    {"files", [](Random& random) {
      const std::string text = record(random);
      File folder(s_file.name() + std::to_string(++s_folders)), file;
      folder.createFolder();
      file.openTemporary(folder.name());
      file.write(text.data(), text.size());
      file.close();
      FileSpecification all;
      all.folder = folder.name();
      all.add("*");
      FileTreeScan scan(all);
      scan.run();
      return scan.fileCount() == 1 && support::readWhole(file.name()) == text && folder.removeTree();
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
      return DateTimeO::FromRfc3339(DateTimeO::FromUnixTime(seconds).ToRfc3339()).ToUnixTime() == seconds;
    }},
    {"shut-down", [](Random&) {
      const CriticalSectionLock lock(s_frameLock);
      return !s_isDown || (StartUp::ShutDown(), true);
    }},
};
// clang-format on

void doMany(Random random, int count) {
  for (; !s_isOver && count != 0; --count) {
    const Job& job = s_jobs[random() % std::size(s_jobs)];
    if (!job.isRight(random) && !s_isLate) ADD_FAILURE() << job.name;
    if (++s_jobsDone % 8 == 0) Thread::Yield();
  }
}

struct Worker : Thread {
  void* Run(void*) override { return doMany(random, -1), nullptr; }
  Random random{s_nextSeed++};
};

// Every job by many threads, with signals and cancelled threads in between; answers the console's lines.
std::string mixedWork(bool isDown) {
  return support::inOwnProcess([isDown] {
    const support::ScopedFolder folder;
    const auto descriptors = support::DescriptorWatch::count();
    long cancelled = 0;
    Module frame("", s_name.c_str());
    ASSERT_TRUE(frame.Init() && (!isDown || frame.Exit()));
    s_isDown = isDown;
    s_file.setName((folder / "records").c_str());
    s_file.open(ModeWriteCreate | ModeAppend);
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGPROF, &action, nullptr);
    const itimerval often{{0, 1000}, {0, 1000}}, never{};
    setitimer(ITIMER_PROF, &often, nullptr);

    std::vector<Worker> workers(16);
    for (Worker& worker : workers) ASSERT_TRUE(worker.Start(nullptr, true));
    for (const std::uint64_t start = SystemInfo::GetTickCount(); !isTimeOver(start);) {
      std::thread thread(doMany, Random(s_nextSeed++), TVK_ADDRESS_SANITIZER ? 10 : -1);
      std::this_thread::sleep_for(std::chrono::microseconds(s_nextSeed * 7919 % 3000));
      if (!TVK_ADDRESS_SANITIZER) pthread_cancel(thread.native_handle());
      thread.join(), ++cancelled;
    }
    s_isOver = true;
    for (Worker& worker : workers) EXPECT_TRUE(worker.Join());

    setitimer(ITIMER_PROF, &never, nullptr);
    s_file.close();
    EXPECT_GE(std::filesystem::file_size(folder / "records"), s_records * s_recordSize);
    EXPECT_EQ(s_locked, s_lockings);
    // The C library loses one when the request comes at the very end of a call that opens a file.
    EXPECT_LE(support::DescriptorWatch::count(), descriptors + 1 + cancelled / 2000);
  });
}

TEST(Stress, EverythingAtOnce) {
  for (const bool isDown : {false, true}) {
    std::istringstream lines(mixedWork(isDown));
    for (std::string line; std::getline(lines, line);)
      ASSERT_TRUE(line == std::string(s_recordSize - 1, line[0])) << line;
  }
  std::printf("%ld jobs\n", s_jobsDone.load());
}

TEST(Stress, ShortThreadsLeaveNothingBehind) {
  const auto runMany = [](int count) {
    std::atomic<int> clean = 0;
    for (int i = 0; i < count; i += 4) {
      ShortThread threads[4];
      for (ShortThread& thread : threads) ASSERT_TRUE(thread.Start(&clean, true) && thread.Join());
    }
    EXPECT_EQ(clean, count);
  };
  const auto memory = [] {
    if (__sanitizer_get_current_allocated_bytes != nullptr) return __sanitizer_get_current_allocated_bytes();
    return mallinfo2().uordblks + mallinfo2().hblkhd;
  };
  const auto mappings = [] { return std::ranges::count(support::readWhole("/proc/self/maps"), '\n'); };
  runMany(1000);
  const support::DescriptorWatch descriptors;
  const auto mappingsBefore = mappings();
  const auto memoryBefore = memory();
  runMany(s_long != nullptr ? 100'000 : 2000);
  EXPECT_LE(memory(), memoryBefore + 16 * 1024);
  EXPECT_LE(mappings(), mappingsBefore + 100);
}

// The process ends in every way while threads that nobody joins are in the library, and a static object too.
struct LateUser {
  ~LateUser() { doMany(Random(s_nextSeed), s_isLate ? 20 : 0); }
} s_lateUser;

struct Program : Application {
  explicit Program(unsigned way) : Application("", s_name.c_str()), m_way(way) {}
  std::int32_t Main() override {
    s_isLate = true;
    for (int i = 0; i < 4; ++i) std::thread(doMany, Random(s_nextSeed++), -1).detach();
    std::this_thread::sleep_for(std::chrono::microseconds(s_nextSeed * 7919 % 5000));
    if (m_way == 3) throw Exception::Of(2005, "late");
    if (m_way == 2) Terminate(2);
    if (m_way == 1) std::exit(1);
    return 0;
  }
  unsigned m_way;  // and the exit status
};

TEST(Stress, EndsOfTheProcessUnderLateUsers) {
  const std::uint64_t start = SystemInfo::GetTickCount();
  unsigned round = 0;
  for (; round < 4 || !isTimeOver(start); ++round, s_nextSeed += 7) {
    const support::ScopedFolder folder;
    const auto result = support::inChild([&] {
      alarm(60);
      s_file.setName((folder / "records").c_str());
      s_file.open(ModeWriteCreate | ModeAppend);
      const Program program(round % 4);
      return Application::Main(0, nullptr);
    });
    ASSERT_EQ(result.status, round % 4) << result.errors << "round " << round << ", seed " << s_nextSeed;
  }
  std::printf("%u processes\n", round);
}

}  // namespace
