#include <tvk/console/Terminal.h>

#include <termios.h>
#include <unistd.h>

#include <cerrno>

#include <tvk/process/Platform.h>

namespace tvk {
namespace {

// A signal handler that runs while the output drains must not leave the terminal as it was.
int writeAttributes(int fd, const termios& attributes) noexcept {
  int answer = 0;
  do {
    answer = tcsetattr(fd, TCSADRAIN, &attributes);
  } while (answer != 0 && errno == EINTR);
  return answer;
}

}  // namespace

int SetCanonical(int fd, bool on, bool* oldOn, std::uint32_t minChars, std::uint32_t* oldMinChars) noexcept {
  termios attributes;
  if (tcgetattr(fd, &attributes) != 0) return -1;
  if (oldOn != nullptr) *oldOn = (attributes.c_lflag & ICANON) != 0;
  if (oldMinChars != nullptr) {
    *oldMinChars = attributes.c_cc[VMIN] | static_cast<std::uint32_t>(attributes.c_cc[VTIME]) << 8;
  }
  if (on) {
    attributes.c_lflag |= static_cast<tcflag_t>(ICANON);
  } else {
    attributes.c_lflag &= ~static_cast<tcflag_t>(ICANON);
  }
  attributes.c_cc[VMIN] = static_cast<cc_t>(minChars & 0xFF);
  attributes.c_cc[VTIME] = static_cast<cc_t>(minChars >> 8 & 0xFF);
  return writeAttributes(fd, attributes);
}

int SetInterruptKey(int fd, unsigned char key, unsigned char* oldKey) noexcept {
  termios attributes;
  if (tcgetattr(fd, &attributes) != 0) return -1;
  if (oldKey != nullptr) *oldKey = attributes.c_cc[VINTR];
  attributes.c_cc[VINTR] = key;
  return writeAttributes(fd, attributes);
}

unsigned char NoInterruptKey() noexcept { return _POSIX_VDISABLE; }

bool GetTerminalSize(int fd, std::uint32_t& columns, std::uint32_t& lines) noexcept {
  return platform::terminalSize(fd, columns, lines);
}

bool IsInBackground(int fd) noexcept {
  const pid_t foreground = tcgetpgrp(fd);
  return foreground > 0 && foreground != getpgrp();
}

}  // namespace tvk
