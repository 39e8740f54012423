// Runs every operation with every call into the C library failing at its n-th use, for every n, with every error
// that fits, once alone and once from there on.
//
//   fault_walk [WORD [FAULT]]   the operations with WORD in their names [under one fault]; a sample in seconds, with
//                               TVK_LONG=1 all of it
//
// Each pair of operation and call is walked in a process of its own, so that a crash or a hang is one finding.
#include <fcntl.h>
#include <pty.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <sstream>

#include "Trial.h"
#include "support/Support.h"

namespace faults {
namespace {

namespace fs = std::filesystem;

// What the processes of the walk tell each other.
struct Progress {
  char fault[64];
  long trials, injected, findings;
  long uses[100];
  bool hasFired;
};

Progress* s_progress;
bool s_isLong;
bool s_isCounting;             // runs without a fault, to see what calls there are
int s_report = STDERR_FILENO;  // standard error, when the operations have another one
int s_screen = -1;
int s_keyboard = -1;
std::string s_otherDevice;

void find(const char* operation, const std::string& fault, const std::string& what) {
  ++s_progress->findings;
  dprintf(s_report, "%s, %s: %s\n", operation, fault.c_str(), what.c_str());
}

int openDescriptors() {
  int count = 0;
  for (int descriptor = 0; descriptor < 100; ++descriptor) count += fcntl(descriptor, F_GETFD) >= 0;
  return count;
}

bool isLeftover(const fs::path& entry) {
  const std::string name = entry.filename();
  return name.find(".new-") != std::string::npos || name.starts_with("kest");
}

void emptyFolder(const fs::path& folder) {
  for (const auto& entry : fs::directory_iterator(folder)) fs::remove_all(entry);
}

void runTrial(const Operation& operation, const std::string& fault) {
  emptyFolder(".");
  if (!s_otherDevice.empty()) emptyFolder(s_otherDevice);
  alarm(20);
  std::snprintf(s_progress->fault, sizeof s_progress->fault, "%s", fault.c_str());
  const int descriptors = openDescriptors();
  const long blocks = faultLiveBlocks();
  long failures = 0;
  {
    Trial trial(operation, fault);
    operation.run(trial);
    ++s_progress->trials;
    s_progress->hasFired = trial.hasFired();
    s_progress->injected += trial.hasFired();
    failures = trial.failures();
    const bool canRemove = !trial.isFault("unlink") && !trial.isFault("unlinkat");
    for (const auto& entry : fs::recursive_directory_iterator("."))
      if (canRemove && isLeftover(entry.path())) find(operation.name, fault, "left " + entry.path().string());
  }
  if (operation.isCold || failures != 0 || fault.find(":0:") != std::string::npos) return;
  if (const long more = faultLiveBlocks() - blocks; more > 0)
    find(operation.name, fault, "left " + std::to_string(more) + " blocks of memory");
  if (openDescriptors() != descriptors) find(operation.name, fault, "left descriptors open");
}

// Runs the work in a process of its own; what ends it otherwise than well is a finding.
template <class Work>
void apart(const Operation& operation, Work work) {
  const pid_t child = fork();
  if (child == 0) {
    work();
    _exit(0);
  }
  const int status = support::statusOf(child);
  if (status != 0) find(operation.name, s_progress->fault, "ended with " + std::to_string(status));
}

void runOne(const Operation& operation, const std::string& fault) {
  s_progress->hasFired = false;
  if (operation.isCold) {
    apart(operation, [&] { runTrial(operation, fault); });
  } else {
    runTrial(operation, fault);
  }
}

void walkCall(const Operation& operation, int call) {
  const std::string name = faultCall(call);
  std::istringstream errors(faultErrors(call));
  for (std::string error; errors >> error;) {
    for (const char* more : {":", "+:"}) {
      if (*more == '+' && (error == "EINTR" || error == "SHORT")) continue;  // would go on for ever
      if (*more == '+' && !s_isLong && name != "malloc") continue;
      const int step = s_isLong ? 1 : name == "malloc" ? 7 : 3;
      for (int n = 1; n < 5000; n += n < 3 ? 1 : step) {
        runOne(operation, name + ":" + std::to_string(n) + more + error);
        if (!s_progress->hasFired) break;
      }
    }
    if (!s_isLong) break;
  }
}

void prepareProcess() {
  s_report = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100);
  s_screen = memfd_create("screen", MFD_CLOEXEC);
  const int noise = memfd_create("noise", MFD_CLOEXEC);
  int terminal = -1;
  if (s_report < 0 || s_screen < 0 || noise < 0 ||
      openpty(&s_keyboard, &terminal, nullptr, nullptr, nullptr) != 0)
    abort();
  dup2(terminal, STDIN_FILENO);
  dup2(s_screen, STDOUT_FILENO);
  dup2(noise, STDERR_FILENO);
}

// Without a fault: what is made once is then made.
void warmUp(const Operation& operation) {
  if (operation.isCold) return;
  static_cast<void>(tvk::FileException(1001, "x").what());
  static_cast<void>(tvk::Exception(77777).what());
  std::putchar(' ');
  Trial::screen();
  for (int again = 0; again < 2; ++again) runTrial(operation, "malloc:0:ENOMEM");
}

void walk(const Operation& operation, const char* fault) {
  const auto inChild = [&](auto work) {
    apart(operation, [&] {
      prepareProcess();
      work();
    });
  };
  std::memset(s_progress->uses, 0, sizeof s_progress->uses);
  s_isCounting = true;
  inChild([&] {
    warmUp(operation);
    runOne(operation, "malloc:0:ENOMEM");
  });
  s_isCounting = false;
  if (fault != nullptr) {
    return inChild([&] {
      warmUp(operation);
      runOne(operation, fault);
    });
  }
  for (int call = 0; faultCall(call) != nullptr; ++call) {
    if (s_progress->uses[call] == 0) continue;
    inChild([&] {
      warmUp(operation);
      walkCall(operation, call);
    });
  }
}

}  // namespace

