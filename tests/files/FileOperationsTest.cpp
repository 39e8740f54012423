#include <tvk/files/File.h>

#include <tvk/files/FileException.h>
#include <tvk/files/FileStatus.h>
#include <tvk/files/Folders.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <sstream>

#include "support/Support.h"

namespace {

bool s_acrossDevices = false;

}  // namespace

// As if source and target lay on two devices, when a test wants that.
extern "C" int rename(const char* from, const char* to) noexcept {
  if (s_acrossDevices) return errno = EXDEV, -1;
  return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0u));
}

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;
using namespace tvk;

class AcrossDevices {
 public:
  AcrossDevices() { s_acrossDevices = true; }
  ~AcrossDevices() { s_acrossDevices = false; }
};

// Everything in a folder: names, kinds, rights, link counts, times when they are old, link texts and contents.
std::string listing(const std::string& folder) {
  const ChildResult found =
      runCommand("cd '" + folder +
                 "' && find . -printf '%P %M %n %l ' \\( ! -newermt 2001-01-01 -printf '%t' -o -true \\) "
                 "-printf '\\n' | sort && find . -type f | sort | xargs -d '\\n' grep -aH ''");
  EXPECT_EQ(found.errors, "");
  return found.output;
}

// Folders "a" and "e" (empty), files "f" and "hard" (the same), "lk", "dir", links to them, to nowhere and to
// themselves; and target folders "t", "u" and "n" that have some of the names already.
constexpr const char* tree = R"(
  umask 022; mkdir -p a/s/e t/s/x e n/a/x u/a t/dir
  echo 1 >f; echo 2 >a/g; echo lk >lk; echo d >dir; echo t >t/f; echo k >t/k; echo o >t/other; echo old >u/a/g; echo x >u/a/extra
  chmod 6751 a/g; chmod 4640 t/f; chmod 600 u/a/g; ln a/g a/s/h; ln f hard; mkfifo -m 640 a/p; chmod 1750 a/s; chmod 500 a/s/e
  ln -s ../f a/l; ln -s gone a/gone; ln -s f l; ln -s a ld; ln -s gone gone; ln -s loop loop
  ln -s k t/lk; ln -s s t/ls; ln -s gone t/gone; ln -s f t/l; ln -s loop t/loop; touch -hd 2000-01-01 l a/s a/g f )";

struct Row {
  std::string command, source, target;
};

bool does(const Row& row, const std::string& folder) {
  const std::string source = folder + row.source;
  const std::string target = folder + row.target;
  if (row.command == "cp") return File::copyFile(source, target);
  if (row.command == "cp -f") return File(source).copyTo(target);
  if (row.command == "cp -rf") return File(source).copyTo(target, ModeRecursive);
  if (row.command == "rm -rf") return File(source).removeTree();
  return thrownCode([&] { File(source).move(target); }) == 0;
}

