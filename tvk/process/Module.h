// The frame of a shared library that lives in somebody else's process.
#pragma once

#include <tvk/Export.h>
#include <tvk/files/FileString.h>
#include <tvk/process/StartUp.h>

namespace tvk {

// A shared library's use of this library: the services come up when it is started and go down when it is
// stopped. One module a process: starting and stopping act on process-wide state, and destroying any module
// clears the current one. A module inside a program that has a frame of its own must not be stopped before
// that program ends: stopping shuts down what both use, and the program goes on with fresh process-wide
// objects and no services. A module changes neither signals nor the locale. The shared library that holds all
// this stays loaded when the module goes.
//
//   class Pack : public tvk::Module { public: Pack() : Module("PK", "pack") {} } s_pack;
//
//   extern "C" bool packStart() { return tvk::Module::Start(&s_pack); }
//   extern "C" bool packStop() { return tvk::Module::Stop(); }
class TVK_EXPORT Module : public StartUp {
 public:
  // See StartUp. The newest module object is the current module.
  Module(const char* codePrefix, const char* name);
  ~Module() override;

  // "tvk": the language library of a module is named "tvk.lDe" and lies beside the library that holds the
  // module's class. A module that overrides this names its own.
  FileString GetPath() const override;
  bool Init() override { return InitServices(); }
  // Shuts the process down.
  bool Exit() override;

  // The current module, or null.
  static Module* GetModule() noexcept;

  // What a shared library calls when it is loaded: brings the services and the module up; true on success. A
  // module whose Init answers false is taken down again. Exceptions pass on. Null is false.
  static bool Start(Module* module);
  // What it calls when it is unloaded: the current module's Exit; false without one. Does not delete
  // the module.
  static bool Stop();

 protected:
  // Reserved; nothing calls them.
  virtual bool ReservedFirst(void* first, void* second, void* third, void* fourth, void* fifth);
  virtual bool ReservedSecond() { return true; }
};

}  // namespace tvk
