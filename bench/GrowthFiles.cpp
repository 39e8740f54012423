// How a scan grows with the files of a folder, and with the depth of folders.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include <tvk/files/FileTreeScan.h>

#include "Folder.h"
#include "Heap.h"
#include "Sides.h"

namespace {

class Scan : public tvk::FileTreeScan {
 public:
  using FileTreeScan::FileTreeScan;
  std::uint64_t m_count = 0;

 protected:
  void onFile(const tvk::FileString&) override { ++m_count; }
};

void question(const std::string& name, int size, const std::string& folder) {
  const auto scan = [folder] {
    tvk::FileSpecification what;
    what.recursive = true;
    what.folder = folder;
    what.add("f*");
    Scan found(what);
    found.run();
    return found.m_count;
  };
  bench::Question<std::uint64_t>(name, std::to_string(size))
      .expect(static_cast<std::uint64_t>(size))
      .bytes(bench::heapPeakOf(scan))
      .side("tvk", scan);
}

void makeFile(int folder, const std::string& name) {
  close(openat(folder, name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
}

// A file in each of so many folders, one below the other.
void makeChain(const std::string& path, int depth) {
  mkdir(path.c_str(), 0700);
  int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (int level = 1;; ++level) {
    makeFile(folder, "f");
    if (level == depth) break;
    mkdirat(folder, "d", 0700);
    const int next = openat(folder, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    close(folder);
    folder = next;
  }
  close(folder);
}

}  // namespace

void bench::ask() {
  static const Folder folder;
  for (int files = 10; files <= scaled(1'000'000); files *= 10) {
    const std::string path = folder / std::to_string(files);
    mkdir(path.c_str(), 0700);
    const int at = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int file = 0; file < files; ++file) makeFile(at, "f" + std::to_string(file));
    close(at);
    question("grow_files", files, path);
  }
  for (int depth = 15; depth <= std::max(60, scaled(1920)); depth *= 2) {
    const std::string path = folder / ("chain" + std::to_string(depth));
    makeChain(path, depth);
    question("grow_depth", depth, path);
  }
}
