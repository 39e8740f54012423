#include "support/Pty.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

namespace support {
namespace {

constexpr int patience = 10'000;  // milliseconds

}  // namespace

Pty::Pty(const std::function<int()>& work) {
  // Made first, for its attributes: those of a fresh terminal, less what alters bytes.
  int other = -1;
  openpty(&m_terminal, &other, nullptr, nullptr, nullptr);
  termios mode = attributes();
  close(m_terminal);
  close(other);
  mode.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  mode.c_iflag &= ~static_cast<tcflag_t>(ICRNL | IXON);
  mode.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  mode.c_cc[VMIN] = 5;  // without effect in line mode, but to be found again afterwards
  mode.c_cc[VTIME] = 7;
  winsize size{30, 100, 0, 0};
  std::fflush(nullptr);
  m_child = forkpty(&m_terminal, nullptr, &mode, &size);
  if (m_child != 0) return;
  int status = 97;
  try {
    status = work();
  } catch (const std::exception& e) {
    std::printf("escaped: %s\n", e.what());
  }
  std::exit(status);
}

Pty::~Pty() {
  if (m_child > 0) {
    kill(m_child, SIGKILL);
    waitpid(m_child, nullptr, 0);
  }
  close(m_terminal);
}

void Pty::type(const std::string& keys) {
  EXPECT_EQ(write(m_terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

bool Pty::readMore() {
  pollfd input{m_terminal, POLLIN, 0};
  char buffer[4096];
  const ssize_t count = poll(&input, 1, patience) == 1 ? read(m_terminal, buffer, sizeof buffer) : 0;
  if (count > 0) m_output.append(buffer, static_cast<std::size_t>(count));
  return count > 0;
}

std::string Pty::readUntil(const std::string& text) {
  std::size_t at = 0;
  while ((at = m_output.find(text)) == std::string::npos) {
    if (readMore()) continue;
    ADD_FAILURE() << "no \"" << text << "\" in \"" << m_output << "\"";
    return {};
  }
  const std::string answer = m_output.substr(0, at + text.size());
  m_output.erase(0, at + text.size());
  return answer;
}

termios Pty::typeAtPrompt(const std::string& keys) {
  for (int waited = 0; waited < patience; ++waited) {
    const termios mode = attributes();
    if ((mode.c_lflag & ICANON) == 0) {
      type(keys);
      return mode;
    }
    usleep(1000);
  }
  ADD_FAILURE() << "no key is awaited";
  return attributes();
}

termios Pty::attributes() const {
  termios mode{};
  EXPECT_EQ(tcgetattr(m_terminal, &mode), 0);
  return mode;
}

int Pty::finish(std::string* rest) {
  while (readMore()) {
  }
  int status = 0;
  waitpid(m_child, &status, 0);
  m_child = -1;
  if (rest != nullptr) *rest = m_output;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool sameAttributes(const termios& left, const termios& right) {
  return left.c_iflag == right.c_iflag && left.c_oflag == right.c_oflag && left.c_cflag == right.c_cflag &&
         left.c_lflag == right.c_lflag && std::memcmp(left.c_cc, right.c_cc, sizeof left.c_cc) == 0;
}

}  // namespace support
