#include <tvk/process/Module.h>

#include <atomic>

namespace tvk {
namespace {

std::atomic<Module*> s_module{nullptr};

}  // namespace

Module::Module(const char* codePrefix, const char* name) : StartUp(codePrefix, name) { s_module = this; }

Module::~Module() { s_module = nullptr; }

FileString Module::GetPath() const { return "tvk"; }

bool Module::Exit() {
  const bool result = ExitServices();
  ShutDown();
  return result;
}

Module* Module::GetModule() noexcept { return s_module; }

bool Module::Start(Module* module) {
  InitServices();
  if (module == nullptr) return false;
  if (module->Init()) return true;
  module->Exit();
  return false;
}

bool Module::Stop() {
  Module* const module = GetModule();
  return module != nullptr && module->Exit();
}

bool Module::ReservedFirst(void*, void*, void*, void*, void*) { return true; }

}  // namespace tvk
