// The base of every frame, and the order in which a process comes up and goes down.
//
// Coming up    the services register while the library is loaded (see Services.cpp); InitServices, called by
//              the frame's Init, brings them up in that order. Process-wide objects are made on first use.
// Going down   ShutDown, called when the frame ends, takes down the services in reverse order, then the
//              process-wide objects, newest first, then the console, last the record of the current process.
#pragma once

#include <memory>

#include <tvk/Export.h>
#include <tvk/files/FileString.h>
#include <tvk/process/SharedLibrary.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// What represents the program (Application) or the module (Module) that uses the library: its name, its
// language library and its life. The first frame made is the current one until it is destroyed; a later one
// never takes its place.
//
// Threads   frames are made, used and destroyed on one thread. ShutDown wants every other thread joined: one
//           that still runs meets no dead object of the library, but may lose error locations and settings.
class TVK_EXPORT StartUp {
 public:
  // `codePrefix` stands in front of every error code of the process, at most 11 characters; the prefix of the
  // newest frame holds, so a module changes that of its host. A longer one throws Exception 2007 and changes
  // nothing. `name` is the program's name in error texts. Null counts as empty.
  StartUp(const char* codePrefix, const char* name);
  StartUp(const StartUp&) = delete;
  StartUp& operator=(const StartUp&) = delete;
  // Closes the language library. Does not shut the process down: derived frames do.
  virtual ~StartUp();

  // The path that stands for the frame; its language libraries are named after it.
  virtual FileString GetPath() const = 0;
  // Writes the two-letter name of the user's language ("De"), or nothing when it has none.
  virtual void GetLanguageName(StringBase<char>& name) const;
  // Bring the frame up and take it down; true on success.
  virtual bool Init() = 0;
  virtual bool Exit() = 0;

  // The current frame, or null.
  static StartUp* Get() noexcept;
  static bool IsStarted() noexcept { return Get() != nullptr; }

  const StringBase<char>& GetName() const noexcept { return *m_name; }
  StringBase<char> LanguageName() const;

  // Opens the language library of the user's language in place of the one that is open and puts its texts in
  // force. It lies beside the frame's path and is named after it: "/opt/app/bin/tool" and German give
  // "/opt/app/bin/tool.lDe". Behind the last "." of the path's file name everything is replaced ("tool-1.2"
  // gives "tool-1.lDe"). A path without a folder lies in `directory`, or, failing that, in the folder of the
  // executable or library that holds the frame's class; an empty path means `directory` itself. Throws
  // Exception 1131 when the library is missing or cannot be opened. English has a library too ("tool.lUs").
  void LoadLanguageModule(const char* directory = nullptr);
  const SharedLibrary& LanguageLibrary() const noexcept { return m_languageLibrary; }

  // Brings up every registered service in registration order; true. What a service throws passes on. Services
  // register once a process: after ShutDown there is nothing left to bring up.
  static bool InitServices();
  // True, and nothing else: services go down with ShutDown.
  static bool ExitServices() noexcept { return true; }
  // Takes the process-wide state down; a second call finds nothing to do.
  static void ShutDown();

 protected:
  // Where LoadLanguageModule() looks for the library of a language; empty when no folder is known.
  FileString LanguageLibraryPath(const StringBase<char>& language, const char* directory) const;

 private:
  std::unique_ptr<StringBase<char>> m_name;
  SharedLibrary m_languageLibrary;
};

}  // namespace tvk
