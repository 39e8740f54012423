// The operations of this room, for files_test.py: one answer on standard output to each question on standard input.
// A question is the number of its words and these in quotation marks, the operation first; an answer is its length, a
// line break, and "=" with the result or "!" with the failure.
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <concepts>
#include <iomanip>
#include <iostream>
#include <map>
#include <thread>

#include <tvk/files/CurrentProcess.h>
#include <tvk/files/FileException.h>
#include <tvk/files/FileStatus.h>
#include <tvk/files/FileTreeScan.h>
#include <tvk/files/Folders.h>
#include <tvk/files/HostAddress.h>
#include <tvk/text/Hexadecimal.h>
#include <tvk/time/DateTime.h>

static bool s_isOvertaken = false;

// As if another process made the folder a moment before.
extern "C" int mkdir(const char* path, mode_t mode) noexcept {
  const int result = mkdirat(AT_FDCWD, path, mode);
  return s_isOvertaken ? mkdirat(AT_FDCWD, path, mode) : result;
}

namespace {

using namespace std::string_literals;
using namespace tvk;
using Words = std::vector<std::string>;

struct Number {
  template <std::integral T>
  operator T() const {
    return static_cast<T>(std::strtoull(text.c_str(), nullptr, 0));
  }
  const std::string& text;
};

std::map<std::string, File> s_files;  // by the names that questions give them
File* s_fresh = nullptr;              // the file "fresh", while a replacement is at work
HostAddress s_host;
int s_locked;  // a descriptor

// Answers and asks on, until the script has what waits here return, or fail as an operation does.
void serve(std::string reply);

// Lets the script in while a scan or a replacement is at work.
struct Scan : FileTreeScan {
  using FileTreeScan::FileTreeScan;
  void onFile(const FileString& entry) override { serve("=" + entry); }
};

void fill(File& fresh) {
  s_fresh = &fresh;
  serve("=" + fresh.name());
}

std::string timesOf(File& file, bool asDates) {
  std::int64_t times[3] = {-1, -1, -1};
  DateTimeO dates[3];
  asDates ? file.getTimes(dates[0], dates[1], dates[2]) : file.getTimes(times[0], times[1], times[2]);
  for (int i = 0; i < 3 && asDates; ++i) times[i] = dates[i].ToUnixTime();
  return std::to_string(times[0]) + " " + std::to_string(times[1]) + " " + std::to_string(times[2]);
}

std::string read(File& file, std::size_t count, bool exact) {
  std::string bytes(count, '-');
  bytes.resize(file.read(bytes.data(), count, exact));
  return bytes;
}

// The words: operation, handle, and what it takes.
std::string workOn(File& file, const Words& words) {
  const std::string &work = words[0], &text = words[2];
  const Number number{text}, second{words[3]};
  const auto date = [&](std::size_t at) { return DateTimeO::FromUnixTime(Number{words[at]}); };
  if (work == "new") return file = File(text), "";
  if (work == "take") return file = std::move(s_files.at(text)), "";
  if (work == "open") return file.open(number), "";
  if (work == "openReadWrite") return file.openReadWrite(), "";
  if (work == "openTemporary") return std::to_string(file.openTemporary(text));
  if (work == "create") return file.create(number), "";
  if (work == "close") return file.close(), "";
  if (work == "isOpen") return std::to_string(file.isOpen());
  if (work == "name") return file.name();
  if (work == "setName") return file.setName(text.c_str()), "";
  if (work == "read") return read(file, number, !words[3].empty());
  if (work == "readU8") return std::to_string(file.readU8());
  if (work == "readU16") return std::to_string(file.readU16());
  if (work == "readU32") return std::to_string(file.readU32());
  if (work == "readU64") return std::to_string(file.readU64());
  if (work == "write") return file.write(text.data(), text.size()), "";
  if (work == "writeU8") return file.writeU8(number), "";
  if (work == "writeU16") return file.writeU16(number), "";
  if (work == "writeU32") return file.writeU32(number), "";
  if (work == "writeU64") return file.writeU64(number), "";
  if (work == "writeZeros") return file.writeZeros(number), "";
  if (work == "copyFrom") return file.copyFrom(s_files.at(text), second), "";
  if (work == "seek") return file.seek(number), "";
  if (work == "seekToEnd") return file.seekToEnd(), "";
  if (work == "rewind") return file.rewind(), "";
  if (work == "tell") return std::to_string(file.tell());
  if (work == "size") return std::to_string(file.size());
  if (work == "truncate") return file.truncate(), "";
  if (work == "flush") return file.flush(), "";
  if (work == "getTimes") return timesOf(file, false);
  if (work == "getDates") return timesOf(file, true);
  if (work == "setTimes") return file.setTimes(number, second, Number{words[4]}), "";
  if (work == "setDates") return file.setTimes(date(2), date(3), date(4)), "";
  if (work == "replaceContents") return file.replaceContents(text.data(), text.size(), second), "";
  if (work == "replace") return file.replaceContents(fill, number), "";
  if (work == "remove") return std::to_string(file.remove());
  if (work == "removeFolder") return std::to_string(file.removeFolder(number));
  if (work == "removeTree") return std::to_string(file.removeTree());
  if (work == "createFolder") return file.createFolder(number), "";
  if (work == "move") return file.move(text), file.name();
  if (work == "rename") return file.rename(text), file.name();
  if (work == "copyTo") return file.copyTo(text, second) ? file.name() : "0";
  if (work == "dropInCancelledThread") {  // writing is where such a thread ends
    std::thread([&file] { pthread_cancel(pthread_self()), file = File(); }).join();
    return "";
  }
  throw std::invalid_argument(work);
}

std::string pathWork(const Words& words) {
  const std::string& work = words[0];
  const FileString &first = words[1], &second = words[2];
  FileString path = first, found = "before";
  if (work == "normalise") return normalise(path), path;
  if (work == "join") return join(path, second), path;
  if (work == "fileNamePart") return fileNamePart(first);
  if (work == "fileName") return fileName(first, WithExtension(!second.empty()));
  if (work == "extension") return extension(first);
  if (work == "folderPart") return folderPart(first, second);
  if (work == "setExtension") return setExtension(path, second), path;
  if (work == "replaceName") return replaceName(path, second, WithExtension(!words[3].empty())), path;
  if (work == "folderOf") return folderOf(first);
  if (work == "parentFolder") return parentFolder(first, Number{words[2]});
  if (work == "displayName") return displayName(first, Number{words[2]});
  if (work == "expand") return expandEnvironment(path) ? path : "no dollar";
  if (work == "findInFolders") return findInFolders(found, first, second), found;
  if (work == "isFile") return std::to_string(isFile(first));
  if (work == "isFolder") return std::to_string(isFolder(first));
  if (work == "realPath") return realPath(first);
  if (work == "currentFolder") return currentFolder();
  if (work == "homeFolder") return homeFolder();
  if (work == "tempFolder") return tempFolder();
  if (work == "executablePath") return executablePath();
  if (work == "copyFile") return std::to_string(File::copyFile(first, second));
  return workOn(words[1] == "fresh" ? *s_fresh : s_files[words[1]], words);
}

// Does what the second word says and shows the host: answer, bytes, number and name.
std::string hostWork(const std::string& work, const std::string& text) {
  bool answer = true;
  if (work == "bytes") s_host = HostAddress(DecodeHexadecimal(text));
  if (work == "Assign") answer = s_host.Assign(text);
  if (work == "AssignNumber") answer = s_host.AssignNumber(text);
  if (work == "AssignHost") answer = s_host.AssignHost(text);
  if (work == "AssignLocalHost") answer = s_host.AssignLocalHost();
  if (work == "ResolveAddress") answer = s_host.ResolveAddress();
  if (work == "ResolveName") answer = s_host.ResolveName();
  if (s_host != HostAddress(s_host.Bytes()) || s_host.IsValid() == s_host.ToText().empty()) return "broken";
  return std::to_string(answer) + " " + EncodeHexadecimal(s_host.Bytes()) + " " + s_host.ToText() + " " +
         s_host.Name();
}

// The parent only waits.
void continueInChild() {
  if (const pid_t child = fork(); child != 0) _exit(waitpid(child, nullptr, 0) == child ? 0 : 1);
}

std::string resultOf(const Words& words) {
  const std::string &work = words[0], &first = words[1], &second = words[2];
  if (work == "set") return std::to_string(setenv(first.c_str(), second.c_str(), 1));
  if (work == "unset") return std::to_string(unsetenv(first.c_str()));
  if (work == "overtake") return s_isOvertaken = !first.empty(), "";
  if (work == "chroot") return std::to_string(chroot(first.c_str()) + chdir("/"));
  if (work == "fork") return continueInChild(), "";
  if (work == "forget") return s_files.clear(), CurrentProcess::Destroy(), "";
  if (work == "lock") {  // lasts until anybody in this process closes a descriptor of the file
    struct flock lock {};
    lock.l_type = F_WRLCK;
    s_locked = open(first.c_str(), O_RDWR | O_CLOEXEC);
    return std::to_string(fcntl(s_locked, F_SETLK, &lock));
  }
  if (work == "unlock") return std::to_string(close(s_locked));
  if (work == "process") {
    const auto& process = CurrentProcess::Get();
    return process.Folder() + " " + process.ExecutablePath() + " " + std::to_string(getpid());
  }
  if (work == "fail") throw FileException(Number{first}, second, Number{words[3]});
  if (work == "failWith") throw FileException::Of(Number{first}, second, words[3], words[4]);
  if (work == "failOfSystem") throw FileException::OfSystem(Number{first}, second, Number{words[3]});
  if (work == "host") return hostWork(first, second);
  if (work == "scan") {
    FileSpecification specification;
    specification.folder = first;
    specification.add(second);
    return Scan(specification, 0, ScanRecursive).run(), "";
  }
  return pathWork(words);
}

// A failure shows its code, path, error number, cause and text.
std::string answerTo(const Words& words) {
  try {
    errno = ENOENT;  // left over from elsewhere: must not choose a code
    return "=" + resultOf(words);
  } catch (const std::exception& thrown) {
    const auto* const coded = dynamic_cast<const Exception*>(&thrown);
    const auto* const ofFile = dynamic_cast<const FileException*>(&thrown);
    const FileException e = ofFile != nullptr ? *ofFile : FileException(coded ? coded->GetCode() : -1, "");
    const auto errors = std::to_string(e.systemError()) + "\n" + std::to_string(e.cause().value()) + "\n";
    return "!" + std::to_string(e.GetCode()) + "\n" + e.fileName() + "\n" + errors +
           (ofFile != nullptr ? e.what() : thrown.what());
  }
}

void serve(std::string reply) {
  for (std::size_t count = 0;;) {
    std::cout << reply.size() << '\n' << reply << std::flush;
    if (!(std::cin >> count)) std::exit(0);
    Words words(count);
    for (std::string& word : words) std::cin >> std::quoted(word);
    words.resize(6);
    if (words[0] == "return") return;
    if (words[0] == "raise") return static_cast<void>(resultOf({words.begin() + 1, words.end()}));
    reply = answerTo(words);
  }
}

}  // namespace

int main() { serve("=ready"); }
