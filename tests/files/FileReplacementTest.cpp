#include <tvk/files/File.h>
#include <tvk/files/FileException.h>

#include <sys/stat.h>
#include <unistd.h>

#include "support/Support.h"

namespace {

namespace fs = std::filesystem;
using namespace support;
using namespace tvk;

class FileReplacement : public testing::Test {
 protected:
  ~FileReplacement() override {
    EXPECT_EQ("", runCommand("ls -A " + m_folder.path() + " | grep new").output);
  }

  DescriptorWatch m_watch;
  ScopedFolder m_folder;
  const std::string m_path = m_folder / "f";
};

unsigned modeOf(const std::string& path) { return static_cast<unsigned>(fs::status(path).permissions()); }

TEST_F(FileReplacement, MakesAndReplaces) {
  const mode_t before = umask(026);
  File(m_path).replaceContents("first", 5, ModeNoOverwrite);
  umask(before);
  EXPECT_EQ(0640u, modeOf(m_path));
  chmod(m_path.c_str(), 0604);
  fs::create_symlink("f", m_folder / "link");
  const auto write = [&](File& fresh) {
    EXPECT_EQ("first", readWhole(m_path));
    EXPECT_TRUE(fresh.name().starts_with(m_folder / ".f.new-"));
    EXPECT_EQ(0600u, modeOf(fresh.name()));
    fresh.writeU8('2');
    fresh.setTimes(0, 1000, 2000);
  };
  File(m_folder / "link").replaceContents(write, ModeMustExist);
  EXPECT_EQ("2", readWhole(m_path));
  EXPECT_TRUE(fs::is_symlink(m_folder / "link"));
  std::int64_t change = 0, access = 0, modification = 0;
  File(m_path).getTimes(change, access, modification);
  EXPECT_EQ(std::pair(0604u, 2000L), std::pair(modeOf(m_path), modification));
  File(m_folder / std::string(255, 'n')).replaceContents("", 0);
}

TEST_F(FileReplacement, FailuresLeaveEverythingAsItWas) {
  writeWhole(m_path, "old");
  fs::create_symlink("nowhere", m_folder / "link");
  const auto write = [&](File& fresh) {
    writeWhole(m_folder / "g", "faster");
    fresh.seek(std::uint64_t(fresh.name().find(".g.") == std::string::npos ? -1 : 0));
  };
  const std::tuple<std::string, std::uint32_t, int> rows[] = {
      {"", 0, 1016},
      {m_path + '\0' + "x", 0, 1016},
      {m_folder.path(), 0, 1016},
      {"/dev/null", 0, 1016},
      {m_folder / "link", 0, 1001},
      {m_path + "/f", 0, 1002},
      {m_path, ModeNoOverwrite, 1029},
      {m_folder / "g", ModeMustExist, 1001},
      {m_folder / "g", ModeNoOverwrite, 1029},  // made while the contents were written
      {m_path, 0, 1009},                        // failed while they were written
  };
  for (const auto& row : rows) {
    File file{FileString(std::get<0>(row))};
    const auto e = thrown<FileException>([&] { file.replaceContents(write, std::get<1>(row)); });
    EXPECT_EQ(row, std::tuple(e.fileName(), std::get<1>(row), e.GetCode()));
    EXPECT_EQ("old", readWhole(m_path));
  }
  EXPECT_EQ("faster", readWhole(m_folder / "g"));
}

// What the caller may not keep must not give rights to others.
TEST_F(FileReplacement, GroupThatCannotBeKept) {
  writeWhole(m_path, "old");
  chmod(m_folder.path().c_str(), 0777);
  chmod(m_path.c_str(), 06735);
  const auto replace = [&] {
    const int status = setgid(65534) == 0 && setuid(65534) == 0 ? 0 : 1;
    return File(m_path).replaceContents("new", 3), status;
  };
  const bool isOther = inChild(replace).status == 0;
  EXPECT_EQ(isOther ? 0715u : 06735u, modeOf(m_path));
}

}  // namespace
