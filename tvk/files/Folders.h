// The well-known folders, real paths, and the search for a file in a list of folders.
#pragma once

#include <tvk/Export.h>
#include <tvk/files/FileString.h>

namespace tvk {

// The folder for temporary files: always "/var/tmp/", whatever the environment says.
TVK_EXPORT FileString tempFolder();

// The value of HOME, as it is. Unset: FileException 1002 that names "$TEMP".
TVK_EXPORT FileString homeFolder();

// The current folder; empty when the system does not tell, for instance because it was removed.
TVK_EXPORT FileString currentFolder();

// The path of the running executable; empty when the system does not tell.
TVK_EXPORT FileString executablePath();

// The absolute path without links, "." and ".." that the system finds for a path; the empty path stays empty.
// FileException 1003 when there is nothing of that name or it cannot be reached.
TVK_EXPORT FileString realPath(const FileString& path);

// Looks for a file (isFile()) in folders separated by ";": the first folder joined with the name that is one
// becomes the result; an empty folder leaves the name alone. When there is none, or the list is empty, the
// name itself is tried: the result is left as it is when that is a file, and cleared otherwise.
TVK_EXPORT void findInFolders(FileString& result, const FileString& name, const FileString& folderList);

}  // namespace tvk
