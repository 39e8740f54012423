// Copying files and whole trees.
#pragma once

#include <string>

namespace tvk::detail {

// How a copy treats its source and an existing target.
enum class CopyMode {
  File,    // a file, also behind a link, but no folder; an existing target gets the contents, keeps its mode
  Forced,  // the same, but a target that cannot be opened is removed and made anew
  Tree,    // Forced for whole trees; links are copied as links, and existing folders are merged
  Exact,   // a tree that must not exist yet, with mode, owner, times and hard links
};

// Copies to a path, or into it when it is a folder; Exact takes the path as it is. A tree goes on past what
// cannot be copied. Answers 0 when all was copied, otherwise the first error number: EISDIR for a folder
// where none is allowed, EEXIST for the same file twice, EINVAL for a folder into itself or a zero in a path,
// ESTALE for what was replaced meanwhile and, when Exact, for what was changed.
int copyTree(const std::string& source, const std::string& target, CopyMode mode);

// Where a copy or a move of the source comes to lie: in the target when that is a folder, otherwise there.
// Answers 0, or the error number when the system does not tell whether it is one. With `isMissing` it tells
// whether the target led to nothing.
int resolveTarget(const std::string& source, std::string& target, bool* isMissing = nullptr);

}  // namespace tvk::detail
