#include "support/Support.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <fstream>
#include <sstream>

namespace support {
namespace {

namespace fs = std::filesystem;

std::size_t openDescriptors() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator("/proc/self/fd")) ++count;
  return count;
}

void setVariable(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    setenv(name.c_str(), value->c_str(), 1);
  } else {
    unsetenv(name.c_str());
  }
  if (name == "TZ") tzset();
}

int statusOf(int waited) { return WIFEXITED(waited) ? WEXITSTATUS(waited) : 128 + WTERMSIG(waited); }

}  // namespace

ScopedFolder::ScopedFolder() {
  std::string name = fs::canonical(fs::temp_directory_path()).string() + "/testXXXXXX";
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder for the test");
  m_path = name;
}

ScopedFolder::~ScopedFolder() {
  std::error_code ignored;
  for (const auto& entry :
       fs::recursive_directory_iterator(m_path, fs::directory_options::skip_permission_denied, ignored))
    if (!entry.is_symlink() && entry.is_directory())
      fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add, ignored);
  fs::remove_all(m_path, ignored);
}

DescriptorWatch::DescriptorWatch() : m_before(openDescriptors()) {}

DescriptorWatch::~DescriptorWatch() { EXPECT_EQ(openDescriptors(), m_before) << "descriptors left open"; }

ScopedVariable::ScopedVariable(std::string name, std::optional<std::string> value) : m_name(std::move(name)) {
  if (const char* old = std::getenv(m_name.c_str())) m_old = old;
  setVariable(m_name, value);
}

ScopedVariable::~ScopedVariable() { setVariable(m_name, m_old); }

ChildResult inChild(const std::function<int()>& work) {
  std::FILE* const out = std::tmpfile();
  std::FILE* const err = std::tmpfile();
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(fileno(out), STDOUT_FILENO);
    dup2(fileno(err), STDERR_FILENO);
    int status = 97;
    try {
      status = work();
    } catch (const std::exception& e) {
      std::fprintf(stderr, "escaped: %s\n", e.what());
    }
    std::exit(status);
  }
  int waited = 0;
  waitpid(child, &waited, 0);
  const auto whole = [](std::FILE* file) {
    std::string text;
    std::rewind(file);
    for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) text += static_cast<char>(c);
    std::fclose(file);
    return text;
  };
  ChildResult result{statusOf(waited), {}, {}};
  result.output = whole(out);
  result.errors = whole(err);
  return result;
}

std::string inOwnProcess(const std::function<void()>& work) {
  const ChildResult result = inChild([&] {
    work();
    return testing::Test::HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(result.status, 0) << result.output << result.errors;
  return result.output;
}

ChildResult runCommand(const std::string& command) {
  return inChild([&] {
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    return 127;
  });
}

std::string readWhole(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void writeWhole(const std::string& path, const std::string& contents) {
  std::ofstream(path, std::ios::binary) << contents;
}

std::deque<int>& syncErrors() {
  static std::deque<int> errors;
  return errors;
}

}  // namespace support

// Stands in front of the C library's, also for the library under test.
extern "C" int fsync(int descriptor) {
  std::deque<int>& errors = support::syncErrors();
  const int error = errors.empty() ? 0 : errors.front();
  if (!errors.empty()) errors.pop_front();
  if (error == 0) return static_cast<int>(syscall(SYS_fsync, descriptor));
  errno = error;
  return -1;
}
