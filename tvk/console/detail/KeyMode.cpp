#include <tvk/console/detail/KeyMode.h>

#include <pthread.h>
#include <sched.h>
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

std::atomic<pid_t> s_owner{0};        // the process whose terminal is not as it was
std::atomic<pid_t> s_waiting{0};      // the process that has the handlers
std::atomic<bool> s_isEnding{false};  // by exit() or a signal
std::atomic_flag s_changing;
termios s_before;    // written before s_owner
pthread_t s_reader;  // written before s_waiting

// One thread or handler at a time changes the mode, and no handler of its own comes in between.
class ModeChange {
 public:
  ModeChange() noexcept {
    sigset_t all;
    sigfillset(&all);
    sigdelset(&all, SIGTTOU);  // stops a change from the background
    pthread_sigmask(SIG_BLOCK, &all, &m_mask);
    while (s_changing.test_and_set(std::memory_order_acquire)) sched_yield();
  }
  ~ModeChange() {
    s_changing.clear(std::memory_order_release);
    pthread_sigmask(SIG_SETMASK, &m_mask, nullptr);
  }
  ModeChange(const ModeChange&) = delete;
  ModeChange& operator=(const ModeChange&) = delete;

 private:
  sigset_t m_mask;
};

int setMode(const termios& attributes) noexcept {
  int answer = 0;
  do {
    answer = tcsetattr(STDIN_FILENO, TCSANOW, &attributes);
  } while (answer != 0 && errno == EINTR);
  return answer;
}

// Lets pending output go first, where it may be held up: here signals still get through.
void drain() noexcept {
  while (!IsInBackground(STDIN_FILENO) && tcdrain(STDIN_FILENO) != 0 && errno == EINTR) {
  }
}

// Leaves alone what somebody else changed meanwhile.
void putBack() noexcept {
  if (s_owner != getpid()) return;
  const ModeChange change;
  if (s_owner != getpid()) return;
  termios attributes;
  if (!IsInBackground(STDIN_FILENO) && tcgetattr(STDIN_FILENO, &attributes) == 0) {
    attributes.c_lflag = (attributes.c_lflag & ~tcflag_t{ICANON}) | (s_before.c_lflag & tcflag_t{ICANON});
    for (const int changed : {VINTR, VMIN, VTIME}) attributes.c_cc[changed] = s_before.c_cc[changed];
    setMode(attributes);
  }
  s_owner = 0;
}

void exchangeAction(int number, void (*from)(int), void (*to)(int)) noexcept {
  struct sigaction action;
  if (sigaction(number, nullptr, &action) != 0 || action.sa_handler != from) return;
  action.sa_handler = to;
  action.sa_flags = SA_NODEFER;
  sigemptyset(&action.sa_mask);  // signal() leaves the signal itself in it, even with SIG_DFL
  sigaction(number, &action, nullptr);
}

// A stop that came to another thread, from which the reader would return to wait for a line, is made the reader's.
bool handOn(int number) noexcept {
  if (s_waiting != getpid()) return false;
  const ModeChange change;
  if (s_waiting != getpid() || pthread_equal(s_reader, pthread_self())) return false;
  return pthread_kill(s_reader, number) == 0;
}

// Without a key mode, should the program have kept it and set it again, it is as good as the default.
void onSignal(int number) {
  const int error = errno;
  const bool isStop = number == SIGTSTP || number == SIGTTIN;
  const bool isLate = number == SIGTTIN && !IsInBackground(STDIN_FILENO);
  if (!isLate && !(isStop && handOn(number))) {
    if (!isStop) s_isEnding = true;  // the reader does not take the mode again
    putBack();
    exchangeAction(number, onSignal, SIG_DFL);
    raise(number);
    if (s_waiting == getpid()) exchangeAction(number, SIG_DFL, onSignal);  // it was but a stop
  }
  errno = error;
}

}  // namespace

KeyMode::KeyMode(bool takesInterrupt) : m_lock(s_lock, std::defer_lock), m_takesInterrupt(takesInterrupt) {
  [[maybe_unused]] static const int s_registered = std::atexit([] {
    s_isEnding = true;
    putBack();
  });
}

KeyMode::~KeyMode() {
  if (!m_lock.owns_lock()) return;
  if (s_owner == getpid()) drain();
  putBack();
  if (s_waiting != getpid()) return;
  for (const int number : s_signals) exchangeAction(number, onSignal, SIG_DFL);
  const ModeChange change;
  s_waiting = 0;
}

bool KeyMode::Enter() { return m_lock.try_lock(); }

bool KeyMode::Take() {
  if (!m_isTerminal || s_owner == getpid() || IsInBackground(STDIN_FILENO)) return true;
  drain();
  const ModeChange change;
  if (s_isEnding || IsInBackground(STDIN_FILENO)) return true;
  if (tcgetattr(STDIN_FILENO, &s_before) == 0) {
    s_owner = getpid();
    if (s_waiting != getpid()) {
      s_reader = pthread_self();
      s_waiting = getpid();
      for (const int number : s_signals) exchangeAction(number, SIG_DFL, onSignal);
    }
    termios attributes = s_before;
    attributes.c_lflag &= ~tcflag_t{ICANON};
    attributes.c_cc[VMIN] = 1;
    attributes.c_cc[VTIME] = 0;
    if (m_takesInterrupt) attributes.c_cc[VINTR] = NoInterruptKey();
    if (setMode(attributes) == 0) return true;
    s_owner = 0;
  }
  m_isTerminal = false;
  if (errno == EINVAL || errno == ENOTTY) return true;
  std::perror("ICANON");
  return false;
}

}  // namespace tvk
