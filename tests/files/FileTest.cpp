#include <tvk/files/File.h>

#include <tvk/files/FileException.h>
#include <tvk/files/FileStatus.h>
#include <tvk/time/DateTime.h>

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <map>

#include "support/Support.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;
using namespace tvk;

unsigned rightsOf(const std::string& path) { return static_cast<unsigned>(fs::status(path).permissions()); }

struct FileTest : testing::Test {
  DescriptorWatch m_watch;
  ScopedCurrentFolder m_folder;
  File m_file{"f"};
};

// The mode of these letters.
std::uint32_t modeOf(const std::string& letters) {
  static const std::map<char, std::uint32_t> modes = {
      {'r', ModeRead},   {'s', ModeReadShared},  {'w', ModeWrite},     {'t', ModeTruncate},
      {'a', ModeAppend}, {'c', ModeWriteCreate}, {'e', ModeMustExist}, {'n', ModeNoOverwrite}};
  std::uint32_t mode = 0;
  for (const char letter : letters) mode |= modes.at(letter);
  return mode;
}

// Does what the letters stand for, a digit seeks, and answers what came of each: a value, "!" and a code, or nothing.
std::string play(File& file, const std::string& script) {
  std::string log;
  for (const char letter : script) {
    char c = '-';
    std::string value;
    errno = ENOENT;  // left over from elsewhere: must not choose a code
    const auto code = thrownCode([&] {
      if (letter <= '9') file.seek(static_cast<std::uint64_t>(letter - '0'));
      if (letter == 't') value = std::to_string(file.tell());
      if (letter == 's') value = std::to_string(file.size());
      if (letter == 'r') file.read(&c, 1), value = c;
      if (letter == 'R')
        value = std::to_string(file.readU8() + file.readU16() + file.readU32() + file.readU64());
      if (letter == 'w') file.writeU8('X');
      if (letter == 'W') file.writeU16(1), file.writeU32(2), file.writeU64(3);
      if (letter == 'c') file.truncate();
      if (letter == 'f') file.flush();
      if (letter == 'e') file.seekToEnd();
      if (letter == 'm') file.seek(~0ull);
    });
    log += (code == 0 ? value : "!" + std::to_string(code)) + ",";
  }
  return log;
}

// Every way to open, and what reading, writing and positioning do then: the mode, the contents before, what is done,
// what comes of it, the contents after (with a digit for a byte below ten).
TEST_F(FileTest, ModesAndPositions) {
  for (const auto& [mode, before, script, log, after] : rows<5>(R"(
      '' 0123 tsrwfce0 !1003,!1009,!1009,!1009,!1010,!1010,!1010,!1009,!1009, 0123   r 0123 tswrcrtm ,0,4,!1010,0,!1010,1,2,!1009, 0123
      s 0123 2r ,,2, 0123   w 0123 twrtsf ,0,,-,1,4,, X123   w 0123 2cwt ,,,,3, 01X   w none w ,, X
      rw 0123 rwtrrrRwR ,0,,2,2,3,-,!1009,,!1009, 0X23X   rw 0123 w1r9ctwes ,,,1,,,9,,,10, X12300000X
      rc none wW0R ,,,,94, X10200030000000   t 0123 wfts1tcw ,,,0,0,,0,,, X   a 0123 t1wtsc ,4,,,5,5,, 0123X
      arw 0123 trwtrc ,0,0,,5,-,, 0123X   at none w0wet ,,,,,2, XX   ea none w !1001,!1010, '')")) {
    unlink("f");
    if (before != "none") writeWhole("f", before);
    errno = ENOENT;
    const auto code = thrownCode([&, letters = mode] { m_file.open(modeOf(letters)); });
    EXPECT_EQ(log, (code == 0 ? "" : "!" + std::to_string(code)) + "," + play(m_file, script)) << mode;
    m_file.close();
    EXPECT_EQ(before != "none" || code == 0, isFile("f")) << mode;
    std::string contents = readWhole("f");
    for (char& c : contents) c = c < 10 ? static_cast<char>(c + '0') : c;
    EXPECT_EQ(after, contents) << mode << " " << script;
  }
  m_file = File("fifo");
  mkfifo("fifo", 0666);
  EXPECT_EQ(1001, thrownCode([&] { m_file.open(ModeRead | ModeMustExist); }));
  m_file.openReadWrite();  // both ends, so nothing blocks
  EXPECT_EQ(",,X,!1009,!1009,!1009,!1010,,", play(m_file, "wwrts0wf"));
}

