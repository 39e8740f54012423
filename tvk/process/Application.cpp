#include <tvk/process/Application.h>

#include <cxxabi.h>
#include <signal.h>

#include <atomic>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include <tvk/cmdline/ArgumentList.h>
#include <tvk/console/Console.h>
#include <tvk/files/FileStatus.h>
#include <tvk/process/Language.h>
#include <tvk/process/Platform.h>
#include <tvk/text/Exception.h>
#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/ProgramName.h>

namespace tvk {
namespace {

std::atomic<Application*> s_application{nullptr};

constexpr int s_statusWithoutApplication = 1;
constexpr int s_statusExitFailed = 2;
constexpr int s_statusException = 3;

constexpr std::int64_t s_abortedByUser = 11;
constexpr std::uint32_t s_messageAborted = 55376;
constexpr std::uint32_t s_messageLanguageModule = 57088;
constexpr std::uint32_t s_messageModuleIgnored = 57089;

// Blanks out the line that a prompt may have left.
constexpr const char* s_clearLine = "\r\r\t\t\t\t\t\t\t\t\t       \r";

void ignoreSignal(int number) { signal(number, SIG_IGN); }

StringBase<char> quoted(std::string_view argument) {
  const bool plain = argument.empty() || argument.front() == '"' ||
                     argument.find_first_of(" \t\n") == std::string_view::npos;
  StringBase<char> result;
  if (!plain) result += '"';
  result += argument;
  if (!plain) result += '"';
  return result;
}

StringBase<char> joined(const ArgumentList& arguments) {
  StringBase<char> line;
  for (std::size_t i = 0; i < arguments.Count(); ++i) {
    if (i > 0) line += ' ';
    line += quoted(arguments[i]);
  }
  return line;
}

FileString absoluteProgram(FileString program) {
  // A bare name was found by way of PATH: joined with the current folder it would name another file.
  if (program.find('/') == FileString::npos) {
    if (const std::string executable = platform::executablePath(); !executable.empty()) program = executable;
  }
  normalise(program);
  return program;
}

StringBase<char> message(std::uint32_t code, const StringBase<char>& value) {
  StringBase<char> format;
  loadMessage("tvk", code, true, format);
  StringBase<char> text;
  formatMessage(text, format.c_str(), value.c_str());
  return text;
}

// The program's last words are to be seen, whatever state the console's stream is in and wherever it cannot
// write, and also when memory is short. `before` is for the console alone.
void sayLast(std::initializer_list<std::string_view> words, const char* before = "") {
  Console& console = Console::Get();
  console.clear();
  ConsoleStreamBuf::Get().ClearWriteError();
  console << before;
  for (const std::string_view each : words) console << each;
  console << std::endl;
  if (ConsoleStreamBuf::Get().WriteError() == 0) return;
  for (const std::string_view each : words) std::fwrite(each.data(), 1, each.size(), stderr);
  std::fputc('\n', stderr);
}

// A process shows eight bits of its status; an abort must not look like success in them.
int exitStatus(std::int64_t code) {
  const int status = static_cast<int>(code & 0xFF);
  return status == 0 && code != 0 ? 1 : status;
}

// Reports what escaped, if need be without memory, and ends the process.
[[noreturn]] void endWith(const std::exception& e) {
  Application* const application = Application::GetApplication();
  int status = application != nullptr ? s_statusException : s_statusWithoutApplication;
  try {
    if (application != nullptr) {
      application->HandleException(e);
    } else {
      sayLast({"Aborted: ", e.what()});
    }
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "%s\n", e.what());
    if (const auto* const abort = dynamic_cast<const AbortException*>(&e))
      status = exitStatus(abort->GetCode());
  }
  Application::Terminate(status);
}

}  // namespace

Application::Application(const char* codePrefix, const char* name) : StartUp(codePrefix, name) {
  ProgramName::SetApplication(this, GetName());
  s_application = this;
}

Application::~Application() {
  ShutDown();
  Application* self = this;
  s_application.compare_exchange_strong(self, nullptr);
}

Application* Application::GetApplication() noexcept { return s_application; }

bool Application::Init() {
  if (!InitServices()) return false;
  ignoreSignal(SIGPIPE);
  return true;
}

std::int32_t Application::Main(int argc, const char* const* argv) {
  platform::occupyStandardDescriptors();
  std::setlocale(LC_CTYPE, "");
  std::setlocale(LC_TIME, "");
  for (const int number : {SIGUSR1, SIGUSR2, SIGHUP}) ignoreSignal(number);
  FileString program;
  StringBase<char> commandLine;
  try {
    ArgumentList& arguments = ArgumentList::OfProcess();
    arguments = ArgumentList(argc, argv);
    program = argc > 0 && argv != nullptr ? argv[0] : nullptr;
    commandLine = joined(arguments);
  } catch (const std::exception& e) {
    endWith(e);
  }
  return Run(program, commandLine);
}

std::int32_t Application::Run(const FileString& program, const StringBase<char>& commandLine) {
  try {
    Application* const application = GetApplication();
    if (application == nullptr) throw std::logic_error("no application object");
    application->m_programPath = absoluteProgram(program);
    application->m_commandLine = commandLine;
    GetLanguage();  // decided here, before the program can start a thread or change its environment
    std::int32_t result = 0;
    if (application->Init()) {
      application->LoadLanguageModuleIfPresent();
      result = application->Main();
    }
    if (application->Exit()) return result;
  } catch (const std::exception& e) {
    endWith(e);
  }
  Terminate(s_statusExitFailed);
}

void Application::LoadLanguageModuleIfPresent() {
  const StringBase<char> language = LanguageName();
  if (language.empty() || language == Language::NameOf(Language::english) || platform::hasRaisedRights())
    return;
  const FileString path = LanguageLibraryPath(language, nullptr);
  if (!isFile(path)) return;
  try {
    LoadLanguageModule();
  } catch (const Exception&) {
    Console::Get() << message(s_messageLanguageModule, path) << std::endl
                   << message(s_messageModuleIgnored, {}) << std::endl;
  }
}

std::int64_t Application::HandleException(const std::exception& e) {
  if (const auto* const abort = dynamic_cast<const AbortException*>(&e)) {
    if (abort->GetCode() == s_abortedByUser) sayLast({message(s_messageAborted, GetName())}, s_clearLine);
    Terminate(exitStatus(abort->GetCode()));
  }
  if (const auto* const exception = dynamic_cast<const Exception*>(&e)) {
    sayLast({e.what()});
    return exception->GetCode();
  }
  sayLast({GetName(), ": ", e.what()});
  return 0;
}

void Application::Terminate(int status) {
  try {
    Console::Destroy();
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    // The console could not be taken down; the process ends all the same.
  }
  std::exit(status);
}

std::uint32_t Application::GetLanguage() { return Language::OfUser(); }

const char* Application::GetLanguageNameOf(std::uint32_t code) noexcept { return Language::NameOf(code); }

}  // namespace tvk
