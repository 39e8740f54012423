// The body of an open file: a standard binary file stream behind a lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>

#include <tvk/Export.h>
#include <tvk/files/FileImpl.h>
#include <tvk/process/CriticalSection.h>

namespace tvk {

// A standard file stream on a descriptor of its own, which no child process inherits.
//
// Errors   FileException with the codes of tvk::File. Output that fails on a regular file leaves file
//          position and unwritten data as they were, so that it can be tried again; where nothing can be
//          taken back (append mode, devices, pipes) every further operation fails until the body is closed.
// Threads  each operation holds the lock for its whole run.
class TVK_EXPORT FileImplStream : public FileImpl, public std::basic_fstream<char> {
 public:
  FileImplStream();
  ~FileImplStream() override;

  void open(const FileString& path, std::uint32_t mode) override;
  std::size_t read(void* buffer, std::size_t count) override;
  void write(const void* data, std::size_t count) override;
  void create(const FileString& path, std::uint32_t mode) override;
  std::uint64_t size() override;
  std::uint64_t tell() override;
  bool isOpen() const override;
  void seek(std::uint64_t position) override;
  void seekToEnd() override;
  void flush() override;
  void truncate() override;
  void getTimes(std::int64_t& changeTime, std::int64_t& accessTime, std::int64_t& modificationTime) override;
  void setTimes(std::int64_t changeTime, std::int64_t accessTime, std::int64_t modificationTime) override;
  [[noreturn]] void raiseError(std::int64_t defaultCode) const override;
  void close() override;

  // Takes over an open descriptor in place of open(); `mode` must suit the way it was opened. It belongs to
  // this body from the call on, also when the call fails.
  void adopt(const FileString& path, int descriptor, std::uint32_t mode);

  // Forces what the system holds of an open file or folder to disk. True also for what has nothing to force,
  // such as a device; false leaves the reason in errno.
  static bool forceToDisk(int descriptor);

 private:
  // Reading and Writing only while the stream is open, allows it and was not given up.
  enum class Direction : std::uint8_t { None, Reading, Writing };

  [[noreturn]] void raise(std::int64_t defaultCode) const;
  void prepare(const FileString& path, std::uint32_t mode) TVK_REQUIRES(m_lock);
  void openPath(const FileString& path, std::uint32_t mode, bool mayCreate) TVK_REQUIRES(m_lock);
  void attach(int descriptor) TVK_REQUIRES(m_lock);
  void requireOpen(std::int64_t code) const TVK_REQUIRES(m_lock);
  bool hasPosition() const TVK_REQUIRES(m_lock);
  bool holdsPlace() const TVK_REQUIRES(m_lock);
  std::uint64_t position() TVK_REQUIRES(m_lock);
  void seekTo(std::streamoff offset, std::ios_base::seekdir from, std::int64_t code) TVK_REQUIRES(m_lock);
  std::size_t readThrough(void* buffer, std::size_t count) TVK_REQUIRES(m_lock);
  void writeThrough(const void* data, std::size_t count) TVK_REQUIRES(m_lock);
  bool startReading() TVK_REQUIRES(m_lock);
  void startWriting() TVK_REQUIRES(m_lock);
  void takeBackOutput() TVK_REQUIRES(m_lock);
  [[noreturn]] void failOutput() TVK_REQUIRES(m_lock);
  bool flushed() TVK_REQUIRES(m_lock);
  void flushOutput() TVK_REQUIRES(m_lock);
  bool release() TVK_REQUIRES(m_lock);

  mutable CriticalSection m_lock;
  bool m_reading TVK_GUARDED_BY(m_lock) = false;    // the mode asked for reading
  bool m_writing TVK_GUARDED_BY(m_lock) = false;    // the mode asked for writing
  std::uint32_t m_mode TVK_GUARDED_BY(m_lock) = 0;  // of the last open
  bool m_output TVK_GUARDED_BY(m_lock) = false;     // the stream can be written to
  Direction m_direction TVK_GUARDED_BY(m_lock) = Direction::None;
  int m_descriptor TVK_GUARDED_BY(m_lock) = -1;
  std::uint64_t m_written TVK_GUARDED_BY(m_lock) = 0;  // position behind what was written, while writing
};

}  // namespace tvk
