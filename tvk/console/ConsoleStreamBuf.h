// The one stream buffer that all console output runs through.
#pragma once

#include <atomic>
#include <cstddef>
#include <iosfwd>
#include <mutex>
#include <streambuf>
#include <string_view>

#include <tvk/Export.h>
#include <tvk/process/AutoInit.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// Takes text and passes it on, at once and without a buffer of its own. Exactly one of these takes it:
//
//   output function   when one is set: texts are collected and handed over when one ends with a line feed or
//                     when more than 200 characters wait
//   system log        when chosen: texts are collected and passed to syslog(LOG_INFO) when one ends with a
//                     line feed, or when 64 KiB wait
//   standard output   when not switched off: written and flushed
//
// Whatever takes it, a second stream buffer, the copy target, gets a copy of each piece. It is flushed after
// a line feed, a carriage return, and when 80 characters or more were written since the last flush.
//
// Errors   Writing answers the full count, always; it waits as long as it takes. The first errno of a failed
//          write to standard output is kept for WriteError(). What the output function or the copy target
//          throws passes to the writer; a stream turns it into its bad bit.
// Threads  Each piece (one call) is taken whole, from every thread. The output function is called with no
//          lock held and may be called by two threads at once; it may use the console. The copy target is
//          called by one thread at a time and must not use the operations of Console; what it writes to this
//          buffer is not copied again. Set function and target before there are several threads.
// Lifetime Get() makes the process-wide one; the start-up service ends it and hands over what was collected.
//          Neither the function nor the copy target is owned.
class TVK_EXPORT ConsoleStreamBuf : public std::streambuf {
 public:
  using Function = void (*)(const StringBase<char>& text);

  ConsoleStreamBuf();
  ConsoleStreamBuf(const ConsoleStreamBuf&) = delete;
  ConsoleStreamBuf& operator=(const ConsoleStreamBuf&) = delete;
  // Detaches the attached streams. What was collected is dropped; see HandOver().
  ~ConsoleStreamBuf() override;

  // Takes one piece and answers n. A null text counts as empty.
  std::streamsize xsputn(const char* text, std::streamsize n) override;
  // The same for one character, unless it is end-of-file; answers c.
  int_type overflow(int_type c = traits_type::eof()) override;

  // The process-wide buffer: made by whoever asks first. One that is made after shut-down lives to the end of
  // the process.
  static ConsoleStreamBuf& Get();
  // The process-wide buffer, or null when there is none.
  static ConsoleStreamBuf* Existing() noexcept;
  // Ends the process-wide buffer, if there is one: hands over what was collected, detaches the streams, and
  // puts the settings back. Its memory stays: a thread that is writing to it writes to standard output.
  static void Destroy();

  Function OutputFunction() const noexcept { return m_outputFunction.load(std::memory_order_relaxed); }
  void SetOutputFunction(Function function);
  std::streambuf* CopyTarget() const noexcept { return m_copyTarget.load(std::memory_order_relaxed); }
  // False, and nothing changes, when the target is this buffer itself.
  bool SetCopyTarget(std::streambuf* target);
  bool ToSystemLog() const noexcept { return m_toSystemLog.load(std::memory_order_relaxed); }
  void SetToSystemLog(bool on);
  // Set until a console chooses the system log. Has no effect here.
  bool ThirdFlag() const noexcept { return m_thirdFlag.load(std::memory_order_relaxed); }
  void SetThirdFlag(bool on) noexcept { m_thirdFlag.store(on, std::memory_order_relaxed); }
  bool ToTerminal() const noexcept { return m_toTerminal.load(std::memory_order_relaxed); }
  void SetToTerminal(bool on);

  // The characters written to copy targets since the last flush; one count for the process.
  static std::ptrdiff_t CopyColumn() noexcept;

  // The errno of the first write to standard output that failed since the last clearing, else 0.
  int WriteError() const noexcept { return m_writeError.load(std::memory_order_relaxed); }
  void ClearWriteError() noexcept { m_writeError.store(0, std::memory_order_relaxed); }

  // For the end: hands over the text collected for the output function and for the system log, complete or
  // not, and removes the progress line. What the function throws is dropped.
  void HandOver();

  // Makes this the buffer of `stream` until either ends: the buffer leaves the stream without one, and the
  // stream says so before it goes. A stream is attached to one buffer at a time.
  void Attach(std::ios& stream);
  static void Detach(std::ios& stream) noexcept;

  // Writes a piece when standard output is all there is to write to; false, and nothing done, otherwise.
  bool PutPlain(std::string_view text);
  // A text and the line feed behind it, as two pieces that no other thread's piece comes between (save while
  // the output function is called). `line` is both; standard output gets it in one write.
  void PutLine(std::string_view line);
  // Copies a key that was read to the copy target, as if it had been written.
  void EchoKey(char key);
  // A carriage return to standard error, then `columns` blanks and a carriage return to standard output.
  void BlankLine(std::size_t columns);
  // Writes `text`, which fills `columns` columns, over the progress line on standard output. Any other output
  // to it removes the line first; so does an empty text. Nothing is collected or copied.
  void PutProgress(std::string_view text, std::size_t columns);

 private:
  using Lock = std::unique_lock<std::recursive_mutex>;

  void Put(Lock& lock, std::string_view text);
  void Take(Lock& lock, std::string_view text);
  void Copy(std::string_view text);
  void WriteTerminal(std::string_view text);
  void WriteRaw(std::string_view text);
  void SetProgressColumns(std::size_t columns) noexcept;
  void Reconsider() noexcept;
  void DetachAll() noexcept;

  std::atomic<Function> m_outputFunction{nullptr};
  std::atomic<std::streambuf*> m_copyTarget{nullptr};
  StringBase<char> m_logLine;
  StringBase<char> m_pendingText;
  std::atomic<bool> m_toSystemLog{false};
  std::atomic<bool> m_thirdFlag{true};
  std::atomic<bool> m_toTerminal{true};

  std::recursive_mutex m_lock;        // recursive: a copy target may write to this buffer
  std::atomic<bool> m_isPlain{true};  // standard output alone: its own lock will do
  bool m_isCopying = false;
  std::size_t m_progressColumns = 0;
  std::atomic<int> m_writeError{0};
};

template <>
TVK_EXPORT void AutoInit<ConsoleStreamBuf>::Init();
template <>
TVK_EXPORT void AutoInit<ConsoleStreamBuf>::Exit();

}  // namespace tvk
