#include <tvk/console/Console.h>

#include <cxxabi.h>
#include <poll.h>
#include <sys/select.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include <tvk/console/Terminal.h>
#include <tvk/console/detail/Columns.h>
#include <tvk/console/detail/KeyMode.h>
#include <tvk/process/Platform.h>
#include <tvk/process/Singleton.h>
#include <tvk/text/Characters.h>
#include <tvk/text/Exception.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/ProgramName.h>

namespace tvk {
namespace {

constexpr std::uint32_t defaultWidth = 80;
constexpr std::uint32_t defaultHeight = 24;
constexpr int keyInterrupt = 3;
constexpr std::size_t longestWord = 1024 * 1024;
constexpr std::uint32_t pausePrompt = 55377;

std::atomic<Console*> s_console{nullptr};

// Formatted text with room for a line end behind it.
class Formatted {
 public:
  Formatted(const char* format, va_list values) {
    va_list again;
    va_copy(again, values);
    m_length = std::vsnprintf(m_short, sizeof m_short, format, values);
    const bool isLong = m_length >= static_cast<int>(sizeof m_short);
    if (isLong) {
      const std::size_t room = static_cast<std::size_t>(m_length) + 1;
      m_long.reset(new (std::nothrow) char[room]);
      if (m_long != nullptr) m_length = std::min(m_length, std::vsnprintf(m_long.get(), room, format, again));
    }
    va_end(again);
    if (isLong && m_long == nullptr) throw Exception::Of(1014);
  }

  bool IsValid() const { return m_length >= 0; }
  std::string_view Text() const { return {Data(), Size()}; }
  std::string_view Line() {
    Data()[Size()] = '\n';  // over the terminating zero
    return {Data(), Size() + 1};
  }

 private:
  std::size_t Size() const { return static_cast<std::size_t>(m_length); }
  char* Data() { return m_long != nullptr ? m_long.get() : m_short; }
  const char* Data() const { return m_long != nullptr ? m_long.get() : m_short; }

  char m_short[512];
  std::unique_ptr<char[]> m_long;
  int m_length = 0;
};

const char* orEmpty(const char* format) { return format != nullptr ? format : ""; }

// How long a reader waits before it looks whether its input was stopped.
constexpr int s_lookAgainMs = 200;

// The next byte of standard input; 0 for none without `wait`, -1 for the end of input, for errors and when
// `noInput` becomes true.
int readByte(bool takesInterrupt, bool wait, const std::atomic<bool>& noInput) {
  if (const int ahead = platform::takeReadAhead(stdin); ahead >= 0) return ahead;
  KeyMode mode(takesInterrupt);
  while (!mode.Enter()) {  // another console waits for a key
    if (noInput) return -1;
    if (!wait) return 0;
    usleep(s_lookAgainMs * 1000);
  }
  for (;;) {
    if (!mode.Take()) return -1;
    fd_set ready;
    FD_ZERO(&ready);
    FD_SET(STDIN_FILENO, &ready);
    timeval limit{0, wait ? s_lookAgainMs * 1000 : 0};
    const int count = select(STDIN_FILENO + 1, &ready, nullptr, nullptr, &limit);
    if (noInput) return -1;
    if (count == 0 && !wait) return 0;
    if (count < 0 && errno != EINTR) {
      std::perror("select");
      return -1;
    }
    if (count <= 0) continue;
    unsigned char byte = 0;
    const ssize_t got = read(STDIN_FILENO, &byte, 1);
    if (got == 1) return byte;
    if (got == 0 || (errno != EINTR && errno != EAGAIN)) return -1;
  }
}

// The next byte of stdin, however long it takes where nobody waits for it (O_NONBLOCK) or signals come.
int nextByte(const std::atomic<bool>& noInput) {
  for (;;) {
    const int byte = getc_unlocked(stdin);
    if (byte != EOF || ferror_unlocked(stdin) == 0 || (errno != EINTR && errno != EAGAIN) || noInput)
      return byte;
    clearerr_unlocked(stdin);
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (errno == EAGAIN) poll(&input, 1, s_lookAgainMs);
  }
}

std::size_t readWord(std::string& word, const std::atomic<bool>& noInput) {
  struct InputLock {
    InputLock() { flockfile(stdin); }
    ~InputLock() { funlockfile(stdin); }
  } const lock;
  int byte = 0;
  do {
    byte = nextByte(noInput);
  } while (byte != EOF && characters::isSpace(static_cast<char>(byte)));
  for (; byte != EOF; byte = nextByte(noInput)) {
    if (characters::isSpace(static_cast<char>(byte)) || word.size() == longestWord) {
      std::ungetc(byte, stdin);
      break;
    }
    word += static_cast<char>(byte);
  }
  return word.size();
}

// The log keeps the pointer to the name, so the name stays until another one has taken its place.
void openSystemLog() {
  static constinit std::mutex s_lock;
  static constinit std::string* s_name = nullptr;
  auto name = std::make_unique<std::string>(ProgramName::Get());
  const std::lock_guard lock(s_lock);
  openlog(name->c_str(), LOG_CONS, LOG_USER);
  delete std::exchange(s_name, name.release());
}

}  // namespace

// An initialised console and its output lock. With an output function there is no lock to hold: the buffer
// calls the function, and that may use the console.
class Console::OutputGuard {
 public:
  explicit OutputGuard(Console& console)
      : m_buffer(console.EnsureInitialised()), m_lock(console.m_locks.output, std::defer_lock) {
    if (m_buffer.OutputFunction() == nullptr) m_lock.lock();
  }

