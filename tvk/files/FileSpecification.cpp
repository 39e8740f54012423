#include <tvk/files/FileSpecification.h>

namespace tvk {

void FileSpecification::add(const FileString& name, bool mark) {
  names.push_back(name);
  marks.push_back(mark);
}

bool FileSpecification::first(FileString& out) {
  cursor = 0;
  return next(out);
}

bool FileSpecification::next(FileString& out) {
  if (cursor >= names.size()) {
    out.clear();
    return false;
  }
  out = names[cursor++];
  return true;
}

bool FileSpecification::isEmpty() const { return folder.empty() && names.empty(); }

bool FileSpecification::singlePath(FileString& out, bool kind) const {
  if (names.size() != 1 || singleKind != kind) return false;
  out = joinedCopy(folder, names.front());
  return true;
}

const FileString& FileSpecification::baseFolder(const FileString& fallback) {
  if (folder.empty()) folder = fallback;
  normalise(folder);
  return folder;
}

void FileSpecification::clear() { *this = FileSpecification(); }

}  // namespace tvk
