// What the console asks of the terminal device.
#pragma once

#include <cstdint>

#include <tvk/Export.h>

namespace tvk {

// Sets or clears the canonical (line by line) mode of the terminal behind `fd`, after pending output was
// sent. `minChars` holds how many characters a read in non-canonical mode waits for (VMIN) in its low byte
// and the time limit in tenths of a second (VTIME) in the byte above, so 1 means "one character, however long
// it takes". `oldOn` and `oldMinChars` receive what was set before, in the same form, unless they are null;
// handing both back restores the mode. No other setting is touched.
//
// Answers 0, or -1 with errno set: ENOTTY or EINVAL when `fd` is no terminal.
TVK_EXPORT int SetCanonical(int fd, bool on, bool* oldOn, std::uint32_t minChars,
                            std::uint32_t* oldMinChars) noexcept;

// Makes `key` the character that raises SIGINT, or no character with NoInterruptKey(). `oldKey` receives the
// one before unless it is null. Answers as SetCanonical().
TVK_EXPORT int SetInterruptKey(int fd, unsigned char key, unsigned char* oldKey) noexcept;
TVK_EXPORT unsigned char NoInterruptKey() noexcept;

// The columns and lines of the screen behind `fd`. False, with both untouched, when it is no terminal or does
// not tell.
TVK_EXPORT bool GetTerminalSize(int fd, std::uint32_t& columns, std::uint32_t& lines) noexcept;

// True when `fd` is the controlling terminal and this process is not in its foreground: changing the mode
// would stop the process.
TVK_EXPORT bool IsInBackground(int fd) noexcept;

}  // namespace tvk
