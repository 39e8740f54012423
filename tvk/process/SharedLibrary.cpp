#include <tvk/process/SharedLibrary.h>

#include <dlfcn.h>

#include <utility>

#include <tvk/files/FileStatus.h>
#include <tvk/files/Folders.h>
#include <tvk/process/Platform.h>
#include <tvk/text/MessageTable.h>

namespace tvk {

SharedLibrary::SharedLibrary(const FileString& path, void* handle)
    : m_handle(std::make_unique<void*>(handle)), m_path(path) {}

SharedLibrary::SharedLibrary(SharedLibrary&& other) noexcept = default;

SharedLibrary& SharedLibrary::operator=(SharedLibrary&& other) noexcept {
  if (this != &other) {
    Release();
    m_handle = std::move(other.m_handle);
    m_path = std::move(other.m_path);
    m_lastError = std::move(other.m_lastError);
  }
  return *this;
}

SharedLibrary::~SharedLibrary() { Release(); }

// Closes the library; when the loader refuses, its texts go all the same.
void SharedLibrary::Release() {
  if (!IsOpen()) return;
  Close();
  if (IsOpen()) dropTranslations(m_handle.get());
}

bool SharedLibrary::Open(const FileString& path, bool addExtension) {
  FileString wanted = path;
  if (addExtension) wanted += ".so";
  Release();
  if (m_handle == nullptr) m_handle = std::make_unique<void*>();
  *m_handle = nullptr;
  m_path = std::move(wanted);
  if (m_path.find('\0') != FileString::npos) {
    m_lastError = "a zero in the path " + m_path;  // the loader would take another library
    return false;
  }
  if (isFile(m_path)) m_path = realPath(m_path);
  // A thread that is cancelled in the library's initialisers would take the loader's lock along.
  const platform::QuietScope quiet;
  *m_handle = dlopen(m_path.c_str(), RTLD_LAZY | RTLD_GLOBAL);
  m_lastError = IsOpen() ? nullptr : dlerror();
  return IsOpen();
}

void SharedLibrary::Close() {
  if (!IsOpen()) return;
  const platform::QuietScope quiet;
  if (dlclose(*m_handle) == 0) {
    *m_handle = nullptr;
    m_lastError.clear();
    dropTranslations(m_handle.get());
  } else {
    m_lastError = dlerror();
  }
}

void* SharedLibrary::GetSymbol(const char* name) const {
  return IsOpen() && name != nullptr ? dlsym(*m_handle, name) : nullptr;
}

void SharedLibrary::LoadStrings() {
  if (auto* const getStrings = reinterpret_cast<TvkGetStrings*>(GetSymbol("GetStrings")))
    registerTranslations(m_handle.get(), getStrings());
}

}  // namespace tvk
