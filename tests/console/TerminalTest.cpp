#include <tvk/console/Terminal.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

#include "support/Pty.h"
#include "support/Support.h"

namespace {

TEST(Terminal, SwitchesTheModeAndBackAndNothingElse) {
  support::DescriptorWatch watch;
  int master = -1;
  int slave = -1;
  ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
  termios before{};
  ASSERT_EQ(tcgetattr(slave, &before), 0);
  before.c_cc[VMIN] = 9;
  before.c_cc[VTIME] = 33;
  ASSERT_EQ(tcsetattr(slave, TCSANOW, &before), 0);

  bool wasOn = false;
  std::uint32_t oldMin = 0xA5A5A5A5;
  unsigned char oldKey = 0xA5;
  EXPECT_EQ(tvk::SetCanonical(slave, false, &wasOn, 1, &oldMin), 0);
  EXPECT_TRUE(wasOn);
  EXPECT_EQ(oldMin, 9u + (33u << 8));
  EXPECT_EQ(tvk::SetInterruptKey(slave, tvk::NoInterruptKey(), &oldKey), 0);
  EXPECT_EQ(oldKey, before.c_cc[VINTR]);

  termios expected = before;
  expected.c_lflag &= ~static_cast<tcflag_t>(ICANON);
  expected.c_cc[VMIN] = 1;
  expected.c_cc[VTIME] = 0;
  expected.c_cc[VINTR] = _POSIX_VDISABLE;
  termios now{};
  ASSERT_EQ(tcgetattr(slave, &now), 0);
  EXPECT_TRUE(support::sameAttributes(now, expected));

  EXPECT_EQ(tvk::SetCanonical(slave, wasOn, &wasOn, oldMin, nullptr), 0);
  EXPECT_FALSE(wasOn);
  EXPECT_EQ(tvk::SetInterruptKey(slave, oldKey, nullptr), 0);
  ASSERT_EQ(tcgetattr(slave, &now), 0);
  EXPECT_TRUE(support::sameAttributes(now, before));

  const winsize sizes[] = {{0, 100, 0, 0}, {30, 0, 0, 0}, {30, 100, 0, 0}};
  for (const winsize& size : sizes) {
    ASSERT_EQ(ioctl(master, TIOCSWINSZ, &size), 0);
    std::uint32_t columns = 7;
    std::uint32_t lines = 8;
    const bool isKnown = &size == &sizes[2];
    EXPECT_EQ(tvk::GetTerminalSize(slave, columns, lines), isKnown);
    EXPECT_EQ(columns, isKnown ? 100u : 7u);
    EXPECT_EQ(lines, isKnown ? 30u : 8u);
  }
  EXPECT_FALSE(tvk::IsInBackground(slave));
  close(slave);
  close(master);

  EXPECT_EQ(tvk::SetCanonical(slave, false, nullptr, 1, nullptr), -1);
  EXPECT_EQ(errno, EBADF);
  const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(tvk::SetCanonical(null, false, nullptr, 1, nullptr), -1);
  EXPECT_EQ(errno, ENOTTY);
  close(null);
}

}  // namespace
