// The library's work on trees, as a program for the drivers of this folder: tree_work OPERATION PATH [TARGET].
// Ends with status 0 for success, 1 for a refusal or failure.
#include <cstdio>
#include <string>

#include <tvk/files/FileException.h>
#include <tvk/files/FileTreeScan.h>

namespace {

// Writes each entry, with a zero behind it.
struct Lister : tvk::FileTreeScan {
  using FileTreeScan::FileTreeScan;
  void onFile(const tvk::FileString& entry) override {
    std::fwrite(entry.c_str(), 1, entry.size() + 1, stdout);
  }
};

bool scan(const std::string& path) {
  tvk::FileSpecification everything;
  everything.recursive = true;
  everything.folder = path;
  for (const char* pattern : {"*", ".*"}) everything.add(pattern);
  Lister(everything).run();
  return true;
}

bool work(const std::string& operation, const std::string& path, const std::string& target) {
  tvk::File file(path);
  if (operation == "remove") return file.removeTree();
  if (operation == "copy") return file.copyTo(target, tvk::ModeRecursive);
  if (operation == "copyTo") return file.copyTo(target);
  if (operation == "copyFile") return tvk::File::copyFile(path, target);
  if (operation == "move") return file.move(target), true;
  return operation == "scan" && scan(path);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc > 2 && work(argv[1], argv[2], argc > 3 ? argv[3] : "")) return 0;
    std::perror(argv[0]);
    return 1;
  } catch (const tvk::Exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
  }
}