// The library's operations do what the commands of the system do: the same answer, and the same tree afterwards.
TEST(FileOperations, AsTheCommands) {
  std::vector<Row> rows;
  for (const char* source :
       {"/f", "/l", "/gone", "/a", "/hard", "/loop", "/none", "/dir", "/lk", "/a/", "/ld", "/a/s/.."}) {
    for (const char* target : {"/t", "/n/", "/u"}) {
      for (const char* command : {"cp -f", "cp -rf", "mv"}) rows.push_back({command, source, target});
    }
  }
  for (const char* source : {"/f", "/l", "/gone", "/a", "/hard", "/loop", "/none"}) {
    for (const char* target :
         {"/new", "/new/", "/t/ls", "/hard", "/t/lk", "/gone", "/loop", "/none/x", "/a/s"}) {
      for (const char* command : {"cp", "mv"}) rows.push_back({command, source, target});
    }
    rows.push_back({"rm -rf", source, ""});
  }
  const ScopedVariable inMemory("TMPDIR",
                                isFolder("/dev/shm") ? "/dev/shm" : fs::temp_directory_path().string());
  const DescriptorWatch watch;
  const ScopedFolder folder;
  std::string copies, commands;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const std::string place = "1/" + std::to_string(i);
    const std::string target = rows[i].target.empty() ? "" : place + rows[i].target;
    copies += "cp -a 0 " + place + "\n";
    commands +=
        rows[i].command + " " + place + rows[i].source + " " + target + " </dev/null 2>/dev/null; echo $?\n";
  }
  const std::string script = "cd '" + folder.path() + "' && mkdir 0 1 && cd 0 && {" + tree +
                             "\n} && cd ..\n" + copies + "cp -a 1 2\n" + commands;
  std::istringstream answers(runCommand(script).output);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    int status = -1;
    answers >> status;
    EXPECT_EQ(does(rows[i], folder / "2/" + std::to_string(i)), status == 0)
        << rows[i].command << " " << rows[i].source << " " << rows[i].target;
  }
  std::istringstream theirs(listing(folder / "1")), ours(listing(folder / "2"));
  std::size_t lines = 0;
  for (std::string expected, line; std::getline(theirs, expected) && std::getline(ours, line); ++lines)
    ASSERT_EQ(line, expected);
  EXPECT_TRUE(theirs.eof() && lines > rows.size());
}

// Everything about a tree but the numbers of its files.
std::string details(const std::string& folder) {
  return listing(folder) +
         runCommand("cd '" + folder + "' && find . -printf '%P %U %G %b %T@\\n' | sort").output;
}

TEST(FileOperations, MoveAcrossDevices) {
  const DescriptorWatch watch;
  const AcrossDevices devices;
  const ScopedFolder folder;
  const auto at = [&](const std::string& name) { return folder / name; };
  ASSERT_EQ(runCommand("cd '" + folder.path() + "' && {" + tree +
                       "\n} && rm a/p && chmod 2711 a && touch -d 2000-01-01 a")
                .status,
            0);
  ASSERT_EQ(truncate(at("a/s/h").c_str(), 1 << 20), 0);  // mostly a hole
  const bool hasAttribute = setxattr(at("a/g").c_str(), "user.kest", "v", 1, 0) == 0;
  EXPECT_EQ(lchown(at("a/l").c_str(), 1, 2) == 0, geteuid() == 0);
  const std::string before = details(at("a"));
  File file(at("a"));
  file.move(at("e"));  // into the folder
  EXPECT_EQ(file.name(), at("e"));
  EXPECT_EQ(details(at("e/a")), before);
  EXPECT_FALSE(isFolder(at("a")));
  char value = 0;
  EXPECT_TRUE(!hasAttribute ||
              (getxattr(at("e/a/s/h").c_str(), "user.kest", &value, 1) == 1 && value == 'v'));
  for (const auto& [source, target, code] :
       std::initializer_list<std::tuple<std::string, std::string, int>>{{"t/f", "lk", 0},
                                                                        {"t/lk", "gone", 0},
                                                                        {"u", "n", 0},
                                                                        {"n/a", "n/u", 1013},
                                                                        {"n/u", "lk", 1013},
                                                                        {"dir", "n", 0},
                                                                        {"hard", "t/x/y", 1013},
                                                                        {"hard", "f", 1013},
                                                                        {"l", "f", 1013},
                                                                        {"n/u/.", "new", 1013},
                                                                        {"t", "t/s", 1013}}) {
    const std::string place = code == 0 && isFolder(at(target)) ? target + "/" + source : target;
    EXPECT_EQ(thrownCode([&, s = source, t = target] { File(at(s)).move(at(t)); }), code)
        << source << " " << target;
    EXPECT_EQ(fs::exists(fs::symlink_status(at(source))), code != 0) << source;
    EXPECT_TRUE(code != 0 || fs::exists(fs::symlink_status(at(place)))) << place;
  }
}

