// Whole runs of tvkpack, in this process, on a small tree of their own: no contents are lost.
#define main tvkpackMain
#include <programs/tvkpack/Main.cpp>
#undef main

#include <strings.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include <tvk/text/Characters.h>
#include <zed/Compressor.h>
#include <zed/Decompressor.h>

#include "Input.h"

// Nothing is forced to disk, and nothing reaches the system log.
extern "C" int fsync(int) { return 0; }
extern "C" void syslog(int, const char*, ...) {}

namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;

// The frame comes up once, and a failed run does not end the process.
struct Failed {};
class FuzzedProgram : public tvkpack::Program {
  bool Init() override {
    static const bool s_isUp = Program::Init();
    return s_isUp;
  }
  std::int64_t HandleException(const std::exception& e) override {
    Program::HandleException(e);
    throw Failed();
  }
};

void writeTree(fuzz::Input& in) {
  fs::create_directories("sub");
  fs::create_symlink("a", "link");
  for (const char* name : {"a", "a.gz", "b.txt", "-f.gz", ".gz", "sub/d", "sub/d.gz", "sub/.e.gz"}) {
    const unsigned kind = in.Take();
    const std::string piece = in.Text();
    std::string text;
    for (unsigned i = 0; i < kind / 4; ++i) text += piece;
    zed::GZip gzip;
    gzip.Compress(text.data(), text.size());
    if (kind % 4 >= 2) text.assign(gzip.Result().begin(), gzip.Result().end());
    if (kind % 4 == 3 && !text.empty()) text[piece.size() % text.size()] ^= 0x10;
    std::ofstream(name, std::ios::binary) << text;
  }
}

Files readTree() {
  Files files;
  for (const auto& entry : fs::recursive_directory_iterator("."))
    if (entry.is_regular_file() && !entry.is_symlink())
      files[entry.path()] = (std::ostringstream() << std::ifstream(entry.path()).rdbuf()).str();
  return files;
}

// What the files hold, and under which names, when each is unpacked as often as it can be.
std::set<std::pair<std::string, std::string>> plain(const Files& files) {
  std::set<std::pair<std::string, std::string>> found;
  for (const auto& [path, contents] : files) {
    std::string name = path;
    zed::ByteBuffer block(contents);
    while (name.ends_with(".gz") && zed::IsCompleteBlock(block)) {
      name.resize(name.size() - 3);
      zed::DecompressGzip(block, block);
    }
    found.emplace(name, std::string(block.begin(), block.end()));
  }
  return found;
}

// Contents change their form only, but that "-overwrite" may replace a file by its neighbour's other form.
void checkNothingLost(const Files& before, const Files& after, bool mayOverwrite) {
  const auto had = plain(before), has = plain(after);
  assert(std::ranges::includes(had, has));
  for (const auto& file : before)
    assert(std::ranges::includes(has, plain({file})) || (mayOverwrite && after.contains(file.first)));
}

// Names in the current folder only: no "..", no home folder, and a "/" only behind a name.
bool staysHere(const std::string& text) {
  using namespace tvk::characters;
  char before = '\0';
  for (const char c : text) {
    const bool leaves = c == '~' || (c == '.' && before == '.') ||
                        (c == '/' && before != '.' && !isLetter(before) && !isDigit(before));
    if (leaves) return false;
    before = c;
  }
  return true;
}

// This thread and those it starts, so that a run of root cannot reach the files of others, whatever it is told.
void actAs(uid_t user) { assert(getuid() != 0 || syscall(SYS_setresuid, -1, user, -1) == 0); }

}  // namespace

void fuzz::run(Input in) {
  static FuzzedProgram s_program;
  static const fs::path s_folder = fs::temp_directory_path() / ("tvkpack-fuzz-" + std::to_string(getpid()));
  static const fs::path s_before = fs::current_path();
  static const bool s_isQuiet =
      std::freopen("/dev/null", "r", stdin) && std::freopen("/dev/null", "w", stdout);
  std::vector<std::string> texts(in.Take() % 6);
  std::vector<const char*> arguments{"tvkpack"};
  bool mayOverwrite = false, isHarmless = s_isQuiet;
  for (std::string& text : texts) {
    arguments.push_back((text = in.Text()).c_str());
    isHarmless &= staysHere(text);
    const std::size_t dashes = text.find_first_not_of('-');
    mayOverwrite |= dashes != 0 && strncasecmp(text.c_str() + std::min(dashes, text.size()), "o", 1) == 0;
  }
  if (!isHarmless) return;
  actAs(65534);
  fs::create_directory(s_folder);
  fs::current_path(s_folder);
  writeTree(in);
  const Files before = readTree();
  tvkpack::s_stop = false;
  int status = 3;
  try {
    status = tvk::Application::Main(static_cast<int>(arguments.size()), arguments.data());
  } catch (const Failed&) {
  }
  const Files after = readTree();
  assert(status == 0 || status == 4 || (status == 3 && after == before));
  checkNothingLost(before, after, mayOverwrite);
  fs::current_path(s_before);
  fs::remove_all(s_folder);
  actAs(0);
}
