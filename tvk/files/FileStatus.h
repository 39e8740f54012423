// What a path names, asked of the system. A call that fails, for whatever reason, answers false and throws
// nothing.
#pragma once

#include <cstdint>

#include <tvk/Export.h>
#include <tvk/files/FileString.h>

namespace tvk {

// True for a folder, also at the end of symbolic links. The path is taken as it is: "~" is a mere name.
TVK_EXPORT bool isFolder(const FileString& path) noexcept;
// True for a regular file, a character device or a block device, also at the end of symbolic links; false for
// a FIFO and a socket.
TVK_EXPORT bool isFile(const FileString& path) noexcept;

// When the file was last changed (its status), read and written to, at the end of symbolic links: whole
// seconds since 1970-01-01 00:00 UTC. False leaves the values alone and the reason in errno.
TVK_EXPORT bool readFileTimes(const FileString& path, std::int64_t& changeTime, std::int64_t& accessTime,
                              std::int64_t& modificationTime) noexcept;
TVK_EXPORT bool writeFileTimes(const FileString& path, std::int64_t accessTime,
                               std::int64_t modificationTime) noexcept;

}  // namespace tvk