TEST(FileOperations, RefusedPaths) {
  const ScopedFolder folder;
  for (const char special : " \t\n|&;<>()$\\`'\"*?[]#~-\0"s) {
    SCOPED_TRACE(special);
    const std::string name = folder / ("a"s + special + "b");
    const bool isPlain = "*?[]#~-"s.find(special) != std::string::npos;
    if (special != '\0') fs::create_directory(name);
    fs::create_directories(folder / "a/b");
    fs::create_directory(folder / "to");
    EXPECT_EQ(File(folder / "a").copyTo(name, ModeRecursive), isPlain && special != '\0');
    EXPECT_EQ(File(name).copyTo(folder / "to/new", ModeRecursive), isPlain);
    EXPECT_EQ(isFolder(folder / "to/new"), isPlain);
    EXPECT_EQ(File(name).removeFolder(ModeRecursive), isPlain);
    EXPECT_EQ(isFolder(name), !isPlain && special != '\0');
    EXPECT_EQ(File(name).removeTree(), special != '\0');
    EXPECT_FALSE(isFolder(name));
    EXPECT_TRUE(isFolder(folder / "a/b") && File(folder / "to").removeTree());
  }
  inOwnProcess([&] {
    ASSERT_EQ(chdir((folder / "a").c_str()), 0);
    fs::create_symlink("b", "link");
    writeWhole("file", "");
    for (const auto& [path, expected] : std::initializer_list<std::pair<std::string, bool>>{{"", false},
                                                                                            {".", false},
                                                                                            {"..", false},
                                                                                            {"b/.", false},
                                                                                            {"link/", false},
                                                                                            {"none/", true},
                                                                                            {"file/x", true},
                                                                                            {"file/", true},
                                                                                            {"link", true}}) {
      EXPECT_EQ(File(path).removeFolder(ModeRecursive), expected) << path;
      EXPECT_EQ(File(path).removeTree(), expected) << path;
    }
    EXPECT_TRUE(isFolder("b") && !isFile("file"));
    ASSERT_TRUE(File(folder / "a").removeTree());
    EXPECT_FALSE(File("b").removeTree());  // the current folder is gone
    EXPECT_FALSE(File("b").copyTo(folder.path()));
    EXPECT_EQ(thrownCode([] { File("b").createFolder(ModeRecursive); }), 1004);
    EXPECT_EQ(thrownCode([&] { File(folder / "to").move("b"); }), 1013);
  });
}

// In a root folder of its own, so that a fault does no harm.
TEST(FileOperations, RootFolder) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may change its root folder";
  const ScopedFolder folder;
  inOwnProcess([&] {
    ASSERT_TRUE(chroot(folder.path().c_str()) == 0 && chdir("/") == 0 && mkdir("/a", 0700) == 0);
    const ScopedVariable home("HOME", "/");
    for (const char* path : {"/", "//", "/a/..", "/a/../", "/..", "/.", "~", "~/", ""}) {
      ASSERT_FALSE(File(path).removeFolder(ModeRecursive)) << path;
      ASSERT_TRUE(isFolder("/a")) << path;
    }
    ASSERT_EQ(chdir("/a"), 0);
    for (const char* path : {"/x", "/a/../x"}) {
      writeWhole("/x", "");
      File file(path);
      file.rename("ignored/y");
      EXPECT_EQ(file.name(), "/y");
      EXPECT_TRUE(isFile("/y") && File("/y").remove());
    }
  });
}

TEST(FileOperations, MoveAndRename) {
  const ScopedFolder folder;
  writeWhole(folder / "f", "");
  fs::create_directory(folder / "d");
  File file(folder / "f");
  file.rename("x/g.h");
  EXPECT_EQ(file.name(), folder / "g.h");
  file.move(folder / "d/../d/./z");
  EXPECT_EQ(file.name(), folder / "d/z");
  for (const auto& [target, code] :
       std::initializer_list<std::pair<std::string, int>>{{folder / "d", 1013},
                                                          {folder / "none/z", 1013},
                                                          {folder / "a\0b"s, 1013},
                                                          {folder / "d/z", 1013}}) {
    const auto error = thrown<FileException>([&, t = target] { file.move(t); });
    EXPECT_EQ(error.GetCode(), code) << target;
    EXPECT_EQ(error.fileName(), folder / "d/z");
  }
  EXPECT_EQ(thrownCode([&] { file.rename(""); }), 1016);
  EXPECT_EQ(thrownCode([&] { file.rename("q/"); }), 1013);  // no last component: the folder it is in
  EXPECT_EQ(thrownCode([] { File().move("/"); }), 1016);
  EXPECT_EQ(file.name(), folder / "d/z");
  file.rename("..");
  EXPECT_EQ(file.name(), folder / "d/..");
  EXPECT_TRUE(isFile(folder / "z"));
}

