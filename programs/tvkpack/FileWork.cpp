#include "FileWork.h"

#include <unistd.h>

#include <algorithm>
#include <limits>
#include <string_view>

#include <tvk/files/FileException.h>
#include <tvk/text/ProgramName.h>
#include <tvk/time/DateTime.h>
#include <zed/Compressor.h>
#include <zed/Decompressor.h>

#include "Messages.h"
#include "Place.h"

namespace tvkpack {
namespace {

constexpr std::string_view packedSuffix = ".gz";
constexpr std::uint64_t largestBlock = std::numeric_limits<std::uint32_t>::max();
constexpr std::string_view gzipMagic = "\x1F\x8B";
constexpr std::int32_t gzipWindowBits = 31;

constexpr std::int64_t codeNotFound = 1001;
constexpr std::int64_t codeNotOpened = 1003;
constexpr std::int64_t codeNotRead = 1009;
constexpr std::int64_t codeTooManyFiles = 1012;
constexpr std::int64_t codeNoMemory = 1014;
constexpr std::int64_t codeExists = 1029;
constexpr std::int64_t codeBadHeader = 1034;

// Ends the work on a file that is left alone.
struct LeftAlone {
  MessageCode reason;
};

// Ends the work on a file that the user did not select, or when the user stopped the program.
struct NotConcerned {
  Outcome::Kind kind;
};

// Text as it can be shown in a line: control characters would break the line or drive the terminal.
std::string shown(std::string text) {
  for (char& c : text)
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7F') c = '?';
  return text;
}

// The text of an error whose message has no place for a path, with the path in front.
std::string errorAt(const tvk::FileString& path, std::int64_t code) {
  const tvk::ErrorLocation location(path, false);
  return tvk::Exception::Of(code).what();
}

// "19.0%", rounded to the nearest tenth.
std::string ratio(std::uint64_t packed, std::uint64_t unpacked) {
  if (unpacked == 0) return "-";
  const double tenths = 1000.0 * static_cast<double>(packed) / static_cast<double>(unpacked);
  const auto rounded = static_cast<std::uint64_t>(tenths + 0.5);
  return std::to_string(rounded / 10) + "." + std::to_string(rounded % 10) + "%";
}

std::string rightAligned(std::string text, std::size_t width) {
  if (text.size() < width) text.insert(0, width - text.size(), ' ');
  return text;
}

// The work on one file, from its status to its line.
class Job {
 public:
  Job(const Settings& settings, const std::atomic<bool>& stop, const FileWork::Confirm& confirm,
      const Item& item)
      : m_settings(settings), m_stop(stop), m_confirm(confirm), m_place(*item.root, item.path) {}

  Outcome Run() {
    const auto status = m_place.Find(m_place.Name());
    if (!status) throw tvk::FileException(codeNotFound, m_place.Path());
    m_status = *status;
    Select();
    if (m_confirm && !m_confirm(shown(m_place.Path()))) throw LeftAlone{ReasonRefused};
    switch (m_settings.mode) {
      case Mode::Pack:
        return Pack();
      case Mode::Unpack:
        return Unpack();
      case Mode::Test:
        return Test();
      default:
        return List();
    }
  }

 private:
  bool IsNamedPacked() const {
    return m_place.Name().ends_with(packedSuffix) && m_place.Name().size() > packedSuffix.size();
  }
  std::uint64_t Size() const { return static_cast<std::uint64_t>(m_status.st_size); }

