#include <tvk/files/File.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <tvk/files/FileException.h>
#include <tvk/files/FileImplStream.h>
#include <tvk/files/FileStatus.h>
#include <tvk/files/detail/FolderChain.h>
#include <tvk/time/DateTime.h>

namespace tvk {
namespace {

constexpr std::size_t transferSize = 61440;

std::size_t pieceOf(std::uint64_t count) {
  return static_cast<std::size_t>(std::min<std::uint64_t>(count, transferSize));
}

// Shows the caller's path instead of the normalised one in what `work` throws.
template <class Work>
decltype(auto) withPath(const FileString& path, Work&& work) {
  try {
    return work();
  } catch (FileException& e) {
    e.setFileName(path);
    throw;
  }
}

template <class Number>
Number readNumber(File& file) {
  Number value = 0;
  file.read(&value, sizeof value, true);
  return value;
}

}  // namespace

File::File(const FileString& path) : m_name(path) {}
File::File(File&& other) noexcept = default;
File& File::operator=(File&& other) noexcept = default;
File::~File() = default;

void File::raise(std::int64_t code, int cause) const {
  FileException exception(code, m_name);
  exception.setCause(cause);
  throw exception;
}

template <class Work>
decltype(auto) File::forward(std::int64_t closedCode, Work&& work) const {
  if (m_impl == nullptr) raise(closedCode);
  return withPath(m_name, [&]() -> decltype(auto) { return work(*m_impl); });
}

void File::closeIfOpen() {
  if (isOpen()) close();
}

void File::write(const void* data, std::size_t count) {
  forward(1010, [&](FileImpl& body) { body.write(data, count); });
}

void File::rewind() { seek(0); }

void File::seekToEnd() {
  forward(1009, [](FileImpl& body) { body.seekToEnd(); });
}

void File::setName(const char* path) { m_name = path; }

const FileString& File::name() const {
  if (m_name.empty()) raise(1016);
  return m_name;
}

void File::openReadWrite() { open(ModeRead | ModeWrite); }

void File::open(std::uint32_t mode) {
  m_impl.reset();
  m_impl = std::make_unique<FileImplStream>();
  if ((mode & ModeMustExist) != 0 && !isFile(m_name)) raise(1001);
  if (m_name.empty()) raise(1003);
  try {
    withPath(m_name, [&] { m_impl->open(m_name, mode); });
  } catch (const Exception&) {
    throw;
  } catch (const std::exception&) {
    raise(1003);
  }
}

void File::create(std::uint32_t mode, std::uint32_t /*extra*/) {
  m_impl.reset();
  m_impl = std::make_unique<FileImplStream>();
  if ((mode & ModeFolder) != 0) return createFolder(mode);
  withPath(m_name, [&] { m_impl->create(m_name, mode); });
}

void File::adopt(int descriptor, std::uint32_t mode) {
  detail::Descriptor owned(descriptor);
  m_impl.reset();
  auto body = std::make_unique<FileImplStream>();
  withPath(m_name, [&] { body->adopt(m_name, owned.release(), mode); });
  m_impl = std::move(body);
}

bool File::isOpen() const { return m_impl != nullptr && m_impl->isOpen(); }

void File::close() {
  if (m_impl == nullptr) return;
  const std::unique_ptr<FileImpl> body = std::move(m_impl);
  withPath(m_name, [&] { body->close(); });
}

std::size_t File::read(void* buffer, std::size_t count, bool exact) {
  const std::size_t got = forward(1009, [&](FileImpl& body) { return body.read(buffer, count); });
  if (exact && got < count) raise(1009);
  return got;
}

std::uint8_t File::readU8() { return readNumber<std::uint8_t>(*this); }
std::uint16_t File::readU16() { return readNumber<std::uint16_t>(*this); }
std::uint32_t File::readU32() { return readNumber<std::uint32_t>(*this); }
std::uint64_t File::readU64() { return readNumber<std::uint64_t>(*this); }

void File::writeU8(std::uint8_t value) { write(&value, sizeof value); }
void File::writeU16(std::uint16_t value) { write(&value, sizeof value); }
void File::writeU32(std::uint32_t value) { write(&value, sizeof value); }
void File::writeU64(std::uint64_t value) { write(&value, sizeof value); }

void File::writeZeros(std::uint64_t count) {
  if (count == 0) return;
  const auto zeros = std::make_unique<char[]>(pieceOf(count));
  while (count > 0) {
    const std::size_t piece = pieceOf(count);
    write(zeros.get(), piece);
    count -= piece;
  }
}

void File::copyFrom(File& source, std::uint64_t count) {
  if (count == 0) return;
  const auto buffer = std::make_unique_for_overwrite<char[]>(pieceOf(count));
  while (count > 0) {
    const std::size_t got = source.read(buffer.get(), pieceOf(count), true);
    if (got == 0) source.raise(1146);
    write(buffer.get(), got);
    count -= got;
  }
}

std::uint64_t File::size() const {
  return forward(1009, [](FileImpl& body) { return body.size(); });
}

std::uint64_t File::tell() const {
  return forward(1009, [](FileImpl& body) { return body.tell(); });
}

void File::seek(std::uint64_t position) {
  forward(1009, [&](FileImpl& body) { body.seek(position); });
}

void File::flush() {
  forward(1010, [](FileImpl& body) { body.flush(); });
}

void File::truncate() {
  forward(1010, [](FileImpl& body) { body.truncate(); });
}

void File::getTimes(std::int64_t& changeTime, std::int64_t& accessTime,
                    std::int64_t& modificationTime) const {
  if (isOpen())
    return forward(1009, [&](FileImpl& body) { body.getTimes(changeTime, accessTime, modificationTime); });
  if (!readFileTimes(m_name, changeTime, accessTime, modificationTime)) raise(1001, errno);
}

void File::setTimes(std::int64_t changeTime, std::int64_t accessTime, std::int64_t modificationTime) {
  if (isOpen())
    return forward(1010, [&](FileImpl& body) { body.setTimes(changeTime, accessTime, modificationTime); });
  if (!writeFileTimes(m_name, accessTime, modificationTime)) raise(1001, errno);
}

void File::getTimes(DateTimeO& changeTime, DateTimeO& accessTime, DateTimeO& modificationTime) const {
  std::int64_t change = 0;
  std::int64_t access = 0;
  std::int64_t modification = 0;
  getTimes(change, access, modification);
  const DateTimeO changed = DateTimeO::FromUnixTime(change);
  const DateTimeO accessed = DateTimeO::FromUnixTime(access);
  modificationTime = DateTimeO::FromUnixTime(modification);  // none is set when one lies out of range
  accessTime = accessed;
  changeTime = changed;
}

void File::setTimes(const DateTimeO& /*changeTime*/, const DateTimeO& accessTime,
                    const DateTimeO& modificationTime) {
  setTimes(0, accessTime.ToUnixTime(), modificationTime.ToUnixTime());
}

}  // namespace tvk
