// The operations of the other rooms: what is done without files of the program's own.
#include <fcntl.h>
#include <pty.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <atomic>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/console/Console.h>
#include <tvk/files/CurrentProcess.h>
#include <tvk/files/Folders.h>
#include <tvk/process/Application.h>
#include <tvk/process/Module.h>
#include <tvk/process/ModuleRegistry.h>
#include <tvk/process/SystemInfo.h>
#include <tvk/process/ThreadGroup.h>
#include <tvk/text/Hexadecimal.h>
#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/Utf8.h>
#include <tvk/time/DateTime.h>
#include <zed/Compressor.h>
#include <zed/Decompressor.h>

#include "Trial.h"

namespace faults {
namespace {

using namespace tvk;
using Text = StringBase<char>;

// Runs the work under the fault and then once more without: nothing of the failure may stay.
template <class Work>
void runTwice(Trial& trial, const std::set<std::int64_t>& codes, Work work,
              const std::set<std::string>& paths = {}) {
  trial.run(codes, paths, work);
  try {
    trial.expect(work(), "fails for good");
  } catch (const std::exception& e) {
    trial.expect(false, std::string("fails for good: ") + e.what());
  }
}

void print(Trial& trial) {
  const std::string longLine(1500, 'x'), lines = "12 files\n" + longLine + "\nend 35\n";
  const auto work = [&] {
    Console& console = Console::Get();
    console.clear();
    ConsoleStreamBuf::Get().ClearWriteError();
    console.PrintLine("%d files", 12);
    console.PrintLine("%s", longLine.c_str());
    console << "end " << 35 << '\n';
    return console.good() && ConsoleStreamBuf::Get().WriteError() == 0;
  };
  const bool isDone = trial.run({1014}, {}, work);
  trial.expect(Trial::screen() == lines || !isDone, "lost without a word");
  trial.expect(work() && Trial::screen() == lines, "cannot be used again");
  Console::Destroy();
}

// Keys for the next reads, and none from before.
void type(const char* keys) {
  __fpurge(stdin);
  clearerr(stdin);
  Trial::type(keys);
}

void askAndRead(Trial& trial) {
  char answer = 0, key = 0;
  Text word;
  type("yk  word rest\n");
  const bool isDone = trial.run({1014}, {}, [&] {
    answer = Console::Get().Ask("Go on", "yn", 'n');
    key = static_cast<char>(Console::Get().WaitKey(Console::FlagInterrupt));
    Console::Get().ReadLine(word);
  });
  trial.expect(!isDone || answer == 'y' || answer == 'n', "no answer");
  trial.expect(trial.hasFired() || (answer == 'y' && key == 'k' && word == "word"), "other keys");
  type("n\n");
  trial.expect(Console::Get().Ask("Again", "yn", 'y') == 'n', "no more answers");
  Trial::screen();
  Console::Destroy();
}

// With standard output on a terminal of its own.
void pageAndProgress(Trial& trial) {
  int screen = -1, terminal = -1;
  const int before = dup(STDOUT_FILENO);
  const winsize size{5, 40, 0, 0};
  if (openpty(&screen, &terminal, nullptr, nullptr, &size) != 0 || dup2(terminal, STDOUT_FILENO) < 0)
    return trial.expect(false, "no terminal");
  type("     \n");
  ConsoleStreamBuf::Get().ClearWriteError();
  bool isDone = trial.run({1014}, {}, [] {
    Console& console = Console::Get();
    console.Init(Console::FlagPage | Console::FlagTerminalSize);
    console.Progress("%d percent", 50);
    for (int line = 0; line < 6; ++line) console.PrintLine("line %d", line);
    console.ClearProgress();
    return console.good() && ConsoleStreamBuf::Get().WriteError() == 0;
  });
  Console::Destroy();
  std::fflush(stdout);
  dup2(before, STDOUT_FILENO);
  close(before);
  close(terminal);
  std::string shown;
  for (char byte = 0; read(screen, &byte, 1) == 1;) shown += byte;
  close(screen);
  trial.expect(!isDone || shown.find("line 5") != std::string::npos, "lines are lost");
  trial.expect(trial.hasFired() || shown.find("50 percent") != std::string::npos, "no progress");
}

void openLibrary(Trial& trial) {
  SharedLibrary library;
  const auto work = [&] {
    if (!library.Open(TVK_WORDS_LIBRARY)) return false;
    if (library.GetSymbol("InBoth") == nullptr || library.GetPath().empty()) return false;
    library.LoadStrings();
    library.Close();
    return !library.IsOpen();
  };
  runTwice(trial, {1003}, work, {TVK_WORDS_LIBRARY});
}

struct Frame : StartUp {
  Frame() : StartUp("", "frame") {}
  FileString GetPath() const override { return "./frame"; }
  void GetLanguageName(Text& name) const override { name = "De"; }
  bool Init() override { return InitServices(); }
  bool Exit() override { return ExitServices(); }
};

void loadLanguage(Trial& trial) {
  std::filesystem::copy_file(TVK_WORDS_LIBRARY, "frame.lDe");
  Frame frame;
  const auto work = [&] {
    frame.LoadLanguageModule();
    Text text;
    return loadMessage("", 1001, true, text) && text == "Datei %1 fehlt";
  };
  runTwice(trial, {1131, 1003}, work, {std::filesystem::current_path() / "frame.lDe"});
}

TVK_MODULE_EXPORT std::uint32_t TvkLoadStringFromResource(std::uint32_t code, std::uint32_t size,
                                                          char* buffer) {
  return code == 77002 ? static_cast<std::uint32_t>(std::snprintf(buffer, size, "of the program")) : 0;
}

void messages(Trial& trial) {
  runTwice(trial, {}, [] {
    registerMessage("module", {77001, "a text of some length, with %1 and %2 and more behind them"});
    Text text, filled;
    if (!loadMessage("", 77002, true, text) || text != "of the program" ||
        !loadMessage("", 77001, true, text))
      return false;
    formatMessage(filled, text.c_str(), "something that is longer than the text itself, by far", "a second");
    return filled.starts_with("a text of some length, with something that") && filled.ends_with("them");
  });
}

void exceptions(Trial& trial) {
  runTwice(trial, {}, [] {
    const ErrorLocation outer("while the outer work is done", true), inner("the inner one", true);
    const FileException about(1001, "a/file/with/a/path/that/is/long");
    Exception made = Exception::Of(2005, "a first parameter that needs memory", 7, 'c'), copy(made);
    copy = about;
    const std::string shown = std::string(made.what()) + copy.what() + about.what();
    return shown.find("out of memory") == shown.npos && shown.find("done, the inner one") != shown.npos &&
           shown.find("a first parameter that") != shown.npos && shown.find("1001") != shown.npos &&
           shown.find("with/a/path") != shown.npos;
  });
  trial.expect(ErrorLocation::Current().empty(), "still in the scope");
}

// What could not be opened for the first of these stays so: of that there is no second try.
template <bool isFirst>
void strings(Trial& trial) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  const std::string greeting = "gr\xC3\xBC\xC3\x9F dich, das ist lang genug f\xC3\xBCr den Speicher";
  const auto work = [&] {
    Text narrow = greeting;
    const StringBase<wchar_t> wide(narrow);
    const Text latin = Text::FromUtf8(greeting);
    const char16_t units[] = {'a', 'b', 'c'};
    const std::vector<std::uint8_t> bytes =
        DecodeHexadecimal(EncodeHexadecimal(std::vector<std::uint8_t>(40)));
    return Text(wide) == narrow && wide.ToUtf8() == Utf8(greeting.c_str()) && bytes.size() == 40 &&
           latin.ToUtf8() == wide.ToUtf8() && StringBase<wchar_t>::FromUtf8(greeting) == wide &&
           narrow.OtherWidth() == static_cast<const std::wstring&>(wide) && Text(units, 3) == "abc";
  };
  isFirst ? static_cast<void>(trial.run({1000}, {}, work)) : runTwice(trial, {1000}, work);
}

template <bool isFirst>
void times(Trial& trial) {
  if (!isFirst) {  // the offset for times that the host does not tell is kept for good
    faultSet("mktime:1:EOVERFLOW");
    DateTimeO(2024, 1, 1, 0, 0, 0, 0).LocalOffset();
    faultSet(nullptr);
  }
  runTwice(trial, {1313}, [] {
    const DateTimeO now = DateTimeO::Now(), then = DateTimeO::FromUnixTime(1'000'000'000, 60);
    DateTimeO made(2024, 2, 29, 12, 30, 0, 5);
    made.SetDate(2023, 1, 31);
    made.ConvertToZone(90);
    return now.GetFields().year > 2000 && !made.Format(true).empty() && now.ToUnixTime() > 1'700'000'000 &&
           then.ToRfc3339() == "2001-09-09T02:46:40+01:00" && made.GetFields().year == 2023 &&
           DateTimeO::FromRfc3339("2001-09-09T02:46:40+01:00").ToUnixTime() == 1'000'000'000;
  });
}

struct Options : CommandLineParsing {
  using CommandLineParsing::CommandLineParsing;
  bool HandleOption() override { return Accept('x') || (Accept('n') && ReadUnsigned() == 12); }
};

void commandLine(Trial& trial) {
  runTwice(trial, {}, [] {
    const ArgumentList list{"-x", "-n12", "\"a folder/of a quite long name/file\""};
    Options options(list);
    options.Parse();
    std::string path, folder, name;
    options.ReadFileName(path, folder, name);
    return folder.ends_with("quite long name") && name == "file";
  });
}

struct Adder : Thread {
  explicit Adder(std::atomic<int>& sum) : m_sum(sum) {}
  ~Adder() override { Join(); }
  void* Run(void*) override { return ++m_sum, nullptr; }
  std::atomic<int>& m_sum;
};

void threads(Trial& trial) {
  // Their stacks are kept for those that come out larger than asked for.
  std::thread([] { std::thread([] {}).join(); }).join();
  std::atomic<int> sum;
  runTwice(trial, {}, [&] {
    sum = 0;
    Adder first(sum), second(sum);
    ThreadGroup group;
    const int started = first.Start(nullptr, true) + second.Start(nullptr, true);
    group.Add(first);
    group.Add(second);
    return group.JoinAll() && sum == started && started == 2 && !first.IsValid();
  });
}

// Reports and goes on, where the process would end.
struct Tool : Application {
  Tool() : Application("TL", "tool") {}
  std::int32_t Main() override {
    Console::Get().PrintLine("works");
    return Console::Get().good() && CurrentProcess::Get().Id() == getpid() ? 0 : 4;
  }
  std::int64_t HandleException(const std::exception& e) override {
    try {
      Application::HandleException(e);
    } catch (const std::bad_alloc&) {
      // the process would end all the same
    }
    throw Reported();
  }
  struct Reported {};
};

void frame(Trial& trial) {
  const char* const arguments[] = {"tool", "an argument", "another", nullptr};
  const bool isDone = trial.run({}, {}, [&] {
    Tool tool;
    try {
      return Application::Main(3, arguments) == 0 && tool.GetCommandLine() == "\"an argument\" another" &&
             ConsoleStreamBuf::Get().WriteError() == 0;
    } catch (const Tool::Reported&) {
      return false;
    } catch (const std::exception&) {
      throw std::logic_error("what nobody reported");
    }
  });
  trial.expect(Trial::screen() == "works\n" || !isDone, "not run");
}

// A module in a process without a frame.
void module(Trial& trial) {
  struct Part : Module {
    Part() : Module("PT", "part") {}
  } part;
  runTwice(trial, {},
           [&] { return Module::Start(&part) && CurrentProcess::Get().Id() == getpid() && Module::Stop(); });
}

void system(Trial& trial) {
  const std::string here = std::filesystem::current_path();
  Text name;
  std::vector<HostAddress> addresses;
  runTwice(trial, {1003}, [&] {
    HostAddress host;
    if (!SystemInfo::GetHostName(name) || !SystemInfo::GetInterfaceAddresses(addresses, false) ||
        !host.AssignNumber("2001:db8::1") || host.ToText() != "2001:db8::1" || !host.AssignHost("localhost"))
      return false;
    return executablePath().ends_with("fault_walk") && currentFolder() == here &&
           LoadedModules().size() > 3 && !SystemInfo::GetErrorText(2).empty() &&
           !SystemInfo::GetOsDescription().empty() && SystemInfo::GetDirectorySeparator() == "/";
  });
}

void blocks(Trial& trial) {
  std::string text;
  for (unsigned i = 0; text.size() < 90'000; ++i) text += std::to_string(i * i);
  const zed::ByteBuffer block(text);
  runTwice(trial, {}, [&] {
    zed::GZip gzip;
    zed::Zip zip;
    zed::Decompressor unzip(47), limited(47, 1000);
    zed::ByteBuffer packed, unpacked, other;
    const bool isRight = gzip.Compress(block) && zip.Compress(block) && gzip.GetResult(packed) &&
                         zed::IsCompleteBlock(packed) && unzip.Decompress(zip.Result()) &&
                         unzip.GetResult(other) && other == block && !limited.Decompress(packed) &&
                         zed::DecompressGzip(packed, unpacked) == block.Size() && unpacked == block;
    if (!isRight) throw std::logic_error("want of memory taken for a bad block");
    return true;
  });
}

constexpr Operation operations[] = {
    {"print", "fflush_unlocked vsnprintf", print},
    {"print, first", "fflush_unlocked vsnprintf", print, true},
    {"ask and read", "", askAndRead},
    {"page and progress", "", pageAndProgress},
    {"open a library", "dlopen dlclose", openLibrary},
    {"load a language", "", loadLanguage},
    {"messages", "malloc", messages},
    {"messages, first", "", messages, true},
    {"exceptions", "malloc", exceptions},
    {"exceptions, first", "", exceptions, true},
    {"strings", "malloc", strings<false>},
    {"strings, first", "iconv_open", strings<true>, true},
    {"times", "", times<false>},
    {"times, first", "", times<true>, true},
    {"command line", "malloc", commandLine},
    {"threads", "pthread_create", threads},
    {"program frame", "", frame, true},
    {"module", "", module, true},
    {"system", "socket gethostname", system},
    {"system, first", "socket", system, true},
    {"blocks", "malloc", blocks},
};

}  // namespace

std::span<const Operation> otherOperations() { return operations; }

}  // namespace faults