TEST_F(FileTest, FailuresNameTheGivenPathAndTheCause) {
  writeWhole("f", "");
  const ScopedVariable home("HOME", m_folder.path());
  auto table =
      rows<4>("~/none r 1001 2  ~/f re 1001 0  f/x r 1002 20  . w 1003 21  '' r 1003 0  '' re 1001 0");
  table.push_back({"f\0x"s, "r", "1003", "22"});
  for (const auto& [path, mode, code, cause] : table) {
    const auto e = thrown<FileException>([&, p = path, m = mode] { File(FileString(p)).open(modeOf(m)); });
    EXPECT_EQ(std::tuple(path, std::stol(code), std::stoi(cause)),
              std::tuple(e.fileName(), e.GetCode(), e.cause().value()));
  }
  EXPECT_EQ("bad file/folder: <none>.", thrownMessage([] { File(nullptr).name(); }));
  m_file.open(ModeRead);
  runCommand("chmod 755 .; chmod 0 f");
  inOwnProcess([&] {
    if (geteuid() != 0 || setuid(65534) != 0) return;
    const auto denied = thrown<FileException>([] { File("f").open(ModeRead); });
    EXPECT_TRUE(denied.GetCode() == 1003 && denied.cause() == std::errc::permission_denied);
    EXPECT_EQ(1013, thrownCode([&] { m_file.setTimes(0, 1, 2); }));
  });
}

TEST_F(FileTest, TransfersOfTooMuchTellTheSource) {
  writeWhole("f", std::string(70001, 'x'));
  m_file.open(ModeRead);
  File target("t");
  target.create();
  const auto e = thrown<FileException>([&] { target.copyFrom(m_file, 70002); });
  EXPECT_EQ("f1009", e.fileName() + std::to_string(e.GetCode()));
  target = std::move(m_file);  // what was open here is closed
  EXPECT_EQ(readWhole("t"), std::string(61440, 'x'));
}

// Whoever is told of a failure may try again: nothing is lost and nothing is written twice.
TEST_F(FileTest, FailedOutputIsTakenBack) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit;
  getrlimit(RLIMIT_FSIZE, &limit);
  const std::string all = std::string(9000, 'x') + std::string(1800, 'y') + std::string(7000, 'z');
  File log("log");
  log.open(ModeAppend);
  m_file.create();
  setrlimit(RLIMIT_FSIZE, std::array{rlimit{10000, limit.rlim_max}}.data());
  for (File* each : {&m_file, &log}) each->write(all.data(), 9000), each->write(&all[9000], 1800);
  EXPECT_EQ(EFBIG, thrown<FileException>([&] { m_file.flush(); }).cause().value());
  EXPECT_EQ("10800,!1010,", play(m_file, "tr"));
  EXPECT_EQ(1010, thrownCode([&] { m_file.write(&all[10800], 7000); }));  // past the stream's buffer
  EXPECT_EQ("!1010,", play(log, "t"));                                    // writes, and cannot take it back
  setrlimit(RLIMIT_FSIZE, &limit);
  m_file.write(&all[10800], 7000);
  m_file.close();
  EXPECT_EQ("!1010,!1009,", play(log, "wt"));
  EXPECT_EQ(1010, thrownCode([&] { log.close(); }));
  EXPECT_TRUE(readWhole("f") == all && readWhole("log").size() == 10000);
}

TEST_F(FileTest, LossIsToldWhenClosingAndFlushing) {
  File full("/dev/full");
  full.open(ModeWrite);
  full.writeU8(0);
  EXPECT_EQ(ENOSPC, thrown<FileException>([&] { full.close(); }).cause().value() + full.isOpen());
  full.open(ModeWrite);
  EXPECT_EQ(",!1010,!1010,", play(full, "wfw"));
  full.setName("f");
  full.create();  // drops the other without a word
}

TEST_F(FileTest, WorksOnItsOwnDescriptorAlone) {
  m_file.create();
  const int own = open("f", O_RDWR | O_CLOEXEC);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  ASSERT_EQ(0, fcntl(own, F_SETLK, &lock));
  std::rename("f", "moved");
  EXPECT_EQ(",,,,", play(m_file, "wfcf"));
  EXPECT_EQ(1, inChild([&] { return fcntl(own, F_SETLK, &lock) == 0 ? 0 : 1; }).status) << "the lock is gone";
  EXPECT_EQ("x", runCommand("ls -l /proc/self/fd | grep " + m_folder.path() + " || printf x").output);
  EXPECT_EQ("X", readWhole("moved"));
  close(own);
}

