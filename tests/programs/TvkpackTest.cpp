// tvkpack as a user runs it: command lines, exit statuses, what it says and what is on disk afterwards.
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>

#include "support/Pty.h"
#include "support/Support.h"

namespace {

namespace fs = std::filesystem;
using namespace support;
using namespace testing;

ChildResult tvkpack(const std::string& arguments, const std::string& before = "") {
  return runCommand(before + " " TVKPACK " " + arguments + " </dev/null");
}

// The program that runs a command when it forces a file or a folder to disk.
ChildResult hooked(const std::string& arguments, const std::string& command = "") {
  return runCommand("AT_FSYNC='" + command + "' " TVKPACK_HOOKED " " + arguments + " </dev/null");
}

std::string prose(std::size_t size) {
  std::string text;
  while (text.size() < size) text += "line " + std::to_string(text.size() * text.size() % 4093) + "\n";
  return text.substr(0, size);
}

// Every file of a tree with its contents; links are shown as what they name.
std::map<std::string, std::string> contentsOf(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_symlink() && !entry.is_regular_file()) continue;
    files[entry.path().lexically_relative(folder)] =
        entry.is_symlink() ? "-> " + fs::read_symlink(entry).string() : readWhole(entry.path());
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
  const std::string in = "cd " + tree.path() + " && ", status = in + "stat -c '%f %u %y' a.txt";
  runCommand(in + "chown 1234 a.txt; chmod 2640 a.txt && touch -d '2005-03-18 01:58:31.987654321' a.txt");
  const std::string before = runCommand(status).output;
  EXPECT_THAT(before, HasSubstr(":31.987654321"));

  const auto run = tvkpack("-recurse " + tree.path());
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.output, HasSubstr("packed   " + (tree / "sub/b with blank.log") + "  20020 -> "));
  const std::string total = run.output.substr(run.output.rfind(' ') + 1);
  EXPECT_THAT(run.output, EndsWith("%\n5 packed, 0 left alone, 0 failed, 100048 -> " + total));
  EXPECT_EQ(namesOf(tree.path()), "-x.gz a.txt.gz sub/.hidden.gz sub/b with blank.log.gz sub/deep/c.gz ");
  EXPECT_EQ(runCommand(status + ".gz").output, before);

  EXPECT_THAT(
      tvkpack("-test -recurse " + tree.path()).output,
      EndsWith("5 tested, 0 left alone, 0 failed, " + std::to_string(std::stoi(total)) + " -> 100048\n"));
  EXPECT_THAT(tvkpack("-list " + tree.path() + ",a*").output, HasSubstr(" 20005 "));
  // What gzip packs, with a name in the header; it would complain about the set-group-ID bit.
  ASSERT_EQ(runCommand(in + "chmod 640 a.txt.gz && gzip -d a.txt.gz && gzip -9 a.txt").status, 0);
  EXPECT_EQ(tvkpack("-unpack -recurse " + tree.path()).status, 0);
  EXPECT_EQ(contentsOf(tree.path()), original);
}

TEST(Tvkpack, SaysWhyItLeavesAFileAlone) {
  const ScopedFolder tree, outside;
  writeWhole(tree / "empty", "");
  writeWhole(tree / "tiny", "ab");
  writeWhole(tree / "magic", "\x1F\x8B" + prose(5000));
  for (const char* name : {"linked", "named.gz", "skipped", ".tvkpack-abc"})
    writeWhole(tree / name, prose(5000));
  runCommand("cd " + tree.path() + " && ln linked linked2 && ln -s linked symbolic && mkfifo fifo");
  const auto before = contentsOf(tree.path());
  const auto run = tvkpack("-skip=6c696E65 " + tree.path());
  EXPECT_EQ(run.status, 0);
  const std::pair<const char*, const char*> rows[] = {{"empty", "empty"},
                                                      {"tiny", "would not get smaller"},
                                                      {"linked", "has more than one link"},
                                                      {"named.gz", "already packed"},
                                                      {"magic", "already packed"},
                                                      {"fifo", "not a regular file"},
                                                      {"symbolic", "symbolic link"},
                                                      {"skipped", "begins with the bytes to skip"},
                                                      {".tvkpack-abc", "left over from an interrupted run"}};
  for (const auto& [name, reason] : rows)
    EXPECT_THAT(run.output, HasSubstr("left     " + (tree / name) + "  " + reason + "\n"));
  EXPECT_THAT(run.output, EndsWith("\n0 packed, 10 left alone, 0 failed, 0 -> 0\n"));
  EXPECT_EQ(contentsOf(tree.path()), before);
  EXPECT_THAT(tvkpack("-unpack " + tree.path() + ",linked2,skipped").output,
              HasSubstr("skipped  not packed\n"));
  fs::create_directory_symlink(outside.path(), tree / "sub");
  writeWhole(outside / "precious", prose(5000));
  EXPECT_THAT(tvkpack("-recurse " + tree.path() + ",*,sub/*").output,
              HasSubstr("1 packed, 9 left alone, 1 failed"));
  EXPECT_EQ(namesOf(outside.path()), "precious ");
}

