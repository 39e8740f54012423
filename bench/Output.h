// Where standard output leads.
#pragma once

#include <unistd.h>

namespace bench {

// Standard output leads elsewhere, for the time of this object.
class Output {
 public:
  explicit Output(int to) : m_before(dup(STDOUT_FILENO)) { dup2(to, STDOUT_FILENO); }
  ~Output() {
    dup2(m_before, STDOUT_FILENO);
    close(m_before);
  }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

 private:
  int m_before;
};

}  // namespace bench
