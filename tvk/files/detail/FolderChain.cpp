#include <tvk/files/detail/FolderChain.h>

#include <unistd.h>

#include <tvk/process/Platform.h>

namespace tvk::detail {

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this != &other) {
    close();
    m_descriptor = other.release();
  }
  return *this;
}

int Descriptor::close() noexcept {
  if (m_descriptor < 0) return 0;
  const platform::QuietScope quiet;
  return ::close(release()) == 0 ? 0 : errno;
}

Descriptor openAt(int folder, const char* name, int flags, mode_t mode) {
  int descriptor = -1;
  int error = 0;
  {
    const platform::QuietScope quiet;  // a thread that is cancelled here would lose the descriptor
    do {
      descriptor = openat(folder, name, flags | O_CLOEXEC, mode);
      error = errno;
    } while (descriptor < 0 && error == EINTR);
  }
  if (descriptor < 0) errno = error;
  return Descriptor(descriptor);
}

Descriptor openFolder(int parent, const char* name) {
  return openAt(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
}

int FolderChain::push(Descriptor folder) {
  struct stat status;
  if (fstat(folder.get(), &status) != 0) return errno;
  m_folders.push_back({std::move(folder), identityOf(status)});
  if (m_folders.size() > keptOpen) m_folders[m_folders.size() - 1 - keptOpen].descriptor.close();
  return 0;
}

int FolderChain::pop() {
  const Descriptor child = std::move(m_folders.back().descriptor);
  m_folders.pop_back();
  if (m_folders.empty() || m_folders.back().descriptor) return 0;
  Folder& folder = m_folders.back();
  Descriptor parent = openFolder(child.get(), "..");
  struct stat status;
  if (!parent || fstat(parent.get(), &status) != 0) return errno;
  if (identityOf(status) != folder.identity) return ESTALE;
  folder.descriptor = std::move(parent);
  return 0;
}

}  // namespace tvk::detail