TEST(FileOperations, CopyTo) {
  const ScopedFolder folder;
  const ScopedVariable home("HOME", folder.path());
  writeWhole(folder / "f", "1");
  EXPECT_EQ(thrown<FileException>([&] {
              File("~/f").copyTo(folder.path(), ModeNoOverwrite | ModeMustExist);
            }).fileName(),
            "~/f");
  EXPECT_EQ(thrownCode([&] { File("~/f").copyTo(folder.path(), ModeNoOverwrite); }), 1029);
  EXPECT_EQ(thrown<FileException>([&] { File("~/f").copyTo("~/n", ModeMustExist); }).fileName(), "~/n");
  EXPECT_EQ(thrownCode([] { File("~/f").copyTo("~/n", ModeMustExist); }), 1002);
  EXPECT_EQ(thrownCode([&] { File("~/f").copyTo(folder / "f/x"); }), 1004);
  File file("~/f");
  EXPECT_TRUE(file.copyTo("~/n/./m", ModeNoOverwrite | ModeMustExist));
  EXPECT_EQ(readWhole(folder / "n/m/f"), "1");
  EXPECT_EQ(file.name(), folder / "f");
  EXPECT_FALSE(file.copyTo(""));
  EXPECT_FALSE(File(folder / "n").copyTo(folder / "n/m", ModeRecursive));  // into itself
  EXPECT_FALSE(File::copyFile("", folder / "x") || File::copyFile(folder / "f", "") || isFile(folder / "x"));
  EXPECT_FALSE(File::copyFile("~/f", folder / "x") || File::copyFile(folder / "f\0"s, folder / "x"));
  writeWhole(folder / "$(x) \"`y", "2");
  EXPECT_TRUE(File::copyFile(folder / "$(x) \"`y", folder / "-z") && readWhole(folder / "-z") == "2");
}

TEST(FileOperations, Folders) {
  const ScopedFolder folder;
  writeWhole(folder / "f", "");
  for (const auto& [name, flags, cause] :
       std::initializer_list<std::tuple<std::string, std::uint32_t, int>>{{"n/m", 0, ENOENT},
                                                                          {"f", 0, EEXIST},
                                                                          {"f", ModeRecursive, EEXIST},
                                                                          {"f/x", ModeRecursive, EEXIST},
                                                                          {"a\0b"s, 0, EINVAL}}) {
    const auto error = thrown<FileException>([&, n = name, f = flags] { File(folder / n).createFolder(f); });
    EXPECT_EQ(error.GetCode(), 1004);
    EXPECT_EQ(error.systemError(), cause) << name;
    EXPECT_EQ(error.fileName(), folder / (name == "f/x" ? "f" : name));
  }
  const mode_t before = umask(027);
  File(folder / "n//m/./o").createFolder(ModeRecursive);
  File(folder / "n/m").createFolder(ModeRecursive);
  umask(before);
  EXPECT_EQ(fs::status(folder / "n/m/o").permissions(), fs::perms(0750));
  EXPECT_FALSE(File(folder / "n").removeFolder() || File(folder / "f").removeFolder() ||
               File().removeFolder());
  EXPECT_TRUE(File(folder / "n/m/o").removeFolder() && File(folder / "n/m").remove() &&
              File(folder / "f").remove());
  EXPECT_FALSE(File(folder / "f").remove() || File(folder / "n\0"s).remove() ||
               File(folder / "n\0"s).removeFolder());
}

