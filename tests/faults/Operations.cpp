// Does what scripts ask the libraries for, and tells what came of it: one message for each that comes through the socket
// whose descriptor is the argument, see walk.py. A script is a step a line, its words between tabs. Between the steps "fault"
// and "calm" the fault is on; a step that fails there leads on to "calm".
//
// What is told are pieces "KIND VALUE" with a zero behind each. Telling needs no memory, so it may happen under
// the fault.
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <clocale>
#include <concepts>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <typeinfo>

#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/console/Console.h>
#include <tvk/files/CurrentProcess.h>
#include <tvk/files/FileException.h>
#include <tvk/files/FileStatus.h>
#include <tvk/files/FileTreeScan.h>
#include <tvk/files/Folders.h>
#include <tvk/process/Application.h>
#include <tvk/process/Module.h>
#include <tvk/process/ModuleRegistry.h>
#include <tvk/process/SharedLibrary.h>
#include <tvk/process/SystemInfo.h>
#include <tvk/process/ThreadGroup.h>
#include <tvk/text/Hexadecimal.h>
#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/Utf8.h>
#include <tvk/time/DateTime.h>
#include <zed/Compressor.h>
#include <zed/Decompressor.h>

#include "FaultShim.h"

namespace {

using namespace tvk;
using Text = StringBase<char>;

int s_socket;
std::string s_answer;                     // with room enough
const std::vector<std::string>* s_words;  // of the step at work
bool s_isDone;                            // false when it answered so
// What scripts make.
std::map<std::string, std::unique_ptr<File>> s_files;
std::unique_ptr<SharedLibrary> s_library;
std::unique_ptr<StartUp> s_frame;

// --- What steps are made of.

void tell(std::string_view value, const char* kind = "value") {
  s_answer.append(kind).append(1, ' ').append(value).append(1, '\0');
}
void tell(std::integral auto value, const char* kind = "value") {
  tell(std::to_string(value), kind);  // short enough
}
void check(bool isDone) { s_isDone = s_isDone && isDone; }

const std::string& word(std::size_t index) { return s_words->at(index); }
FileString path(std::size_t index) { return word(index).c_str(); }
template <class T = std::uint32_t>
T number(std::size_t index) {
  return static_cast<T>(std::stoll(word(index)));
}
File& file() { return *s_files.at(word(1)); }

// Makes what is made once: texts of all kinds, the buffer of standard output, and stacks of threads, which are kept for
// those that come out larger than asked for.
void warmUp() {
  tell(FileException(1001, "x").what());
  tell(Exception(77777).what());
  std::thread([] { std::thread([] {}).join(); }).join();
  std::putchar(' ');
  std::fflush(stdout);
}

void read() {
  static char buffer[200'000];
  const auto size = number<std::size_t>(2);
  tell({buffer, file().read(buffer, size, true)});
}

void setTimes() {
  DateTimeO unchanged;
  file().setTimes(unchanged, DateTimeO::FromUnixTime(number(2), 0), DateTimeO::FromUnixTime(number(3), 0));
}

void getTimes() {
  std::int64_t change = 0, access = 0, modification = 0;
  DateTimeO changed, accessed, modified;
  file().getTimes(change, access, modification);
  file().getTimes(changed, accessed, modified);
  tell(access), tell(modification), tell(accessed.ToUnixTime()), tell(modified.ToUnixTime());
}

struct Scan : FileTreeScan {
  using FileTreeScan::FileTreeScan;

  void onFolder(const FileString&, std::span<const FileString>) override {
    if (folderError() != 0) ::tell("", "unread");
  }
  void onFile(const FileString& entry) override { ::tell(entry); }
  void onFolderVisited() override { ::tell("", "visited"); }
};

void scan() {
  FileSpecification specification;
  specification.folder = path(1);
  specification.recursive = true;
  for (std::size_t i = 2; i < s_words->size(); ++i) specification.add(word(i).c_str());
  Scan(specification).run();
}

void changePaths() {
  FileString found, expanded = "${HOME}/x", shown = "~/a/./b/../c";
  findInFolders(found, path(1), "/none;" + path(2));
  expandEnvironment(expanded);
  normalise(shown);
  FileSpecification specification;
  specification.add("x*");
  specification.add("y", true);
  specification.baseFolder(path(1));
  tell(found), tell(specification.folder), tell(realPath(path(1))), tell(expanded), tell(shown);
  homeFolder();
  check(isFile(path(1)) && isFolder(path(2)) && currentFolder() == path(2) && executablePath() == path(3));
}

// Keys for the next reads, and none from before.
void type() {
  __fpurge(stdin);
  clearerr(stdin);
  tcflush(STDIN_FILENO, TCIFLUSH);
  check(write(number<int>(1), (word(2) + '\n').c_str(), word(2).size() + 1) > 0);
}

void readLine() {
  Text line;
  Console::Get().ReadLine(line);
  tell(line);
}

struct Frame : Module {
  Frame() : Module("", "frame") {}
  FileString GetPath() const override { return "./frame"; }
  void GetLanguageName(Text& name) const override { name = "De"; }
};

void startModule() {
  static Module s_module("PT", "part");
  check(Module::Start(&s_module) && CurrentProcess::Get().Id() == getpid() && Module::Stop());
}

TVK_MODULE_EXPORT std::uint32_t TvkLoadStringFromResource(std::uint32_t code, std::uint32_t size,
                                                          char* buffer) {
  return code == 77002 ? static_cast<std::uint32_t>(std::snprintf(buffer, size, "of the program")) : 0;
}

const MessageEntry s_text = {77001, "a text of some length, with %1 and %2 and more"};

void showMessage() {
  Text text, filled;
  check(loadMessage("", number(1), true, text));
  formatMessage(filled, text.c_str(), "something that is longer than the text itself, by far", "a second");
  tell(filled);
}

void exceptions() {
  const ErrorLocation outer("while the outer work is done", true), inner("the inner one", true);
  const FileException about(1001, "a/file/with/a/path/that/is/long");
  Exception made = Exception::Of(2005, "a first parameter that needs memory", 7, 'c'), copy(made);
  copy = about;
  tell(made.what()), tell(copy.what()), tell(about.what());
}

void strings() {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  Text narrow = word(1);
  const Text latin = Text::FromUtf8(word(1));
  const StringBase<wchar_t> wide(narrow);
  const char16_t units[] = {'a', 'b', 'c'};
  const auto bytes = DecodeHexadecimal(EncodeHexadecimal(std::vector<std::uint8_t>(40)));
  check(bytes.size() == 40 && Text(units, 3) == "abc" && StringBase<wchar_t>::FromUtf8(word(1)) == wide &&
        narrow.OtherWidth() == static_cast<const std::wstring&>(wide) && latin.ToUtf8() == wide.ToUtf8());
  tell(Text(wide)), tell(wide.ToUtf8().View());
}

void times() {
  const DateTimeO now = DateTimeO::Now(), then = DateTimeO::FromUnixTime(1'000'000'000, 60);
  DateTimeO made(2024, 2, 29, 12, 30, 0, 5);
  made.SetDate(2023, 1, 31);
  made.ConvertToZone(90);
  check(now.GetFields().year > 2000 && !made.Format(true).empty() && now.ToUnixTime() > 1'700'000'000);
  tell(then.ToRfc3339()), tell(made.GetFields().year);
  tell(DateTimeO::FromRfc3339("2001-09-09T02:46:40+01:00").ToUnixTime());
}

struct Options : CommandLineParsing {
  using CommandLineParsing::CommandLineParsing;
  bool HandleOption() override { return Accept('x') || (Accept('n') && ReadUnsigned() == 12); }
};

void parseCommandLine() {
  const ArgumentList list{"-x", "-n12", "\"a folder/of a quite long name/file\""};
  Options options(list);
  options.Parse();
  std::string whole, folder, name;
  options.ReadFileName(whole, folder, name);
  tell(folder), tell(name);
}

struct Worker : Thread {
  ~Worker() override { Join(); }
  void* Run(void*) override { return hasRun = true, nullptr; }
  std::atomic<bool> hasRun = false;
};

void runThreads() {
  Worker first, second;
  ThreadGroup group;
  const bool started = first.Start(nullptr, true) && second.Start(nullptr, true);
  group.Add(first);
  group.Add(second);
  check(group.JoinAll() && started && first.hasRun && second.hasRun && !first.IsValid());
}

struct Tool : Application {
  Tool() : Application("TL", "tool") {
    if (s_words->back() == "throws")
      m_end = std::make_exception_ptr(Exception::Of(2005, "a parameter that needs memory", 7, 'c'));
    if (s_words->back() == "aborts") m_end = std::make_exception_ptr(AbortException(Exception::Of(11)));
  }
  std::int32_t Main() override {
    if (m_end) faultSet(word(1).c_str()), std::rethrow_exception(m_end);
    Console::Get().PrintLine("works");
    return Console::Get().good() && CurrentProcess::Get().Id() == getpid() ? 0 : 4;
  }
  std::exception_ptr m_end;
};

void runProgram() {
  const char* const arguments[] = {"tool", "an argument", "another", nullptr};
  try {
    tell(Application::Main(3, arguments));
  } catch (const std::exception&) {
    throw std::logic_error("what nobody reported");
  }
  tell(ConsoleStreamBuf::Get().WriteError()), tell(Application::GetApplication()->GetCommandLine());
}

void askSystem() {
  Text name;
  HostAddress host;
  check(currentFolder() == path(1) && executablePath() == path(2) && SystemInfo::GetHostName(name) &&
        host.AssignNumber("2001:db8::1") && host.ToText() == "2001:db8::1" && host.AssignHost("localhost") &&
        LoadedModules().size() > 3 && !SystemInfo::GetErrorText(2).empty() &&
        !SystemInfo::GetOsDescription().empty() && SystemInfo::GetDirectorySeparator() == "/");
}

void addresses() {
  std::vector<HostAddress> list;
  check(SystemInfo::GetInterfaceAddresses(list, word(1) == "kept"));
  for (const HostAddress& each : list) tell(each.ToText());
}

void pack() {
  const zed::ByteBuffer block(word(1));
  zed::GZip gzip;
  zed::Zip zip;
  zed::Decompressor unzip(47), limited(47, 1000);
  zed::ByteBuffer packed, unpacked, other;
  const bool isRight = gzip.Compress(block) && zip.Compress(block) && gzip.GetResult(packed) &&
                       zed::IsCompleteBlock(packed) && unzip.Decompress(zip.Result()) &&
                       unzip.GetResult(other) && other == block && !limited.Decompress(packed) &&
                       zed::DecompressGzip(packed, unpacked) == block.Size() && unpacked == block;
  if (!isRight) throw std::logic_error("want of memory taken for a bad block");
}

// --- The steps.

void calm() { faultSet(nullptr); }
void tellCounts() { calm(), tell(faultCounts(), "calm"); }
void send() {
  ::send(s_socket, s_answer.data(), s_answer.size(), 0);
  s_answer.clear();
}

const std::map<std::string_view, void (*)()> s_steps = {
    {"cold", [] {}},
    {"warm", warmUp},
    {"fault", [] { faultSet(word(1).c_str()); }},
    {"calm", tellCounts},
    // Where the script ends the process, this is told on the way out.
    {"ending", [] { std::atexit([] { tellCounts(), send(); }); }},

    {"file", [] { s_files.insert_or_assign(word(1), std::make_unique<File>(path(1))); }},
    {"open", [] { file().open(number(2)); }},
    {"openReadWrite", [] { file().openReadWrite(); }},
    {"create", [] { file().create(); }},
    {"openTemporary", [] { check(file().openTemporary(path(2))); }},
    {"close", [] { file().close(); }},
    {"closeIfOpen", [] { file().closeIfOpen(); }},
    {"read", read},
    {"readU8", [] { tell(file().readU8()); }},
    {"write", [] { file().write(word(2).data(), word(2).size()); }},
    {"writeU8", [] { file().writeU8(number<std::uint8_t>(2)); }},
    {"writeU32", [] { file().writeU32(number(2)); }},
    {"writeZeros", [] { file().writeZeros(number(2)); }},
    {"copyFrom", [] { file().copyFrom(*s_files.at(word(2)), number(3)); }},
    {"size", [] { tell(file().size()); }},
    {"tell", [] { tell(file().tell()); }},
    {"seek", [] { file().seek(number(2)); }},
    {"seekToEnd", [] { file().seekToEnd(); }},
    {"setName", [] { file().setName(word(2).c_str()); }},
    {"rewind", [] { file().rewind(); }},
    {"truncate", [] { file().truncate(); }},
    {"flush", [] { file().flush(); }},
    {"setTicks", [] { file().setTimes(0, number(2), number(3)); }},
    {"setTimes", setTimes},
    {"getTimes", getTimes},
    {"name", [] { tell(file().name()), tell(file().isOpen()); }},

    {"replaceContents", [] { File(path(1)).replaceContents(word(2).data(), word(2).size(), number(3)); }},
    {"copyFile", [] { check(File::copyFile(path(1), path(2))); }},
    {"copyTo", [] { check(file().copyTo(path(2), number(3))); }},
    {"move", [] { file().move(path(2)); }},
    {"rename", [] { file().rename(path(2)); }},
    {"remove", [] { check(File(path(1)).remove()); }},
    {"removeTree", [] { check(File(path(1)).removeTree()); }},
    {"createFolder", [] { File(path(1)).createFolder(number(2)); }},
    {"removeFolder", [] { check(File(path(1)).removeFolder()); }},
    {"scan", scan},

    {"changePaths", changePaths},

    {"clear", [] { Console::Get().clear(); }},
    {"clearError", [] { ConsoleStreamBuf::Get().ClearWriteError(); }},
    {"page", [] { Console::Get().Init(Console::FlagPage | Console::FlagTerminalSize); }},
    {"progress", [] { Console::Get().Progress("%d percent", number<int>(1)); }},
    {"clearProgress", [] { Console::Get().ClearProgress(); }},
    {"print", [] { Console::Get().PrintLine("%s", word(1).c_str()); }},
    {"put", [] { Console::Get() << "end " << number(1) << '\n'; }},
    {"isGood", [] { check(Console::Get().good() && ConsoleStreamBuf::Get().WriteError() == 0); }},
    {"type", type},
    {"ask", [] { tell(int{Console::Get().Ask(word(1), "yn", word(2)[0])}); }},
    {"waitKey", [] { tell(Console::Get().WaitKey(Console::FlagInterrupt)); }},
    {"readLine", readLine},
    {"destroyConsole", [] { Console::Destroy(); }},
    // Standard output goes there from now on.
    {"onto", [] { std::fflush(stdout), dup2(number<int>(1), STDOUT_FILENO); }},
    {"mark", [] { std::fflush(stdout), check(write(STDOUT_FILENO, "\f", 1) == 1); }},

    {"library", [] { s_library = std::make_unique<SharedLibrary>(); }},
    {"openLibrary", [] { check(s_library->Open(path(1))); }},
    {"symbol", [] { check(s_library->GetSymbol("InBoth") != nullptr && !s_library->GetPath().empty()); }},
    {"loadStrings", [] { s_library->LoadStrings(); }},
    {"closeLibrary", [] { s_library->Close(), check(!s_library->IsOpen()); }},
    {"frame", [] { s_frame = std::make_unique<Frame>(); }},
    {"loadLanguage", [] { s_frame->LoadLanguageModule(); }},
    {"startModule", startModule},
    {"tool", [] { s_frame = std::make_unique<Tool>(); }},
    {"program", runProgram},
    {"runThreads", runThreads},
    {"addresses", addresses},
    {"askSystem", askSystem},

    {"register", [] { registerMessage("module", s_text); }},
    {"showMessage", showMessage},
    {"exceptions", exceptions},
    {"strings", strings},
    {"times", times},
    {"localOffset", [] { DateTimeO(2024, 1, 1, 0, 0, 0, 0).LocalOffset(); }},
    {"parseCommandLine", parseCommandLine},
    {"pack", pack},
};

// False when the step failed; the fault is then off.
bool perform(const std::vector<std::string>& words) {
  s_words = &words;
  s_isDone = true;
  try {
    s_steps.at(words.at(0))();
    if (!s_isDone) calm(), tell(words[0], "refused");
  } catch (const std::exception& e) {
    calm();
    s_isDone = false;
    tell(typeid(e).name(), "threw"), tell(e.what(), "text");
    if (const auto* const own = dynamic_cast<const Exception*>(&e)) tell(own->GetCode(), "code");
    if (const auto* const about = dynamic_cast<const FileException*>(&e))
      tell(about->fileName(), "path"), tell(about->cause().value(), "cause");
  }
  return s_isDone;
}

void serve(const std::string& script) {
  std::vector<std::vector<std::string>> lines;
  std::istringstream in(script);
  for (std::string line, part; std::getline(in, line);) {
    std::istringstream parts(line);
    lines.emplace_back();
    while (std::getline(parts, part, '\t')) lines.back().push_back(part);
  }
  std::size_t failed = 0;
  for (std::size_t at = 0; at < lines.size(); ++at) {
    if (lines[at][0] == "again") {  // from what failed
      if (failed != 0) at = std::exchange(failed, 0) - 1;
    } else if (!perform(lines[at])) {
      failed = at;
      while (at + 1 < lines.size() && lines[at + 1][0] != "calm") ++at;
    }
  }
  s_files.clear();
  s_library.reset(), s_frame.reset();
}

bool receive(std::string& script) {
  static char buffer[1 << 18];
  const ssize_t size = recv(s_socket, buffer, sizeof buffer, 0);
  script.assign(buffer, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  return size > 0 && script != "end";
}

}  // namespace

// Each script is run by a process of its own, which goes on to serve the next ones unless the script is "cold". How
// it ended is told, too.
int main(int, char** argv) {
  s_socket = std::atoi(argv[1]);
  s_answer.reserve(1 << 20);
  for (std::string script; receive(script);) {
    const pid_t child = fork();
    if (child == 0) {
      do {
        alarm(20);
        serve(script);
        alarm(0);
        tell(faultLiveBlocks(), "blocks"), tell(getpid(), "process");
        send();
      } while (!script.starts_with("cold") && receive(script));
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    tell(WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status), "ended");
    send();
  }
}
