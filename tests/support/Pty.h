// A program at a terminal, with the test at its keyboard and screen.
#pragma once

#include <sys/types.h>
#include <termios.h>

#include <functional>
#include <string>

namespace support {

// Runs `work` in a forked child whose standard streams are a new pseudo-terminal of 100 columns and 30 lines,
// the controlling one. Bytes pass both ways as they are, without echo; line mode and signal keys are on. Its
// waits give up after ten seconds and fail the test.
class Pty {
 public:
  explicit Pty(const std::function<int()>& work);
  ~Pty();
  Pty(const Pty&) = delete;
  Pty& operator=(const Pty&) = delete;

  void type(const std::string& keys);
  // What the child wrote since the last call, up to and with `text`.
  std::string readUntil(const std::string& text);
  // Waits until a key is awaited (the terminal gives single keys), types, and answers the mode it found.
  termios typeAtPrompt(const std::string& keys);
  termios attributes() const;
  // Waits for the end of the child: its exit status, 128 + signal when killed. `rest` receives what was not
  // read.
  int finish(std::string* rest = nullptr);

 private:
  bool readMore();

  int m_terminal = -1;
  pid_t m_child = -1;
  std::string m_output;
};

// Whether two modes are the same in every flag and character.
bool sameAttributes(const termios& left, const termios& right);

}  // namespace support
