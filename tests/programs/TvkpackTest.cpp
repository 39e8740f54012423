// tvkpack as a user runs it: command lines, exit statuses, what it says and what is on disk afterwards.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "support/Pty.h"
#include "support/Support.h"

namespace {

namespace fs = std::filesystem;
using support::readWhole;
using support::ScopedFolder;
using support::writeWhole;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

support::ChildResult tvkpack(const std::string& arguments, const std::string& before = "") {
  return support::runCommand(before + " " TVKPACK " " + arguments + " </dev/null");
}

// The program that runs a command when it forces a file or a folder to disk.
support::ChildResult hooked(const std::string& arguments, const std::string& command = "") {
  return support::runCommand("AT_FSYNC='" + command + "' " TVKPACK_HOOKED " " + arguments + " </dev/null");
}

std::string prose(std::size_t size) {
  std::string text;
  for (unsigned n = 0; text.size() < size; n = n * 1103515245u + 12345u)
    text += "line " + std::to_string(n >> 20) + "\n";
  text.resize(size);
  return text;
}

// Every file of a tree with its contents; links are shown as what they name.
std::map<std::string, std::string> contentsOf(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = entry.path().lexically_relative(folder).string();
    if (entry.is_symlink()) {
      files[name] = "-> " + fs::read_symlink(entry.path()).string();
    } else if (entry.is_regular_file()) {
      files[name] = readWhole(entry.path().string());
    }
  }
  return files;
}

std::string namesOf(const std::string& folder) {
  std::string names;
  for (const auto& [name, contents] : contentsOf(folder)) names += name + " ";
  return names;
}

TEST(Tvkpack, RoundTripThatGzipUnderstands) {
  const ScopedFolder tree;
  fs::create_directories(tree / "sub/deep");
  for (const char* name : {"a.txt", "sub/b with blank.log", "sub/deep/c", "sub/.hidden", "-x"})
    writeWhole(tree / name, prose(20000) + name);
  const auto original = contentsOf(tree.path());
  chmod((tree / "a.txt").c_str(), 02640);
  ASSERT_EQ(chown((tree / "a.txt").c_str(), geteuid() == 0 ? 1234 : geteuid(), getegid()), 0);
  chmod((tree / "a.txt").c_str(), 02640);
  const timespec times[] = {{1000000000, 5}, {1111111111, 987654321}};
  utimensat(AT_FDCWD, (tree / "a.txt").c_str(), times, 0);
  struct stat before {
  }, after{};
  stat((tree / "a.txt").c_str(), &before);

  auto run = tvkpack("-recurse " + tree.path());
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr("packed   " + (tree / "sub/b with blank.log") + "  20020 -> "));
  EXPECT_THAT(run.output, EndsWith("%\n5 packed, 0 left alone, 0 failed, 100048 -> " +
                                   run.output.substr(run.output.rfind(' ') + 1)));
  EXPECT_EQ(namesOf(tree.path()), "-x.gz a.txt.gz sub/.hidden.gz sub/b with blank.log.gz sub/deep/c.gz ");
  EXPECT_EQ(support::runCommand("find " + tree.path() + " -type f -print0 | xargs -0 gzip -t").status, 0);
  stat((tree / "a.txt.gz").c_str(), &after);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_mtim.tv_sec, 1111111111);
  EXPECT_EQ(after.st_mtim.tv_nsec, 987654321);

  EXPECT_THAT(
      tvkpack("-test -recurse " + tree.path()).output,
      EndsWith("5 tested, 0 left alone, 0 failed, " +
               run.output.substr(run.output.rfind('>') + 2, run.output.size() - run.output.rfind('>') - 3) +
               " -> 100048\n"));
  EXPECT_THAT(tvkpack("-list " + tree.path() + ",a*").output, HasSubstr(" 20005 "));
  // What gzip packs, with a name in the header; it would complain about the set-group-ID bit.
  chmod((tree / "a.txt.gz").c_str(), 0640);
  ASSERT_EQ(
      support::runCommand("gzip -df " + (tree / "a.txt.gz") + " && gzip -9f " + (tree / "a.txt")).status, 0);
  EXPECT_EQ(tvkpack("-unpack -recurse " + tree.path()).status, 0);
  EXPECT_EQ(contentsOf(tree.path()), original);
}

