// A program at a terminal, with the test at its keyboard and screen.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "support/Support.h"

namespace support {

// Runs `work` in a forked child whose standard streams are a new pseudo-terminal of 100 columns and 30 lines,
// the controlling one. Bytes pass both ways as they are, without echo; line mode and signal keys are on. Its
// waits give up after ten seconds.
class Pty {
 public:
  explicit Pty(const std::function<int()>& work);
  // Types a line at once and other keys when single ones are awaited.
  void type(const std::string& keys) const;
  // What the child wrote since the last call, up to and with `text`; all it wrote when that does not come.
  std::string readUntil(const std::string& text);
  // To be called: reads the rest, hangs up, and answers it with the exit status of the child (128 + signal when killed).
  ChildResult finish();

 private:
  int m_terminal = -1;
  pid_t m_child = -1;
  std::string m_output;
};

}  // namespace support
