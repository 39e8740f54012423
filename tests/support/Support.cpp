#include "support/Support.h"

#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>

namespace support {
namespace {

namespace fs = std::filesystem;

void setVariable(const std::string& name, const std::optional<std::string>& value) {
  value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
  tzset();
}

std::string contentsOf(std::FILE* file) { return readWhole("/proc/self/fd/" + std::to_string(fileno(file))); }

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

std::ptrdiff_t DescriptorWatch::count() { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); }

ScopedVariable::ScopedVariable(std::string name, std::optional<std::string> value) : m_name(std::move(name)) {
  if (const char* old = std::getenv(m_name.c_str())) m_old = old;
  setVariable(m_name, value);
}

ScopedVariable::~ScopedVariable() { setVariable(m_name, m_old); }

int statusOf(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

ChildResult inChild(const std::function<int()>& work) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::tmpfile(), &std::fclose),
      err(std::tmpfile(), &std::fclose);
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(fileno(out.get()), STDOUT_FILENO);
    dup2(fileno(err.get()), STDERR_FILENO);
    [&]() noexcept { std::exit(work()); }();  // what escapes must not reach the test
  }
  const int status = statusOf(child);
  return {status, contentsOf(out.get()), contentsOf(err.get())};
}

std::string inOwnProcess(const std::function<void()>& work) {
  const ChildResult result = inChild([&] { return work(), testing::Test::HasFailure() ? 1 : 0; });
  EXPECT_EQ(result.status, 0) << result.output << result.errors;
  return result.output;
}

ChildResult runCommand(const std::string& command) {
  return inChild([&] { return execl("/bin/sh", "sh", "-c", command.c_str(), nullptr); });
}

std::string readWhole(const std::string& path) {
  std::ostringstream contents;
  contents << std::ifstream(path, std::ios::binary).rdbuf();
  return std::move(contents).str();
}

void writeWhole(const std::string& path, const std::string& contents) {
  std::ofstream(path, std::ios::binary) << contents;
}

}  // namespace support