TEST(Tvkpack, SaysWhyItLeavesAFileAlone) {
  const ScopedFolder tree;
  writeWhole(tree / "empty", "");
  writeWhole(tree / "tiny", "ab");
  writeWhole(tree / "linked", prose(5000));
  writeWhole(tree / "named.gz", prose(5000));
  writeWhole(tree / "magic", "\x1F\x8B" + prose(5000));
  writeWhole(tree / "skipped", prose(5000));
  writeWhole(tree / ".tvkpack-abc", prose(5000));
  fs::create_hard_link(tree / "linked", tree / "linked2");
  fs::create_symlink("linked", tree / "symbolic");
  mkfifo((tree / "fifo").c_str(), 0600);
  const auto before = contentsOf(tree.path());
  const auto run = tvkpack("-skip=6c696E65 " + tree.path());
  EXPECT_EQ(run.status, 0);
  for (const auto& [name, reason] :
       std::map<std::string, std::string>{{"empty", "empty"},
                                          {"tiny", "would not get smaller"},
                                          {"linked", "has more than one link"},
                                          {"named.gz", "already packed"},
                                          {"magic", "already packed"},
                                          {"skipped", "begins with the bytes to skip"},
                                          {".tvkpack-abc", "left over from an interrupted run"},
                                          {"symbolic", "symbolic link"},
                                          {"fifo", "not a regular file"}})
    EXPECT_THAT(run.output, HasSubstr("left     " + (tree / name) + "  " + reason + "\n"));
  EXPECT_THAT(run.output, EndsWith("\n0 packed, 10 left alone, 0 failed, 0 -> 0\n"));
  EXPECT_EQ(contentsOf(tree.path()), before);
  EXPECT_THAT(tvkpack("-unpack " + tree.path() + ",linked2,skipped").output,
              HasSubstr("skipped  not packed\n"));
}

TEST(Tvkpack, SelectsByNameTimeAndSize) {
  const ScopedFolder tree;
  for (const char* name : {"old.log", "new.log", "new.txt"}) writeWhole(tree / name, prose(5000));
  writeWhole(tree / "big.txt", prose(6000));
  const timespec old[] = {{0, UTIME_OMIT}, {1704067199, 0}};  // 2023-12-31 23:59:59 UTC
  utimensat(AT_FDCWD, (tree / "old.log").c_str(), old, 0);
  for (const auto& [arguments, count] :
       std::map<std::string, int>{{"-before=2024-01-01T00:00:00Z " + tree.path(), 1},
                                  {"-before:2023Dec31,23:59:59UTC " + tree.path(), 0},
                                  {"-after=2023Dec31,23:59:59UTC " + tree.path(), 4},
                                  {"-after=2024-01-01 " + tree.path(), 3},
                                  {"-larger=0x1387 -smaller=5001 " + tree.path(), 3},
                                  {"-larger=5000 " + tree.path(), 1},
                                  {tree.path() + ",*.log,new*", 3},
                                  {"'\"" + tree.path() + "\"' " + tree.path() + "/.", 4},
                                  {"'\"" + tree.path() + "\",\"n*\"'", 2},
                                  {"'\"" + tree.path() + ",o*,n*\"'", 3},
                                  {tree / "big.txt", 1}}) {
    EXPECT_THAT(hooked("-keep -overwrite " + arguments).output,
                HasSubstr(std::to_string(count) + " packed, "))
        << arguments;
    for (const auto& entry : fs::directory_iterator(tree.path()))
      if (entry.path().extension() == ".gz") fs::remove(entry);
  }
  const std::string odd = tree / "c,*.log";
  writeWhole(odd, prose(5000));
  EXPECT_THAT(hooked("'" + odd + "'").output, StartsWith("packed   " + odd + "  5000"));
  fs::resize_file(tree / "big.txt", std::uintmax_t{1} << 32);
  EXPECT_THAT(hooked(tree / "big.txt").output, HasSubstr("  too large for one block\n"));
}

