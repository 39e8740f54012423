// Removing whole trees.
#pragma once

#include <string>

namespace tvk::detail {

// Removes a file, a link, or a folder with everything in it, and goes on past what cannot be removed. Links
// are never followed, also not those that somebody puts in the place of a folder meanwhile. Answers 0 when
// nothing is left, also when there was nothing, otherwise the first error number.
//
// Separators at the end do not count, but behind a link they are refused (ENOTDIR), as are the empty path,
// the root folder by whatever name, a last component "." or "..", and a zero in the path (EINVAL).
int removeTree(const std::string& path);

}  // namespace tvk::detail
