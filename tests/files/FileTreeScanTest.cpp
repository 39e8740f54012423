#include <tvk/files/FileTreeScan.h>

#include <dirent.h>
#include <glob.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <random>

#include "support/Support.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;
using namespace tvk;

using Lines = std::vector<std::string>;

// Writes down what the hooks are told: "+" a folder and the number of its files, a number and a file, "-" a
// folder; behind each the scan's path.
struct Recorder : FileTreeScan {
  using FileTreeScan::FileTreeScan;
  void onFolder(const FileString& folderPath, std::span<const FileString> files) override {
    note("+" + folderPath + " " + std::to_string(files.size() + fileCount()));
  }
  void onFile(const FileString& entry) override {
    note(std::to_string(fileCount()) + entry);
    if (onEntry) onEntry(entry);
  }
  void onFolderVisited() override { note("-"); }
  void note(const std::string& line) {
    FileString path;  // an empty one has no name
    thrownCode([&] { path = name(); });
    log.push_back(line + " " + path);
  }
  Lines log;
  std::function<void(const std::string&)> onEntry;
};

FileSpecification specify(const std::string& folder, const Lines& names, bool recursive = true) {
  FileSpecification specification;
  specification.recursive = recursive;
  specification.folder = folder;
  for (const std::string& name : names) specification.add(name);
  return specification;
}

Lines scanned(const FileSpecification& specification, std::uint32_t options = 0) {
  Recorder scan(specification, options);
  scan.run();
  return scan.log;
}

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

// What the order of work says, done literally with the system's glob; the folder's own name is no pattern.
void model(const FileString& path, const FileSpecification& specification, bool after, Lines& log) {
  Lines folders, files;
  if (DIR* const stream = specification.recursive ? opendir(path.c_str()) : nullptr) {
    while (const dirent* const entry = readdir(stream)) {
      const std::string name = entry->d_name, each = joinedCopy(path, name);
      struct stat status;
      if (name != "." && name != ".." && lstat(each.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
        folders.push_back(each);
    }
    closedir(stream);
  }
  FileString escaped;
  for (const char c : path) escaped += "*?[]\\"s.find(c) != std::string::npos ? "\\"s + c : std::string(1, c);
  for (const FileString& name : specification.names) {
    glob_t found{};
    glob(joinedCopy(escaped, name).c_str(), 0, nullptr, &found);
    for (std::size_t i = 0; i < found.gl_pathc; ++i) {
      const std::string entry = found.gl_pathv[i],
                        last = fs::path(entry.substr(0, entry.find_last_not_of('/') + 1)).filename();
      if (last != "." && last != "..") files.push_back(entry);
    }
    globfree(&found);
  }
  log.push_back("+" + path + " " + std::to_string(files.size()) + " " + path);
  for (std::size_t i = 0; i < files.size(); ++i)
    log.push_back(std::to_string(i + 1) + files[i] + " " + files[i]);
  if (!after) log.push_back("- " + path);
  for (const std::string& each : folders) model(each, specification, after, log);
  if (after) log.push_back("- " + path);
}

TEST(FileTreeScan, AsGlob) {
  auto names = rows<1>(R"(a b .h ..x * ? [ ] \ - ~ { [b] *a \* a\ B é long.name.1 long.name.2 long.name.3)");
  auto patterns = rows<1>(
      R"(* .* ? [a-b] [!a]* [[:alpha:]] [^.] \* \a \ [ [] ] [a *b ** */ .*/ */* .*/* ../* ./* /* / . .. a//b
                             none link link/* d1/a d2/* d3/ *\ é é* ?? [b]/* [b/? [[]b/* {a,b} ~ \[b] '')");
  for (const char* each : {"\xFF", "x\xFFy", "\n"})
    names.push_back({each}), patterns.push_back({each + "*"s});
  for (const std::string locale : {"C", "C.UTF-8", "de_DE.UTF-8", "ja_JP.EUC-JP"}) {
    const ScopedCurrentFolder folder;
    inOwnProcess([&] {
      for (const int category : {LC_CTYPE, LC_COLLATE})
        ASSERT_NE(std::setlocale(category, locale.c_str()), nullptr);
      for (const std::string place :
           {"x/top/", "x/top/d1/", "x/top/d2/", "x/top/d3/", "x/top/[b/", "x/top/\\\\/"}) {
        fs::create_directories(place + "in");
        for (const auto& [name] : names) writeWhole(place + name, "");
        fs::create_symlink(place.size() % 2 == 0 ? "." : "gone", place + "link");
      }
      chmod("x/top/d1", 0);
      chmod("x/top/d2", 0444);
      chmod("x/top/d3", 0111);
      fs::current_path("x/top");
      ASSERT_TRUE(geteuid() != 0 || setuid(65534) == 0);
      for (const std::string place : {"", ".", "../top//", "./[b", "\\\\/.", "d1", "link/d2"}) {
        for (std::size_t i = 0; i < patterns.size(); ++i) {
          const auto specification = specify(place, {patterns[i][0], patterns[i / 2][0]}, i % 3 > 0);
          Lines expected;
          model(place, specification, i % 3 > 1, expected);
          ASSERT_EQ(scanned(specification, i % 3 > 1 ? ScanFoldersAfter : 0), expected)
              << place << " " << patterns[i][0] << locale;
        }
      }
    });
  }
}

TEST(FileTreeScan, HooksMayChangeTheTree) {
  const ScopedFolder folder, outside;
  for (const char* name : {"a", "b", "c"}) fs::create_directory(folder / name);
  for (const std::string& path : {outside / "x", folder / "b/x", folder / "c/x"}) writeWhole(path, "");
  const DescriptorWatch before;
  Recorder scan(specify(folder.path(), {"?"}, false), 0, ScanRecursive);
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

TEST(FileTreeScan, DeepOnASmallStack) {
  const ScopedFolder folder;
  std::string path = folder.path(), pattern;
  std::size_t folders = 1;
  for (; path.size() < 1900; ++folders) fs::create_directory(path += "/d");
  for (int i = 0; i < 5000; ++i) pattern += "*/";
  inOwnProcess([&] {
    const rlimit small{320 * 1024, 320 * 1024};
    setrlimit(RLIMIT_STACK, &small);
    EXPECT_EQ(scanned(specify(folder.path(), {"d"})).size(), 3 * folders - 1);
    EXPECT_EQ(thrownCode([&] { scanned(specify(folder.path(), {pattern}, false)); }), 1014);
  });
}

}  // namespace
