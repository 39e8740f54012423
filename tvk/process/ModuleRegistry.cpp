#include <tvk/process/ModuleRegistry.h>
#include <tvk/process/Platform.h>

#include <dlfcn.h>

namespace tvk {

LoadedModule::~LoadedModule() {
  if (m_handle != nullptr) dlclose(m_handle);
}

void* LoadedModule::Symbol(const char* name) const {
  if (m_handle == nullptr || name == nullptr) return nullptr;
  void* const address = dlsym(m_handle, name);
  return address != nullptr && platform::liesInModule(address, m_handle) ? address : nullptr;
}

std::vector<LoadedModule> LoadedModules() {
  // The names come first and the references later: the walk over the loader's list must not open anything.
  std::vector<std::string> paths = platform::loadedModulePaths();
  std::vector<LoadedModule> modules;
  modules.reserve(paths.size());
  for (std::string& path : paths)
    if (void* handle = platform::openIfLoaded(path)) modules.push_back({handle, std::move(path)});
  return modules;
}

}  // namespace tvk