TEST(FileOperations, OpenTemporary) {
  const DescriptorWatch watch;
  const ScopedFolder folder;
  File file("before");
  for (const std::string& place : {folder.path(), folder / "none", ""s}) {
    const std::string expected = place.empty() ? "/var/tmp" : place;
    if (expected == folder / "none") {
      const auto error = thrown<FileException>([&] { file.openTemporary(place); });
      EXPECT_EQ(error.GetCode(), 1006);
      EXPECT_EQ(error.fileName(), place);
      continue;
    }
    ASSERT_TRUE(file.openTemporary(place));
    const std::string name = file.name();
    EXPECT_EQ(folderPart(name, ""), expected);
    EXPECT_TRUE(fileNamePart(name).starts_with("kest") && fileNamePart(name).size() == 10 &&
                !name.ends_with("XXXXXX"));
    EXPECT_EQ(fs::status(name).permissions(), fs::perms(0600));
    file.writeU8(7);
    file.seek(0);
    EXPECT_EQ(file.readU8(), 7);
    file.close();
    EXPECT_TRUE(file.remove());
  }
}

TEST(FileOperations, DeepTreesWithFewDescriptors) {
  const ScopedFolder folder;
  inOwnProcess([&] {
    const AcrossDevices devices;
    std::string name(100, 'd');
    fs::create_directory(folder / "t");
    ASSERT_EQ(chdir((folder / "t").c_str()), 0);
    for (int i = 0; i < 150; ++i)
      ASSERT_TRUE(mkdir(name.c_str(), 0700) == 0 && mkdir("e", 0700) == 0 && chdir(name.c_str()) == 0);
    writeWhole("end", "x");
    ASSERT_EQ(chdir("/"), 0);
    const rlimit few{45, 45};
    setrlimit(RLIMIT_NOFILE, &few);
    EXPECT_TRUE(File(folder / "t").copyTo(folder / "copy", ModeRecursive));
    File(folder / "copy").move(folder / "moved");
    EXPECT_TRUE(File(folder / "t").removeTree());
    ASSERT_EQ(chdir((folder / "moved/t").c_str()), 0);
    for (int i = 0; i < 150; ++i) ASSERT_EQ(chdir(name.c_str()), 0);
    EXPECT_EQ(readWhole("end"), "x");
    EXPECT_TRUE(File(folder / "moved").removeTree());
    EXPECT_EQ(fs::directory_iterator(folder.path()), fs::directory_iterator());
  });
}

// As a user who may not do everything: the rest is done.
TEST(FileOperations, WithoutRights) {
  const ScopedFolder folder;
  ASSERT_EQ(
      runCommand("cd '" + folder.path() +
                 "' && mkdir -p a/closed a/full w && echo 1 >a/f && echo 2 >a/secret && echo 3 >a/full/x && "
                 "echo old >w/f && chmod 400 w/f && chmod 555 a/full && chmod 000 a/secret a/closed && chmod "
                 "777 . a w")
          .status,
      0);
  inOwnProcess([&] {
    ASSERT_TRUE(geteuid() != 0 || (chown((folder / "w/f").c_str(), 65534, 65534) == 0 && setuid(65534) == 0));
    EXPECT_FALSE(File::copyFile(folder / "a/f", folder / "w/f"));
    EXPECT_TRUE(File(folder / "a/f").copyTo(folder / "w"));  // removed and made anew
    EXPECT_EQ(readWhole(folder / "w/f"), "1\n");
    EXPECT_FALSE(File(folder / "a").copyTo(folder / "w", ModeRecursive));
    EXPECT_EQ(errno, EACCES);
    EXPECT_TRUE(isFile(folder / "w/a/f") && isFile(folder / "w/a/full/x") && !isFile(folder / "w/a/secret"));
    EXPECT_FALSE(File(folder / "a").removeTree());
    EXPECT_TRUE(isFile(folder / "a/full/x") && !isFile(folder / "a/f") && !isFolder(folder / "a/closed"));
  });
}

}  // namespace
