// The one room that knows which host this is. Everything above asks here and works the same on all of them.
#pragma once

#include <string>

#include <tvk/Export.h>

namespace tvk::platform {

// The absolute path of the running executable; empty when the host does not tell.
TVK_EXPORT std::string executablePath();

// The current folder, however long; empty when the host does not tell.
TVK_EXPORT std::string currentFolder();

}  // namespace tvk::platform
