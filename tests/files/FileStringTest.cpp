#include <tvk/files/FileString.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

namespace fs = std::filesystem;
using tvk::FileString;

// What the functions make of paths stands in files_test.py.

TEST(FileString, MeetsOtherTextsAndPaths) {
  FileString path(static_cast<const char*>(nullptr));
  EXPECT_EQ(path, "");
  path = fs::path("/a") / "b";
  EXPECT_TRUE(fs::path("/a/b") == path && std::hash<FileString>()(path) == std::hash<std::string>()("/a/b"));
  path = static_cast<const char*>(nullptr);
  EXPECT_EQ(path + displayName("", 0, tvk::EmptyPath::AsEmpty), "");
  path = "a";
  join(path, path);
  EXPECT_EQ(path, "a" + tvk::separator() + "a");
}
