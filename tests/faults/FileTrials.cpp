// The operations on files, folders and paths.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include <tvk/files/CurrentProcess.h>
#include <tvk/files/File.h>
#include <tvk/files/FileSpecification.h>
#include <tvk/files/FileStatus.h>
#include <tvk/files/FileTreeScan.h>
#include <tvk/files/Folders.h>
#include <tvk/time/DateTime.h>

#include "Trial.h"
#include "support/Support.h"

namespace faults {
namespace {

namespace fs = std::filesystem;
using namespace tvk;
using support::readWhole;
using support::writeWhole;

// A text of that size in which no part is like another.
std::string contents(std::size_t size) {
  static std::string text;
  for (std::uint32_t value = 1; text.size() < 200'000; value = value * 1664525 + 1013904223)
    text += static_cast<char>(value >> 24);
  return text.substr(0, size);
}

void makeTree(const fs::path& folder) {
  fs::create_directories(folder / "sub/empty");
  writeWhole(folder / "a", contents(200'000));
  writeWhole(folder / "sub/b", "short");
  fs::create_symlink("../a", folder / "sub/link");
  fs::create_hard_link(folder / "a", folder / "sub/again");
  mkfifo((folder / "pipe").c_str(), 0600);
  fs::permissions(folder / "sub/b", fs::perms(0640));
}

// All there is below a folder, and what it is.
std::string treeOf(const fs::path& folder, bool withRights = true) {
  std::set<std::string> lines;
  if (!fs::exists(fs::symlink_status(folder))) return "nothing";
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const fs::file_status status = entry.symlink_status();
    std::string line = entry.path().lexically_relative(folder).string() + " " +
                       std::to_string(static_cast<int>(status.type())) + " " +
                       std::to_string(withRights ? static_cast<unsigned>(status.permissions()) : 0);
    if (entry.is_symlink()) line += fs::read_symlink(entry).string();
    if (entry.is_regular_file()) line += readWhole(entry.path());
    lines.insert(std::move(line));
  }
  std::string all = fs::is_directory(folder) ? "folder\n" : "file\n";
  for (const std::string& line : lines) all += line + '\n';
  return all;
}

// A file is usable after whatever happened to it.
void expectUsable(Trial& trial, File& file) {
  try {
    file.closeIfOpen();
  } catch (const FileException&) {
    // of what could not be written
  }
  file.open(ModeRead | ModeWrite | ModeTruncate);
  file.write("again", 5);
  file.rewind();
  char text[5];
  trial.expect(file.read(text, 5) == 5 && std::string(text, 5) == "again", "the file cannot be used again");
  file.close();
}

// What making a folder with all its parents may fail with: the path as given, and each of them.
std::set<std::string> prefixesOf(const char* path) {
  std::set<std::string> all{path};
  for (fs::path each = fs::absolute(path); each != "/"; each = each.parent_path()) all.insert(each);
  return all;
}

void readFile(Trial& trial) {
  const std::string all = contents(40'000);
  writeWhole("in", all);
  File file("in");
  std::string got(all.size(), ' ');
  std::uint64_t size = 0, value = 0;
  const bool isDone = trial.run({1001, 1003, 1005, 1009}, {"in"}, [&] {
    file.open(ModeRead | ModeMustExist);
    file.read(got.data(), 100, true);
    size = file.size();
    file.read(got.data() + 100, got.size() - 100, true);
    file.seek(17);
    value = file.readU8();
    if (file.tell() != 18) value = 0;
    file.close();
  });
  if (!isDone && size == 0 && trial.isFault("lseek64:2"))
    trial.expect(file.tell() <= 100, "the position is lost");
  trial.expect(!isDone || (got == all && size == all.size() && value == static_cast<unsigned char>(all[17])),
               "read something else");
  expectUsable(trial, file);
}

void writeFile(Trial& trial) {
  const std::string all = contents(20'000);
  File file("out");
  const bool isDone = trial.run({1003, 1005, 1009, 1010}, {"out"}, [&] {
    file.open(ModeRead | ModeWrite | ModeTruncate);
    file.write(all.data(), all.size());
    file.writeU32(0x64636261);
    file.writeZeros(70'000);
    file.seekToEnd();
    file.write("end", 3);
    file.truncate();
    file.rewind();
    file.writeU8('x');
    file.flush();
    file.close();
  });
  trial.expect(
      !isDone || readWhole("out") == "x" + all.substr(1) + "abcd" + std::string(70'000, '\0') + "end",
      "wrote something else");
  expectUsable(trial, file);
}

void appendFile(Trial& trial) {
  writeWhole("log", "old");
  const std::string more = contents(10'000);
  File file("log");
  std::uint64_t end = 0;
  const bool isDone = trial.run({1003, 1005, 1009, 1010}, {"log"}, [&] {
    file.open(ModeWriteCreate | ModeAppend);
    file.write(more.data(), more.size());
    end = file.tell();
    file.close();
  });
  const std::string found = readWhole("log");
  trial.expect(isDone ? found == "old" + more && end == found.size() : found.starts_with("old"),
               "appended wrong");
  expectUsable(trial, file);
}

// What failed can be tried again: nothing is lost, nothing written twice.
void writeAgain(Trial& trial) {
  const std::string all = contents(60'000);
  File file("out");
  file.create();
  std::size_t done = 0, size = 0;
  const auto writeAll = [&] {
    for (size = 1; done < all.size(); done += size, size = size * 3 % 9000 + 1) {
      size = std::min(size, all.size() - done);
      file.write(all.data() + done, size);
    }
    file.flush();
  };
  const bool isDone = trial.run({1010}, {"out"}, writeAll);
  if (!isDone) writeAll();
  file.close();
  trial.expect(readWhole("out") == all, "lost or doubled");
}

void readAndWrite(Trial& trial) {
  std::string all = contents(30'000);
  writeWhole("f", all);
  File file("f");
  const bool isDone = trial.run({1003, 1005, 1009, 1010}, {"f"}, [&] {
    char piece[700];
    file.openReadWrite();
    for (int i = 0; i < 20; ++i) {
      file.read(piece, sizeof piece, true);
      file.write("HELLO", 5);
    }
    file.close();
  });
  for (std::size_t at = 700; at < 20 * 705; at += 705) all.replace(at, 5, "HELLO");
  trial.expect(isDone ? readWhole("f") == all : readWhole("f").size() == all.size(), "wrote elsewhere");
  expectUsable(trial, file);
}

void copyBetweenFiles(Trial& trial) {
  const std::string all = contents(150'000);
  writeWhole("in", all);
  File in("in"), out("out");
  in.open(ModeRead);
  out.create();
  const bool isDone = trial.run({1009, 1010}, {"in", "out"}, [&] {
    out.copyFrom(in, all.size());
    out.flush();
  });
  trial.expect(!isDone || readWhole("out") == all, "copied something else");
  expectUsable(trial, in);
  expectUsable(trial, out);
}

void fileTimes(Trial& trial) {
  writeWhole("f", "x");
  File closed("f"), open("f");
  open.openReadWrite();
  std::int64_t change = 0, access = 0, modification = 0;
  DateTimeO changed, accessed, modified;
  const bool isDone = trial.run({1001, 1009, 1010}, {"f"}, [&] {
    open.setTimes(0, 1000, 2000);
    open.getTimes(change, access, modification);
    closed.setTimes(changed, DateTimeO::FromUnixTime(3000, 0), DateTimeO::FromUnixTime(4000, 0));
    closed.getTimes(changed, accessed, modified);
  });
  trial.expect(!isDone || (access == 1000 && modification == 2000 && modified.ToUnixTime() == 4000),
               "other times");
}

void temporaryFile(Trial& trial) {
  File file("before");
  const bool isDone = trial.run({1003, 1005, 1006, 1010}, {".", "*"}, [&] {
    if (!file.openTemporary(".")) return false;
    file.write("x", 1);
    return true;
  });
  trial.expect(isDone || !file.isOpen() || file.name() != "before", "half made");
  if (file.name() != "before") {
    file.closeIfOpen();
    trial.expect(!isDone || readWhole(file.name()) == "x", "wrote something else");
    file.remove();
  }
}

template <std::uint32_t mode>
void replaceContents(Trial& trial) {
  const std::string fresh = contents(50'000);
  writeWhole("real", "old");
  fs::permissions("real", fs::perms(0640));
  fs::create_symlink("real", "link");
  const char* const name = mode == ModeNoOverwrite ? "new" : "link";
  const bool isDone = trial.run({1003, 1005, 1010, 1016}, {name},
                                [&] { File(name).replaceContents(fresh.data(), fresh.size(), mode); });
  const std::string found = readWhole(name);
  const bool isNew = isDone || trial.isFault("fsync:2");  // the folder comes last
  trial.expect(found == (isNew ? fresh : name[0] == 'n' ? "" : "old"), "neither old nor new");
  trial.expect(
      fs::is_symlink("link") && (fs::status("real").permissions() & fs::perms(07137)) == fs::perms::none,
      "other rights");
}

void copyFile(Trial& trial) {
  const std::string all = contents(200'000);
  writeWhole("in", all);
  writeWhole("out", "old");
  const bool isDone = trial.run({}, {}, [&] { return File::copyFile("in", "out"); });
  trial.expect((!isDone || readWhole("out") == all) && readWhole("in") == all, "not copied");
}

void copyTree(Trial& trial) {
  makeTree("from");
  const std::string all = treeOf("from");
  File folder("from");
  const bool isDone = trial.run({1003, 1004}, prefixesOf("to/there"),
                                [&] { return folder.copyTo("to/there", ModeRecursive); });
  trial.expect((!isDone || treeOf("to/there/from") == all) && treeOf("from") == all, "not copied");
}

void moveWithin(Trial& trial) {
  makeTree("from");
  const std::string all = treeOf("from");
  fs::create_directory("to");
  writeWhole("f", "file");
  writeWhole("g", "other");
  File folder("from"), file("f");
  const bool isDone = trial.run({1013}, {"from", "f"}, [&] {
    folder.move("to");
    file.rename("g");
  });
  trial.expect((treeOf("to/from") == all) != (treeOf("from") == all), "the tree is lost");
  trial.expect(readWhole("f") == "file" || readWhole("g") == "file", "the file is lost");
  if (isDone)
    trial.expect(treeOf("to/from") == all && !fs::exists("f") && readWhole("g") == "file", "not moved");
}

void moveBetweenDevices(Trial& trial) {
  if (Trial::otherDevice().empty()) return;
  const fs::path there = fs::path(Trial::otherDevice()) / "to";
  makeTree("from");
  const bool withRights = !trial.isFault("fchmod") || trial.error() != "EPERM";  // kept where permitted
  const std::string all = treeOf("from", withRights);
  File folder("from");
  const bool isDone = trial.run({1013}, {"from"}, [&] { folder.move(there.string()); });
  const bool isThere = treeOf(there, withRights) == all;
  trial.expect(isDone ? isThere && !fs::exists("from") : isThere || treeOf("from", withRights) == all,
               "the tree is lost");
}

void removeTree(Trial& trial) {
  makeTree("tree");
  writeWhole("outside", "x");
  fs::create_symlink("../outside", "tree/out");
  const bool isDone = trial.run({}, {}, [] { return File("tree").removeTree(); });
  trial.expect(!isDone || !fs::exists("tree"), "something is left");
  trial.expect(readWhole("outside") == "x", "removed what is outside");
}

void folders(Trial& trial) {
  writeWhole("f", "x");
  fs::create_directory("empty");
  auto made = prefixesOf("a/b/c");
  made.insert("plain");
  const bool isDone = trial.run({1003, 1004}, made, [&] {
    File("a/b/c").createFolder(ModeRecursive);
    File("plain").createFolder();
    return File("empty").removeFolder() && File("f").remove();
  });
  if (isDone)
    trial.expect(
        fs::is_directory("a/b/c") && fs::is_directory("plain") && !fs::exists("empty") && !fs::exists("f"),
        "not done");
}

struct Scan : FileTreeScan {
  using FileTreeScan::FileTreeScan;
  std::set<std::string> found;
  int visited = 0;
  bool toldErrors = false;

 protected:
  void onFolder(const FileString&, std::span<const FileString>) override { toldErrors |= folderError() != 0; }
  void onFile(const FileString& entry) override { found.insert(entry); }
  void onFolderVisited() override { ++visited; }
};

void scanTree(Trial& trial) {
  makeTree("tree");
  FileSpecification specification;
  specification.folder = "tree";
  specification.recursive = true;
  for (const char* pattern : {"*", "b", "s*/a*"}) specification.add(pattern);
  Scan scan(specification);
  const bool isDone = trial.run({1014}, {}, [&] { scan.run(); });
  const std::set<std::string> all = {"tree/a",     "tree/pipe",      "tree/sub",     "tree/sub/again",
                                     "tree/sub/b", "tree/sub/empty", "tree/sub/link"};
  trial.expect(std::includes(all.begin(), all.end(), scan.found.begin(), scan.found.end()),
               "found what is not there");
  if (isDone && !scan.toldErrors) trial.expect(scan.found == all && scan.visited == 3, "not all found");
}

void paths(Trial& trial) {
  writeWhole("f", "x");
  const std::string here = fs::current_path();
  FileString found, real, expanded = "${HOME}/x", shown = "~/a/./b/../c";
  const support::ScopedVariable home("HOME", "/home/somebody");
  FileSpecification specification;
  const bool isDone = trial.run({1003, 1000}, {"f"}, [&] {
    normalise(shown);
    findInFolders(found, "f", "/none;" + here);
    real = realPath("f");
    expandEnvironment(expanded);
    specification.add("x*");
    specification.add("y", true);
    specification.baseFolder("f");
    homeFolder();
    if (currentFolder() != here || executablePath().empty()) return false;
    return isFile("f") && isFolder(here);
  });
  if (isDone)
    trial.expect(shown == "/home/somebody/a/c" && real == here + "/f" && expanded == "/home/somebody/x",
                 "another path " + shown + real + expanded);
  if (!trial.hasFired())
    trial.expect(found == here + "/f" && specification.folder == here + "/f", "not found");
}

constexpr Operation operations[] = {
    {"read a file", "read", readFile},
    {"write a file", "write writev fsync ftruncate fclose", writeFile},
    {"append to a file", "write writev fclose", appendFile},
    {"write again what failed", "write writev fsync", writeAgain},
    {"read and write in turn", "read write writev fclose", readAndWrite},
    {"copy from file to file", "read write writev fsync", copyBetweenFiles},
    {"times of a file", "stat utimensat", fileTimes},
    {"temporary file", "mkostemp", temporaryFile},
    {"replace contents", "write writev fsync fclose renameat openat:1 openat:2", replaceContents<0>},
    {"replace contents, new only", "write writev fsync fclose", replaceContents<ModeNoOverwrite>},
    {"copy a file", "openat close:1 fstat", copyFile},
    {"copy a tree", "mkdirat symlinkat mknodat openat getdents64", copyTree},
    {"move", "", moveWithin},
    {"move between devices", "mkdirat symlinkat mknodat getdents64 unlinkat", moveBetweenDevices},
    {"remove a tree", "unlinkat", removeTree},
    {"make and remove folders", "mkdir rmdir remove", folders},
    {"scan a tree", "malloc", scanTree},
    {"paths", "realpath malloc", paths},
};

}  // namespace

std::span<const Operation> fileOperations() { return operations; }

}  // namespace faults
