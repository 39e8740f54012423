#include <tvk/files/FileString.h>

#include <deque>
#include <map>

#include "support/Support.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;
using namespace tvk;

std::string normalised(FileString path, const std::string& home) {
  const ScopedVariable variable("HOME", home == "unset" ? std::nullopt : std::optional(home));
  normalise(path);
  const std::string here = fs::current_path();
  return path.starts_with(here) ? "+" + path.substr(here.size()) : path;
}

// Name, the same without extension, extension and folder.
std::string split(const FileString& path, const std::string& fallback) {
  EXPECT_EQ(fileNamePart(path), fileName(path, WithExtension::Yes));
  return fileNamePart(path) + "|" + fileName(path, WithExtension::No) + "|" + extension(path) + "|" +
         folderPart(path, fallback);
}

// With the text as extension, as name, and as name before the extension.
std::string changed(const FileString& path, const std::string& text) {
  FileString results[3] = {path, path, path};
  setExtension(results[0], text);
  replaceName(results[1], text, WithExtension::Yes);
  replaceName(results[2], text, WithExtension::No);
  return results[0] + "|" + results[1] + "|" + results[2];
}

TEST(FileString, Functions) {
  const std::map<std::string, std::function<std::string(FileString, std::string)>> functions = {
      {"normalise", normalised},
      {"join", joinedCopy},
      {"split", split},
      {"change", changed},
      {"folderOf", [](const auto& path, const auto&) { return folderOf(path); }},
      {"parent", [](const auto& path, const auto& levels) { return parentFolder(path, std::stoul(levels)); }},
      {"display", [](const auto& path, const auto& limit) { return displayName(path, std::stoul(limit)); }}};
  for (const auto& [function, path, second, expected] : rows<4>(R"(
      normalise '' /h +   normalise x/y /h +/x/y   normalise ~ /h /h   normalise ~/x /h/ /h/x   normalise ~u/x /h /h/u/x
      normalise ~/x rel/../h rel/../h/x   normalise ~/x '' +/~/x   normalise ~/x unset +/~/x   normalise /~/./~ /h /~/~
      normalise /a/././b /h /a/./b   normalise /a/./././b/./ /h /a/./b/   normalise /a/b/../c /h /a/c
      normalise /a/b/c/../../d/../e /h /a/e   normalise /a/..//../b /h /b   normalise /a/./../b /h /b
      normalise /a/../../b/../c /h /../b/../c   normalise /../x /h /../x   normalise //a//../b/.. /h //a/b/..
      join a b a/b   join a/ b a/b   join a /b a/b   join a/ /b a/b   join a// //b a///b   join a '' a   join '' b b
      join '' /b /b   join / b /b   join / / /   join '' '' ''
      split /a/c.tar.gz - c.tar.gz|c.tar|gz|/a   split a/b//c/ - |||a/b//c   split x - x|x||-   split / - |||   split '' - |||-
      split /a.b/c - c|c||/a.b   split /a.b/ - |||/a.b   split .bashrc - .bashrc||bashrc|-   split x. - x.|x||-
      change /a/c.tar.gz z /a/c.tar.z|/a/z|/a/z.gz   change a.b/c .z a.b/c.z|a.b/.z|a.b/.z   change a/ z a/.z|a/z|a/z
      change c.x '' c.||.x   folderOf /x - ''   folderOf /a/b/../c.d - /a   folderOf /a/b/ - /a/b
      parent /a/b/ 0 /a/b/   parent /a/b/ 1 /a   parent /a/b 2 ''   parent /a 1 ''   parent / 1 ''   parent x 1 ''
      parent '' 1 ''   parent a/b//c/ 1 a/b/   parent a/b//c/ 2 a/b   parent /a/b/c 99 ''
      display '' 0 <none>
      display /usr/local/share/file 21 /usr/local/share/file   display /usr/local/share/file 20 /.../share/file
      display /usr/local/share/file 15 /.../share/file   display /usr/local/share/file 1 /.../file
      display /a/bcdefgh 9 /.../bcdefgh   display //abcdefgh/i 9 /.../i   display /a/../abcdefgh 3 /abcdefgh)")) {
    EXPECT_EQ(functions.at(function)(path, second), expected) << function << " " << path << " " << second;
  }
  FileString twice = "a";
  join(twice, twice);
  EXPECT_EQ(twice + displayName("", 0, EmptyPath::AsEmpty), "a/a");
  std::string path;
  while (path.size() < 600) path += "/folder";
  EXPECT_EQ(displayName(path), "/..." + path.substr(path.size() - 504));
}

TEST(FileString, MeetsOtherTextsAndPaths) {
  FileString path(static_cast<const char*>(nullptr));
  EXPECT_EQ(path, "");
  path = fs::path("/a") / "b";
  EXPECT_TRUE(fs::path("/a/b") == path && std::hash<FileString>()(path) == std::hash<std::string>()("/a/b"));
  path = static_cast<const char*>(nullptr);
  EXPECT_EQ(path, "");
  EXPECT_EQ(separator(), "/");
}

TEST(FileString, ExpandEnvironment) {
  std::deque<ScopedVariable> variables;
  for (const auto& [name, value] : rows<2>(R"(
      KEST v   K k   _9z u   HOME /home/u   H h   O bad   NEST ${KEST}   SELF ${SELF}   GROW x${GROW})")) {
    variables.emplace_back(name, value);
  }
  variables.emplace_back("BIG", std::string(40000, 'b'));
  std::string thousand;
  for (int i = 0; i < 1000; ++i) thousand += "$K.";
  auto table = rows<2>(R"(
      $(HOME)/x /home/u/x   ${HOME}/x /home/u/x   $HOME/x hME/x   a$KEST/x avx   $KEST v   $_9z.$K- uk   $/x x   $Kox kx
      $()${}$(UNSET)! !   $(NEST)$(K) vk   ${A)B}$(K}) ''   $$K. K.   $O ''   ${K}${K 1000   $(K} 1000   ${K) 1000
      $(SELF) 1000   $(GROW) 1000   $(BIG)$(BIG) 1000)");
  table.push_back({thousand, std::string(1000, 'k')});
  table.push_back({thousand + "$K", "1000"});
  for (const auto& [path, expected] : table) {
    FileString text = path;
    const auto code = thrownCode([&] { EXPECT_TRUE(expandEnvironment(text)); });
    EXPECT_EQ(code == 0 ? text : std::to_string(code), expected) << path.substr(0, 20);
    EXPECT_TRUE(code == 0 || text == path);
  }
  FileString text = "a$K.$";
  EXPECT_STREQ(thrown<std::out_of_range>([&] { expandEnvironment(text); }).what(), "basic_string::at");
  text = "no dollar";
  EXPECT_FALSE(expandEnvironment(text));
}

}  // namespace
