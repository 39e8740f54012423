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

#include "support/Support.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;
using namespace tvk;

unsigned modeOf(const std::string& path) { return static_cast<unsigned>(fs::status(path).permissions()); }

class FileTest : public testing::Test {
 protected:
  DescriptorWatch m_watch;
  ScopedFolder m_folder;
  const std::string m_path = m_folder / "f";
  File m_file{m_path};
};

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
    log += (code == 0 ? value : "!" + std::to_string(code)) + " ";
  }
  return log;
}

// Every way to open, and what reading, writing and positioning do then.
TEST_F(FileTest, ModesAndPositions) {
  constexpr std::uint32_t change = ModeRead | ModeWrite;
  // The mode, the contents before (null: no file), what is done, what comes of it, the contents after.
  const std::tuple<std::uint32_t, const char*, std::string, std::string, std::string> rows[] = {
      {0, "0123", "tsrwfce0", "!1003 !1009 !1009 !1009 !1010 !1010 !1010 !1009 !1009 ", "0123"},
      {ModeRead, "0123", "tswrcrtm", " 0 4 !1010 0 !1010 1 2 !1009 ", "0123"},
      {ModeReadShared, "0123", "2r", "  2 ", "0123"},
      {ModeWrite, "0123", "twrtsf", " 0  - 1 4  ", "X123"},
      {ModeWrite, "0123", "2cwt", "    3 ", "01X"},
      {ModeWrite, nullptr, "w", "  ", "X"},
      {change, "0123", "rwtrrrRwR", " 0  2 2 3 - !1009  !1009 ", "0X23X"},
      {change, "0123", "w1r9ctwes", "   1   9   10 ", "X123\0\0\0\0\0X"s},
      {ModeRead | ModeWriteCreate, nullptr, "wW0R", "    94 ", "X\1\0\2\0\0\0\3\0\0\0\0\0\0\0"s},
      {ModeTruncate, "0123", "wfts1tcw", "   0 0  0   ", "X"},
      {ModeAppend, "0123", "t1wtsc", " 4   5 5  ", "0123X"},
      {ModeAppend | change, "0123", "trwtrc", " 0 0  5 -  ", "0123X"},
      {ModeAppend | ModeTruncate, nullptr, "w0wet", "     2 ", "XX"},
      {ModeMustExist | ModeAppend, nullptr, "w", "!1001 !1010 ", ""},
  };
  for (const auto& [mode, before, script, log, after] : rows) {
    unlink(m_path.c_str());
    if (before != nullptr) writeWhole(m_path, before);
    errno = ENOENT;
    const auto code = thrownCode([&, how = mode] { m_file.open(how); });
    EXPECT_EQ(log, (code == 0 ? "" : "!" + std::to_string(code)) + " " + play(m_file, script)) << mode;
    m_file.close();
    EXPECT_EQ(before != nullptr || code == 0, isFile(m_path)) << mode;
    EXPECT_EQ(after, readWhole(m_path)) << mode << script;
  }
  EXPECT_EQ("!1009 !1009 !1009 !1009 !1010 !1010 !1010 !1009 !1009 ", play(m_file, "tsrRwfce0"));
  m_file = File(m_folder / "fifo");
  mkfifo(m_file.name().c_str(), 0666);
  EXPECT_EQ(1001, thrownCode([&] { m_file.open(ModeRead | ModeMustExist); }));
  m_file.openReadWrite();  // both ends, so nothing blocks
  EXPECT_EQ("  X !1009 !1009 !1009 !1010  ", play(m_file, "wwrts0wf"));
}

TEST_F(FileTest, FailuresNameTheGivenPathAndTheCause) {
  writeWhole(m_path, "");
  const ScopedVariable home("HOME", m_folder.path());
  constexpr std::uint32_t existing = ModeRead | ModeMustExist;
  const std::tuple<std::string, std::uint32_t, int, int, std::string> rows[] = {
      {"~/none", ModeRead, 1001, ENOENT, "file " + m_folder / "none" + " not found."},
      {"~/f", existing, 1001, 0, "file " + m_path + " not found."},  // looked for as it is
      {m_path + "/x", ModeRead, 1002, ENOTDIR, "folder not found: " + m_path + "/x."},
      {"/tmp", ModeWrite, 1003, EISDIR, "file /tmp cannot be opened."},
      {"", ModeRead, 1003, 0, "file <none> cannot be opened."},
      {"", existing, 1001, 0, "file <none> not found."},
      {"/tmp\0x"s, ModeRead, 1003, EINVAL, "file /tmp cannot be opened."},
  };
  for (const auto& row : rows) {
    File file{FileString(std::get<0>(row))};
    const auto e = thrown<FileException>([&] { file.open(std::get<1>(row)); });
    EXPECT_EQ(row, std::tuple(e.fileName(), std::get<1>(row), e.GetCode(), e.cause().value(),
                              thrownMessage([&] { throw e; })));
  }
  EXPECT_EQ("bad file/folder: <none>.", thrownMessage([] { File(nullptr).name(); }));
  m_file.open(ModeRead);
  if (geteuid() != 0) return;
  inOwnProcess([&] {
    ASSERT_TRUE(chmod(m_folder.path().c_str(), 0755) == 0 && chmod(m_path.c_str(), 0) == 0 &&
                setuid(65534) == 0);
    const auto denied = thrown<FileException>([&] { File(m_path).open(ModeRead); });
    EXPECT_EQ(std::pair(std::int64_t(1003), EACCES), std::pair(denied.GetCode(), denied.cause().value()));
    EXPECT_EQ(1013, thrownCode([&] { m_file.setTimes(0, 1, 2); }));
  });
}

