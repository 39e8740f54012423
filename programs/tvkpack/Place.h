// Files named by an open folder, so that nobody can lead the work elsewhere by swapping folders for links.
#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <tvk/files/FileString.h>
#include <zed/ByteBuffer.h>

namespace tvkpack {

// An open descriptor that is closed at the end of its life.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) noexcept : m_number(number) {}
  Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_number, other.m_number);
    return *this;
  }
  ~Descriptor();

  int Number() const noexcept { return m_number; }
  bool IsOpen() const noexcept { return m_number >= 0; }

 private:
  int m_number = -1;
};

// Throws the FileException that stands for an error number, or `defaultCode` where none does.
[[noreturn]] void throwSystemError(std::int64_t defaultCode, const tvk::FileString& path, int error = errno);

// A folder that the user named, and which one that was when the files were listed.
struct Root {
  tvk::FileString path;
  dev_t device;
  ino_t number;
};

// Throws FileException when there is none.
std::shared_ptr<const Root> rootAt(const tvk::FileString& path);

// One file: its open folder, its name there, and its path for messages. Every failure throws FileException
// with the path concerned. Links are never followed below the root that the user named.
class Place {
 public:
  // Opens the folder of `path`, which begins with that of the root. Only the root itself may lead through links,
  // and it must still be the same folder.
  Place(const Root& root, const tvk::FileString& path);

  const tvk::FileString& Path() const noexcept { return m_path; }
  const std::string& Name() const noexcept { return m_name; }
  // The path of another name in the same folder.
  tvk::FileString PathOf(const std::string& name) const;

  // The status of a name in the folder, of a link itself; nothing when there is no such name.
  std::optional<struct stat> Find(const std::string& name) const;
  // Opens the file for reading.
  Descriptor Open() const;
  // Takes the name away.
  void Remove(const std::string& name) const;
  // Forces the folder to disk.
  void Force() const;

  int Folder() const noexcept { return m_folder.Number(); }

 private:
  tvk::FileString m_path;
  std::string m_name;
  Descriptor m_folder;
};

// Whether two states of a file are of the same, unchanged file.
bool isSameState(const struct stat& a, const struct stat& b) noexcept;

// Reads a whole file of the size that `status` tells; false when it turns out shorter or longer.
bool readWhole(const Descriptor& file, const struct stat& status, const tvk::FileString& path,
               zed::ByteBuffer& out);

// A file that is written beside its target and put in its place at the end, or else removed.
class NewFile {
 public:
  NewFile(const Place& place, std::string target);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  static bool IsLeftover(std::string_view name) noexcept;

  void Write(const zed::ByteBuffer& bytes);
  // Gives it mode, owner (when root), group and times of another file, and forces it to disk.
  void Finish(const struct stat& like);
  // Puts it in place; error 1029 when the target exists, unless `overwrite`.
  void Rename(bool overwrite);

 private:
  const Place& m_place;
  std::string m_target;  // errors name it, whatever the file is called meanwhile
  std::string m_name;
  Descriptor m_file;
  bool m_isPending = true;
};

}  // namespace tvkpack