  // Sorts out what is not concerned and what is left alone, by status and name.
  void Select() const {
    if (S_ISDIR(m_status.st_mode)) throw NotConcerned{Outcome::NotSelected};
    const bool isFile = S_ISREG(m_status.st_mode);
    const std::int64_t time = m_status.st_mtim.tv_sec;
    if ((m_settings.before && time >= *m_settings.before) || (m_settings.after && time < *m_settings.after) ||
        (m_settings.larger && (!isFile || Size() <= *m_settings.larger)) ||
        (m_settings.smaller && (!isFile || Size() >= *m_settings.smaller)))
      throw NotConcerned{Outcome::NotSelected};
    const bool readsOnly = m_settings.mode == Mode::Test || m_settings.mode == Mode::List;
    if (readsOnly && !IsNamedPacked()) throw NotConcerned{Outcome::NotSelected};

    if (S_ISLNK(m_status.st_mode)) throw LeftAlone{ReasonLink};
    if (!isFile) throw LeftAlone{ReasonNoFile};
    if (NewFile::IsLeftover(m_place.Name())) throw LeftAlone{ReasonLeftover};
    if (m_settings.mode == Mode::Pack && IsNamedPacked()) throw LeftAlone{ReasonPacked};
    if (m_settings.mode == Mode::Unpack && !IsNamedPacked()) throw LeftAlone{ReasonNotPacked};
    if (!readsOnly && m_status.st_nlink > 1) throw LeftAlone{ReasonManyLinks};
    if (m_settings.mode == Mode::Pack && Size() == 0) throw LeftAlone{ReasonEmpty};
    if (Size() > largestBlock) throw LeftAlone{ReasonTooLarge};
  }

  void CheckStop() const {
    if (m_stop) throw NotConcerned{Outcome::Unstarted};
  }

  // The bytes of the open file from there on; fewer at its end.
  std::string BytesAt(off_t position, std::size_t size) const {
    std::string bytes(size, '\0');
    const ssize_t count = pread(m_file.Number(), bytes.data(), size, position);
    if (count < 0) throwSystemError(codeNotRead, m_place.Path());
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
  }
  bool BeginsWith(std::string_view bytes) const { return BytesAt(0, bytes.size()) == bytes; }

  // Opens the file and looks at its first bytes only.
  void Open() {
    CheckStop();
    m_file = m_place.Open();
    struct stat open {};
    if (fstat(m_file.Number(), &open) != 0) throwSystemError(codeNotRead, m_place.Path());
    if (!isSameState(open, m_status)) throw LeftAlone{ReasonChanged};
    if (!m_settings.skip.empty() && BeginsWith(m_settings.skip)) throw LeftAlone{ReasonSkipped};
  }

  void Read(zed::ByteBuffer& bytes) {
    if (!readWhole(m_file, m_status, m_place.Path(), bytes)) throw LeftAlone{ReasonChanged};
    CheckUnchanged();
  }

  // What the name stands for must still be what was looked at first, and opened: no other file has the number of
  // one that is open.
  void CheckUnchanged() const {
    const auto named = m_place.Find(m_place.Name());
    if (!named || !isSameState(*named, m_status)) throw LeftAlone{ReasonChanged};
  }

  void RequireFree(const std::string& target) const {
    if (!m_settings.overwrite && m_place.Find(target))
      throw tvk::FileException(codeExists, m_place.PathOf(target));
  }

  // Writes the new file beside, puts it in place, and only then lets the original go.
  void Replace(const zed::ByteBuffer& contents, const std::string& target) {
    NewFile file(m_place, target);
    file.Write(contents);
    file.Finish(m_status);
    CheckUnchanged();
    CheckStop();
    file.Rename(m_settings.overwrite);
    m_place.Force();
    if (m_settings.keep) return;
    const auto takeBack = [&] {
      if (m_place.Find(m_place.Name())) m_place.Remove(target);  // else it may be the only copy
    };
    try {
      CheckUnchanged();
    } catch (const LeftAlone&) {
      takeBack();
      throw;
    } catch (const tvk::FileException&) {
      takeBack();
      throw;
    }
    m_place.Remove(m_place.Name());
  }

  Outcome Done(MessageCode line, std::uint64_t after, std::uint64_t packed, std::uint64_t unpacked) const {
    return {Outcome::Done,
            message(line, {std::to_string(Size()), std::to_string(after), ratio(packed, unpacked),
                           shown(m_place.Path())}),
            Size(), after};
  }