TEST(Tvkpack, SelectsByNameTimeAndSize) {
  const ScopedFolder tree;
  for (const char* name : {"old.log", "new.log", "new.txt"}) writeWhole(tree / name, prose(5000));
  writeWhole(tree / "big.txt", prose(6000));
  runCommand("touch -d '2023-12-31 23:59:59' " + (tree / "old.log"));
  const std::pair<std::string, int> rows[] = {{"-before=2024-01-01T00:00:00Z " + tree.path(), 1},
                                              {"-before:2023Dec31,23:59:59UTC " + tree.path(), 0},
                                              {"-after=2023Dec31,23:59:59UTC " + tree.path(), 4},
                                              {"-after=2024-01-01 " + tree.path(), 3},
                                              {"-larger=0x1387 -smaller=5001 " + tree.path(), 3},
                                              {"-larger=5000 " + tree.path(), 1},
                                              {tree.path() + ",*.log,new*", 3},
                                              {"'\"" + tree.path() + "\"' " + tree.path() + "/.", 4},
                                              {"'\"" + tree.path() + "\",\"n*\"'", 2},
                                              {"'\"" + tree.path() + ",o*,n*\"'", 3},
                                              {tree / "big.txt", 1}};
  for (const auto& [arguments, count] : rows)
    EXPECT_THAT(hooked("-keep -overwrite " + arguments).output,
                HasSubstr(std::to_string(count) + " packed, "))
        << arguments;
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
  ASSERT_EQ(runCommand("cd " + tree.path() + "; for n in 1 2; do gzip <b; done >two.gz").status, 0);
  for (const auto& [arguments, status, text] :
       std::initializer_list<std::tuple<std::string, int, std::string>>{
           {"-xyz", 3, "tvkpack, -xyz: error TP2001 - invalid option.\n"},
           {"/no/such", 3, "tvkpack: fatal error TP1002 - folder not found: /no/such.\n"},
           {"/no/such,*.log", 3, "tvkpack: fatal error TP1002 - folder not found: /no/such.\n"},
           {"", 3, "tvkpack: error TP2024 - missing specification.\n"},
           {"''", 3, "tvkpack: error TP2024 - missing specification.\n"},
           {"-jobs=65 x", 3, "tvkpack: error TP2005 - value 65 out of range.\n"},
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
    const auto help = tvkpack("-help", "LANG=" + language);
    EXPECT_EQ(help.status, 0);
    EXPECT_GT(std::count(help.output.begin(), help.output.end(), '\n'), 30);
    EXPECT_THAT(help.output, Not(ContainsRegex("[^\n]{81}")));
  }
  EXPECT_THAT(tvkpack("-version").output, MatchesRegex("tvkpack [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(Tvkpack, SpeaksGerman) {
  EXPECT_THAT(tvkpack("-xyz", "LANG=de_DE.UTF-8").output,
              HasSubstr("Fehler TP2001 - ung\xC3\xBCltige Option"));
  EXPECT_THAT(tvkpack("-xyz", "LANG=de_DE.ISO-8859-15").output, HasSubstr("ung\xFCltige Option"));
  const ScopedFolder tree;
  for (const char* name : {"a", "b"}) writeWhole(tree / name, prose(5000));
  EXPECT_THAT(runCommand("printf 'j\\nb' | LANG=de_DE.UTF-8 " TVKPACK " -ask " + tree.path()).output,
              HasSubstr("1 gepackt, 1 belassen"));
}

TEST(Tvkpack, TheOrderDoesNotDependOnTheJobs) {
  const ScopedFolder tree;
  for (int n = 0; n < 30; ++n) writeWhole(tree / std::to_string(n), prose(n % 7 == 0 ? 200000 : 500));
  const std::string others = " -keep -overwrite " + tree.path() + ",?,??";
  EXPECT_THAT(hooked("-jobs=1" + others).output,
              AllOf(HasSubstr("\n30 packed"), hooked("-jobs=8" + others).output));
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
           {"kill -XCPU $PPID", "-unpack", 152, "interrupted; ", "f.gz sub/g "}}) {
    SCOPED_TRACE(command + " " + arguments);
    const ScopedFolder tree, outside;
    fs::create_directory(tree / "sub");
    for (const std::string& name : {tree / "f", tree / "sub/g", outside / "f", outside / "g"})
      writeWhole(name, prose(5000));
    if (arguments == "-unpack") runCommand("gzip " + (tree / "f"));
    const ScopedVariable first("T", tree.path()), second("O", outside.path());
    const auto run = hooked("-jobs=1 " + arguments + " " + tree.path(), command);
    EXPECT_EQ(run.status, status);
    EXPECT_THAT(run.output, HasSubstr(text));
    EXPECT_THAT(namesOf(tree.path()), MatchesRegex(names));
    EXPECT_EQ(namesOf(outside.path()), "f g ");
    EXPECT_TRUE(!fs::exists(tree / "f") || readWhole(tree / "f").starts_with(prose(5000)));
  }
}

TEST(Tvkpack, ManyAtOnceInterruptedOrOutOfRoom) {
  const ScopedFolder tree;
  const ScopedVariable variable("T", tree.path());
  for (int n = 10; n < 50; ++n) writeWhole(tree / std::to_string(n), prose(20000));
  EXPECT_EQ(hooked("-jobs=4 " + tree.path(), "! test -e $T/20.gz || kill -TERM $PPID").status, 143);
  std::size_t packed = 0;
  for (int n = 10; n < 50; ++n) {
    const bool isPacked = fs::exists(tree / (std::to_string(n) + ".gz"));
    EXPECT_NE(fs::exists(tree / std::to_string(n)), isPacked) << n;
    packed += isPacked;
  }
  EXPECT_TRUE(packed >= 5 && packed < 40) << packed;
  // A limit on the size of files stands for the full disk; the report, which it would cut too, goes elsewhere.
  EXPECT_THAT(runCommand("(ulimit -f 1; " TVKPACK_HOOKED " " + tree.path() + ") | cat").output,
              HasSubstr("fatal error TP1010 - cannot write to file "));
  EXPECT_THAT(namesOf(tree.path()), Not(HasSubstr(".tvkpack-")));
  EXPECT_EQ(hooked(tree.path()).status, 0);
  EXPECT_THAT(hooked("-test " + tree.path()).output, HasSubstr("40 tested, 0 left alone, 0 failed"));
}

TEST(Tvkpack, AsksAndPausesAtATerminal) {
  const ScopedFolder tree;
  for (int n = 10; n < 45; ++n) writeWhole(tree / std::to_string(n), prose(500));
  const auto start = [&](const char* option) {
    return Pty([&tree, option] {
      return execl(TVKPACK_HOOKED, "tvkpack", option, "-keep", "-jobs=4", "-overwrite",
                   (tree.path() + ",??").c_str(), nullptr);
    });
  };
  for (const auto& [option, prompt, keys, status, text] :
       std::initializer_list<std::tuple<const char*, std::string, std::string, int, std::string>>{
           {"-ask", "Pack " + (tree / "10") + "? (ynaq)", "y\nxNa", 0, "34 packed, 1 left alone, 0 failed"},
           {"-ask", "? (ynaq)", "yq", 0, "1 packed, 1 left alone, 0 failed"},
           {"-page", "[Press any key to continue]", " ", 0, "35 packed, 0 left alone"}}) {
    SCOPED_TRACE(option + keys);
    Pty terminal = start(option);
    const std::string shown = terminal.readUntil(prompt);
    EXPECT_THAT(shown, EndsWith(prompt));
    EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), option[1] == 'p' ? 29 : 0);
    terminal.type(keys);
    EXPECT_THAT(terminal.readUntil(text), EndsWith(text));
    const auto end = terminal.finish();
    EXPECT_EQ(end.status, status) << end.output;
  }
}

}  // namespace
