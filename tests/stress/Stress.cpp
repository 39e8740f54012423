// Many threads that do everything at once, each at random, and check what they get. For stress_test.py:
//
//   stress_tests mixed|down|short|end SEED FOLDER AMOUNT
#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>
#include <signal.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <thread>

#include <tvk/console/Console.h>
#include <tvk/files/CurrentProcess.h>
#include <tvk/files/FileException.h>
#include <tvk/files/FileTreeScan.h>
#include <tvk/process/Application.h>
#include <tvk/process/Module.h>
#include <tvk/process/ModuleRegistry.h>
#include <tvk/process/SystemInfo.h>
#include <tvk/process/Thread.h>
#include <tvk/process/detail/Sanitizers.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/Utf8.h>
#include <tvk/time/DateTime.h>

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

unsigned s_nextSeed;
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

std::atomic<long> s_jobsDone;

void require(bool isRight, const char* what) {
  if (isRight) return;
  std::fprintf(stderr, "wrong: %s\n", what);
  std::_Exit(99);
}

std::string record(Random& random) {
  return std::string(s_recordSize - 1, static_cast<char>('a' + random() % 26)) + '\n';
}

// The thread is not cancelled in this scope.
struct NotCancelled {
  NotCancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state); }
  ~NotCancelled() { pthread_setcancelstate(state, nullptr); }
  int state = 0;
};

// Finds no scope open and leaves one open to the owner; the next thread may have its stack and its id.
struct ShortThread : Thread {
  void* Run(void* count) override {
    const bool goesOn = isEndless;  // the object may go once the thread is counted
    Work(*static_cast<std::atomic<int>*>(count));
    while (goesOn) asm volatile("");
    ExitCurrent();
  }
  // Apart from Run(), which may be cancelled and holds nothing.
  [[gnu::noinline]] void Work(std::atomic<int>& count) {
    require(ErrorLocation::Current().empty() || s_isLate, "no scope is open");
    scope = std::make_unique<ErrorLocation>("short", false);
    ++count;
  }
  std::unique_ptr<ErrorLocation> scope;
  bool isEndless = false;
};

// The address sanitizer does not bear that a library is opened at the very end of the process.
bool isTooLateToLoad() { return s_isLate && TVK_ADDRESS_SANITIZER; }

// A copy of the exception of this class that `work` throws.
template <class E>
std::optional<E> thrown(auto&& work) {
  try {
    work();
  } catch (const E& e) {
    return e;
  }
  return {};
}