TEST_F(FileTest, TimesInWholeSeconds) {
  std::int64_t change = 0, access = 0, modification = 0;
  DateTimeO changed, accessed, modified;
  m_file.create();
  m_file.writeU8('x');  // must not change the time when it is written at last
  m_file.setTimes(0, -5, -4);
  m_file.close();
  m_file.getTimes(changed, accessed, modified);
  m_file.setTimes(changed, modified, DateTimeO::FromUnixTime(1700000000));
  m_file.openReadWrite();
  m_file.getTimes(change, access, modification);
  EXPECT_EQ(std::tuple(-5, -4, 1700000000), std::tuple(accessed.ToUnixTime(), access, modification));
  EXPECT_LE(time(nullptr) - change, 5);
  m_file.close();
  unlink("f");
  EXPECT_EQ(1001, thrownCode([&] { m_file.setTimes(0, 0, 0); }));
  EXPECT_EQ(ENOENT,
            thrown<FileException>([&] { m_file.getTimes(change, access, modification); }).cause().value());
}

TEST_F(FileTest, ContentsAreReplaced) {
  const mode_t before = umask(026);
  File("f").replaceContents("first", 5, ModeNoOverwrite);
  umask(before);
  EXPECT_EQ(0640u, rightsOf("f"));
  chmod("f", 0604);
  fs::create_symlink("f", "link");
  const auto write = [&](File& fresh) {
    EXPECT_TRUE(readWhole("f") == "first" && fresh.name().starts_with(m_folder / ".f.new-"));
    EXPECT_EQ(0600u, rightsOf(fresh.name()));
    fresh.writeU8('2');
    fresh.setTimes(0, 1000, 2000);
  };
  File("link").replaceContents(write, ModeMustExist);
  EXPECT_TRUE(fs::is_symlink("link") && readWhole("f") == "2");
  std::int64_t change = 0, access = 0, modification = 0;
  File("f").getTimes(change, access, modification);
  EXPECT_EQ(std::pair(0604u, 2000L), std::pair(rightsOf("f"), modification));
  File(std::string(255, 'n')).replaceContents("", 0);
  if (chown("f", 1234, 4321) != 0) return;
  chmod("f", 06735);
  chmod(".", 0777);
  seteuid(65534);
  File("f").replaceContents("new", 3);
  EXPECT_EQ(0, seteuid(0));
  EXPECT_EQ(0715u, rightsOf("f"));  // what the caller may not keep must not give rights to others
}

TEST_F(FileTest, FailedReplacementLeavesTheOldContents) {
  writeWhole("f", "old");
  fs::create_symlink("nowhere", "link");
  const auto write = [&](File& fresh) {  // of "g" after somebody else, and of the others not at all
    writeWhole("g", "faster");
    fresh.seek(std::uint64_t(fresh.name().find(".g.") == std::string::npos ? -1 : 0));
  };
  auto table = rows<3>(
      R"('' '' 1016  . '' 1016  /dev/null '' 1016  link '' 1001  f/f '' 1002  f n 1029  g e 1001  g n 1029  f '' 1009)");
  table.push_back({"f\0x"s, "", "1016"});
  for (const auto& [path, mode, code] : table) {
    const auto e = thrown<FileException>(
        [&, p = path, m = mode] { File(FileString(p)).replaceContents(write, modeOf(m)); });
    EXPECT_EQ(path + code, e.fileName() + std::to_string(e.GetCode()));
  }
  EXPECT_EQ("faster", readWhole("g"));
  EXPECT_EQ("", runCommand("ls -A | grep new").output);
}

// Writing is where a cancelled thread ends; in a destructor it must not.
TEST_F(FileTest, DestructorOutlastsCancellation) {
  pthread_t thread;
  const auto drop = [](void* file) -> void* {
    pthread_cancel(pthread_self());
    return *static_cast<File*>(file) = File(), nullptr;
  };
  m_file.create();
  m_file.writeU8('x');
  ASSERT_EQ(0, pthread_create(&thread, nullptr, drop, &m_file));
  pthread_join(thread, nullptr);
  EXPECT_EQ("x", readWhole("f"));
}

}  // namespace
