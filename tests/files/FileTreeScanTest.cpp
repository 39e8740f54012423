#include <tvk/files/FileTreeScan.h>

#include "support/Support.h"

namespace {

namespace fs = std::filesystem;
using namespace support;
using namespace tvk;

// Writes down the entries.
struct Recorder : FileTreeScan {
  using FileTreeScan::FileTreeScan;
  void onFolder(const FileString&, std::span<const FileString>) override {}
  void onFolderVisited() override {}
  void onFile(const FileString& entry) override {
    log.push_back(entry);
    if (onEntry) onEntry(entry);
  }
  std::vector<std::string> log;
  std::function<void(const std::string&)> onEntry;
};

TEST(FileSpecification, Operations) {
  FileSpecification names;
  FileString out = "before";
  EXPECT_TRUE(names.isEmpty() && !names.singlePath(out, false) && out == "before" && !names.first(out));
  names.add(static_cast<const char*>(nullptr), true);
  names.folder = "/a/b/../c/";
  EXPECT_TRUE(names.singlePath(out, false) && out == "/a/b/../c/" && !names.singlePath(out, true));
  names.add("x");
  EXPECT_TRUE(!names.singlePath(out, false) && names.marks == std::vector<bool>({true, false}));
  EXPECT_TRUE(names.first(out) && out.empty() && names.next(out) && out == "x" && !names.next(out));
  EXPECT_TRUE(out.empty() && !names.isEmpty() && names.baseFolder("/f") == "/a/c/");
  names.recursive = names.singleKind = true;
  names.clear();
  EXPECT_TRUE(names.isEmpty() && names.marks.empty() &&
              names.cursor + names.recursive + names.singleKind == 0);
  EXPECT_EQ(names.baseFolder("/f/./g"), "/f/g");
}

// What a scan finds, in which order, and how deep it goes, stands in tests/differential.

TEST(FileTreeScan, HooksMayChangeTheTree) {
  const ScopedFolder folder, outside;
  for (const char* name : {"a", "b", "c"}) fs::create_directory(folder / name);
  for (const std::string& path : {outside / "x", folder / "b/x", folder / "c/x"}) writeWhole(path, "");
  const DescriptorWatch before;
  FileSpecification specification;
  specification.folder = folder.path();
  specification.add("?");
  Recorder scan(specification, 0, ScanRecursive);
  scan.onEntry = [&](const std::string& entry) {
    const DescriptorWatch watch;
    if (entry == folder / "a") fs::remove(entry);
    if (entry == folder / "b") fs::remove_all(entry), fs::create_symlink(outside.path(), entry);
    if (entry == folder / "c/x") throw Exception::Of(2005, "stop");
  };
  EXPECT_EQ(thrownCode([&] { scan.run(); }), 2005);
  EXPECT_EQ(scan.name(), folder / "c/x");
  const auto isOfX = [](const std::string& line) { return line.ends_with("/x"); };
  EXPECT_EQ(std::count_if(scan.log.begin(), scan.log.end(), isOfX), 1);
  EXPECT_EQ(slotOf(&Recorder::closeIfOpen), 3u);
  EXPECT_TRUE(slotOf(&Recorder::onFolder) == 10 && slotOf(&Recorder::onFile) == 11 &&
              slotOf(&Recorder::onFolderVisited) == 12);
}

}  // namespace
