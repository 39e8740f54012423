// tvkpack: packs the files of a folder tree with gzip, in place, safely.
#include <malloc.h>
#include <signal.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <tvk/console/Console.h>
#include <tvk/files/FileException.h>
#include <tvk/process/Application.h>
#include <tvk/process/ThreadGroup.h>

#include "FileList.h"
#include "FileWork.h"
#include "Messages.h"
#include "Report.h"
#include "Settings.h"

namespace tvkpack {
namespace {

constexpr std::int32_t statusFileFailed = 4;
constexpr std::int64_t codeNotWritten = 1010;

std::atomic<bool> s_stop{false};
std::atomic<int> s_stopSignal{0};

void stopSoon(int signal) {
  s_stopSignal = signal;
  s_stop = true;
  if (tvk::Console* const console = tvk::Console::Existing()) console->StopInput();
}

// While it lives, a signal that ends the program does so when the files in hand have been given up.
class GracefulStop {
 public:
  GracefulStop() {
    struct sigaction action {};
    action.sa_handler = stopSoon;
    for (int signal : signals) {
      struct sigaction before {};
      sigaction(signal, &action, &before);
      if (before.sa_handler == SIG_IGN) sigaction(signal, &before, nullptr);  // somebody wants it so
    }
    ::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is an error like any other
  }
  GracefulStop(const GracefulStop&) = delete;
  GracefulStop& operator=(const GracefulStop&) = delete;
  ~GracefulStop() {
    for (int signal : signals)
      if (::signal(signal, SIG_DFL) == SIG_IGN) ::signal(signal, SIG_IGN);
  }

  // Ends the process as the signal would have done at once.
  static void EndBySignal() {
    ::signal(s_stopSignal, SIG_DFL);
    raise(s_stopSignal);
  }

 private:
  static constexpr int signals[] = {SIGINT, SIGQUIT, SIGTERM, SIGXCPU};
};

// The files of a run, handed out in their order.
struct Queue {
  const std::vector<Item>& items;
  const FileWork& work;
  Report& report;
  std::atomic<std::size_t> next{0};
  std::once_flag firstFailure{};
  std::exception_ptr failure{};

  // Works in one thread; what is thrown stops all and is kept for the end.
  void WorkOff() {
    try {
      for (std::size_t index = next++; index < items.size() && !s_stop; index = next++)
        report.Add(index, work.Do(items[index]));
    } catch (const std::exception&) {
      std::call_once(firstFailure, [this] { failure = std::current_exception(); });
      s_stop = true;
    }
  }
};

class Worker : public tvk::Thread {
 public:
  void* Run(void* queue) override {
    static_cast<Queue*>(queue)->WorkOff();
    return nullptr;
  }
};

// Asks for each file until the user says "all" or "quit".
class Question {
 public:
  explicit Question(Mode mode)
      : m_text(mode == Mode::Pack     ? QuestionPack
               : mode == Mode::Unpack ? QuestionUnpack
               : mode == Mode::Test   ? QuestionTest
                                      : QuestionList) {}

  // There is no default: Enter behind an answer must not answer the next question. The end of input quits.
  bool operator()(const std::string& path) {
    if (m_all) return true;
    const std::string keys = message(AnswerKeys);
    const char answer = tvk::Console::Get().Ask(message(m_text, {path}), keys, '\0');
    m_all = answer == keys[2];
    if (answer == keys[3] || answer == '\0') s_stop = true;
    return m_all || answer == keys[0];
  }

 private:
  MessageCode m_text;
  bool m_all = false;
};

class Program : public tvk::Application {
 public:
  Program() : Application("TP", "tvkpack") {}
  using Application::Main;

  std::int32_t Main() override {
    registerMessages();
    const std::optional<Settings> settings = readSettings();
    const std::int32_t status = settings ? Work(*settings) : 0;
    if (const int error = tvk::ConsoleStreamBuf::Get().WriteError())
      throw tvk::FileException(codeNotWritten, "/dev/stdout", error);
    return status;
  }

 private:
  static std::int32_t Work(const Settings& settings) {
    tvk::Console::Get().Init((settings.toLog ? tvk::Console::FlagSystemLog : 0) |
                             tvk::Console::FlagTerminalSize);
    mallopt(M_TRIM_THRESHOLD, 4 << 20);  // what zlib needs for one file stays for the next
    const std::vector<Item> items = listFiles(settings);
    const GracefulStop stop;
    const FileWork work(settings, s_stop,
                        settings.ask ? FileWork::Confirm(Question(settings.mode)) : nullptr);
    Report report(settings, items.size());
    Queue queue{items, work, report};

    const std::size_t jobs = settings.ask ? 1 : std::min<std::size_t>(settings.jobs, items.size());
    std::vector<std::unique_ptr<Worker>> workers;
    tvk::ThreadGroup group;
    while (workers.size() + 1 < jobs) {
      workers.push_back(std::make_unique<Worker>());
      if (!workers.back()->Start(&queue, true)) break;  // the others do the work
      group.Add(*workers.back());
    }
    queue.WorkOff();
    group.JoinAll();
    if (queue.failure) std::rethrow_exception(queue.failure);

    const bool wasInterrupted = s_stopSignal != 0;
    report.Totals(wasInterrupted);
    if (wasInterrupted) GracefulStop::EndBySignal();
    return report.HasFailures() ? statusFileFailed : 0;
  }
};

}  // namespace
}  // namespace tvkpack

int main(int argc, char** argv) try {
  tvkpack::Program program;
  return tvk::Application::Main(argc, argv);
} catch (const std::bad_alloc&) {  // no frame stands yet that could tell
  std::fputs("tvkpack: no more RAM available.\n", stderr);
  return 3;
}
