#include <tvk/console/ConsoleStreamBuf.h>

#include <cxxabi.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ios>
#include <string>
#include <utility>
#include <vector>

#include <tvk/process/Platform.h>
#include <tvk/process/Singleton.h>

namespace tvk {
namespace {

constexpr std::size_t collectedLimit = 200;  // more characters than this are handed over without a line feed
constexpr std::size_t logLimit = 64 * 1024;  // as many characters are logged without a line feed
constexpr std::ptrdiff_t copyColumnLimit = 80;

std::atomic<ConsoleStreamBuf*> s_buffer{nullptr};
std::atomic<std::ptrdiff_t> s_copyColumn{0};

struct Attachment {
  std::ios* stream;
  ConsoleStreamBuf* buffer;
};
std::mutex s_attachmentLock;
std::vector<Attachment>* s_attachments = nullptr;  // while there are any

// Without a buffer a stream is bad; one that throws for that has already taken note.
void takeBuffer(std::ios& stream, const std::streambuf* buffer) noexcept {
  if (stream.rdbuf() != buffer) return;
  try {
    stream.rdbuf(nullptr);
  } catch (const std::ios_base::failure&) {
  }
}

// Takes the matching attachments out of the list and their streams' buffers away.
template <class Matches>
void detachIf(Matches matches) noexcept {
  const std::lock_guard lock(s_attachmentLock);
  if (s_attachments == nullptr) return;
  std::erase_if(*s_attachments, [&](const Attachment& entry) {
    if (!matches(entry)) return false;
    takeBuffer(*entry.stream, entry.buffer);
    return true;
  });
  if (!s_attachments->empty()) return;
  delete s_attachments;
  s_attachments = nullptr;
}

// Holds the lock of a stream of the C library; a thread may hold it twice.
class FileLock {
 public:
  explicit FileLock(std::FILE* file) : m_file(file) { flockfile(file); }
  ~FileLock() { funlockfile(m_file); }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  std::FILE* m_file;
};

void logText(StringBase<char>& line) {
  const StringBase<char> text = std::exchange(line, {});
  syslog(LOG_INFO, "%s", text.c_str());
}

}  // namespace

ConsoleStreamBuf::ConsoleStreamBuf() = default;

ConsoleStreamBuf::~ConsoleStreamBuf() { DetachAll(); }

void ConsoleStreamBuf::DetachAll() noexcept {
  detachIf([this](const Attachment& entry) { return entry.buffer == this; });
}

ConsoleStreamBuf& ConsoleStreamBuf::Get() {
  if (ConsoleStreamBuf* const buffer = Existing()) return *buffer;
  static Lasting<ConsoleStreamBuf> s_object;
  s_buffer.store(&s_object.value, std::memory_order_release);
  return s_object.value;
}

ConsoleStreamBuf* ConsoleStreamBuf::Existing() noexcept { return s_buffer.load(std::memory_order_acquire); }

void ConsoleStreamBuf::Destroy() {
  ConsoleStreamBuf* const buffer = Existing();
  if (buffer == nullptr) return;
  buffer->HandOver();
  s_buffer.store(nullptr, std::memory_order_release);
  buffer->DetachAll();
  const Lock lock(buffer->m_lock);
  buffer->m_outputFunction.store(nullptr, std::memory_order_relaxed);
  buffer->m_copyTarget.store(nullptr, std::memory_order_relaxed);
  buffer->m_toSystemLog.store(false, std::memory_order_relaxed);
  buffer->SetThirdFlag(true);
  buffer->m_toTerminal.store(true, std::memory_order_relaxed);
  buffer->ClearWriteError();
  buffer->m_pendingText.clear();
  buffer->m_logLine.clear();
  buffer->Reconsider();
}

std::ptrdiff_t ConsoleStreamBuf::CopyColumn() noexcept {
  return s_copyColumn.load(std::memory_order_relaxed);
}

// --- Settings

void ConsoleStreamBuf::Reconsider() noexcept {
  m_isPlain.store(OutputFunction() == nullptr && CopyTarget() == nullptr && !ToSystemLog() && ToTerminal() &&
                      m_progressColumns == 0,
                  std::memory_order_release);
}

void ConsoleStreamBuf::SetOutputFunction(Function function) {
  const Lock lock(m_lock);
  m_outputFunction.store(function, std::memory_order_relaxed);
  Reconsider();
}

bool ConsoleStreamBuf::SetCopyTarget(std::streambuf* target) {
  if (target == this) return false;
  const Lock lock(m_lock);
  m_copyTarget.store(target, std::memory_order_relaxed);
  Reconsider();
  return true;
}

void ConsoleStreamBuf::SetToSystemLog(bool on) {
  const Lock lock(m_lock);
  m_toSystemLog.store(on, std::memory_order_relaxed);
  Reconsider();
}

void ConsoleStreamBuf::SetToTerminal(bool on) {
  const Lock lock(m_lock);
  m_toTerminal.store(on, std::memory_order_relaxed);
  Reconsider();
}

void ConsoleStreamBuf::Attach(std::ios& stream) {
  {
    const std::lock_guard lock(s_attachmentLock);
    if (s_attachments == nullptr) s_attachments = new std::vector<Attachment>;
    std::erase_if(*s_attachments, [&](const Attachment& entry) { return entry.stream == &stream; });
    s_attachments->push_back({&stream, this});
  }
  stream.rdbuf(this);
}

void ConsoleStreamBuf::Detach(std::ios& stream) noexcept {
  detachIf([&](const Attachment& entry) { return entry.stream == &stream; });
}

// --- Output

std::streamsize ConsoleStreamBuf::xsputn(const char* text, std::streamsize n) {
  const std::string_view piece(text, text != nullptr && n > 0 ? static_cast<std::size_t>(n) : 0);
  if (!PutPlain(piece)) {
    Lock lock(m_lock);
    Put(lock, piece);
  }
  return n;
}

ConsoleStreamBuf::int_type ConsoleStreamBuf::overflow(int_type c) {
  if (!traits_type::eq_int_type(c, traits_type::eof())) {
    const char character = traits_type::to_char_type(c);
    xsputn(&character, 1);
  }
  return c;
}

void ConsoleStreamBuf::PutLine(std::string_view line) {
  if (PutPlain(line)) return;
  const std::string_view text = line.substr(0, line.size() - 1);
  Lock lock(m_lock);
  if (OutputFunction() == nullptr && !ToSystemLog()) {
    if (ToTerminal()) WriteTerminal(line);
    Copy(text);
    Copy("\n");
  } else {
    Put(lock, text);
    Put(lock, "\n");
  }
}

bool ConsoleStreamBuf::PutPlain(std::string_view text) {
  if (!m_isPlain.load(std::memory_order_acquire)) return false;
  const FileLock output(stdout);
  if (!m_isPlain.load(std::memory_order_acquire)) return false;  // a progress line came in between
  WriteRaw(text);
  return true;
}

void ConsoleStreamBuf::Put(Lock& lock, std::string_view text) {
  Take(lock, text);
  Copy(text);
}

void ConsoleStreamBuf::Take(Lock& lock, std::string_view text) {
  const bool endsLine = text.ends_with('\n');
  if (const Function function = OutputFunction()) {
    m_pendingText.append(text);
    if (m_pendingText.size() <= collectedLimit && !endsLine) return;
    const StringBase<char> collected = std::exchange(m_pendingText, {});
    lock.unlock();
    function(collected);
    lock.lock();
  } else if (ToSystemLog()) {
    m_logLine.append(text);
    if (endsLine || m_logLine.size() >= logLimit) logText(m_logLine);
  } else if (ToTerminal()) {
    WriteTerminal(text);
  }
}

void ConsoleStreamBuf::Copy(std::string_view text) {
  std::streambuf* const target = CopyTarget();
  if (target == nullptr || m_isCopying) return;
  struct Copying {
    explicit Copying(bool& isOn) : on(isOn) { on = true; }
    ~Copying() { on = false; }
    bool& on;
  } const copying(m_isCopying);

  target->sputn(text.data(), static_cast<std::streamsize>(text.size()));
  const std::ptrdiff_t column = s_copyColumn += static_cast<std::ptrdiff_t>(text.size());
  if (column < copyColumnLimit && !text.ends_with('\n') && !text.ends_with('\r')) return;
  s_copyColumn = 0;
  target->pubsync();
}

void ConsoleStreamBuf::EchoKey(char key) {
  const Lock lock(m_lock);
  Copy(std::string_view(&key, 1));
}

void ConsoleStreamBuf::WriteTerminal(std::string_view text) {
  const FileLock output(stdout);
  if (m_progressColumns == 0) {
    WriteRaw(text);
    return;
  }
  std::string line(m_progressColumns + 2, ' ');
  line.front() = line.back() = '\r';
  SetProgressColumns(0);
  WriteRaw(line.append(text));
}

// Needs the lock of standard output.
void ConsoleStreamBuf::WriteRaw(std::string_view text) {
  if (platform::writeThrough(stdout, text)) return;
  int none = 0;
  m_writeError.compare_exchange_strong(none, errno);
}

void ConsoleStreamBuf::BlankLine(std::size_t columns) {
  const Lock lock(m_lock);
  const FileLock output(stdout);  // from here on: nobody writes between the two
  std::fputc('\r', stderr);
  std::fflush(stderr);
  SetProgressColumns(0);
  WriteRaw(std::string(columns, ' ') + '\r');
}

void ConsoleStreamBuf::PutProgress(std::string_view text, std::size_t columns) {
  const Lock lock(m_lock);
  if (columns == 0) {
    if (m_progressColumns != 0) WriteTerminal({});
    return;
  }
  std::string line = "\r";
  line.append(text);
  if (m_progressColumns > columns) line.append(m_progressColumns - columns, ' ');
  const FileLock output(stdout);
  SetProgressColumns(columns);
  WriteRaw(line);
}

void ConsoleStreamBuf::SetProgressColumns(std::size_t columns) noexcept {
  m_progressColumns = columns;
  Reconsider();
}

void ConsoleStreamBuf::HandOver() {
  Lock lock(m_lock);
  if (m_progressColumns != 0) WriteTerminal({});
  if (!m_logLine.empty()) logText(m_logLine);
  const Function function = OutputFunction();
  if (m_pendingText.empty() || function == nullptr) return;
  const StringBase<char> collected = std::exchange(m_pendingText, {});
  lock.unlock();
  try {
    function(collected);
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    // At the end there is nobody left to tell.
  }
}

template <>
void AutoInit<ConsoleStreamBuf>::Init() {
  if (m_object == nullptr) m_object = &ConsoleStreamBuf::Get();
}

template <>
void AutoInit<ConsoleStreamBuf>::Exit() {
  if (std::exchange(m_object, nullptr) != nullptr) ConsoleStreamBuf::Destroy();
}

}  // namespace tvk
