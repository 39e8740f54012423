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

// Writes down what the hooks are told: "+" a folder and the number of its files, a number and a file, "-" a folder.
class Recorder : public FileTreeScan {
 public:
  using FileTreeScan::FileTreeScan;
  Lines log;
  std::function<void(const std::string&)> onEntry;

 protected:
  void onFolder(const FileString& folderPath, std::span<const FileString> files) override {
    EXPECT_EQ(path() + "0", folderPath + std::to_string(fileCount()));
    log.push_back("+" + folderPath + " " + std::to_string(files.size()));
  }
  void onFile(const FileString& entry) override {
    EXPECT_EQ(path(), entry);
    log.push_back(std::to_string(fileCount()) + entry);
    if (onEntry) onEntry(entry);
  }
  void onFolderVisited() override { log.push_back("-" + path()); }

 private:
  // The name, also where it is empty.
  std::string path() const {
    FileString result;
    return thrownCode([&] { result = name(); }), result;
  }
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
  FileSpecification specification;
  FileString out = "before";
  EXPECT_TRUE(specification.isEmpty() && !specification.singlePath(out, false) && out == "before");
  EXPECT_TRUE(!specification.first(out) && out.empty());
  specification.add(static_cast<const char*>(nullptr), true);
  EXPECT_TRUE(!specification.isEmpty() && !specification.singlePath(out, true));
  specification.folder = "/a/b/../c/";
  EXPECT_TRUE(specification.singlePath(out, false) && out == "/a/b/../c/");
  specification.add("x");
  EXPECT_FALSE(specification.singlePath(out, false));
  EXPECT_TRUE(specification.first(out) && out.empty() && specification.next(out) && out == "x");
  EXPECT_TRUE(!specification.next(out) && !specification.next(out) && specification.first(out));
  EXPECT_EQ(specification.marks, (std::vector<bool>{true, false}));
  EXPECT_EQ(specification.baseFolder("/f"), "/a/c/");
  specification.recursive = specification.singleKind = true;
  specification.clear();
  EXPECT_TRUE(specification.isEmpty() && specification.marks.empty() && specification.cursor == 0 &&
              !specification.recursive && !specification.singleKind);
  EXPECT_EQ(specification.baseFolder("/f/./g"), "/f/g");
}

TEST(FileTreeScan, Order) {
  const ScopedFolder folder;
  const std::string top = folder.path(), b = folder / "b", c = folder / "b/c";
  runCommand("cd '" + top + "' && mkdir -p b/c && touch b/y b/x .h a b/c/z");
  EXPECT_EQ(scanned(specify(top, {"?", ".*", "[a-b]"})),
            (Lines{"+" + top + " 5", "1" + top + "/a", "2" + b, "3" + top + "/.h", "4" + top + "/a", "5" + b,
                   "-" + top, "+" + b + " 3", "1" + c, "2" + b + "/x", "3" + b + "/y", "-" + b,
                   "+" + c + " 1", "1" + c + "/z", "-" + c}));
  Recorder scan(specify(top, {"*"}, false), ScanFoldersAfter, ScanRecursive);
  scan.run();
  EXPECT_TRUE(scan.log.size() == 12 && scan.log[10] == "-" + b && scan.startFolder().empty());
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
      const std::string entry = found.gl_pathv[i];
      const fs::path last = fs::path(entry.substr(0, entry.find_last_not_of('/') + 1)).filename();
      if (last != "." && last != "..") files.push_back(entry);
    }
    globfree(&found);
  }
  log.push_back("+" + path + " " + std::to_string(files.size()));
  for (std::size_t i = 0; i < files.size(); ++i) log.push_back(std::to_string(i + 1) + files[i]);
  if (!after) log.push_back("-" + path);
  for (const std::string& each : folders) model(each, specification, after, log);
  if (after) log.push_back("-" + path);
}

void expectAsModel(const FileSpecification& specification, bool after = false) {
  Lines expected;
  model(specification.folder, specification, after, expected);
  ASSERT_EQ(scanned(specification, after ? ScanFoldersAfter : 0), expected)
      << testing::PrintToString(specification.names) << " in " << specification.folder;
}

