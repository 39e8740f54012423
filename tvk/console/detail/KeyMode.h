// Standard input in single-key mode, and the terminal as it was again whatever ends the process.
#pragma once

#include <mutex>

namespace tvk {

// Standard input gives single keys for the life of this object, when it is a terminal that this process may
// change. One thread at a time has one.
//
// Signals  While the mode is on, a signal that would end or stop the process, and that nobody has a handler
//          for, first puts the terminal back and then does what it would have done; after a stop Take() has
//          the mode again. exit() puts the terminal back as well, _exit() and SIGKILL cannot.
class KeyMode {
 public:
  // With `takesInterrupt` the interrupt key arrives as a key.
  explicit KeyMode(bool takesInterrupt);
  ~KeyMode();
  KeyMode(const KeyMode&) = delete;
  KeyMode& operator=(const KeyMode&) = delete;

  // False while another object has entered. Comes before Take().
  bool Enter();
  // Switches the mode on where it is not: at first, after a stop, and once the process is in the foreground.
  // False, and said on standard error, when the terminal cannot be used.
  bool Take();

 private:
  std::unique_lock<std::mutex> m_lock;
  const bool m_takesInterrupt;
  bool m_isTerminal = true;
};

}  // namespace tvk
