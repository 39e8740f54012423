// What the libraries answer, for scripts: one answer on standard output to each question on standard input. Both are
// a length in four bytes, low byte first, and that many bytes; the first byte of a question is the operation. Or one
// question as arguments, "probe OPERATION PART...": the answer as it is, and status 1 with a text for a failure.
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include <tvk/files/FileTreeScan.h>
#include <tvk/text/Exception.h>
#include <tvk/text/StringBase.h>
#include <tvk/text/Utf8.h>
#include <zed/Compressor.h>
#include <zed/Decompressor.h>

#include "Probe.h"

namespace {

using Narrow = tvk::StringBase<char>;
using Wide = tvk::StringBase<wchar_t>;

// --- Scans: "-" for the folder alone, "r" for all below it, "a" for sub-folders in front; the folder; the patterns.

// Writes each match, with a zero behind it.
struct Lister : tvk::FileTreeScan {
  using FileTreeScan::FileTreeScan;
  void onFile(const tvk::FileString& path) override { std::fwrite(path.c_str(), 1, path.size() + 1, stdout); }
  std::string found;
  int error = -1;
};

// Answers "+" for a folder and the number of its matches, the number of each match, and "-" when it is visited, each
// with the path. With "e" the folder alone is scanned and its error is the answer.
struct Reporter : Lister {
  using Lister::Lister;
  void onFolder(const tvk::FileString& path, std::span<const tvk::FileString> files) override {
    Note("+" + std::to_string(files.size() + fileCount()), path);
    error = folderError();
  }
  void onFile(const tvk::FileString& path) override { Note(std::to_string(fileCount()), path); }
  void onFolderVisited() override { Note("-", specification().folder.empty() ? tvk::FileString() : name()); }
  void Note(const std::string& event, const tvk::FileString& path) {
    found += (path.empty() || path == name() ? event : "another name:") + " " + path + '\0';
  }
};

template <class Scan>
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

// --- Work on trees: a path and a target. What is refused fails with the error of the system.

std::string path(const std::string& question) { return split(question).at(0); }
std::string target(const std::string& question) { return split(question).at(1); }

std::string done(bool isDone) {
  if (!isDone) throw std::system_error(errno, std::generic_category());
  return {};
}

// --- Blocks. "refused" when there is no result.

std::string result(auto& worker, bool isDone) {
  return isDone ? std::string(worker.Result().begin(), worker.Result().end()) : "refused";
}

std::string packed(zed::Compressor&& packer, const std::string& bytes) {
  return result(packer, packer.Compress(bytes.data(), bytes.size()));
}

std::string unpacked(int windowBits, const std::string& bytes) {
  const zed::ByteBuffer block(bytes);
  zed::ByteBuffer out;
  zed::Decompressor unpacker(windowBits);
  const bool isDone = unpacker.Decompress(block);
  if (isDone != zed::IsCompleteBlock(block, windowBits)) return "undecided";
  if (windowBits == 31 && zed::DecompressGzip(block, out) != unpacker.Result().Size()) return "undecided";
  return result(unpacker, isDone);
}

// --- Wide text, as its bytes.

Wide wideOf(const std::string& bytes) {
  Wide text(bytes.size() / sizeof(wchar_t), L' ');
  bytes.copy(reinterpret_cast<char*>(text.data()), text.size() * sizeof(wchar_t));
  return text;
}

std::string bytesOf(const Wide& text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

// What answers each operation: a letter, or a word for those that only arguments can ask for.
const std::map<std::string, std::string (*)(const std::string& question)> answers{
    {"n", [](auto& q) { return Narrow(q).ToUtf8().ToString(); }},
    {"N", [](auto& q) { return std::string(Narrow::FromUtf8(q)); }},
    {"w", [](auto& q) { return wideOf(q).ToUtf8().ToString(); }},
    {"W", [](auto& q) { return bytesOf(Wide::FromUtf8(q)); }},
    {"d", answerDate},
    {"a", answerArguments},
    {"p", answerItem},
    {"o", answerOptions},
    {"x", answerText},
    {"s", scanned<Reporter>},
    {"g", [](auto& q) { return packed(zed::GZip(), q); }},
    {"c", [](auto& q) { return packed(zed::Zip(), q); }},
    {"G", [](auto& q) { return unpacked(31, q); }},
    {"C", [](auto& q) { return unpacked(15, q); }},
    {"A", [](auto& q) { return unpacked(47, q); }},
    {"list", scanned<Lister>},
    {"remove", [](auto& q) { return done(tvk::File(path(q)).removeTree()); }},
    {"copy", [](auto& q) { return done(tvk::File(path(q)).copyTo(target(q), tvk::ModeRecursive)); }},
    {"copyTo", [](auto& q) { return done(tvk::File(path(q)).copyTo(target(q))); }},
    {"copyFile", [](auto& q) { return done(tvk::File::copyFile(path(q), target(q))); }},
    {"move", [](auto& q) { return tvk::File(path(q)).move(target(q)), std::string(); }},
};

// "=" and the answer, or "!" with the code of an exception, its first values and its location.
std::string answer(const std::string& operation, const std::string& question) {
  try {
    return "=" + answers.at(operation)(question);
  } catch (const tvk::Exception& e) {
    std::string text = "!" + std::to_string(e.GetCode()) + ":" + e.First();
    for (const Narrow& more : {e.Second(), e.Location()})
      if (!more.empty()) text += ";" + more;
    return text;
  } catch (const std::system_error& e) {
    return "!" + std::to_string(e.code().value()) + ":" + e.what();
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");
  if (argc > 1) {
    std::string text;
    for (int i = 2; i < argc; ++i) text.append(argv[i]) += '\0';
    text = answer(argv[1], text);
    const bool isDone = text[0] == '=';
    std::fwrite(text.data() + 1, 1, text.size() - 1, isDone ? stdout : stderr);
    return std::fflush(stdout) == 0 && isDone ? 0 : 1;
  }
  std::uint32_t size;
  for (std::string text; std::fread(&size, sizeof size, 1, stdin) == 1;) {
    text.resize(size);
    if (std::fread(text.data(), 1, size, stdin) != size) return 1;
    text = answer(text.substr(0, 1), text.substr(1));
    size = static_cast<std::uint32_t>(text.size());
    std::fwrite(&size, sizeof size, 1, stdout);
    std::fwrite(text.data(), 1, size, stdout);
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