TEST(FileTreeScan, AsGlob) {
  const fs::path before = fs::current_path();
  std::mt19937 random(7);
  const auto pick = [&](const Lines& from) { return from[random() % from.size()]; };
  const auto text = [&](const Lines& pieces) {
    std::string result;
    for (auto left = random() % 4 + 1; left > 0; --left) result += pick(pieces);
    return result;
  };
  const Lines pieces = {"a", "b", ".",        "*",    "?", "[",  "]", "\\",
                        "-", "~", "\xC3\xA9", "\xFF", "B", "\n", "{", "[b]"};
  Lines wild = {"*", "?", "*", "[a-c]", "[!a]", "/", "\\*", "[[:alpha:]]", ".*", "*/"};
  wild.insert(wild.end(), pieces.begin(), pieces.end());
  const Lines fixed = {"*",   ".*",   "",   ".",   "..",   "/",  "*/",  "../*",   "/*",
                       "*/*", ".*/*", "\\", "\\a", "a//b", "**", "./*", "nothing"};
  for (const char* locale : {"C", "C.UTF-8", "de_DE.UTF-8", "ja_JP.EUC-JP"}) {
    SCOPED_TRACE(locale);
    ASSERT_TRUE(std::setlocale(LC_CTYPE, locale) && std::setlocale(LC_COLLATE, locale));
    for (int round = 0; round < 10; ++round) {
      const ScopedFolder folder;
      const std::string top = folder / "x/top";
      fs::create_directories(top);
      fs::current_path(top);
      Lines places = {top, top + "/", top + "//", top + "/none", top + "/.", top + "/./", ""};
      for (int i = 0; i < 25; ++i) {
        const std::string name = joinedCopy(pick(places), text(pieces));
        const auto kind = random() % 6;
        if (kind < 3) writeWhole(name, "");
        if (kind == 3 && mkdir(name.c_str(), 0700) == 0) places.push_back(name);
        if (kind == 4 && symlink(random() % 2 == 0 ? "." : "gone", name.c_str()) == 0) places.push_back(name);
      }
      for (int i = 0; i < 20; ++i)
        expectAsModel(specify(pick(places), {pick(fixed), text(wild), text(pieces)}, i % 2 == 0), i % 4 < 2);
    }
  }
  fs::current_path(before);
  std::setlocale(LC_ALL, "C");
}

TEST(FileTreeScan, HooksMayChangeTheTree) {
  const ScopedFolder folder, outside;
  runCommand("cd '" + folder.path() + "' && mkdir a b c && touch c/x " + outside / "x");
  const DescriptorWatch watch;
  Recorder scan(specify(folder.path(), {"?"}));
  scan.onEntry = [&](const std::string& entry) {
    if (entry == folder / "a") fs::remove(entry);
    if (entry == folder / "b") fs::remove(entry), fs::create_symlink(outside.path(), entry);
    if (entry == folder / "c/x") throw Exception::Of(2005, "stop");
  };
  EXPECT_EQ(thrownCode([&] { scan.run(); }), 2005);
  for (const char* name : {"a", "b"}) {
    const auto at = std::find(scan.log.begin(), scan.log.end(), "+" + (folder / name) + " 0");
    EXPECT_TRUE(at == scan.log.end() || at[1] == "-" + (folder / name));
  }
  EXPECT_EQ(scan.log.back(), "1" + (folder / "c/x"));
  EXPECT_EQ(std::count(scan.log.begin(), scan.log.end(), "1" + (folder / "b/x")), 0);
}

TEST(FileTreeScan, WithoutRights) {
  const ScopedFolder folder;
  runCommand("cd '" + folder.path() +
             "' && mkdir -p 0/in 444/in 111/in && chmod 755 . && for m in 0 444 111; do chmod $m $m; done");
  inOwnProcess([&] {
    ASSERT_TRUE(geteuid() != 0 || setuid(65534) == 0);
    for (const char* name : {"0", "444", "111"})
      expectAsModel(specify(folder / name, {"*", "in", "../" + std::string(name)}));
  });
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
