// What to scan: a base folder, name patterns and two switches.
#pragma once

#include <cstdint>
#include <vector>

#include <tvk/Export.h>
#include <tvk/files/FileString.h>

namespace tvk {

// A plain value: names below a folder, as a command line gives them. The fields may be used directly; `names`
// and `marks` are kept at one length by add(). A specification that is walked with first() and next() belongs
// to one thread at a time.
class TVK_EXPORT FileSpecification {
 public:
  // Appends a name pattern and its mark, which means what the caller wants it to mean.
  void add(const FileString& name, bool mark = false);

  // Walk through the names: true with the name in `out`; false, with `out` cleared, behind the last one.
  bool first(FileString& out);
  bool next(FileString& out);

  // True without a folder and names, whatever the switches say.
  bool isEmpty() const;

  // The one path that is meant: true, with the folder joined with the name in `out`, when there is exactly
  // one name and `singleKind` equals `kind`. Otherwise `out` is left alone.
  bool singlePath(FileString& out, bool kind) const;

  // Puts the fallback in the place of an empty folder, normalises the folder and answers it.
  const FileString& baseFolder(const FileString& fallback);

  // As freshly made.
  void clear();

  bool recursive = false;         // a scan made from this walks sub-folders
  bool singleKind = false;        // for singlePath()
  std::uint64_t cursor = 0;       // index of the name that next() answers
  FileString folder;              // the base folder
  std::vector<FileString> names;  // shell wildcard patterns
  std::vector<bool> marks;        // one for each name
};

}  // namespace tvk
