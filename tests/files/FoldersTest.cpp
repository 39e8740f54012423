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

TEST(Folders, WellKnown) {
  const ScopedVariable temporary("TMPDIR", "/elsewhere"), home("HOME", "x/../y");
  EXPECT_EQ(tempFolder(), "/var/tmp/");
  EXPECT_EQ(executablePath(), fs::read_symlink("/proc/self/exe").string());
  EXPECT_EQ(homeFolder(), "x/../y");
  const ScopedVariable none("HOME", std::nullopt);
  const auto error = thrown<FileException>([] { homeFolder(); });
  EXPECT_EQ(std::to_string(error.GetCode()) + error.fileName(), "1002$TEMP");
  EXPECT_EQ(thrownMessage([] { homeFolder(); }), "folder not found: " + currentFolder() + "/$TEMP.");
}

TEST(Folders, CurrentFolderOfAnyLength) {
  const ScopedCurrentFolder folder;
  std::string path = folder.path();
  for (int i = 0; i < 10; ++i) {
    const std::string name(200, 'd');
    path += "/" + name;
    ASSERT_TRUE(mkdir(name.c_str(), 0700) == 0 && chdir(name.c_str()) == 0);
  }
  EXPECT_EQ(currentFolder(), path);
  ASSERT_EQ(rmdir(path.c_str()), 0);
  EXPECT_EQ(currentFolder(), "");
  EXPECT_EQ(normalisedCopy("x/./y"), "x/y");
}

TEST(Folders, WhatIsThere) {
  const ScopedCurrentFolder folder;
  fs::create_directories("1/f");
  fs::create_directory("2");
  writeWhole("2/f", "");
  fs::create_symlink("2/f", "toFile");
  fs::create_symlink("1", "toFolder");
  fs::create_symlink("gone", "dangling");
  mkfifo("fifo", 0600);
  for (const auto& [path, isOneFile, isOneFolder] : rows<3>(R"(
      2/f 1 0   toFile 1 0   /dev/null 1 0   1 0 1   toFolder 0 1   dangling 0 0   fifo 0 0   2/f/ 0 0   ~ 0 0   '' 0 0)")) {
    EXPECT_EQ(isFile(path), isOneFile == "1") << path;
    EXPECT_EQ(isFolder(path), isOneFolder == "1") << path;
  }
  EXPECT_FALSE(isFile("2/f\0"s) || isFolder("1\0"s));
  for (const auto& [name, list, expected] : rows<3>(R"(
      f 1;2 2/f   f 2/;1 2/f   f 1 ''   f '' ''   2/f '' before   2/f 1 before   2/f 1; 2/f   2/f ;1 2/f   none 1;2 '')")) {
    FileString result = "before";
    findInFolders(result, name, list);
    EXPECT_EQ(result, expected) << name << " in " << list;
  }
  EXPECT_EQ(realPath("toFolder/../1/f/."), folder / "1/f");
  EXPECT_EQ(realPath(""), "");
  for (const std::string& path : {"gone"s, "1\0"s}) {
    const auto error = thrown<FileException>([&] { realPath(path); });
    EXPECT_TRUE(error.GetCode() == 1003 && error.fileName() == path &&
                error.cause() == std::errc::no_such_file_or_directory);
  }
}

}  // namespace
