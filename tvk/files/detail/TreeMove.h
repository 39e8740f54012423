// Moving files and whole trees.
#pragma once

#include <string>

namespace tvk::detail {

// Moves to an absolute path, or into it when it is a folder, as rename() does; an existing file is replaced,
// and so is an empty folder by a folder. Between devices the tree is copied with everything it has, and the
// source goes only after a complete copy. Answers 0, or the error number: EEXIST for two links to one file.
int moveTree(const std::string& source, const std::string& target);

}  // namespace tvk::detail