Trial::Trial(const Operation& operation, std::string fault)
    : m_operation(operation), m_fault(std::move(fault)) {
  m_call = m_fault.substr(0, m_fault.find(':'));
  m_error = m_fault.substr(m_fault.rfind(':') + 1);
}

void Trial::begin() { faultSet(m_fault.c_str()); }

void Trial::end() {
  m_fired += faultsFired();
  if (s_isCounting)
    for (int call = 0; faultCall(call) != nullptr; ++call) s_progress->uses[call] = faultUses(call);
  faultSet(nullptr);
}

void Trial::expect(bool holds, const std::string& what) {
  if (holds) return;
  ++m_failures;
  find(m_operation.name, m_fault, what);
}

bool Trial::isFair(bool isDone) {
  expect(isDone || hasFired(), "failed without a fault");
  std::istringstream told(m_operation.told);
  const bool isTold = std::any_of(std::istream_iterator<std::string>(told), {},
                                  [this](const std::string& use) { return isFault(use); });
  if (!isTold || !hasFired() || (m_error == "EINTR" && m_call.ends_with("close"))) return isDone;
  // To be tried again, or nothing to do.
  const bool isHarmless = std::strstr(m_call == "fsync" ? " EINTR EROFS EINVAL EOPNOTSUPP " : " EINTR SHORT ",
                                      (" " + m_error + " ").c_str()) != nullptr;
  return expect(isDone == isHarmless, isDone ? "false success" : "failed for nothing"), isDone;
}

