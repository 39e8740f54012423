// How a file is opened, created, copied or removed: flags that are combined with "|".
#pragma once

#include <cstdint>

namespace tvk {

inline constexpr std::uint32_t ModeRead = 0x0001;
inline constexpr std::uint32_t ModeWrite = 0x0002;
// Create the file, or cut it to zero length. No other flag ever shortens a file that exists.
inline constexpr std::uint32_t ModeTruncate = 0x0004;
// Every write goes to the end; the file is created when it does not exist.
inline constexpr std::uint32_t ModeAppend = 0x0008;
// create() makes a folder.
inline constexpr std::uint32_t ModeFolder = 0x0100;
// Write; the file is created when it does not exist and kept when it does.
inline constexpr std::uint32_t ModeWriteCreate = 0x0200;
// Read; it sets no lock.
inline constexpr std::uint32_t ModeReadShared = 0x0400;
// Copying and replacing: refuse an existing target.
inline constexpr std::uint32_t ModeNoOverwrite = 0x1000;
// Opening and replacing: the file must exist. Copying: the target folder must exist.
inline constexpr std::uint32_t ModeMustExist = 0x2000;
// Operations on folders act on whole trees.
inline constexpr std::uint32_t ModeRecursive = 0x4000;

}  // namespace tvk