TEST(Tvkpack, ErrorsAndExitStatuses) {
  const ScopedFolder tree;
  writeWhole(tree / "a", prose(5000));
  writeWhole(tree / "a.gz", "in the way");
  writeWhole(tree / "b", prose(5000));
  writeWhole(tree / "broken.gz", "\x1F\x8B no block");
  writeWhole(tree / "none.gz", "");
  ASSERT_EQ(support::runCommand("cd " + tree.path() + "; for n in 1 2; do gzip <b; done >two.gz").status, 0);
  for (const auto& [arguments, status, text] :
       std::initializer_list<std::tuple<std::string, int, std::string>>{
           {"-xyz", 3, "tvkpack, -xyz: error TP2001 - invalid option.\n"},
           {"-packs x", 3, "tvkpack, -packs: error TP2001 - invalid option.\n"},
           {"/no/such", 3, "tvkpack: fatal error TP1002 - folder not found: /no/such.\n"},
           {"/no/such,*.log", 3, "tvkpack: fatal error TP1002 - folder not found: /no/such.\n"},
           {"", 3, "tvkpack: error TP2024 - missing specification.\n"},
           {"''", 3, "tvkpack: error TP2024 - missing specification.\n"},
           {"-jobs=65 x", 3, "tvkpack: error TP2005 - value 65 out of range.\n"},
           {"-jobs x", 3, "tvkpack: error TP2003 - missing argument in option.\n"},
           {"-larger=-1 x", 3, "tvkpack: error TP2005 - value -1 out of range.\n"},
           {"-skip=123 x", 3, "tvkpack: error TP2005 - value 123 out of range.\n"},
           {"-before=2024-02-30 x", 3, "tvkpack: fatal error TP1313 - Invalid date/time: 2024-02-30.\n"},
           {"-pack -list x", 3, "tvkpack: error TP2026 - multiple specification: -list.\n"},
           {"-test -keep x", 3, "tvkpack: error TP2027 - invalid option for test mode.\n"},
           {"-log -ask x", 3, "tvkpack: error TP2027 - invalid option for log mode.\n"},
           {"-log -page x", 3, "tvkpack: error TP2027 - invalid option for log mode.\n"},
           {tree / "a", 4, "tvkpack: fatal error TP1029 - file " + (tree / "a.gz") + " already exists.\n"},
           {"-test " + (tree / "broken.gz"), 4,
            "tvkpack: fatal error TP1901 - file is not one whole gzip block: " + (tree / "broken.gz") +
                ".\n"},
           {"-unpack " + (tree / "two.gz"), 4, "TP1901 - file is not one whole gzip block: "},
           {"-test " + (tree / "none.gz"), 4, "TP1034 - file has bad header: "},
           {"-list " + (tree / "a.gz"), 4,
            "tvkpack: fatal error TP1034 - file has bad header: " + (tree / "a.gz") + ".\n"}}) {
    const auto run = hooked(arguments);
    EXPECT_EQ(run.status, status) << arguments;
    EXPECT_THAT(run.output + run.errors, HasSubstr(text)) << arguments;
  }
  EXPECT_EQ(readWhole(tree / "a.gz"), "in the way");
  const auto run = hooked(tree.path());
  EXPECT_EQ(run.status, 4) << "one fails, the others go on";
  EXPECT_THAT(run.output, HasSubstr("1 packed, 4 left alone, 1 failed"));
  EXPECT_EQ(hooked("-overwrite -quiet " + (tree / "a")).output, "");
  EXPECT_EQ(namesOf(tree.path()), "a.gz b.gz broken.gz none.gz two.gz ");
}

