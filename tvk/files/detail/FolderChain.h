// What work on a tree of folders needs: owned descriptors, and the way down and back up.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <utility>
#include <vector>

namespace tvk::detail {

// Owns a descriptor; a negative one stands for none.
class Descriptor {
 public:
  explicit Descriptor(int descriptor = -1) noexcept : m_descriptor(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : m_descriptor(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor() { close(); }

  explicit operator bool() const noexcept { return m_descriptor >= 0; }
  int get() const noexcept { return m_descriptor; }
  int release() noexcept { return std::exchange(m_descriptor, -1); }
  // Answers 0 or the error number, and leaves errno alone. The descriptor is gone in either case.
  int close() noexcept;

 private:
  int m_descriptor;
};

// Which file or folder something is, whatever its name.
struct Identity {
  dev_t device;
  ino_t number;
  auto operator<=>(const Identity&) const = default;
};

inline Identity identityOf(const struct stat& status) { return {status.st_dev, status.st_ino}; }

// Opens what a folder holds, trying again when a signal came between; no child process inherits it. Below
// AT_FDCWD the name may be a path.
Descriptor openAt(int folder, const char* name, int flags, mode_t mode = 0);
// Opens a folder below another, never through a link.
Descriptor openFolder(int parent, const char* name);

// The way from a starting point down to the folder at work. However deep it gets, few descriptors stay open:
// a folder that was closed meanwhile is reopened as ".." of its child, and must be the one that was left.
class FolderChain {
 public:
  // AT_FDCWD while the chain is empty.
  int top() const noexcept { return m_folders.empty() ? AT_FDCWD : m_folders.back().descriptor.get(); }
  // Both answer 0 or the error number; ESTALE when the tree was moved about meanwhile.
  int push(Descriptor folder);
  int pop();

 private:
  static constexpr std::size_t keptOpen = 16;
  struct Folder {
    Descriptor descriptor;
    Identity identity;
  };
  std::vector<Folder> m_folders;
};

}  // namespace tvk::detail
