// What the tests of several rooms need: surroundings that are put back, and answers of failing calls.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <tvk/text/Exception.h>

namespace support {

// A fresh folder that is removed, with all in it, at the end of the scope.
class ScopedFolder {
 public:
  ScopedFolder();
  ~ScopedFolder();
  std::string path() const { return m_path.string(); }
  std::string operator/(const std::string& name) const { return (m_path / name).string(); }

 private:
  std::filesystem::path m_path;
};

// A fresh folder that is the current one until the end of the scope.
class ScopedCurrentFolder : public ScopedFolder {
 public:
  ScopedCurrentFolder() { std::filesystem::current_path(path()); }
  ~ScopedCurrentFolder() { std::filesystem::current_path(m_before); }

 private:
  std::filesystem::path m_before = std::filesystem::current_path();
};

// Fails the test when the scope ends with more or fewer open descriptors than it began with.
struct DescriptorWatch {
  ~DescriptorWatch() { EXPECT_EQ(count(), before) << "descriptors left open"; }
  static std::ptrdiff_t count();
  const std::ptrdiff_t before = count();
};

// Sets an environment variable, or unsets it with nullopt, and puts the old value back; TZ is re-read.
class ScopedVariable {
 public:
  ScopedVariable(std::string name, std::optional<std::string> value);
  ~ScopedVariable();

 private:
  std::string m_name;
  std::optional<std::string> m_old;
};

// What a process of its own did: its exit status (128 + signal when killed) and its output.
struct ChildResult {
  int status;
  std::string output;
  std::string errors;
};

// Waits for the end of a child and answers its status.
int statusOf(pid_t child);
// Runs `work` in a forked child whose exit status is the value it answers.
ChildResult inChild(const std::function<int()>& work);
// Runs `work` with its expectations in a forked child and answers what it wrote; its failures fail this test.
std::string inOwnProcess(const std::function<void()>& work);
// Runs a command line through the shell.
ChildResult runCommand(const std::string& command);

std::string readWhole(const std::string& path);
void writeWhole(const std::string& path, const std::string& contents);

// What `look` makes of the exception of this class that `work` throws; an empty value when there is none.
template <class E>
auto caught(auto&& work, auto&& look) -> decltype(look(std::declval<const E&>())) {
  try {
    work();
  } catch (const E& e) {
    return look(e);
  }
  return {};
}

// The code of the Exception that `work` throws; 0 when it throws none.
std::int64_t thrownCode(auto&& work) {
  return caught<tvk::Exception>(work, [](const auto& e) { return e.GetCode(); });
}

// The exception of this class that `work` throws; std::bad_optional_access when it throws none.
template <class E>
E thrown(auto&& work) {
  return caught<E>(work, [](const E& e) { return std::optional<E>(e); }).value();
}

// The text of the exception that `work` throws, behind the first " - ": the message alone. Empty when none.
std::string thrownMessage(auto&& work) {
  return caught<std::exception>(work, [](const auto& e) {
    const std::string text = e.what();
    const auto at = text.find(" - ");
    return at == std::string::npos ? text : text.substr(at + 3);
  });
}

// A table: words between white space, `N` to a row; '' stands for the empty text.
template <std::size_t N>
std::vector<std::array<std::string, N>> rows(const std::string& table) {
  std::istringstream words(table);
  std::vector<std::array<std::string, N>> result;
  std::size_t count = 0;
  for (std::string word; words >> word; ++count) {
    if (count % N == 0) result.emplace_back();
    if (word != "''") result.back()[count % N] = word;
  }
  EXPECT_EQ(count % N, 0u) << table;
  return result;
}

// The place of a virtual operation in its class's table, where the two destructors are 1 and 2.
std::size_t slotOf(auto operation) {
  std::size_t offset;
  std::memcpy(&offset, &operation, sizeof offset);
  return (offset - 1) / sizeof(void*) + 1;
}

}  // namespace support
