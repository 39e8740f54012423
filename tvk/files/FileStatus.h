// What a path names, asked of the system. A call that fails, for whatever reason, answers false; nothing is
// thrown.
#pragma once

#include <tvk/Export.h>
#include <tvk/files/FileString.h>

namespace tvk {

// True for a folder, also at the end of symbolic links. The path is taken as it is: "~" is a name like any
// other.
TVK_EXPORT bool isFolder(const FileString& path) noexcept;
// True for a regular file, a character device or a block device, also at the end of symbolic links; false for
// a FIFO and a socket.
TVK_EXPORT bool isFile(const FileString& path) noexcept;

}  // namespace tvk
