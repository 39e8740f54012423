#include <tvk/files/Folders.h>

#include <tvk/files/FileException.h>
#include <tvk/files/FileStatus.h>

#include <sys/stat.h>
#include <unistd.h>

#include "support/Support.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;
using namespace tvk;

TEST(FileStatus, ByKind) {
  const ScopedFolder folder;
  writeWhole(folder / "f", "");
  fs::create_symlink(folder.path(), folder / "toFolder");
  fs::create_symlink("f", folder / "toFile");
  fs::create_symlink("gone", folder / "dangling");
  mkfifo((folder / "fifo").c_str(), 0600);
  for (const auto& [path, file, isThere] :
       std::initializer_list<std::tuple<std::string, bool, bool>>{{folder.path(), false, true},
                                                                  {folder / "f", true, false},
                                                                  {folder / "toFolder", false, true},
                                                                  {folder / "toFile", true, false},
                                                                  {folder / "dangling", false, false},
                                                                  {folder / "fifo", false, false},
                                                                  {folder / "f/", false, false},
                                                                  {folder / "none", false, false},
                                                                  {(folder / "f") + "\0x"s, false, false},
                                                                  {"/dev/null", true, false},
                                                                  {"", false, false},
                                                                  {"~", false, false}}) {
    EXPECT_EQ(isFile(path), file) << path;
    EXPECT_EQ(isFolder(path), isThere) << path;
  }
}

TEST(Folders, WellKnown) {
  const ScopedVariable temporary("TMPDIR", "/elsewhere");
  EXPECT_EQ(tempFolder(), "/var/tmp/");
  EXPECT_EQ(executablePath(), fs::read_symlink("/proc/self/exe").string());
  {
    const ScopedVariable home("HOME", "x/../y");
    EXPECT_EQ(homeFolder(), "x/../y");
  }
  const ScopedVariable home("HOME", std::nullopt);
  const auto error = thrown<FileException>([] { homeFolder(); });
  EXPECT_EQ(error.GetCode(), 1002);
  EXPECT_EQ(error.fileName(), "$TEMP");
  EXPECT_EQ(thrownMessage([] { homeFolder(); }), "folder not found: " + currentFolder() + "/$TEMP.");
}

TEST(Folders, CurrentFolderOfAnyLength) {
  const ScopedFolder folder;
  inOwnProcess([&] {
    std::string path = folder.path();
    ASSERT_EQ(chdir(path.c_str()), 0);
    for (int i = 0; i < 10; ++i) {
      const std::string name(200, 'd');
      path += "/" + name;
      ASSERT_TRUE(mkdir(name.c_str(), 0700) == 0 && chdir(name.c_str()) == 0);
    }
    EXPECT_EQ(currentFolder(), path);
    ASSERT_EQ(rmdir(path.c_str()), 0);
    EXPECT_EQ(currentFolder(), "");
    EXPECT_EQ(normalisedCopy("x/./y"), "x/y");
  });
}

TEST(Folders, RealPath) {
  const ScopedFolder folder;
  fs::create_directories(folder / "a/b");
  fs::create_symlink("a/b", folder / "link");
  EXPECT_EQ(realPath(folder / "link/../b/."), folder / "a/b");
  EXPECT_EQ(realPath(""), "");
  for (const auto& [path, cause] : std::initializer_list<std::pair<std::string, std::errc>>{
           {folder / "none", std::errc::no_such_file_or_directory},
           {folder / "a\0b"s, std::errc::no_such_file_or_directory}}) {
    const auto error = thrown<FileException>([p = path] { realPath(p); });
    EXPECT_EQ(error.GetCode(), 1003);
    EXPECT_EQ(error.fileName(), path);
    EXPECT_EQ(error.cause(), cause);
  }
}

TEST(Folders, FindInFolders) {
  const ScopedFolder folder;
  const std::string one = folder / "1", two = folder / "2", file = folder / "2/f";
  fs::create_directories(one + "/f");  // a folder is not found
  fs::create_directories(two);
  writeWhole(file, "");
  for (const auto& [name, list, expected] :
       std::initializer_list<std::array<std::string, 3>>{{"f", one + ";" + two, file},
                                                         {"f", two + "/;" + one, file},
                                                         {"f", one, ""},
                                                         {"f", "", ""},
                                                         {file, "", "before"},
                                                         {file, one, "before"},
                                                         {file, one + ";", file},
                                                         {"none", one + ";" + two, ""}}) {
    FileString result = "before";
    findInFolders(result, name, list);
    EXPECT_EQ(result, expected) << name << " in " << list;
  }
}

}  // namespace
