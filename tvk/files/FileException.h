// The failures of files and folders: an Exception that also knows the path and the system's error number.
#pragma once

#include <concepts>
#include <cstdint>
#include <system_error>

#include <tvk/Export.h>
#include <tvk/files/FileString.h>
#include <tvk/text/Exception.h>

namespace tvk {

// A coded failure that concerns a path. Its text shows the path as displayName() gives it, absolute and of at
// most 512 characters or "<none>", in place of the first parameter; the second and third parameters follow.
// Codes whose text has no place for a path are thrown as plain Exception.
//
//   try {
//     file.write(data, size);
//   } catch (const tvk::FileException& e) {
//     if (e.cause() == std::errc::no_space_on_device) makeRoom();
//   }
class TVK_EXPORT FileException : public Exception {
 public:
  FileException(std::int64_t code, const FileString& path, std::int64_t systemError = 0);

  // The usual way to give it a second and third parameter, texts or whole numbers.
  template <class... Values>
  requires(sizeof...(Values) <= 2) static FileException
      Of(std::int64_t code, const FileString& path, const Values&... values) {
    const StringBase<char> texts[2] = {ParameterText(values)...};
    return FileException(code, path, texts[0], texts[1]);
  }
  // For a failed system call: the code that stands for `error` (an errno value), and `defaultCode` where none
  // does. `error` becomes the cause; systemError() stays 0.
  static FileException OfSystem(std::int64_t defaultCode, const FileString& path, int error);

  FileException(const FileException&) = default;
  FileException& operator=(const FileException&) = default;
  ~FileException() override;

  // Forms the text with the path's display form in it.
  const char* Text() const override;

  // The path as the caller gave it; empty when none is concerned.
  const FileString& fileName() const noexcept { return m_fileName; }
  void setFileName(const FileString& path) { m_fileName = path; }

  // The error number of the few operations that promise one, otherwise 0; cause() knows more.
  std::int64_t systemError() const noexcept { return m_systemError; }

  // What the system said, also where systemError() is 0; no error when the system had no part in the failure.
  // The text does not show it.
  std::error_code cause() const noexcept { return {m_cause, std::system_category()}; }
  void setCause(int error) noexcept { m_cause = error; }

 private:
  FileException(std::int64_t code, const FileString& path, const StringBase<char>& second,
                const StringBase<char>& third);

  FileString m_fileName;
  std::int64_t m_systemError = 0;
  int m_cause = 0;
};

}  // namespace tvk
