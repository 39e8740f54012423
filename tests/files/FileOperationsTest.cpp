#include <tvk/files/File.h>

#include <tvk/files/FileException.h>
#include <tvk/files/FileStatus.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/Support.h"

using namespace std::string_literals;

namespace {

bool s_isOvertaken = false;

}  // namespace

// As if another process made the folder a moment before.
extern "C" int mkdir(const char* path, mode_t mode) noexcept {
  const int result = mkdirat(AT_FDCWD, path, mode);
  return s_isOvertaken ? mkdirat(AT_FDCWD, path, mode) : result;
}

namespace {

namespace fs = std::filesystem;
using namespace support;
using namespace tvk;

struct FileOperations : testing::Test {
  DescriptorWatch m_watch;
  ScopedCurrentFolder m_folder;
  const ScopedVariable m_home{"HOME", m_folder.path()};
};

// What an operation answers, or code, path and system error of what it throws; "+" stands for the current
// folder.
std::string outcome(const std::string& operation, const std::string& path, const std::string& second) {
  File file(path);
  bool answer = true;
  std::string result;
  try {
    if (operation == "copyFile") answer = File::copyFile(path, second);
    if (operation == "copyTo") answer = file.copyTo(second);
    if (operation == "copyTree") answer = file.copyTo(second, ModeRecursive);
    if (operation == "copyToNew") answer = file.copyTo(second, ModeNoOverwrite | ModeMustExist);
    if (operation == "copyToOld") answer = file.copyTo(second, ModeMustExist);
    if (operation == "move") file.move(second);
    if (operation == "rename") file.rename(second);
    if (operation == "remove") answer = file.remove();
    if (operation == "removeTree") answer = file.removeTree();
    if (operation == "removeFolder") answer = file.removeFolder();
    if (operation == "createFolder") file.createFolder();
    if (operation == "createFolders") file.createFolder(ModeRecursive);
    if (operation == "openTemporary") file.openTemporary(second);
    result = answer ? second.empty() ? "yes" : file.name() : "no";
  } catch (const FileException& e) {
    result = std::to_string(e.GetCode()) + ":" + e.fileName() + ":" + std::to_string(e.systemError());
  }
  const std::string here = fs::current_path();
  const std::size_t at = result.find(here);
  return at == std::string::npos ? result : result.replace(at, here.size(), "+");
}

// What is copied, moved and removed stands in tests/differential.

TEST_F(FileOperations, Outcomes) {
  writeWhole("f", "1");
  fs::create_directory("d");
  for (const auto& [operation, path, second, expected] : rows<4>(R"(
      copyToNew ~/f d 1029:~/f:0   copyToOld ~/f ~/n 1002:~/n:0   copyTo f f/x 1004:+/f:17
      copyToNew ~/f ~/n/./m +/f   copyToOld f n/m +/f   copyTo f '' no   copyTree n n/m no   copyTo ~/none d no   copyTo d n no   copyTree d . no
      copyFile ~/f x no   copyFile '' x no   copyFile f '' no   copyFile f d/$(x)`y"z\ f   copyFile d/$(x)`y"z\ -z d/$(x)`y"z\
      rename f x/g.h +/g.h   move g.h d/../d/./z +/d/z   move d/z d 1013:d/z:17   move d/z none/z 1013:d/z:2   move d/z d/z 1013:d/z:17
      rename d/z q/ 1013:d/z:17   rename d/z '' 1016::0   move '' d 1016::0   rename d/z .. +/d/..   remove z '' yes   remove z '' no
      createFolder n/m '' 1004:n/m:17   createFolder a/b '' 1004:a/b:2   createFolders -z/x '' 1004:+/-z:17   createFolders a//b/./c/ '' yes
      createFolders a/b '' yes   removeFolder a/b '' no   removeFolder a/b/c '' yes   removeFolder -z '' no   remove d '' no
      remove a/b '' yes   remove '' '' no   removeFolder '' '' no   openTemporary none none 1006:none:2
      createFolder v '' yes   move v n +/n)")) {
    EXPECT_EQ(outcome(operation, path, second), expected) << operation << " " << path << " " << second;
  }
  EXPECT_TRUE(readWhole("n/m/f") + readWhole("-z") == "11" && isFolder("a") && !isFile("x"));
  for (const char* operation : {"copyFile", "copyTo", "copyTree", "move"}) {
    EXPECT_NE(outcome(operation, "-z\0"s, "x"), "x");
    EXPECT_NE(outcome(operation, "-z", "x\0"s), "-z");
  }
  for (const char* operation : {"remove", "removeTree", "removeFolder", "createFolder"})
    EXPECT_NE(outcome(operation, "a\0"s, ""), "yes");
  EXPECT_TRUE(isFolder("a") && !isFile("x"));
  umask(027);
  s_isOvertaken = true;
  EXPECT_EQ(outcome("createFolders", "p/q", ""), "yes");
  s_isOvertaken = false;
  umask(022);
  EXPECT_EQ(fs::status("p").permissions(), fs::perms(0750));
}

TEST_F(FileOperations, RefusedPaths) {
  fs::create_directory("in");
  fs::current_path("in");
  const std::string special = " \t\n|&;<>()$\\`'\"\0"s, plain = "*?[]#~-";
  for (const char each : special + plain) {
    const FileString name = "a"s + each + "b";
    fs::create_directories("a/b");
    fs::create_directory(each == '\0' ? "to" : name);
    std::string answers;
    for (const bool answer :
         {File("a").copyTo(name, ModeRecursive), File(name).copyTo("to/new", ModeRecursive),
          isFolder("to/new"), File(name).removeFolder(ModeRecursive), isFolder(name), File(name).removeTree(),
          isFolder("a/b")}) {
      answers += answer ? 'y' : 'n';
    }
    const bool isPlain = plain.find(each) != std::string::npos;
    EXPECT_EQ(answers, isPlain ? "yyyynyy" : each == '\0' ? "nnnnnny" : "nnnnyyy") << name;
    fs::remove_all("to");
  }
  fs::create_symlink("a", "link");
  writeWhole("file", "");
  for (const auto& [path, answer] :
       rows<2>("'' no . no .. no a/. no link/ no none/ yes file/x yes file/ yes link yes")) {
    EXPECT_EQ(File(path).removeFolder(ModeRecursive), answer == "yes") << path;
    EXPECT_EQ(outcome("removeTree", path, ""), answer) << path;
  }
  EXPECT_TRUE(isFolder("a/b") && !isFile("file") && !isFolder("link"));
  fs::current_path("a/b");
  fs::remove_all(m_folder / "in");  // from here on nobody can tell where it is
  EXPECT_FALSE(File("b").removeTree() || File("b").copyTo(m_folder.path()));
  EXPECT_EQ(thrownCode([] { File("b").createFolder(ModeRecursive); }), 1004);
  EXPECT_EQ(thrownCode([&] { File(m_folder.path()).move("b"); }), 1013);
}

// In a root folder of its own, so that a fault does no harm.
TEST_F(FileOperations, RootFolder) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may change its root folder";
  inOwnProcess([&] {
    const int realRoot = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_TRUE(chroot(m_folder.path().c_str()) == 0 && chdir("/") == 0 && mkdir("/a", 0700) == 0);
    const ScopedVariable home("HOME", "/");
    for (const char* path : {"/", "//", "/a/..", "/a/../", "/..", "/.", "~", "~/", ""}) {
      ASSERT_TRUE(!File(path).removeFolder(ModeRecursive) && isFolder("/a")) << path;
    }
    ASSERT_EQ(chdir("/a"), 0);
    for (const char* path : {"/x", "/a/../x"}) {
      writeWhole("/x", "");
      File file(path);
      file.rename("ignored/y");
      EXPECT_TRUE(file.name() == "/y" && file.remove()) << path;
    }
    EXPECT_EQ(fchdir(realRoot) + chroot("."), 0);  // for who looks for leaks at the end
  });
}

TEST_F(FileOperations, OpenTemporary) {
  for (const std::string& folder : {m_folder.path(), ""s}) {
    File file("before");
    ASSERT_TRUE(file.openTemporary(folder));
    const FileString name = file.name();
    EXPECT_EQ(name.substr(0, name.size() - 6), (folder.empty() ? "/var/tmp" : folder) + "/kest");
    EXPECT_EQ(fs::status(fs::path(name)).permissions(), fs::perms(0600));
    EXPECT_TRUE(file.remove());
  }
}

}  // namespace
