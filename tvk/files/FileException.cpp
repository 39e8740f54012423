#include <tvk/files/FileException.h>

#include <cerrno>

namespace tvk {
namespace {

// EACCES, ENOSPC and the others keep the code of the operation that failed.
std::int64_t codeOf(int error, std::int64_t defaultCode) {
  switch (error) {
    case ENOENT:
      return 1001;
    case ENOTDIR:
      return 1002;
    case ENFILE:
    case EMFILE:
      return 1012;
    case EPERM:
      return 1013;
    case ENOMEM:
      return 1014;
    case EEXIST:
      return 1029;
    default:
      return defaultCode;
  }
}

}  // namespace

FileException::FileException(std::int64_t code, const FileString& path, std::int64_t systemError)
    : FileException(code, path, StringBase<char>(), StringBase<char>()) {
  m_systemError = systemError;
  m_cause = static_cast<int>(systemError);
}

FileException::FileException(std::int64_t code, const FileString& path, const StringBase<char>& second,
                             const StringBase<char>& third)
    : Exception(code, StringBase<char>(), second, third, StringBase<char>()), m_fileName(path) {}

FileException FileException::OfSystem(std::int64_t defaultCode, const FileString& path, int error) {
  FileException exception(codeOf(error, defaultCode), path);
  exception.m_cause = error;
  return exception;
}

FileException::~FileException() = default;

const char* FileException::Text() const { return FormText(displayName(m_fileName), Second(), Third()); }

}  // namespace tvk
