// What the libraries answer, for the scripts of this folder: one answer on standard output to each question on
// standard input. Both are a length in four bytes, low byte first, and that many bytes; the first byte of a
// question chooses the operation.
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <tvk/files/FileTreeScan.h>
#include <tvk/text/Exception.h>
#include <tvk/text/StringBase.h>
#include <tvk/text/Utf8.h>
#include <tvk/time/DateTime.h>
#include <zed/Compressor.h>
#include <zed/Decompressor.h>

#include "Probe.h"

namespace {

using namespace std::string_literals;
using tvk::DateTimeO;
using Narrow = tvk::StringBase<char>;
using Wide = tvk::StringBase<wchar_t>;

// --- Dates.

std::string show(const DateTimeO& value) {
  const tvk::CalendarFields f = value.GetFields();
  std::ostringstream out;
  out << f.year << ' ' << f.month << ' ' << f.day << ' ' << f.hour << ' ' << f.minute << ' ' << f.second
      << ' ' << f.weekday << ' ' << value.ZoneMinutes() << ' ' << value.ToUnixTime();
  return out.str();
}

// From seconds and, optionally, a zone.
std::string moment(const std::string& question) {
  long long seconds = 0;
  int zone = DateTimeO::LocalZone;
  std::sscanf(question.c_str(), "%lld %d", &seconds, &zone);
  return show(DateTimeO::FromUnixTime(seconds, zone));
}

std::string localFields(const std::string& question) {
  int n[6]{};
  std::sscanf(question.c_str(), "%d %d %d %d %d %d", &n[0], &n[1], &n[2], &n[3], &n[4], &n[5]);
  return show(DateTimeO(n[0], n[1], n[2], n[3], n[4], n[5], 0));
}

// --- Scans: "-" for the folder alone, "r" for all below it, "a" for sub-folders in front; the folder; the patterns.
// Answered by "+" for a folder and the number of its matches, the number of each match, and "-" when it is visited, each
// with the path. With "e" the folder alone is scanned and its error is the answer.

struct Scan : tvk::FileTreeScan {
  using FileTreeScan::FileTreeScan;
  void onFolder(const tvk::FileString& path, std::span<const tvk::FileString> files) override {
    Note("+" + std::to_string(files.size() + fileCount()), path);
    error = folderError();
  }
  void onFile(const tvk::FileString& path) override { Note(std::to_string(fileCount()), path); }
  void onFolderVisited() override { Note("-", Name()); }
  void Note(const std::string& event, const tvk::FileString& path) {
    if (path != Name()) std::abort();
    found += event + " " + path + '\0';
  }
  tvk::FileString Name() const {
    try {
      return name();
    } catch (const tvk::Exception&) {
      return {};  // the empty folder has no name
    }
  }
  std::string found;
  int error = -1;
};

std::string scanned(const std::string& question) {
  const auto parts = split(question);
  tvk::FileSpecification specification;
  specification.recursive = parts[0] == "r" || parts[0] == "a";
  specification.folder = parts[1];
  for (std::size_t i = 2; i < parts.size(); ++i) specification.add(parts[i]);
  Scan scan(specification, parts[0] == "a" ? tvk::ScanFoldersAfter : 0);
  scan.run();
  return parts[0] == "e" ? std::to_string(scan.error) : scan.found;
}

// --- Blocks. "refused" when there is no result.

template <class Worker>
std::string result(Worker&& worker, bool isDone) {
  return isDone ? std::string(worker.Result().begin(), worker.Result().end()) : "refused";
}

template <class Packer>
std::string pack(const std::string& bytes) {
  Packer packer;
  return result(packer, packer.Compress(bytes.data(), bytes.size()));
}

template <int WindowBits>
std::string unpack(const std::string& bytes) {
  const zed::ByteBuffer block(bytes);
  zed::ByteBuffer out;
  zed::Decompressor unpacker(WindowBits);
  const bool isDone = unpacker.Decompress(block);
  if (isDone != zed::IsCompleteBlock(block, WindowBits)) return "undecided";
  if (WindowBits == 31 && zed::DecompressGzip(block, out) != unpacker.Result().Size()) return "undecided";
  return result(unpacker, isDone);
}

Wide wideOf(const std::string& bytes) {
  Wide text(bytes.size() / sizeof(wchar_t), L' ');
  bytes.copy(reinterpret_cast<char*>(text.data()), text.size() * sizeof(wchar_t));
  return text;
}

std::string bytesOf(const Wide& text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

std::string resultOf(char operation, const std::string& text) {
  switch (operation) {
    case 'n':
      return Narrow(text).ToUtf8().ToString();
    case 'N':
      return Narrow::FromUtf8(text);
    case 'w':
      return wideOf(text).ToUtf8().ToString();
    case 'W':
      return bytesOf(Wide::FromUtf8(text));
    case 't':
      return moment(text);
    case 'f':
      return localFields(text);
    case 'a':
      return answerArguments(text);
    case 'p':
      return answerItem(text);
    case 'x':
      return answerText(text);
    case 's':
      return scanned(text);
    case 'g':
      return pack<zed::GZip>(text);
    case 'c':
      return pack<zed::Zip>(text);
    case 'G':
      return unpack<31>(text);
    case 'C':
      return unpack<15>(text);
    case 'A':
      return unpack<47>(text);
    default:
      std::abort();
  }
}

// "=" and the answer, or "!" with the code of an exception, its first values and its location.
std::string answer(const std::string& question) {
  try {
    return "=" + resultOf(question.at(0), question.substr(1));
  } catch (const tvk::Exception& e) {
    std::string text = "!" + std::to_string(e.GetCode()) + ":" + e.First();
    for (const Narrow& more : {e.Second(), e.Location()})
      if (!more.empty()) text += ";" + more;
    return text;
  }
}

}  // namespace

int main() {
  std::setlocale(LC_ALL, "");
  std::uint32_t size;
  for (std::string text; std::fread(&size, sizeof size, 1, stdin) == 1;) {
    text.resize(size);
    if (std::fread(text.data(), 1, size, stdin) != size) return 1;
    text = answer(text);
    size = static_cast<std::uint32_t>(text.size());
    std::fwrite(&size, sizeof size, 1, stdout);
    std::fwrite(text.data(), 1, size, stdout);
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
