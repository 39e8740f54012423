// The terminal of command-line programs: paged output, single keys, words, a choice prompt, a progress line.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <mutex>
#include <string_view>

#include <tvk/Export.h>
#include <tvk/console/ConsoleStreamBuf.h>
#include <tvk/process/CriticalSection.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// A text stream over the process-wide ConsoleStreamBuf that knows the screen's size and can pause after a
// page.
//
// Init() is optional: every other operation initialises with flags 0 when nobody did, and only the first
// initialisation counts. While the buffer has an output function the console stays uninitialised: its size is
// 0, nothing is cleared and no page is ever full, but explicit calls of Init() set their flags.
//
// Keys     0 to 255, or -1: no terminal input wanted, end of input, or a read error. They come from
//          descriptor 0, after what the C library's stdin has read ahead. A terminal is switched to single
//          keys for the time of the read and then put back, also when a signal ends or stops the process
//          meanwhile, but it is not touched while this process is in the background. Its own echo stays as it
//          is.
// Errors   Ctrl-C under FlagInterrupt throws AbortException with code 11; want of memory while formatting
//          throws Exception 1014. Other failures of the terminal are reported to standard error ("ICANON",
//          "select"). Failed writes are told by ConsoleStreamBuf::WriteError().
// Threads  Operations may be called by several threads: Printf and PrintLine write their text whole, one
//          thread at a time reads keys. Inserting with << is for one thread at a time.
// Lifetime Get() makes the process-wide one; Destroy() ends it. The destructor does not throw.
//
//   tvk::Console& console = tvk::Console::Get();
//   console.Init(tvk::Console::FlagPage);
//   console.PrintLine("%d files", count);
//   if (console.Ask("Go on", "yn", 'n') == 'y') ...
class TVK_EXPORT Console : public std::iostream {
 public:
  // For Init() and SetFlags():
  static constexpr std::uint32_t FlagPage = 1;    // pause after a page
  static constexpr std::uint32_t FlagPauses = 2;  // the same
  static constexpr std::uint32_t FlagEcho = 8;    // line-oriented: no line is blanked, Ctrl-C shows as "^C"
  static constexpr std::uint32_t FlagSystemLog = 16;        // write to the system log; no terminal input
  static constexpr std::uint32_t FlagNoTerminal = 64;       // Init only: neither read nor write the terminal
  static constexpr std::uint32_t FlagTerminalSize = 0x100;  // as TakeTerminalSize(); cannot be switched off
  // For WaitKey() and PollKey():
  static constexpr std::uint32_t FlagInterrupt = 4;  // Ctrl-C arrives as a key and throws AbortException

  // A console of its own over the process-wide buffer; not yet initialised.
  Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
  ~Console() override;

  // Writes "[Press any key to continue]" (message 55377) without a line end. May write lines: they do not
  // pause.
  virtual void ShowPausePrompt();

  // The process-wide console, made by whoever asks first.
  static Console& Get();
  // The process-wide console, or null.
  static Console* Existing() noexcept;
  // Hands over what the buffer has collected and ends the process-wide console, if there is one: the next
  // Get() answers one that is as new. Its memory stays for threads that are still in one of its operations.
  static void Destroy();

  // 80 columns and 24 lines, then the flags. With FlagSystemLog the log is opened under the program's name.
  void Init(std::uint32_t flags);
  // Switches on or off what the flags name; other bits mean nothing.
  void SetFlags(std::uint32_t flags, bool on);

  // --- Input

  // Waits for a key. Without FlagInterrupt nothing is done about Ctrl-C: it raises SIGINT. The second value
  // has no effect.
  int WaitKey(std::uint32_t flags = 0, std::uint32_t unused = 0);
  // The key that is there, or 0. A zero byte cannot be told from no key.
  int PollKey(std::uint32_t flags = 0);
  // Reads one word, delimited by ASCII white space, from the C library's stdin into `word` and answers its
  // length; 0 with `word` empty at the end of input. The delimiter stays unread, and so does what exceeds 1
  // MiB.
  std::size_t ReadLine(StringBase<char>& word);
  // Asks for one of the characters of `choices`: "QUESTION (CHOICES) [DEFAULT]". Reads keys until one is a
  // choice or the default, in either case; Enter, the end of input and a console without input mean the
  // default. The answer is spelled as in `choices`. Without a default (zero) Enter is no answer and the end
  // of input answers zero. Ctrl-C throws AbortException.
  char Ask(const StringBase<char>& question, const StringBase<char>& choices, char defaultChoice);
  // From now on there are no keys: a read answers -1, also one that waits, within a fifth of a second. Signal
  // handlers may call it.
  void StopInput() noexcept { m_noInput = true; }
  // What Ctrl-C does: shows "^C" or clears the line, then throws AbortException with code 11.
  [[noreturn]] void Interrupted();

