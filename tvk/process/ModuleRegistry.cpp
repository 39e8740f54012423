#include <tvk/process/ModuleRegistry.h>

#include <dlfcn.h>

#include <tvk/process/Platform.h>

namespace tvk {

LoadedModule::~LoadedModule() {
  const platform::QuietScope quiet;  // the module's destructors may run
  if (m_handle != nullptr) dlclose(m_handle);
}

void* LoadedModule::Symbol(const char* name) const {
  if (m_handle == nullptr || name == nullptr) return nullptr;
  void* const address = dlsym(m_handle, name);
  return address != nullptr && platform::liesInModule(address, m_handle) ? address : nullptr;
}

// The names come first and the references later: the walk over the loader's list must not open anything.
std::vector<LoadedModule> LoadedModules() { return LoadedModules(platform::loadedModulePaths()); }

std::vector<LoadedModule> LoadedModules(std::vector<std::string> paths) {
  std::vector<LoadedModule> modules;
  modules.reserve(paths.size());
  for (std::string& path : paths)
    if (void* handle = platform::openIfLoaded(path)) modules.push_back({handle, std::move(path)});
  return modules;
}

}  // namespace tvk
