// The frame of a program.
#pragma once

#include <cstdint>
#include <exception>

#include <tvk/Export.h>
#include <tvk/files/FileString.h>
#include <tvk/process/StartUp.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// A program from main() to its exit status: it ignores the signals that a console program must survive,
// keeps the command line, brings the services up, runs the program's work, reports what escapes and takes
// all down again.
//
//   class Tool : public tvk::Application {
//    public:
//     Tool() : Application("TL", "tool") {}
//     std::int32_t Main() override { ... }
//   };
//
//   int main(int argc, char** argv) {
//     Tool tool;
//     return tvk::Application::Main(argc, argv);
//   }
//
// Exit status   what Main answered; 3 after an exception, 2 when Exit() answered false, 1 without an
//               application object, an abort's own code (11 after Ctrl-C). These four flush and delete the
//               console and leave the rest as it is. When Init() answers false, Main is skipped and the
//               status is 0, not an error.
// Signals       SIGUSR1, SIGUSR2, SIGHUP and SIGPIPE are ignored, also by programs that the program starts.
// Locale        LC_CTYPE and LC_TIME are taken from the environment; the other categories stay "C".
// Language      when the user's language is not English, the language library beside the program is loaded
//               before Main, if there is one (see StartUp::LoadLanguageModule). One that cannot be opened
//               costs two lines on the console. A program with raised rights (set-user-id) loads none.
class TVK_EXPORT Application : public StartUp {
 public:
  // See StartUp. The newest application object is the current application.
  Application(const char* codePrefix, const char* name);
  // Shuts the process down.
  ~Application() override;

  FileString GetPath() const override { return m_programPath; }
  // Brings the services up and ignores SIGPIPE. An override calls it first.
  bool Init() override;
  bool Exit() override { return ExitServices(); }
  // The program's work; answers the exit status.
  virtual std::int32_t Main() = 0;

 protected:
  // Reserved; nothing calls them.
  virtual bool ReservedFirst() { return true; }
  virtual bool ReservedSecond() { return true; }

 public:
  // Reports an exception that escaped Main on the console, and on standard error when the console cannot write:
  // the text of an Exception, the frame's name and the text of any other. Answers its code, 0 without one. An
  // AbortException ends the process here with its code (the low eight bits, but 1 when only they are 0): code 11
  // says "aborted by user", others say nothing.
  virtual std::int64_t HandleException(const std::exception& e);

 protected:
  virtual bool ReservedThird() { return false; }
  virtual void ReservedFourth() {}

 public:
  // The current application, or null.
  static Application* GetApplication() noexcept;

  // The body of main(). The arguments go to ArgumentList::OfProcess() as they are, and joined by blanks,
  // those with blanks, tabs or line feeds in double quotes, to GetCommandLine(): a text to be shown, not to
  // be taken apart.
  static std::int32_t Main(int argc, const char* const* argv);
  // Init, Main and Exit of the current application, and what an exception leads to. A `program` without a "/"
  // means the running executable, wherever it was found.
  static std::int32_t Run(const FileString& program, const StringBase<char>& commandLine);
  // Deletes the console and ends the process; does not shut down.
  [[noreturn]] static void Terminate(int status);

  // The code of the user's language and the two-letter name of a code, or null (see Language).
  static std::uint32_t GetLanguage();
  static const char* GetLanguageNameOf(std::uint32_t code) noexcept;

  // The absolute path of the program, which GetPath() answers, and its arguments; both empty before Run.
  const FileString& GetProgramPath() const noexcept { return m_programPath; }
  void SetProgramPath(const FileString& path) { m_programPath = path; }
  const StringBase<char>& GetCommandLine() const noexcept { return m_commandLine; }
  void SetCommandLine(const StringBase<char>& commandLine) { m_commandLine = commandLine; }

 private:
  void LoadLanguageModuleIfPresent();

  FileString m_programPath;
  StringBase<char> m_commandLine;
};

}  // namespace tvk