  // --- Output

  // Formats as vsnprintf. A text that cannot be formatted (a wide character that the locale lacks) writes
  // nothing and sets the stream's fail bit. A null format is empty.
  void Printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void VPrintf(const char* format, va_list values) __attribute__((format(printf, 2, 0)));
  // Printf(), then NewLine().
  void PrintLine(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void VPrintLine(const char* format, va_list values) __attribute__((format(printf, 2, 0)));
  // Ends the line, counts it, and pauses when paging is on and the page is full (one line less than the
  // screen).
  void NewLine();
  // Pauses unless `count` more lines stay below a full page, whether paging is on or not.
  void NeedLines(std::uint32_t count);
  // Shows the prompt, waits for a key, clears the line and starts a new page.
  void Pause();
  // Blanks the line: a carriage return to standard error, blanks and a carriage return to standard output,
  // wherever the buffer writes. A line-oriented console ends the line instead, with `keepByLineEnd`.
  void ClearLine(bool keepByLineEnd);

  // --- The terminal

  // Takes over the size of the screen that standard output goes to. False, and nothing changes, when it is no
  // terminal or does not tell.
  bool TakeTerminalSize();
  // Whether text reaches a terminal: not the log, an output function, a file or a pipe.
  bool WritesToTerminal();
  // Shows the formatted text in the current line, over the progress text before; whatever is written next
  // removes it. Silent when the console does not write to a terminal or is line-oriented. Cut to the width;
  // control characters show as blanks. Not counted, not copied.
  void Progress(const char* format, ...) __attribute__((format(printf, 2, 3)));
  void ClearProgress();

  std::uint32_t Width() const noexcept { return m_width.load(std::memory_order_relaxed); }
  std::uint32_t Height() const noexcept { return m_height.load(std::memory_order_relaxed); }
  // The lines since the last page pause.
  std::int32_t LinesWritten() const noexcept { return m_linesWritten.load(std::memory_order_relaxed); }
  bool Paging() const noexcept { return m_paging.load(std::memory_order_relaxed); }
  bool EchoMode() const noexcept { return m_echoMode.load(std::memory_order_relaxed); }
  // Whether Ctrl-C shows as "^C" although the console is not line-oriented.
  bool ShowInterrupt() const noexcept { return m_showInterrupt.load(std::memory_order_relaxed); }
  void SetShowInterrupt(bool on) noexcept { m_showInterrupt.store(on, std::memory_order_relaxed); }
  bool NoInput() const noexcept { return m_noInput.load(std::memory_order_relaxed); }

 private:
  struct Locks {
    CriticalSection input;
    CriticalSection output;
  };
  class OutputGuard;

  void StartAfresh();
  ConsoleStreamBuf& EnsureInitialised();
  ConsoleStreamBuf& Initialise(bool isExplicit, std::uint32_t flags);
  void ApplyFlags(ConsoleStreamBuf& buffer, std::uint32_t flags, bool on);
  int ReadKey(std::uint32_t flags, bool wait);
  void Write(std::string_view text);
  bool PutPlain(ConsoleStreamBuf& buffer, std::string_view text);
  void PutLine(ConsoleStreamBuf& buffer, std::string_view line);
  bool CountLine();
  bool IsPageFull(std::uint32_t moreLines) const noexcept;
  void PauseIfFull(std::uint32_t moreLines);

  std::atomic<std::uint32_t> m_width{0};
  std::atomic<std::uint32_t> m_height{0};
  std::atomic<std::int32_t> m_linesWritten{0};
  std::atomic<bool> m_paging{false};
  std::atomic<bool> m_echoMode{false};
  std::atomic<bool> m_showInterrupt{false};
  std::atomic<bool> m_noInput{false};
  Locks m_locks;

  std::recursive_mutex m_pauseLock;  // one thread pauses, the others wait for it to be over
  bool m_isPausing = false;
};

}  // namespace tvk