  Outcome Pack() {
    const std::string target = m_place.Name() + std::string(packedSuffix);
    RequireFree(target);
    Open();
    if (BeginsWith(gzipMagic)) throw LeftAlone{ReasonPacked};
    zed::ByteBuffer original;
    Read(original);
    zed::GZip gzip;
    if (!gzip.Compress(original)) throw tvk::Exception::Of(codeNoMemory);
    const zed::ByteBuffer packed = std::move(gzip.Result());
    if (packed.Size() >= original.Size()) throw LeftAlone{ReasonNotSmaller};
    CheckStop();
    if (!zed::IsBlockOf(packed, original)) throw tvk::FileException(NotTheSame, m_place.Path());
    Replace(packed, target);
    return Done(LinePacked, packed.Size(), packed.Size(), Size());
  }

  // The path behind a message that ends without a blank.
  std::string Where() const { return ": " + std::string(m_place.Path()); }

  void OpenPacked() {
    Open();
    if (!BeginsWith(gzipMagic)) throw tvk::Exception::Of(codeBadHeader, Where());
  }

  zed::ByteBuffer Unpacked() {
    OpenPacked();
    zed::ByteBuffer packed;
    Read(packed);
    zed::Decompressor unpacker(gzipWindowBits);
    if (!unpacker.Decompress(packed)) throw tvk::Exception::Of(NotWhole, Where());
    return std::move(unpacker.Result());
  }

  Outcome Unpack() {
    const std::string target = m_place.Name().substr(0, m_place.Name().size() - packedSuffix.size());
    RequireFree(target);
    const zed::ByteBuffer contents = Unpacked();
    Replace(contents, target);
    return Done(LineUnpacked, contents.Size(), Size(), contents.Size());
  }

  Outcome Test() {
    const std::uint64_t unpacked = Unpacked().Size();
    return Done(LineTested, unpacked, Size(), unpacked);
  }

  // Takes the unpacked size from the end of the block, which nothing vouches for: Test() does.
  Outcome List() {
    OpenPacked();
    const std::string size = BytesAt(std::max<off_t>(m_status.st_size - 4, 0), 4);
    if (size.size() != 4) throw tvk::Exception::Of(NotWhole, Where());
    std::uint64_t unpacked = 0;
    for (std::size_t at = 4; at-- > 0;) unpacked = unpacked << 8 | static_cast<unsigned char>(size[at]);
    const std::string time = tvk::DateTimeO::FromUnixTime(m_status.st_mtim.tv_sec).Format(true);
    return {Outcome::Done,
            message(LineListed,
                    {rightAligned(std::to_string(Size()), 12), rightAligned(std::to_string(unpacked), 12),
                     rightAligned(ratio(Size(), unpacked), 6), time, shown(m_place.Path())}),
            Size(), unpacked};
  }

  const Settings& m_settings;
  const std::atomic<bool>& m_stop;
  const FileWork::Confirm& m_confirm;
  const Place m_place;
  struct stat m_status {};
  Descriptor m_file;
};

}  // namespace

Outcome FileWork::Do(const Item& item) const {
  try {
    if (item.error != 0) throwSystemError(codeNotOpened, item.path, item.error);
    return Job(m_settings, m_stop, m_confirm, item).Run();
  } catch (const LeftAlone& left) {
    return {Outcome::Left, message(LineLeft, {message(left.reason), shown(item.path)}), 0, 0};
  } catch (const NotConcerned& reason) {
    return {reason.kind, {}, 0, 0};
  } catch (const tvk::AbortException&) {
    throw;
  } catch (const tvk::Exception& e) {
    const std::int64_t code = e.GetCode();
    const bool namesNothing = code == codeTooManyFiles || code == codeNoMemory;
    return {Outcome::Failed, shown(namesNothing ? errorAt(item.path, code) : e.what()), 0, 0};
  } catch (const std::bad_alloc&) {
    return {Outcome::Failed, errorAt(item.path, codeNoMemory), 0, 0};
  } catch (const std::exception& e) {
    return {Outcome::Failed, tvk::ProgramName::Get() + ": " + shown(item.path) + ": " + e.what(), 0, 0};
  }
}

}  // namespace tvkpack