TEST_F(FileTest, LargeReadsAndTransfers) {
  std::string all(70001, '\0');
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<char>(i * 7 + i / 251);
  writeWhole(m_path, all);
  m_file.open(ModeRead);
  File target(m_folder / "t");
  for (const std::size_t step : {3u, 8191u, 8192u, 70002u}) {
    std::string piece(step, '\0');
    target.create(ModeMustExist);
    m_file.rewind();
    while (const std::size_t count = m_file.read(piece.data(), step)) target.write(piece.data(), count);
    target.close();
    EXPECT_TRUE(readWhole(target.name()) == all) << step;
  }
  target.create();
  m_file.seek(1);
  target.copyFrom(m_file, 61441);
  target.writeZeros(61441);
  EXPECT_EQ(m_path, thrown<FileException>([&] { target.copyFrom(m_file, 8560); }).fileName());
  m_file.rewind();
  EXPECT_EQ(1009, thrownCode([&] { target.copyFrom(m_file, 70002); }));
  target = std::move(m_file);  // what was open here is closed
  EXPECT_TRUE(readWhole(m_folder / "t") ==
              all.substr(1, 61441) + std::string(61441, '\0') + all.substr(0, 61440));
}

// Whoever is told of a failure may try again: nothing is lost and nothing is written twice.
TEST_F(FileTest, FailedOutputIsTakenBack) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit;
  getrlimit(RLIMIT_FSIZE, &limit);
  const std::string all = std::string(9000, 'x') + std::string(1800, 'y') + std::string(7000, 'z');
  File log(m_folder / "log");
  log.open(ModeAppend);
  m_file.create();
  setrlimit(RLIMIT_FSIZE, std::array{rlimit{10000, limit.rlim_max}}.data());
  for (File* each : {&m_file, &log}) each->write(all.data(), 9000), each->write(&all[9000], 1800);
  EXPECT_EQ(EFBIG, thrown<FileException>([&] { m_file.flush(); }).cause().value());
  EXPECT_EQ("10800 !1010 ", play(m_file, "tr"));
  EXPECT_EQ(1010, thrownCode([&] { m_file.write(&all[10800], 7000); }));  // past the stream's buffer
  EXPECT_EQ("!1010 ", play(log, "t"));                                    // writes, and cannot take it back
  setrlimit(RLIMIT_FSIZE, &limit);
  m_file.write(&all[10800], 7000);
  m_file.close();
  EXPECT_TRUE(readWhole(m_path) == all);
  EXPECT_EQ("!1010 !1009 ", play(log, "wt"));
  EXPECT_EQ(1010, thrownCode([&] { log.close(); }));
  EXPECT_EQ(10000u, readWhole(m_folder / "log").size());
}

TEST_F(FileTest, LossIsToldWhenClosingAndFlushing) {
  File full("/dev/full");
  full.open(ModeWrite);
  full.writeU8(0);
  EXPECT_EQ(ENOSPC, thrown<FileException>([&] { full.close(); }).cause().value());
  EXPECT_FALSE(full.isOpen());
  full.open(ModeWrite);
  EXPECT_EQ(" !1010 !1010 ", play(full, "wfw"));
  full.setName(m_path.c_str());
  full.create();  // drops the other without a word
  syncErrors() = {EINTR, EINTR, EINVAL, EROFS, ENOTSUP, EIO, EINTR, EDQUOT};
  EXPECT_EQ("   !1010 !1010  ", play(full, "ffffff"));
  const int lowest = dup(0);
  close(lowest);
  m_file.open(ModeRead);
  close(lowest);
  EXPECT_EQ("file " + m_path + " cannot be closed.", thrownMessage([&] { m_file.close(); }));
}

