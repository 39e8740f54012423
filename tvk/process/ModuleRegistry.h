// What the process has loaded, and the symbols in it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <tvk/Export.h>

namespace tvk {

// One loaded module: the main program or a shared library. Holds a reference, so that the module stays loaded
// until this object goes; the destructor gives it back and may then unload the module.
class TVK_EXPORT LoadedModule {
 public:
  LoadedModule(LoadedModule&& other) noexcept
      : m_handle(std::exchange(other.m_handle, nullptr)), m_path(std::move(other.m_path)) {}
  LoadedModule& operator=(LoadedModule&& other) noexcept {
    LoadedModule taken(std::move(other));
    std::swap(m_handle, taken.m_handle);
    std::swap(m_path, taken.m_path);
    return *this;
  }
  ~LoadedModule();

  // The name under which the loader knows it; empty for the main program.
  const std::string& Path() const noexcept { return m_path; }

  // The address of a symbol that lies in this module itself, not in one of its dependencies; else null.
  void* Symbol(const char* name) const;

 private:
  friend TVK_EXPORT std::vector<LoadedModule> LoadedModules(std::vector<std::string> paths);
  LoadedModule(void* handle, std::string path) noexcept : m_handle(handle), m_path(std::move(path)) {}

  void* m_handle;
  std::string m_path;
};

// Everything that is loaded now, in load order, the main program first. Safe from every thread; what another
// thread unloads meanwhile is left out.
TVK_EXPORT std::vector<LoadedModule> LoadedModules();
// The same of the modules with these paths alone, in the order given.
TVK_EXPORT std::vector<LoadedModule> LoadedModules(std::vector<std::string> paths);

}  // namespace tvk
