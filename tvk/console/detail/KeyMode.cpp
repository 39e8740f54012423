#include <tvk/console/detail/KeyMode.h>

#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <tvk/console/Terminal.h>

namespace tvk {
namespace {

constexpr int s_signals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGABRT, SIGPIPE, SIGALRM, SIGTERM,
                             SIGUSR1, SIGUSR2, SIGXCPU, SIGXFSZ, SIGTSTP, SIGTTIN};

constinit std::mutex s_lock;

// What a signal handler needs; the mode that was is written before `s_isOn` becomes true.
std::atomic<bool> s_isOn{false};      // the terminal is not as it was
std::atomic<bool> s_isHeld{false};    // there are handlers
std::atomic<bool> s_isEnding{false};  // somebody called exit()
termios s_before;
pid_t s_owner;

// Leaves alone what somebody else changed meanwhile.
void putBack(int when) noexcept {
  if (!s_isOn || getpid() != s_owner) return;
  termios attributes;
  if (!IsInBackground(STDIN_FILENO) && tcgetattr(STDIN_FILENO, &attributes) == 0) {
    attributes.c_lflag = (attributes.c_lflag & ~tcflag_t{ICANON}) | (s_before.c_lflag & tcflag_t{ICANON});
    for (const int changed : {VINTR, VMIN, VTIME}) attributes.c_cc[changed] = s_before.c_cc[changed];
    while (tcsetattr(STDIN_FILENO, when, &attributes) != 0 && errno == EINTR) {
    }
  }
  s_isOn = false;
}

void exchangeAction(int number, void (*from)(int), void (*to)(int)) noexcept {
  struct sigaction action;
  if (sigaction(number, nullptr, &action) != 0 || action.sa_handler != from) return;
  action.sa_handler = to;
  action.sa_flags = SA_NODEFER;
  sigemptyset(&action.sa_mask);  // signal() leaves the signal itself in it, even with SIG_DFL
  sigaction(number, &action, nullptr);
}

// Without a key mode, should the program have kept it and set it again, it is as good as the default.
void onSignal(int number) {
  const int error = errno;
  putBack(TCSANOW);  // without waiting for output, which may have been held up
  exchangeAction(number, onSignal, SIG_DFL);
  raise(number);
  if (s_isHeld) exchangeAction(number, SIG_DFL, onSignal);  // it was but a stop
  errno = error;
}

}  // namespace

KeyMode::KeyMode(bool takesInterrupt) : m_lock(s_lock, std::defer_lock), m_takesInterrupt(takesInterrupt) {
  [[maybe_unused]] static const int s_registered = std::atexit([] {
    s_isEnding = true;
    putBack(TCSANOW);
  });
}

KeyMode::~KeyMode() {
  if (!m_lock.owns_lock()) return;
  putBack(TCSADRAIN);
  if (!s_isHeld.exchange(false)) return;
  for (const int number : s_signals) exchangeAction(number, onSignal, SIG_DFL);
}

bool KeyMode::Enter() { return m_lock.try_lock(); }

bool KeyMode::Take() {
  if (s_isOn || !m_isTerminal || s_isEnding || IsInBackground(STDIN_FILENO)) return true;
  if (tcgetattr(STDIN_FILENO, &s_before) == 0) {
    s_owner = getpid();
    s_isOn = true;
    if (!s_isHeld.exchange(true))
      for (const int number : s_signals) exchangeAction(number, SIG_DFL, onSignal);
    if (m_takesInterrupt) SetInterruptKey(STDIN_FILENO, NoInterruptKey(), nullptr);
    if (SetCanonical(STDIN_FILENO, false, nullptr, 1, nullptr) == 0) {
      // A signal or an exit on the way here has put back what was not there yet.
      s_isOn = true;
      if (s_isEnding) putBack(TCSANOW);
      return true;
    }
  }
  m_isTerminal = false;
  if (errno == EINVAL || errno == ENOTTY) return true;
  std::perror("ICANON");
  return false;
}

}  // namespace tvk
