// The body of an open file, as tvk::File sees it.
#pragma once

#include <cstddef>
#include <cstdint>

#include <tvk/Export.h>
#include <tvk/files/FileString.h>

namespace tvk {

// An open file behind a tvk::File. Every failure throws FileException with the normalised path; the handle
// puts the caller's path in its place. Times are seconds since 1970-01-01 00:00 UTC.
class TVK_EXPORT FileImpl {
 public:
  FileImpl() = default;
  FileImpl(const FileImpl&) = delete;
  FileImpl& operator=(const FileImpl&) = delete;
  virtual ~FileImpl();

  virtual void open(const FileString& path, std::uint32_t mode) = 0;
  // Up to `count` bytes; fewer at the end of the file, 0 when nothing is left.
  virtual std::size_t read(void* buffer, std::size_t count) = 0;
  virtual void write(const void* data, std::size_t count) = 0;
  // Opens with read, write, truncate and write-create added to the mode.
  virtual void create(const FileString& path, std::uint32_t mode) = 0;
  virtual std::uint64_t size() = 0;
  virtual std::uint64_t tell() = 0;
  virtual bool isOpen() const = 0;
  virtual void seek(std::uint64_t position) = 0;
  virtual void seekToEnd() = 0;
  // Hands everything written to the system and forces it to disk.
  virtual void flush() = 0;
  // Cuts the file at the current position.
  virtual void truncate() = 0;
  virtual void getTimes(std::int64_t& changeTime, std::int64_t& accessTime,
                        std::int64_t& modificationTime) = 0;
  // The change time is the system's own and cannot be set: it is ignored.
  virtual void setTimes(std::int64_t changeTime, std::int64_t accessTime, std::int64_t modificationTime) = 0;
  // Throws the code that stands for errno, or `defaultCode`.
  [[noreturn]] virtual void raiseError(std::int64_t defaultCode) const = 0;
  // Closes and says what was lost: 1010 when data could not be written, 1005 when closing failed. The
  // destructor closes too, without a word. A body that has nothing to report need not override it.
  virtual void close();

 protected:
  FileString m_name;  // normalised
};

}  // namespace tvk
