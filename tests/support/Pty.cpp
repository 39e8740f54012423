#include "support/Pty.h"

#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace support {

Pty::Pty(const std::function<int()>& work) {
  const winsize size{30, 100, 0, 0};
  termios mode{};
  mode.c_cflag = CREAD | CS8;
  mode.c_lflag = ICANON | ISIG;
  mode.c_cc[VINTR] = 3;
  std::fflush(nullptr);
  m_child = forkpty(&m_terminal, nullptr, &mode, &size);
  if (m_child == 0) std::exit(work());
}

void Pty::type(const std::string& keys) const {
  termios mode{};
  for (int waited = 0; waited < 10'000; ++waited, usleep(1000)) {
    tcgetattr(m_terminal, &mode);
    if (keys.ends_with('\n') || (mode.c_lflag & ICANON) == 0) break;
  }
  if (write(m_terminal, keys.data(), keys.size()) < 0) std::perror("type");
}

std::string Pty::readUntil(const std::string& text) {
  std::size_t at = 0;
  while ((at = m_output.find(text)) == std::string::npos) {
    pollfd input{m_terminal, POLLIN, 0};
    char buffer[4096];
    const ssize_t count = poll(&input, 1, 10'000) == 1 ? read(m_terminal, buffer, sizeof buffer) : 0;
    if (count <= 0) return std::exchange(m_output, {});
    m_output.append(buffer, static_cast<std::size_t>(count));
  }
  const std::string found = m_output.substr(0, at + text.size());
  m_output.erase(0, found.size());
  return found;
}

ChildResult Pty::finish() {
  const std::string rest = readUntil("\xFF no such text");
  close(m_terminal);
  return {statusOf(m_child), rest, {}};
}

}  // namespace support