std::string contents(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::ptrdiff_t descriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

struct Job {
  const char* name;
  bool (*isRight)(Random&);
};

// clang-format off
const Job s_jobs[] = {
    {"throw, catch and print", [](Random& random) {
      const std::string mine = std::to_string(random());
      const ErrorLocation outer(mine, false), inner("inner", true);
      const std::string before = s_name + ", " + mine + ", inner: ";
      const std::string error = thrown<Exception>([&] { throw Exception::Of(2005, mine); }).value().what();
      const std::string fatal = thrown<FileException>([&] { File("/" + mine).open(ModeRead | ModeMustExist); }).value().what();
      return error == before + "error 2005 - value " + mine + " out of range." &&
             fatal.starts_with(before + "fatal error 1001 - ") && fatal.find(" /" + mine) != std::string::npos;
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
      return thrown<FileException>([&] { raise(0); }).value().GetCode() == 1001 &&
             thrown<AbortException>([&] { raise(1); }).value().GetCode() == 11 &&
             thrown<Exception>([&] { raise(2); }).value().GetCode() == 2001;
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
      const NotCancelled notCancelled;  // the thread needs what is here
      ShortThread thread;
      const Thread copy = thread;
      std::atomic<int> count = 0;
      const bool isJoined = random() % 2 == 0;
      if (!thread.Start(&count, isJoined) || (isJoined && !Thread(copy).Join())) return false;
      while (copy.IsValid()) Thread::Yield();
      return count == 1;
    }},
    {"files", [](Random& random) {
      const std::string text = record(random);
      File folder(s_file.name() + std::to_string(++s_folders)), file;
      folder.createFolder();
      file.openTemporary(folder.name());
      file.write(text.data(), text.size());
      file.flush();
      file.close();
      FileSpecification all;
      all.folder = folder.name();
      all.add("*");
      FileTreeScan scan(all);
      scan.run();
      return scan.fileCount() == 1 && contents(file.name()) == text && folder.removeTree();
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
    require(job.isRight(random) || s_isLate, job.name);
    if (++s_jobsDone % 8 == 0) Thread::Yield();
  }
}

struct Worker : Thread {
  void* Run(void*) override { return doMany(random, -1), nullptr; }
  Random random{s_nextSeed++};
};

// Every job by many threads for so many milliseconds, with signals and cancelled threads in between.
void mixedWork(bool isDown, std::uint64_t milliseconds) {
  const auto before = descriptors();
  long cancelled = 0;
  Module frame("", s_name.c_str());
  require(frame.Init() && (!isDown || frame.Exit()), "frame");
  s_isDown = isDown;
  s_file.open(ModeWriteCreate | ModeAppend);
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGPROF, &action, nullptr);
  const itimerval often{{0, 1000}, {0, 1000}}, never{};
  setitimer(ITIMER_PROF, &often, nullptr);

  std::vector<Worker> workers(16);
  for (Worker& worker : workers) require(worker.Start(nullptr, true), "start");
  for (const std::uint64_t start = SystemInfo::GetTickCount();
       SystemInfo::GetTickCount() - start < milliseconds;) {
    std::thread thread(doMany, Random(s_nextSeed++), TVK_ADDRESS_SANITIZER ? 10 : -1);
    std::this_thread::sleep_for(std::chrono::microseconds(s_nextSeed * 7919 % 3000));
    if (!TVK_ADDRESS_SANITIZER) pthread_cancel(thread.native_handle());
    thread.join(), ++cancelled;
  }
  s_isOver = true;
  for (Worker& worker : workers) require(worker.Join(), "join");

  setitimer(ITIMER_PROF, &never, nullptr);
  s_file.close();
  require(std::filesystem::file_size(s_file.name().c_str()) >= s_records * s_recordSize, "size of the file");
  require(s_locked == s_lockings, "lock");
  // The C library loses one when the request comes at the very end of a call that opens a file.
  require(descriptors() <= before + 1 + cancelled / 2000, "descriptors");
  std::fprintf(stderr, "%ld jobs\n", s_jobsDone.load());
}

// Threads that are joined, or given up while they run or later: all of them give back what they had.
void runShortThreads(int number) {
  for (int i = 0; i < number; ++i) {
    std::atomic<int> count = 0;
    const int way = i % 10 / 2;
    ShortThread thread;
    thread.isEndless = i % 10 == 2 && !TVK_THREAD_SANITIZER;  // which has something to destroy in every frame
    require(thread.Start(&count, true), "start");
    while (count == 0 || (i % 2 != 0 && thread.IsValid())) Thread::Yield();
    if (way == 0) thread.Forget();
    if (way == 1) thread.Cancel();
    if (way == 2) static_cast<Thread&>(thread) = Thread();
    if (way == 3) thread.Start(&count, false);
    if (way == 4) require(thread.Join(), "join");
    while (thread.IsValid()) Thread::Yield();
  }
}

// What the process holds.
void measure() {
  std::size_t bytes = mallinfo2().uordblks + mallinfo2().hblkhd;
  if (__sanitizer_get_current_allocated_bytes != nullptr) bytes = __sanitizer_get_current_allocated_bytes();
  const auto mappings = std::ranges::count(contents("/proc/self/maps"), '\n');
  std::printf("%zu %td %td\n", bytes, mappings, descriptors());
}

// The process ends in every way while threads that nobody joins are in the library, and a static object too.
struct LateUser {
  ~LateUser() { doMany(Random(s_nextSeed), s_isLate ? 20 : 0); }
} s_lateUser;

struct Program : Application {
  explicit Program(int way) : Application("", s_name.c_str()), m_way(way) {}
  std::int32_t Main() override {
    s_isLate = true;
    for (int i = 0; i < 4; ++i) std::thread(doMany, Random(s_nextSeed++), -1).detach();
    std::this_thread::sleep_for(std::chrono::microseconds(s_nextSeed * 7919 % 5000));
    if (m_way == 3) throw Exception::Of(2005, "late");
    if (m_way == 2) Terminate(2);
    if (m_way == 1) std::exit(1);
    return 0;
  }
  int m_way;  // and the exit status
};

int end(int way) {
  s_file.open(ModeWriteCreate | ModeAppend);
  const Program program(way);
  return Application::Main(0, nullptr);
}

}  // namespace

int main(int, char** argv) {
  const std::string mode = argv[1];
  const int amount = std::atoi(argv[4]);
  s_nextSeed = static_cast<unsigned>(std::atoi(argv[2]));
  s_file.setName((std::string(argv[3]) + "/records").c_str());
  if (mode == "end") return end(amount);
  if (mode == "short") {
    for (const int number : {500, 500, amount}) runShortThreads(number), measure();
    return 0;
  }
  return mixedWork(mode == "down", static_cast<std::uint64_t>(amount)), 0;
}
