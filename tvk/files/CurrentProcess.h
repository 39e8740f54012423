// The running process.
#pragma once

#include <sys/types.h>

#include <tvk/Export.h>
#include <tvk/files/FileString.h>

namespace tvk {

// What the running process is and where it is kept. Made on first use, ended last of all at shut-down.
//
// Threads   safe from every thread; a record does not change.
// Lifetime  references stay good; only the record that Get() answers ends, by Destroy() and in a forked child.
class TVK_EXPORT CurrentProcess {
 public:
  static CurrentProcess& Get();
  // Does nothing when there is no record. A later Get() looks again.
  static void Destroy() noexcept;

  pid_t Id() const noexcept { return m_id; }
  // The absolute path of the running executable; empty when the host does not tell.
  const FileString& ExecutablePath() const noexcept { return m_executablePath; }
  // The folder "/proc/" of this process: "/proc/4711".
  const FileString& Folder() const noexcept { return m_folder; }

 private:
  CurrentProcess();
  bool operator==(const CurrentProcess&) const = default;

  pid_t m_id;
  FileString m_executablePath;
  FileString m_folder;
};

}  // namespace tvk
