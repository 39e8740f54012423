#include <tvk/files/CurrentProcess.h>

#include <unistd.h>

#include "support/Support.h"

TEST(CurrentProcess, TellsTheProcessAlsoInAForkedChild) {
  const auto isWrong = [] {
    const auto& process = tvk::CurrentProcess::Get();
    return process.Folder() != "/proc/" + std::to_string(getpid()) ||
           process.ExecutablePath() != std::filesystem::read_symlink("/proc/self/exe").string();
  };
  EXPECT_FALSE(isWrong() || support::inChild(isWrong).status != 0);
  tvk::CurrentProcess::Destroy(), tvk::CurrentProcess::Destroy();
  EXPECT_FALSE(isWrong());
}
