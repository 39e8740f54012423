// The files that the command line names.
#pragma once

#include <vector>

#include "FileWork.h"
#include "Settings.h"

namespace tvkpack {

// Collects them before anything is changed: the matches of each folder in the order of their paths, each path
// once, and of the folders those that cannot be read. A target that does not exist throws 1002.
std::vector<Item> listFiles(const Settings& settings);

}  // namespace tvkpack