  ConsoleStreamBuf& Buffer() const { return m_buffer; }

 private:
  ConsoleStreamBuf& m_buffer;
  std::unique_lock<CriticalSection> m_lock;
};

Console::Console() : std::iostream(&ConsoleStreamBuf::Get()) {}

Console::~Console() = default;

Console& Console::Get() {
  if (Console* const console = Existing()) return *console;
  const std::lock_guard lock(Singleton::CreationLock());
  if (Console* const console = Existing()) return *console;
  static Lasting<Console> s_object;
  s_object.value.StartAfresh();
  s_console.store(&s_object.value, std::memory_order_release);
  return s_object.value;
}

// What an earlier user of the process-wide console set does not matter to the next one.
void Console::StartAfresh() {
  const CriticalSectionLock lock(m_locks.output);
  copyfmt(std::ios(nullptr));
  rdbuf(&ConsoleStreamBuf::Get());
  m_width = m_height = 0;
  m_linesWritten = 0;
  m_paging = m_echoMode = m_showInterrupt = m_noInput = false;
}

Console* Console::Existing() noexcept { return s_console.load(std::memory_order_acquire); }

void Console::Destroy() {
  if (ConsoleStreamBuf* const buffer = ConsoleStreamBuf::Existing()) buffer->HandOver();
  s_console = nullptr;
}

// --- Initialisation

void Console::Init(std::uint32_t flags) { Initialise(true, flags); }

ConsoleStreamBuf& Console::EnsureInitialised() {
  if (m_width.load(std::memory_order_acquire) != 0) return ConsoleStreamBuf::Get();
  return Initialise(false, 0);
}

ConsoleStreamBuf& Console::Initialise(bool isExplicit, std::uint32_t flags) {
  const CriticalSectionLock lock(m_locks.output);
  ConsoleStreamBuf& buffer = ConsoleStreamBuf::Get();
  if (Width() != 0) return buffer;
  std::uint32_t width = 0;
  if (buffer.OutputFunction() == nullptr) {
    width = defaultWidth;
    std::uint32_t height = defaultHeight;
    if ((flags & FlagTerminalSize) != 0) GetTerminalSize(STDOUT_FILENO, width, height);
    m_height = height;
    if ((flags & FlagSystemLog) != 0) {
      openSystemLog();
      buffer.SetThirdFlag(false);
    }
    if ((flags & FlagNoTerminal) != 0) {
      m_noInput = true;
      buffer.SetToTerminal(false);
    }
  }
  if (isExplicit) {
    m_linesWritten = 0;
    ApplyFlags(buffer, flags, true);
  }
  m_width.store(width, std::memory_order_release);  // last: now other threads use the rest
  return buffer;
}

void Console::SetFlags(std::uint32_t flags, bool on) {
  ApplyFlags(EnsureInitialised(), flags, on);
  if (on && (flags & FlagTerminalSize) != 0) TakeTerminalSize();
}

void Console::ApplyFlags(ConsoleStreamBuf& buffer, std::uint32_t flags, bool on) {
  if ((flags & (FlagPage | FlagPauses)) != 0) m_paging = on;
  if ((flags & FlagEcho) != 0) m_echoMode = on;
  if ((flags & FlagSystemLog) != 0) {
    buffer.SetToSystemLog(on);
    m_noInput = on;
  }
}

// --- Input

int Console::WaitKey(std::uint32_t flags, std::uint32_t) {
  EnsureInitialised();
  return NoInput() ? -1 : ReadKey(flags, true);
}

int Console::PollKey(std::uint32_t flags) {
  EnsureInitialised();
  return NoInput() ? -1 : ReadKey(flags, false);
}

int Console::ReadKey(std::uint32_t flags, bool wait) {
  const bool takesInterrupt = (flags & FlagInterrupt) != 0;
  int key = 0;
  {
    const CriticalSectionLock lock(m_locks.input);
    key = readByte(takesInterrupt, wait, m_noInput);
  }
  if (key > 0) {
    const OutputGuard guard(*this);
    guard.Buffer().EchoKey(static_cast<char>(key));
  }
  if (key == keyInterrupt && takesInterrupt) Interrupted();
  return key;
}

std::size_t Console::ReadLine(StringBase<char>& word) {
  EnsureInitialised();
  word.clear();
  if (NoInput()) return 0;
  const CriticalSectionLock lock(m_locks.input);
  return readWord(word, m_noInput);
}

char Console::Ask(const StringBase<char>& question, const StringBase<char>& choices, char defaultChoice) {
  std::string prompt = question + " (" + choices + ")";
  if (defaultChoice != '\0') prompt.append(" [").append(1, characters::toUpper(defaultChoice)).append("]");
  Write(prompt);

  const auto isSame = [](char a, char b) { return characters::toLower(a) == characters::toLower(b); };
  const auto spelled = [&](char wanted) {
    const auto found =
        std::find_if(choices.begin(), choices.end(), [&](char c) { return isSame(c, wanted); });
    return found != choices.end() ? *found : isSame(wanted, defaultChoice) ? defaultChoice : '\0';
  };
  char answer = '\0';
  do {
    const int key = WaitKey(FlagInterrupt);
    const bool isEnter = key == '\r' || key == '\n';
    answer = spelled(key < 0 || isEnter ? defaultChoice : static_cast<char>(key));
    if (key < 0) break;
  } while (answer == '\0');
  Write("\r\n");
  return answer;
}

void Console::Interrupted() {
  EnsureInitialised();
  if (EchoMode() || ShowInterrupt()) {
    Write("^C\n");
  } else {
    ClearLine(true);
  }
  throw AbortException(Exception::Of(11));
}

// --- Output

void Console::Write(std::string_view text) {
  const OutputGuard guard(*this);
  write(text.data(), static_cast<std::streamsize>(text.size()));
}

void Console::Printf(const char* format, ...) {
  va_list values;
  va_start(values, format);
  VPrintf(format, values);
  va_end(values);
}

void Console::VPrintf(const char* format, va_list values) {
  const Formatted text(orEmpty(format), values);
  const OutputGuard guard(*this);
  if (!text.IsValid()) {
    setstate(std::ios::failbit);
  } else if (!PutPlain(guard.Buffer(), text.Text())) {
    write(text.Text().data(), static_cast<std::streamsize>(text.Text().size()));
  }
}

void Console::PrintLine(const char* format, ...) {
  va_list values;
  va_start(values, format);
  VPrintLine(format, values);
  va_end(values);
}

void Console::VPrintLine(const char* format, va_list values) {
  Formatted text(orEmpty(format), values);
  bool isPageFull = false;
  {
    const OutputGuard guard(*this);
    if (!text.IsValid()) {
      setstate(std::ios::failbit);
    } else if (rdbuf() == &guard.Buffer()) {
      PutLine(guard.Buffer(), text.Line());
    } else {
      write(text.Text().data(), static_cast<std::streamsize>(text.Text().size()));
      *this << std::endl;
    }
    isPageFull = CountLine();
  }
  if (isPageFull) PauseIfFull(0);
}

// The short way round the stream, when neither it nor the buffer has anything to add.
bool Console::PutPlain(ConsoleStreamBuf& buffer, std::string_view text) {
  return good() && tie() == nullptr && rdbuf() == &buffer && buffer.PutPlain(text);
}

// What inserting into the stream does around the writing: nothing on a bad stream, and the bad bit for what
// is thrown.
void Console::PutLine(ConsoleStreamBuf& buffer, std::string_view line) {
  if (PutPlain(buffer, line)) return;
  const std::ostream::sentry isReady(*this);
  if (!isReady) return;
  try {
    buffer.PutLine(line);
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    try {
      setstate(std::ios::badbit);
    } catch (const std::ios::failure&) {
      // The writer gets what was thrown first.
    }
    if ((exceptions() & std::ios::badbit) != 0) throw;
  }
}

void Console::NewLine() {
  bool isPageFull = false;
  {
    const OutputGuard guard(*this);
    *this << std::endl;
    isPageFull = CountLine();
  }
  if (isPageFull) PauseIfFull(0);
}

// Whether the line just written makes a page full that wants a pause.
bool Console::CountLine() {
  if (LinesWritten() < std::numeric_limits<std::int32_t>::max()) ++m_linesWritten;
  return Paging() && IsPageFull(0);
}

bool Console::IsPageFull(std::uint32_t moreLines) const noexcept {
  const std::int64_t height = Height();
  return height >= 2 && LinesWritten() + std::int64_t{moreLines} >= height - 1;
}

void Console::NeedLines(std::uint32_t count) {
  EnsureInitialised();
  if (IsPageFull(count)) PauseIfFull(count);
}

// Another thread may have turned the page meanwhile.
void Console::PauseIfFull(std::uint32_t moreLines) {
  const std::lock_guard lock(m_pauseLock);
  if (IsPageFull(moreLines)) Pause();
}

void Console::Pause() {
  const std::lock_guard lock(m_pauseLock);
  if (m_isPausing) return;
  struct Pausing {
    explicit Pausing(bool& isOn) : on(isOn) { on = true; }
    ~Pausing() { on = false; }
    bool& on;
  } const pausing(m_isPausing);

  ShowPausePrompt();
  WaitKey(FlagPauses);
  ClearLine(true);
  m_linesWritten = 0;
}

void Console::ShowPausePrompt() {
  StringBase<char> prompt;
  loadMessage("tvk", pausePrompt, true, prompt);
  Write(prompt);
}

void Console::ClearLine(bool keepByLineEnd) {
  const OutputGuard guard(*this);
  if (keepByLineEnd && EchoMode()) {
    *this << std::endl;
  } else if (Width() != 0) {
    guard.Buffer().BlankLine(Width() - 1);
  }
}

// --- The terminal

bool Console::TakeTerminalSize() {
  const OutputGuard guard(*this);
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  if (Width() == 0 || !GetTerminalSize(STDOUT_FILENO, width, height)) return false;
  m_height = height;
  m_width = width;
  return true;
}

bool Console::WritesToTerminal() {
  const ConsoleStreamBuf& buffer = EnsureInitialised();
  return buffer.OutputFunction() == nullptr && !buffer.ToSystemLog() && buffer.ToTerminal() &&
         isatty(STDOUT_FILENO) != 0;
}

void Console::Progress(const char* format, ...) {
  if (!WritesToTerminal() || EchoMode() || Width() < 2) return;
  va_list values;
  va_start(values, format);
  const Formatted text(orEmpty(format), values);
  va_end(values);
  const OutputGuard guard(*this);
  if (!text.IsValid()) return setstate(std::ios::failbit);
  const auto [line, columns] = fitToColumns(text.Text(), Width() - 1);
  guard.Buffer().PutProgress(line, columns);
}

void Console::ClearProgress() {
  const OutputGuard guard(*this);
  guard.Buffer().PutProgress({}, 0);
}

}  // namespace tvk
