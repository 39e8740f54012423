// A shared library that is opened at run time.
#pragma once

#include <memory>

#include <tvk/Export.h>
#include <tvk/files/FileString.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// A handle on one shared library, closed by the destructor. Movable, not copyable.
//
// Errors   a library that the loader refuses is no exception: Open answers false, and LastError() has the
//          loader's own words.
// Threads  one thread at a time.
//
//   tvk::SharedLibrary library;
//   if (!library.Open("/opt/app/plugins/pack", true)) console << library.LastError();  // opens pack.so
class TVK_EXPORT SharedLibrary {
 public:
  SharedLibrary() noexcept = default;
  // Takes over a handle of dlopen; null is a closed library.
  SharedLibrary(const FileString& path, void* handle);
  SharedLibrary(SharedLibrary&& other) noexcept;
  SharedLibrary& operator=(SharedLibrary&& other) noexcept;
  ~SharedLibrary();

  // Closes what is open and opens `path`, with ".so" behind it when asked. A name without a folder that is
  // an existing file means that file; otherwise the loader searches for it. The path kept is the real one
  // of an existing file, the one asked for otherwise, also after a failure. The symbols of the library
  // become visible to everything that is loaded later. The empty path is the program itself. An existing
  // file without a real path throws FileException 1003.
  bool Open(const FileString& path, bool addExtension = false);
  // A library that the loader refuses to close stays open.
  void Close();
  bool IsOpen() const noexcept { return m_handle != nullptr && *m_handle != nullptr; }

  // The address of a symbol in the library or in those it depends on; null when there is none.
  void* GetSymbol(const char* name) const;

  // Puts the texts of a language library in force: those behind its GetStrings (see MessageEntry.h). They go
  // when the library is closed. Does nothing without that symbol.
  void LoadStrings();

  const FileString& GetPath() const noexcept { return m_path; }
  // What the loader said about the latest failure of Open or Close; empty after a success.
  const StringBase<char>& LastError() const noexcept { return m_lastError; }

 private:
  void Release();

  // In a cell of its own, whose address stands for the library's texts, also when this object moves.
  std::unique_ptr<void*> m_handle;
  FileString m_path;
  StringBase<char> m_lastError;
};

}  // namespace tvk
