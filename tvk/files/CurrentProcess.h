// The running process.
#pragma once

#include <sys/types.h>

#include <tvk/Export.h>
#include <tvk/files/FileString.h>

namespace tvk {

// What the running process is and where it is kept. Made on first use; shut-down leaves it to late users.
//
// Threads   Get() is safe from every thread; the record does not change. Destroy() needs the process to
//           itself.
// Lifetime  references hold until Destroy(). In a forked child the first Get() makes a record of the child
//           and ends the references taken before the fork.
class TVK_EXPORT CurrentProcess {
 public:
  static CurrentProcess& Get();
  // Does nothing when there is no record. A later Get() makes a new one.
  static void Destroy() noexcept;

  pid_t Id() const noexcept { return m_id; }
  // The absolute path of the running executable; empty when the host does not tell.
  const FileString& ExecutablePath() const noexcept { return m_executablePath; }
  // The folder "/proc/" of this process: "/proc/4711".
  const FileString& Folder() const noexcept { return m_folder; }

 private:
  CurrentProcess();

  pid_t m_id;
  FileString m_executablePath;
  FileString m_folder;
};

}  // namespace tvk
