// 100,000 files in 5,000 folders are visited, those of one pattern.
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <ftw.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>

#include <tvk/files/FileTreeScan.h>

#include "Folder.h"
#include "Sides.h"

#ifdef BENCH_BOOST
#include <boost/filesystem.hpp>
#endif
#ifdef BENCH_POCO
#include <Poco/Glob.h>
#include <Poco/RecursiveDirectoryIterator.h>
#endif

namespace {

class Scan : public tvk::FileTreeScan {
 public:
  using FileTreeScan::FileTreeScan;
  std::uint64_t m_count = 0;

 protected:
  void onFile(const tvk::FileString&) override { ++m_count; }
};

bool isWanted(const char* pattern, const char* name) { return fnmatch(pattern, name, FNM_PERIOD) == 0; }

// The limit: each folder read once, relative to the one above, nothing kept.
std::uint64_t readFolders(int above, const char* name, const char* pattern) {
  const int folder = openat(above, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
  alignas(dirent64) char block[32768];
  std::uint64_t count = 0;
  for (long size; (size = syscall(SYS_getdents64, folder, block, sizeof block)) > 0;) {
    for (long at = 0; at < size;) {
      const auto* const entry = reinterpret_cast<const dirent64*>(block + at);
      at += entry->d_reclen;
      if (entry->d_name[0] == '.' && (entry->d_name[1] == '\0' || std::strcmp(entry->d_name, "..") == 0))
        continue;
      count += isWanted(pattern, entry->d_name);
      if (entry->d_type == DT_DIR) count += readFolders(folder, entry->d_name, pattern);
    }
  }
  close(folder);
  return count;
}

std::uint64_t s_found;
const char* s_pattern;

std::uint64_t byCommand(const std::string& root, const char* pattern) {
  const std::string command = "find " + root + " -mindepth 1 -name '" + pattern + "' -printf x";
  std::FILE* const pipe = popen(command.c_str(), "r");
  std::uint64_t count = 0;
  char block[65536];
  while (const std::size_t got = std::fread(block, 1, sizeof block, pipe)) count += got;
  pclose(pipe);
  return count;
}

void question(const std::string& name, const std::string& root, const char* pattern) {
  bench::Question<std::uint64_t> ask(name);
  ask.wall();
  ask.side("tvk", [=] {
    tvk::FileSpecification what;
    what.recursive = true;
    what.folder = root;
    what.add(pattern);
    Scan scan(what);
    scan.run();
    return scan.m_count;
  });
  ask.side("getdents", [=] { return readFolders(AT_FDCWD, root.c_str(), pattern); });
  ask.side("find", [=] { return byCommand(root, pattern); });
  ask.side("nftw", [=] {
    s_found = 0;
    s_pattern = pattern;
    nftw(
        root.c_str(),
        [](const char* path, const struct stat*, int, FTW* place) {
          s_found += place->level != 0 && isWanted(s_pattern, path + place->base);
          return 0;
        },
        32, FTW_PHYS);
    return s_found;
  });
  ask.side("std::filesystem", [=] {
    std::uint64_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
      count += isWanted(pattern, entry.path().filename().c_str());
    return count;
  });
#ifdef BENCH_BOOST
  ask.side("Boost", [=] {
    std::uint64_t count = 0;
    for (const auto& entry : boost::filesystem::recursive_directory_iterator(root))
      count += isWanted(pattern, entry.path().filename().c_str());
    return count;
  });
#endif
#ifdef BENCH_POCO
  ask.side("POCO", [=] {
    Poco::Glob glob(pattern);
    std::uint64_t count = 0;
    for (Poco::SimpleRecursiveDirectoryIterator entry(root), end; entry != end; ++entry)
      count += glob.match(entry.name());
    return count;
  });
#endif
}

}  // namespace

void bench::ask() {
  static const Folder folder;
  makeTree(folder.path(), scaled(5000), 20);
  question("scan_star", folder.path(), "*");
  question("scan_pattern", folder.path(), "*.h");
}
