// The library's one handle on a named file: contents, times, and the operations on names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include <tvk/Export.h>
#include <tvk/files/FileMode.h>
#include <tvk/files/FileString.h>

namespace tvk {

class DateTimeO;
class FileImpl;

// One named file that can be opened and closed any number of times.
//
// Units    positions and counts are bytes from the start of the file; times are whole seconds, as DateTimeO
//          or as seconds since 1970-01-01 00:00 UTC.
// Errors   every failure throws FileException with the path as the caller gave it. Any operation may throw
//          1001 (not found), 1002 (a folder on the way is none), 1012 (too many open files), 1013 (EPERM),
//          1014 (no memory) or 1029 (exists) when the system says so; the codes below stand for everything
//          else, EACCES included. cause() of the exception knows the system's word. The handle keeps its path
//          and may be used or opened again.
// Threads  each call on an open file is whole; a sequence (seek, then read) is not. Opening, closing, moving
//          and setName() need the handle to themselves.
// Lifetime owns the open file. The destructor, and opening anew, close without a word: call close() to be
//          told that something could not be written, and flush() before it when it must be on the disk.
// Paths    opening resolves "~" and relative paths as normalise() does; existence tests, times of a closed
//          file, remove() and plain createFolder() take the path as it is. So File("~/x") opens HOME/x, but
//          removes "x" in a folder called "~".
//
//   tvk::File journal("run.log");
//   journal.open(tvk::ModeWriteCreate | tvk::ModeAppend);
//   journal.write(line.data(), line.size());
//   journal.flush();  // on the disk
//   journal.close();
class TVK_EXPORT File {
 public:
  // Touches nothing on disk. A null pointer gives the empty path.
  explicit File(const FileString& path = FileString());
  explicit File(const char* path) : File(FileString(path)) {}
  File(File&& other) noexcept;
  // An open file of this handle is closed as by the destructor.
  File& operator=(File&& other) noexcept;

  virtual ~File();

  virtual void closeIfOpen();
  // 1010, also when closed. The data may wait in the stream: see flush() and close().
  virtual void write(const void* data, std::size_t count);
  virtual void rewind();
  virtual void seekToEnd();
  // Only the name: an open file stays open.
  virtual void setName(const char* path);
  // The path as given; 1016 when it is empty.
  virtual const FileString& name() const;
  // Opens with ModeRead | ModeWrite.
  virtual void openReadWrite();

  // --- Opening and closing

  // Opens the file, closing what was open. 1003 when it cannot be opened, also for an empty path and for a
  // mode without any of read, write, truncate and append. The mode tells what happens to the file:
  //   - only ModeTruncate cuts it; ModeTruncate, ModeAppend, ModeWriteCreate and writing without reading
  //     create it, readable and writable for all but for the umask. With ModeMustExist nothing is created,
  //     and what is not a regular file or a device throws 1001;
  //   - the position is 0, with ModeAppend and no reading the end;
  //   - ModeTruncate alone opens for writing, but tell() and size() are 0 whatever was written, and
  //     truncate() empties the file.
  void open(std::uint32_t mode);
  // Opens a fresh file for reading and writing: the mode with read, write and truncate added. With ModeFolder
  // createFolder(mode). `extra` has no meaning yet.
  void create(std::uint32_t mode = 0, std::uint32_t extra = 0);
  bool isOpen() const;
  // 1010 when something could not be written, now or before; 1005 when closing fails. The file is closed all
  // the same. Does not force anything to disk; a closed file is left alone.
  void close();

  // --- Contents. A closed file throws 1009, or 1010 where something is to be changed.

  // Up to `count` bytes; answers how many. Fewer, or none, is the end of the file, or with `exact` error
  // 1009. A file that was not opened for reading has nothing to read. 1010 when data written before cannot
  // be.
  std::size_t read(void* buffer, std::size_t count, bool exact = false);
  // Numbers in the byte order of the host, whole or 1009.
  std::uint8_t readU8();
  std::uint16_t readU16();
  std::uint32_t readU32();
  std::uint64_t readU64();
  void writeU8(std::uint8_t value);
  void writeU16(std::uint16_t value);
  void writeU32(std::uint32_t value);
  void writeU64(std::uint64_t value);
  void writeZeros(std::uint64_t count);
  // From the current position of an open file to this one's. 1009 with the source's path when it is too
  // short; what it had is then copied but for the last piece of up to 61,440 bytes.
  void copyFrom(File& source, std::uint64_t count);