TEST_F(FileTest, WorksOnItsOwnDescriptorAlone) {
  m_file.create();
  const int own = open(m_path.c_str(), O_RDWR | O_CLOEXEC);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  ASSERT_EQ(0, fcntl(own, F_SETLK, &lock));
  std::rename(m_path.c_str(), (m_folder / "moved").c_str());
  EXPECT_EQ("    ", play(m_file, "wfcf"));
  EXPECT_EQ(1, inChild([&] { return fcntl(own, F_SETLK, &lock) == 0 ? 0 : 1; }).status) << "the lock is gone";
  EXPECT_EQ("x", runCommand("ls -l /proc/self/fd | grep " + m_folder.path() + " || printf x").output);
  EXPECT_EQ("X", readWhole(m_folder / "moved"));
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
  unlink(m_path.c_str());
  m_file.close();
  EXPECT_EQ(1001, thrownCode([&] { m_file.setTimes(0, 0, 0); }));
  EXPECT_EQ(ENOENT,
            thrown<FileException>([&] { m_file.getTimes(change, access, modification); }).cause().value());
}

TEST_F(FileTest, ContentsAreReplaced) {
  const mode_t before = umask(026);
  File(m_path).replaceContents("first", 5, ModeNoOverwrite);
  umask(before);
  EXPECT_EQ(0640u, modeOf(m_path));
  chmod(m_path.c_str(), 0604);
  fs::create_symlink("f", m_folder / "link");
  const auto write = [&](File& fresh) {
    EXPECT_TRUE(readWhole(m_path) == "first" && fresh.name().starts_with(m_folder / ".f.new-"));
    EXPECT_EQ(0600u, modeOf(fresh.name()));
    fresh.writeU8('2');
    fresh.setTimes(0, 1000, 2000);
  };
  File(m_folder / "link").replaceContents(write, ModeMustExist);
  EXPECT_TRUE(fs::is_symlink(m_folder / "link") && readWhole(m_path) == "2");
  std::int64_t change = 0, access = 0, modification = 0;
  File(m_path).getTimes(change, access, modification);
  EXPECT_EQ(std::pair(0604u, 2000L), std::pair(modeOf(m_path), modification));
  File(m_folder / std::string(255, 'n')).replaceContents("", 0);
}

TEST_F(FileTest, FailedReplacementLeavesTheOldContents) {
  writeWhole(m_path, "old");
  const std::string g = m_folder / "g", link = m_folder / "link";
  fs::create_symlink("nowhere", link);
  const auto write = [&](File& fresh) {
    writeWhole(g, "faster");
    fresh.seek(std::uint64_t(fresh.name().find(".g.") == std::string::npos ? -1 : 0));
  };
  // The last but one was made while the contents were written, the last failed then.
  const std::tuple<std::string, std::uint32_t, int> rows[] = {{"", 0, 1016},
                                                              {m_path + '\0' + "x", 0, 1016},
                                                              {m_folder.path(), 0, 1016},
                                                              {"/dev/null", 0, 1016},
                                                              {link, 0, 1001},
                                                              {m_path + "/f", 0, 1002},
                                                              {m_path, ModeNoOverwrite, 1029},
                                                              {g, ModeMustExist, 1001},
                                                              {g, ModeNoOverwrite, 1029},
                                                              {m_path, 0, 1009}};
  for (const auto& row : rows) {
    File file{FileString(std::get<0>(row))};
    const auto e = thrown<FileException>([&] { file.replaceContents(write, std::get<1>(row)); });
    EXPECT_EQ(row, std::tuple(e.fileName(), std::get<1>(row), e.GetCode()));
  }
  EXPECT_EQ("faster", readWhole(g));
  EXPECT_EQ("", runCommand("ls -A " + m_folder.path() + " | grep new").output);
  for (const char* expected : {"old", "new"}) {  // the file is forced to disk first, the folder last
    syncErrors() = {expected == "old"s ? EIO : 0, EIO};
    EXPECT_EQ(1010, thrownCode([&] { File(m_path).replaceContents("new", 3); }));
    EXPECT_EQ(expected, readWhole(m_path));
  }
  syncErrors().clear();
}

// What the caller may not keep must not give rights to others.
TEST_F(FileTest, ReplacingGivesAGroupNoNewRights) {
  writeWhole(m_path, "old");
  if (chown(m_path.c_str(), 1234, 4321) != 0) GTEST_SKIP() << "needs root";
  chmod(m_path.c_str(), 06735);
  chmod(m_folder.path().c_str(), 0777);
  EXPECT_EQ(0, seteuid(65534));
  File(m_path).replaceContents("new", 3);
  EXPECT_EQ(0, seteuid(0));
  EXPECT_EQ(0715u, modeOf(m_path));
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
  EXPECT_EQ("x", readWhole(m_path));
}

}  // namespace
