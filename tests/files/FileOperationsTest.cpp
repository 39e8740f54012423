#include <tvk/files/File.h>

#include <tvk/files/FileException.h>
#include <tvk/files/FileStatus.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <map>

#include "support/Support.h"

using namespace std::string_literals;

namespace {

bool s_acrossDevices = false, s_isOvertaken = false;

}  // namespace

// As if source and target lay on two devices, when a test wants that.
extern "C" int rename(const char* from, const char* to) noexcept {
  if (s_acrossDevices) return errno = EXDEV, -1;
  return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0u));
}

// As if another process made the folder a moment before.
extern "C" int mkdir(const char* path, mode_t mode) noexcept {
  const int result = mkdirat(AT_FDCWD, path, mode);
  return s_isOvertaken ? mkdirat(AT_FDCWD, path, mode) : result;
}

namespace {

namespace fs = std::filesystem;
using namespace support;
using namespace tvk;

class FileOperations : public testing::Test {
 protected:
  ~FileOperations() override { s_acrossDevices = false; }
  const ScopedVariable m_inMemory{"TMPDIR",
                                  isFolder("/dev/shm") ? "/dev/shm" : fs::temp_directory_path().string()};
  DescriptorWatch m_watch;
  ScopedCurrentFolder m_folder;
  const ScopedVariable m_home{"HOME", m_folder.path()};
};

bool isThere(const std::string& path) { return fs::exists(fs::symlink_status(path)); }

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

// Folders "a" and "e" (empty), files "f" and "hard" (the same), "lk", "dir", links to them, to nowhere and to
// themselves; and target folders "t", "u" and "n" that have some of the names already.
constexpr const char* tree = R"(
  umask 022; mkdir -p a/s/e t/s/x e n/a/x u/a t/dir
  echo 1 >f; echo 2 >a/g; echo lk >lk; echo d >dir; echo t >t/f; echo k >t/k; echo o >t/other; echo old >u/a/g
  chmod 6751 a/g; chmod 4640 t/f; chmod 600 u/a/g; ln a/g a/s/h; ln f hard; mkfifo -m 640 a/p; chmod 1750 a/s
  ln -s ../f a/l; ln -s gone a/gone; ln -s f l; ln -s a ld; ln -s gone gone; ln -s loop loop; chmod 500 a/s/e
  ln -s k t/lk; ln -s s t/ls; ln -s gone t/gone; ln -s f t/l; ln -s hard t/hard; touch -hd 2000-01-01 l a/s a/g f
)";

// All about a tree: names, kinds, rights, links, contents, and what else find(1) is told to print.
std::string listing(const std::string& folder, const std::string& more = "") {
  return runCommand("cd " + folder + " && find . -printf '%P %M %n %l " + more +
                    "\\n' | sort && find . -type f | sort | xargs cat")
      .output;
}

// The operations do what the commands of the system do: the same answer, and the same tree afterwards.
TEST_F(FileOperations, AsTheCommands) {
  std::istringstream calls(runCommand("mkdir 0 1 2; cd 0;"s + tree + R"(
      cd ..
      run() { i=$((i+1)); cp -a 0 1/$i; cp -a 0 2/$i; $1 1/$i/$3 ${4:+1/$i/$4} 2>&- <&-; echo $2 $3 ${4:-.} $?; }
      for from in f l gone a hard loop none dir lk a/ ld a/s/..; do for to in t n/ u; do
        run 'cp -f' copyTo $from $to; run 'cp -rf' copyTree $from $to; run mv move $from $to
      done; done
      for from in f l gone a hard loop none; do for to in new new/ t/ls hard t/lk gone loop none/x a/s; do
        run cp copyFile $from $to; run mv move $from $to
      done; run 'rm -rf' removeTree $from; done)")
                               .output);
  int count = 0, status = 0;
  for (std::string operation, source, target; calls >> operation >> source >> target >> status;) {
    const std::string place = "2/" + std::to_string(++count) + "/";
    const std::string answer = outcome(operation, place + source, place + target);
    EXPECT_EQ(answer[0] != 'n' && answer[0] != '1', status == 0)
        << operation << " " << source << " " << target;
  }
  EXPECT_EQ(count, 12 * 9 + 7 * 19);
  EXPECT_EQ(listing("2"), listing("1"));
}

TEST_F(FileOperations, MoveAcrossDevices) {
  s_acrossDevices = true;
  runCommand(tree + "rm a/p; chmod 2711 a; touch -d 2000-01-01 a; truncate -s 1M a/s/h"s);
  const bool hasAttribute = setxattr("a/g", "user.kest", "v", 1, 0) == 0;
  EXPECT_EQ(lchown("a/l", 1, 2) == 0, geteuid() == 0);
  const std::string before = listing("a", "%U %G %b %T@");
  EXPECT_EQ(outcome("move", "a", "e"), "+/e");  // into the folder
  EXPECT_EQ(listing("e/a", "%U %G %b %T@"), before);
  char value = 0;
  EXPECT_TRUE(!hasAttribute || (getxattr("e/a/s/h", "user.kest", &value, 1) == 1 && value == 'v'));
  // source, target, and where it comes to lie; the source stays when it cannot
  for (const auto& [source, target, place] : rows<3>(R"(
      t/f lk lk   t/lk gone gone   u n n/u   dir n n/dir   n/a n/u ''   n/u lk ''   hard t/x/y ''   hard f ''
      l f ''   n/u/. new ''   t t/s '')")) {
    EXPECT_EQ(outcome("move", source, target)[0] == '+', !place.empty()) << source;
    EXPECT_TRUE(isThere(source) == place.empty() && (place.empty() || isThere(place))) << source;
  }
  EXPECT_FALSE(isThere("new"));
}

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
      remove a/b '' yes   remove '' '' no   removeFolder '' '' no   openTemporary none none 1006:none:2)")) {
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
    file.writeU8(7);
    file.rewind();
    EXPECT_EQ(file.readU8(), 7);
    EXPECT_TRUE(file.remove());
  }
}

// As a user who may not do everything: the rest is done.
TEST_F(FileOperations, WithoutRights) {
  runCommand(R"(mkdir -p a/closed a/full w; echo 1 >a/f; echo 2 >a/secret; echo 3 >a/full/x; echo old >w/f
                chmod 400 w/f; chmod 555 a/full; chmod 000 a/secret a/closed; chmod 777 . a w)");
  inOwnProcess([&] {
    ASSERT_TRUE(geteuid() != 0 || (chown("w/f", 65534, 65534) == 0 && setuid(65534) == 0));
    EXPECT_FALSE(File::copyFile("a/f", "w/f"));
    EXPECT_TRUE(File("a/f").copyTo("w") && readWhole("w/f") == "1\n");  // removed and made anew
    EXPECT_FALSE(File("a").copyTo("w", ModeRecursive));
    EXPECT_EQ(errno, EACCES);
    EXPECT_TRUE(isFile("w/a/f") && isFile("w/a/full/x") && !isFile("w/a/secret") && !File("a").removeTree());
    EXPECT_TRUE(isFile("a/full/x") && !isFile("a/f") && !isFolder("a/closed"));
  });
}

}  // namespace