TEST(Tvkpack, HelpFitsTheScreen) {
  for (const std::string language : {"C", "de_DE.ISO-8859-15"}) {
    const auto run = tvkpack("-help", "LANG=" + language);
    EXPECT_EQ(run.status, 0);
    std::istringstream lines(run.output);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) EXPECT_LE(line.size(), 80u) << line;
    EXPECT_GT(count, 30);
  }
  EXPECT_THAT(tvkpack("-version").output, MatchesRegex("tvkpack [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(Tvkpack, SpeaksGerman) {
  EXPECT_THAT(tvkpack("/no/such", "LANG=de_DE.UTF-8").output,
              HasSubstr("tvkpack: schwerer Fehler TP1002 - Ordner nicht gefunden: /no/such."));
  EXPECT_THAT(tvkpack("-xyz", "LANG=de_DE.UTF-8").output, HasSubstr("ung\xC3\xBCltige Option"));
  EXPECT_THAT(tvkpack("-xyz", "LANG=de_DE.ISO-8859-15").output, HasSubstr("ung\xFCltige Option"));
  const ScopedFolder tree;
  writeWhole(tree / "a", prose(5000));
  writeWhole(tree / "b", prose(5000));
  EXPECT_THAT(support::runCommand("printf 'j\\nb' | LANG=de_DE.UTF-8 " TVKPACK " -ask " + tree.path()).output,
              HasSubstr("1 gepackt, 1 belassen"));
}

TEST(Tvkpack, TheOrderDoesNotDependOnTheJobs) {
  const ScopedFolder one, many;
  for (const auto* tree : {&one, &many})
    for (int n = 0; n < 30; ++n) writeWhole(*tree / std::to_string(n), prose(n % 7 == 0 ? 200000 : 500));
  std::string first = hooked("-jobs=1 " + one.path()).output,
              second = hooked("-jobs=8 " + many.path()).output;
  for (auto at = second.find(many.path()); at != second.npos; at = second.find(many.path()))
    second.replace(at, many.path().size(), one.path());
  EXPECT_EQ(first, second);
}

// Each command runs with $T, the tree, and $O, a folder outside, when NAME.gz is written but not in its place
// yet, and once more when it is there and NAME not gone.
TEST(Tvkpack, WhateverHappensMeanwhileNothingIsLost) {
  const std::string later = "! test -e $T/f.gz || ";
  for (const auto& [command, arguments, status, text, names] :
       std::initializer_list<std::tuple<std::string, std::string, int, std::string, std::string>>{
           {"echo more >>$T/f", "", 0, "f  changed meanwhile\n", "f sub/g "},
           {"rm $T/f; ln -s $O/f $T/f", "", 0, "f  changed meanwhile\n", "f sub/g "},
           {"rm $T/f", "", 0, "f  changed meanwhile\n", "sub/g "},
           {later + "echo more >>$T/f", "", 0, "f  changed meanwhile\n", "f sub/g "},
           {later + "rm $T/f", "-overwrite", 0, "f  changed meanwhile\n", "f.gz sub/g "},
           {"echo other >$T/f.gz", "", 4, "TP1029 - file ", "f f.gz sub/g "},
           {"echo other >$T/f.gz", "-overwrite", 0, "1 packed, ", "f.gz sub/g "},
           {"exit 28", "", 4, "TP1011 - ", "f sub/g "},
           {"exit 24", "", 4, "/f: fatal error TP1012 - too many opened files.", "f sub/g "},
           {"exit 5", "", 4, "TP1010 - cannot write to file ", "f sub/g "},
           {"kill -TERM $PPID", "", 143, "interrupted; ", "f sub/g "},
           {"kill -XCPU $PPID", "-unpack", 152, "interrupted; ", "f.gz sub/g "},
           {"kill -KILL $PPID", "", 137, "", "\\.tvkpack-[0-9a-v]{12} f sub/g "},
           {later + "kill -KILL $PPID", "", 137, "", "f f.gz sub/g "},
           {"! ls -A $T/sub | grep -q tvk || { mv $T/sub $T/old; ln -s $O $T/sub; }", "-recurse", 0,
            "2 packed, 0", "f.gz old/g.gz sub "}}) {
    SCOPED_TRACE(command + " " + arguments);
    const ScopedFolder tree, outside;
    fs::create_directory(tree / "sub");
    for (const std::string& name : {tree / "f", tree / "sub/g", outside / "f", outside / "g"})
      writeWhole(name, prose(5000));
    if (arguments == "-unpack") {
      ASSERT_EQ(support::runCommand("gzip " + (tree / "f")).status, 0);
    }
    const support::ScopedVariable first("T", tree.path()), second("O", outside.path());
    const auto run = hooked("-jobs=1 " + arguments + " " + tree.path(), command);
    EXPECT_EQ(run.status, status);
    EXPECT_THAT(run.output, HasSubstr(text));
    EXPECT_THAT(namesOf(tree.path()), MatchesRegex(names));
    EXPECT_EQ(namesOf(outside.path()), "f g ");
    if (fs::is_regular_file(tree / "f")) {
      EXPECT_THAT(readWhole(tree / "f"), StartsWith(prose(5000)));
    }
  }
}

TEST(Tvkpack, ManyAtOnceInterruptedOrOutOfRoom) {
  const ScopedFolder tree;
  const support::ScopedVariable variable("T", tree.path());
  for (int n = 10; n < 50; ++n) writeWhole(tree / std::to_string(n), prose(20000));
  EXPECT_EQ(hooked("-jobs=4 " + tree.path(), "! test -e $T/20.gz || kill -TERM $PPID").status, 143);
  std::size_t packed = 0;
  for (int n = 10; n < 50; ++n) {
    const std::string name = tree / std::to_string(n);
    EXPECT_NE(fs::exists(name), fs::exists(name + ".gz")) << name;
    packed += fs::exists(name + ".gz");
  }
  EXPECT_TRUE(packed >= 5 && packed < 40) << packed;
  // A limit on the size of files stands for the full disk; the report, which it would cut too, goes elsewhere.
  EXPECT_THAT(support::runCommand("(ulimit -f 1; " TVKPACK_HOOKED " " + tree.path() + ") | cat").output,
              HasSubstr("fatal error TP1010 - cannot write to file "));
  EXPECT_THAT(namesOf(tree.path()), Not(HasSubstr(".tvkpack-")));
  EXPECT_EQ(hooked(tree.path()).status, 0);
  EXPECT_THAT(hooked("-test " + tree.path()).output, HasSubstr("40 tested, 0 left alone, 0 failed"));
}

TEST(Tvkpack, AsksAndPausesAtATerminal) {
  const ScopedFolder tree;
  for (int n = 10; n < 45; ++n) writeWhole(tree / std::to_string(n), prose(500));
  const auto start = [&](const char* option) {
    return std::make_unique<support::Pty>([&tree, option] {
      return execl(TVKPACK_HOOKED, "tvkpack", option, "-keep", "-jobs=4", "-overwrite",
                   (tree.path() + ",??").c_str(), nullptr);
    });
  };
  for (const auto& [option, prompt, keys, status, text] :
       std::initializer_list<std::tuple<const char*, std::string, std::string, int, std::string>>{
           {"-ask", "Pack " + (tree / "10") + "? (ynaq)", "y\nxNa", 0, "34 packed, 1 left alone, 0 failed"},
           {"-ask", "? (ynaq)", "yq", 0, "1 packed, 1 left alone, 0 failed"},
           {"-ask", "? (ynaq)", "y\x03", 11, "tvkpack: aborted by user"},
           {"-page", "[Press any key to continue]", " ", 0, "35 packed, 0 left alone"},
           {"-page", "[Press any key to continue]", "\x03", 11, "tvkpack: aborted by user"}}) {
    SCOPED_TRACE(option + keys);
    const auto terminal = start(option);
    const std::string shown = terminal->readUntil(prompt);
    EXPECT_THAT(shown, EndsWith(prompt));
    EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), option[1] == 'p' ? 29 : 0);
    terminal->awaitKeys();
    terminal->type(keys);
    EXPECT_THAT(terminal->readUntil(text), EndsWith(text));
    const auto end = terminal->finish();
    EXPECT_EQ(end.status, status) << end.output;
  }
  const support::ScopedVariable variable("AT_FSYNC", "(sleep 0.2; kill -TERM $PPID) &");
  const auto terminal = start("-page");  // the signal comes at the prompt
  EXPECT_THAT(terminal->readUntil("interrupted"), EndsWith("interrupted"));
  EXPECT_EQ(terminal->finish().status, 143);
}

TEST(Tvkpack, LinksLeadNowhere) {
  const ScopedFolder tree, outside;
  writeWhole(outside / "precious", prose(5000));
  fs::create_directory_symlink(outside.path(), tree / "sub");
  writeWhole(tree / "a", prose(5000));
  EXPECT_THAT(hooked("-recurse " + tree.path() + ",*,sub/*").output,
              HasSubstr("1 packed, 1 left alone, 1 failed"));
  EXPECT_EQ(namesOf(outside.path()), "precious ");
}

}  // namespace