void Trial::checkCode(const tvk::Exception& e, const std::set<std::int64_t>& codes) {
  static constexpr std::pair<const char*, std::int64_t> ownCodes[] = {
      {"ENOENT", 1001}, {"ENOTDIR", 1002}, {"EMFILE", 1012}, {"ENFILE", 1012},
      {"EPERM", 1013},  {"ENOMEM", 1014},  {"EEXIST", 1029}};
  const bool isOwn = std::any_of(std::begin(ownCodes), std::end(ownCodes), [&](const auto& own) {
    return own.first == m_error && own.second == e.GetCode();
  });
  const std::string code = std::to_string(e.GetCode()), text = e.what();
  expect(codes.contains(e.GetCode()) || isOwn, "threw " + text);
  const std::string shown = e.GetCode() == 1000 ? " error - " : " error " + code + " - ";
  expect(text.find(shown) != std::string::npos, "wrong text " + text);
}

void Trial::checkPath(const tvk::FileException& e, const std::set<std::string>& paths) {
  const std::string path = e.fileName(), text = e.what();
  const bool hasPath = e.GetCode() != 1012 && e.GetCode() != 1014;
  const bool isShown = !hasPath || text.find(path.substr(path.rfind('/') + 1)) != std::string::npos;
  const bool isMeant = paths.contains(path) || (isLeftover(path) && paths.contains("*"));
  expect(isMeant && isShown, "about '" + path + "': " + text);
  // What stat() does not tell shows only later; without a current folder a path names nothing.
  const std::string cause = strerrorname_np(m_call == "getcwd" ? ENOENT : m_call == "stat" ? EEXIST : 0);
  const std::string found = strerrorname_np(e.cause().value());
  expect(e.cause().value() == 0 || found == m_error || cause == found || m_error == "SHORT",
         "cause " + found);
}

std::string Trial::screen() {
  std::fflush(stdout);
  char text[4096];
  const ssize_t got = pread(s_screen, text, sizeof text, 0);
  if (ftruncate(s_screen, 0) != 0 || lseek(s_screen, 0, SEEK_SET) != 0) abort();
  return {text, static_cast<std::size_t>(std::max<ssize_t>(got, 0))};
}

void Trial::type(const std::string& keys) {
  tcflush(STDIN_FILENO, TCIFLUSH);
  if (write(s_keyboard, keys.data(), keys.size()) < 0) abort();
}

std::string Trial::otherDevice() { return s_otherDevice; }

}  // namespace faults

int main(int argc, char** argv) {
  using namespace faults;
  const std::string word = argc > 1 ? argv[1] : "";
  const char* const isLong = getenv("TVK_LONG");
  s_isLong = isLong != nullptr && std::strcmp(isLong, "0") != 0;
  s_progress = static_cast<Progress*>(
      mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  if (getenv("TMPDIR") == nullptr && access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 1);
  const support::ScopedCurrentFolder folder;
  char other[] = "/tmp/faultsXXXXXX";
  struct stat here, there;
  if (mkdtemp(other) != nullptr && stat(".", &here) == 0 && stat(other, &there) == 0 &&
      here.st_dev != there.st_dev) {
    s_otherDevice = other;
  } else {
    std::puts("no second device: moves between devices are left out");
  }
  int operations = 0;
  for (const auto& group : {fileOperations(), otherOperations()}) {
    for (const Operation& operation : group) {
      if (std::string(operation.name).find(word) == std::string::npos) continue;
      ++operations;
      const Progress before = *s_progress;
      walk(operation, argc > 2 ? argv[2] : nullptr);
      std::printf("%-40s %7ld trials %7ld faults %5ld findings\n", operation.name,
                  s_progress->trials - before.trials, s_progress->injected - before.injected,
                  s_progress->findings - before.findings);
      std::fflush(stdout);
    }
  }
  emptyFolder(other);
  rmdir(other);
  std::printf("%d operations, %ld trials, %ld faults injected, %ld findings\n", operations,
              s_progress->trials, s_progress->injected, s_progress->findings);
  return s_progress->findings == 0 && s_progress->injected > 0 ? 0 : 1;
}
