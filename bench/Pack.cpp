// Files are packed in place with two jobs: 20,000 small ones, and ten of 64 MiB.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "Folder.h"
#include "Sides.h"

namespace {

namespace fs = std::filesystem;

long packed(const std::string& folder) {
  long count = 0;
  for (const auto& entry : fs::recursive_directory_iterator(folder))
    count += entry.path().extension() == ".gz";
  return count;
}

// A fresh copy of the tree by links would be changed by packers that keep the inode, so it is a copy.
auto from(const std::string& tree, const std::string& copy) {
  return [=] {
    fs::remove_all(copy);
    fs::copy(tree, copy, fs::copy_options::recursive);
  };
}

void question(const std::string& name, const std::string& tree, const std::string& copy) {
  const auto command = [copy](const std::string& line) {
    return [=] { return std::system(line.c_str()) == 0 ? packed(copy) : -1; };
  };
  const auto fresh = from(tree, copy);
  bench::Question<long>(name)
      .rounds(3)
      .side("tvk", fresh, command(BENCH_TVKPACK " -recurse -jobs=2 " + copy + " >/dev/null"))
      .side("pigz -p2", fresh, command("find " + copy + " -type f -print0 | xargs -0 pigz -p2"))
      .side("xargs -P2 gzip", fresh, command("find " + copy + " -type f -print0 | xargs -0 -P2 -n 100 gzip"));
}

}  // namespace

void bench::ask() {
  static const Folder folder;
  const std::string small = folder / "small", large = folder / "large", copy = folder / "copy";
  const auto files = static_cast<std::uint32_t>(scaled(20'000));
  for (std::uint32_t i = 0; i < files; ++i) {
    const fs::path path = small + '/' + std::to_string(i % 200);
    if (i < 200) fs::create_directories(path);
    writeFile(path / std::to_string(i), bench::words(1000 + i % 5000, i));
  }
  fs::create_directories(large);
  for (std::uint32_t i = 0; i < 10; ++i)
    writeFile(large + '/' + std::to_string(i), bench::words(static_cast<std::size_t>(scaled(64 << 20)), i));
  question("pack_small", small, copy);
  question("pack_large", large, copy);
}