  // 1009 for what has no position, such as a pipe.
  std::uint64_t size() const;
  std::uint64_t tell() const;
  void seek(std::uint64_t position);
  // Writes what waits in the stream and forces the file to disk. 1010.
  void flush();
  // Cuts the file at the current position, or lengthens it with zeros, and goes to its end. 1010.
  void truncate();

  // When the file was last changed (status), read and written to. A closed file is asked by its path: 1001.
  // An open one throws 1009 for getting and 1010 for setting. The change time cannot be set and is ignored.
  void getTimes(DateTimeO& changeTime, DateTimeO& accessTime, DateTimeO& modificationTime) const;
  void setTimes(const DateTimeO& changeTime, const DateTimeO& accessTime, const DateTimeO& modificationTime);
  void getTimes(std::int64_t& changeTime, std::int64_t& accessTime, std::int64_t& modificationTime) const;
  void setTimes(std::int64_t changeTime, std::int64_t accessTime, std::int64_t modificationTime);

  // Puts new contents in place of the file of this name, or makes it, in one step: whoever opens it sees the
  // old contents or the whole new ones, also after a crash. `write` fills a fresh file in the same folder,
  // named ".NAME.new-" and six characters; it is forced to disk, renamed, and the folder forced to disk.
  // Whatever is thrown on the way (1010 when the fresh file cannot be made or renamed), also by `write`,
  // leaves the old contents and removes the fresh file; only a failure to force the folder comes after the
  // change.
  //   - The mode and the access lists of the old file are kept, and its owner as far as permitted. A symbolic
  //     link stays: the file it leads to is replaced. Other links to the old file, and handles on it, keep
  //     the old contents.
  //   - ModeNoOverwrite: 1029 when the name exists; ModeMustExist: 1001 when it does not. 1016 for what is
  //     no regular file.
  void replaceContents(const std::function<void(File&)>& write, std::uint32_t mode = 0);
  void replaceContents(const void* data, std::size_t count, std::uint32_t mode = 0);

  // --- Names

  // Removes a file, a link or an empty folder; true on success.
  bool remove();
  // Moves or renames, also across devices (then mode, times, owner where permitted and links are kept and the
  // source goes after the complete copy); an existing folder as target takes the file into it. Any failure is
  // 1013. Afterwards the name is the normalised target, which is the folder when it was moved into one.
  void move(const FileString& target);
  // Moves within the folder; only the last component of the new name counts. 1016 when it is empty.
  void rename(const FileString& newName);
  // Copies contents and mode of a file, into the target when that is a folder. False for a folder, for the
  // same file twice, and on every failure.
  static bool copyFile(const FileString& source, const FileString& target);
  // Copies into a folder, which is made with all its parents. ModeNoOverwrite: 1029 when the folder exists;
  // ModeMustExist: 1002 when it does not; ModeRecursive: whole trees. False when a path holds a blank or
  // another character with a meaning for the shell, and when anything could not be copied.
  bool copyTo(const FileString& targetFolder, std::uint32_t flags = 0);
  // Permissions 0777 but for the umask. 1004, with the system's error number. With ModeRecursive all missing
  // parents too, and what exists already is no error.
  void createFolder(std::uint32_t flags = 0);
  // Removes an empty folder, or with ModeRecursive a tree (removeTree() is the one to use for that); true on
  // success. Refuses, with ModeRecursive, a path that copyTo() refuses.
  bool removeFolder(std::uint32_t flags = 0);
  // Removes a file or a folder with everything in it, whatever its name; links are not followed. True when
  // nothing is left. An empty path, "/" and a last component "." or ".." are refused.
  bool removeTree();
  // Makes a fresh file (mode 0600) in the folder, by default tempFolder(), takes its name and opens it for
  // reading and writing. True, or 1006 with the folder's path.
  bool openTemporary(const FileString& folder = FileString());

 private:
  template <class Work>
  decltype(auto) forward(std::int64_t closedCode, Work&& work) const;
  [[noreturn]] void raise(std::int64_t code, int cause = 0) const;
  // Takes over an open descriptor of the file of this name, also when that fails.
  void adopt(int descriptor, std::uint32_t mode);

  FileString m_name;  // as the caller gave it
  std::unique_ptr<FileImpl> m_impl;
};

}  // namespace tvk
