// A program that does at the console what its arguments say, one after the other:
//
//   console_probe "on 1" "repeat 23 newline" "thread after 100 stop" "key 4"
//
// An argument is a word of the table below and what it takes: a text, a number, or a number and a text; \1 stands for a
// zero byte. What the program has to tell goes past the console to standard output: answers in <>, texts for the output
// function in (), for the copy target in [] with ! for each flush, for the system log in {}.
#include <dlfcn.h>
#include <signal.h>
#include <syslog.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <tvk/cmdline/ArgumentList.h>
#include <tvk/console/Console.h>
#include <tvk/process/Application.h>
#include <tvk/text/Exception.h>

namespace {

using tvk::Console;
using tvk::ConsoleStreamBuf;

bool s_keysAreSlow = false, s_stopsAreSlow = false;
std::string s_reply;
const char* const none = nullptr;
std::iostream s_attached(nullptr);
tvk::AutoInit<ConsoleStreamBuf> s_service;
auto& s_threads = *new std::vector<std::jthread>;
const auto setMode = reinterpret_cast<decltype(&tcsetattr)>(dlsym(RTLD_NEXT, "tcsetattr"));

void tell(const std::string& text) {
  [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
}
void say(const std::string& text) { tell("<" + text + ">"); }
void say(std::initializer_list<long> numbers) {
  for (const long each : numbers) say(std::to_string(each));
}

void nap(unsigned milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

}  // namespace

// In place of the C library's: what the library logs, and long ways into single keys and into a stop.
extern "C" void syslog(int priority, const char* format, ...) {
  va_list values;
  va_start(values, format);
  tell("{" + std::to_string(priority) + format + va_arg(values, const char*) + "}");
  va_end(values);
}
extern "C" void openlog(const char* name, int option, int facility) {
  tell(std::string("{") + name + std::to_string(option | facility) + "}");
}
extern "C" int tcsetattr(int fd, int when, const termios* mode) noexcept {
  if (s_keysAreSlow && (mode->c_lflag & ICANON) == 0) nap(300);
  return setMode(fd, when, mode);
}
extern "C" int raise(int number) noexcept {
  if (s_stopsAreSlow) nap(300);  // longer than a reader waits before it looks at the terminal again
  return pthread_kill(pthread_self(), number);
}

namespace {

// Shows each piece and each flush, or writes back what it gets.
struct Recorder : std::streambuf {
  std::streamsize xsputn(const char* text, std::streamsize n) override {
    if (back != nullptr) return back->sputn(text, n);
    tell("[" + std::string(text, static_cast<std::size_t>(n)) + "]");
    return std::this_thread::yield(), n;  // others may come in between
  }
  int overflow(int c) override { return tell("[" + std::string(1, static_cast<char>(c)) + "]"), c; }
  int sync() override { return tell("!"), 0; }
  std::streambuf* back = nullptr;
};
Recorder s_recorder;

struct OwnConsole : Console {
  void ShowPausePrompt() override { PrintLine("more"); }
};

// One argument: on the console of this program's own, or else the process-wide one.
struct Call {
  Console& On() const {
    static auto& s_own = *new OwnConsole;
    return isOwn ? s_own : Console::Get();
  }
  bool isOwn;
  std::string text;    // behind the word
  std::uint32_t n;     // that it begins with
  std::string behind;  // the number
};

void run(std::string argument, bool isOwn = false);

// Answers once, from another thread.
void passOn(const tvk::StringBase<char>& text) {
  tell("(" + text + ")");
  const std::string reply = std::exchange(s_reply, {});
  if (!reply.empty()) std::thread([&] { run(reply); }).join();
}

ConsoleStreamBuf& buffer() { return ConsoleStreamBuf::Get(); }

// For threads that run while another one ends the program, too.
const auto& words = *new std::map<std::string, void (*)(const Call&)>{
    // How the rest of the argument runs.
    {"after", [](const Call& c) { nap(c.n), run(c.behind, c.isOwn); }},
    {"own", [](const Call& c) { run(c.text, true); }},
    {"repeat",
     [](const Call& c) {
       for (auto i = c.n; i > 0; --i) run(c.behind, c.isOwn);
     }},
    {"thread", [](const Call& c) { s_threads.emplace_back([c] { run(c.text, c.isOwn); }); }},
    {"try",
     [](const Call& c) {
       try {
         run(c.text, c.isOwn);
       } catch (const tvk::Exception& e) {
         say({e.GetCode()});
       }
     }},
    {"upon",  // there is something to read from that descriptor
     [](const Call& c) {
       char ignored;
       if (read(static_cast<int>(c.n), &ignored, 1) == 1) run(c.behind, c.isOwn);
     }},
    // Input.
    {"ask", [](const Call& c) { say(std::string(1, c.On().Ask("Go", c.text.substr(1), c.text[0]))); }},
    {"key", [](const Call& c) { say({c.On().WaitKey(c.n)}); }},
    {"poll", [](const Call& c) { say({c.On().PollKey(c.n)}); }},
    {"polls",
     [](const Call& c) {
       while (c.On().PollKey() == 0) nap(2);
     }},
    {"stop", [](const Call& c) { c.On().StopInput(); }},
    {"word",
     [](const Call& c) {
       tvk::StringBase<char> word = "old";
       const std::size_t length = c.On().ReadLine(word);
       say(std::to_string(length) + " " + word.substr(0, 9));
     }},
    // Output.
    {"clear", [](const Call& c) { c.On().ClearLine(c.n != 0); }},
    {"line", [](const Call& c) { c.On().PrintLine("%s", c.text.c_str()); }},
    {"need", [](const Call& c) { c.On().NeedLines(c.n); }},
    {"newline", [](const Call& c) { c.On().NewLine(); }},
    {"null", [](const Call& c) { c.On().Printf(none), say({c.On().rdbuf()->sputn(none, 7)}); }},
    {"pause", [](const Call& c) { c.On().Pause(); }},
    {"print", [](const Call& c) { c.On().Printf("%s", c.text.c_str()); }},
    {"progress", [](const Call& c) { c.On().Progress("%s", c.text.c_str()); }},
    {"progressless", [](const Call& c) { c.On().ClearProgress(); }},
    {"put", [](const Call& c) { c.On() << c.text; }},
    {"unwritable", [](const Call& c) { c.On().Printf("a%lsb", L"\x20AC"), say({c.On().rdstate()}); }},
    // Settings and state.
    {"attach", [](const Call&) { buffer().Attach(s_attached), s_attached.exceptions(std::ios::badbit); }},
    {"back", [](const Call&) { s_recorder.back = &buffer(); }},
    {"column", [](const Call&) { say({ConsoleStreamBuf::CopyColumn()}); }},
    {"copy", [](const Call& c) { say({buffer().SetCopyTarget(c.n != 0 ? &s_recorder : c.On().rdbuf())}); }},
    {"destroy", [](const Call&) { Console::Destroy(); }},
    {"existing",
     [](const Call&) {
       say({Console::Existing() != nullptr, ConsoleStreamBuf::Existing() != nullptr,
            s_attached.rdbuf() != nullptr});
     }},
    {"function", [](const Call& c) { s_reply = c.text, buffer().SetOutputFunction(&passOn); }},
    {"functionless", [](const Call&) { buffer().SetOutputFunction(nullptr); }},
    {"init", [](const Call& c) { c.On().Init(c.n); }},
    {"log", [](const Call& c) { buffer().SetToSystemLog(c.n != 0); }},
    {"off", [](const Call& c) { c.On().SetFlags(c.n, false); }},
    {"on", [](const Call& c) { c.On().SetFlags(c.n, true); }},
    {"record", [](const Call& c) { c.On().rdbuf(&s_recorder); }},
    {"screen", [](const Call& c) { buffer().SetToTerminal(c.n != 0); }},
    {"service", [](const Call& c) { c.n != 0 ? s_service.Init() : s_service.Exit(); }},
    {"size",
     [](const Call& c) {
       say({c.On().WritesToTerminal(), c.On().Width(), c.On().Height(), c.On().LinesWritten()});
     }},
    {"take", [](const Call& c) { say({c.On().TakeTerminalSize()}); }},
    // The process.
    {"abort", [](const Call&) { std::abort(); }},
    {"exit", [](const Call& c) { std::exit(static_cast<int>(c.n)); }},
    {"handler", [](const Call&) { sysv_signal(SIGINT, [](int) { Console::Get().StopInput(); }); }},
    {"join", [](const Call&) { s_threads.clear(); }},
    {"say", [](const Call& c) { say(c.text); }},
    {"slowkeys", [](const Call&) { s_keysAreSlow = std::atexit([] { nap(600); }) == 0; }},
    {"slowstops", [](const Call&) { s_stopsAreSlow = true; }},
};

// Of "WORD TEXT" the two.
std::pair<std::string, std::string> split(const std::string& text) {
  const auto end = std::min(text.find(' '), text.size());
  return {text.substr(0, end), text.substr(std::min(end + 1, text.size()))};
}

void run(std::string argument, bool isOwn) {
  std::replace(argument.begin(), argument.end(), '\1', '\0');
  const auto [word, text] = split(argument);
  const auto [number, behind] = split(text);
  words.at(word)(
      {isOwn, text, static_cast<std::uint32_t>(std::strtoul(number.c_str(), nullptr, 10)), behind});
}

class Probe : public tvk::Application {
 public:
  Probe() : Application("PB", "probe") {}
  using Application::Main;

  std::int32_t Main() override {
    signal(SIGTERM, SIG_DFL);  // as it was, but now the signal stands in the mask of its own action
    const tvk::ArgumentList& arguments = tvk::ArgumentList::OfProcess();
    for (std::size_t i = 0; i < arguments.Count(); ++i) run(arguments[i]);
    return 0;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Probe probe;
  return tvk::Application::Main(argc, argv);
}
