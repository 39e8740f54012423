#include <tvk/files/FileString.h>

#include <tvk/process/Singleton.h>

#include <unistd.h>

#include <unordered_set>

#include "support/Support.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace support;
using namespace tvk;

TEST(FileString, MeetsOtherTextsAndPaths) {
  FileString path(static_cast<const char*>(nullptr));
  EXPECT_EQ(path, "");
  path = fs::path("/a") / "b";
  const fs::path native = path;
  EXPECT_EQ(native.filename(), "b");
  EXPECT_TRUE(fs::path("/a/b") == path && std::unordered_set<FileString>{path}.contains("/a/b"s));
  path = static_cast<const char*>(nullptr);
  EXPECT_EQ(path, "");
  EXPECT_EQ(FileString(std::string_view("xyz").substr(1)) + StringBase<char>("!"), "yz!");
  inOwnProcess([] {
    const StringBase<char>& first = separator();
    EXPECT_EQ(&separator(), &first);
    Singleton::DestroyAll();
    EXPECT_EQ(separator(), "/");
  });
}

TEST(FileString, Normalise) {
  const std::string here = fs::current_path();
  struct Row {
    std::optional<std::string> home;
    std::string path, expected;
  };
  for (const Row& row : std::initializer_list<Row>{{"/h", "", here},
                                                   {"/h", "x/y", here + "/x/y"},
                                                   {"/h", "~", "/h"},
                                                   {"/h/", "~/x", "/h/x"},
                                                   {"/h", "~user/x", "/h/user/x"},
                                                   {"rel/../h", "~/x", "rel/../h/x"},
                                                   {"", "~/x", here + "/~/x"},
                                                   {std::nullopt, "~/x", here + "/~/x"},
                                                   {"/h", "/~/./~", "/~/~"},
                                                   {"/h", "/a/././b", "/a/./b"},
                                                   {"/h", "/a/./././b/./", "/a/./b/"},
                                                   {"/h", "/a/b/../c", "/a/c"},
                                                   {"/h", "/a/b/c/../../d/../e", "/a/e"},
                                                   {"/h", "/a/..//../b", "/b"},
                                                   {"/h", "/a/./../b", "/b"},
                                                   {"/h", "/a/../../b/../c", "/../b/../c"},
                                                   {"/h", "/../a/../x", "/../a/../x"},
                                                   {"/h", "//a//../b/..", "//a/b/.."},
                                                   {"/h", "/a/.../b/.", "/a/.../b/."}}) {
    SCOPED_TRACE(row.path);
    const ScopedVariable home("HOME", row.home);
    EXPECT_EQ(normalisedCopy(row.path), row.expected);
  }
  EXPECT_TRUE(isAbsolute("/") && isAbsolute("//x") && !isAbsolute("") && !isAbsolute("~"));
}

TEST(FileString, Join) {
  for (const auto& [folder, name, expected] :
       std::initializer_list<std::array<std::string, 3>>{{"a", "b", "a/b"},
                                                         {"a/", "b", "a/b"},
                                                         {"a", "/b", "a/b"},
                                                         {"a/", "/b", "a/b"},
                                                         {"a//", "//b", "a///b"},
                                                         {"a", "", "a"},
                                                         {"", "b", "b"},
                                                         {"", "/b", "/b"},
                                                         {"/", "b", "/b"},
                                                         {"/", "/", "/"},
                                                         {"", "", ""}}) {
    EXPECT_EQ(joinedCopy(folder, name), expected) << folder << " + " << name;
  }
  FileString twice = "a";
  join(twice, twice);
  EXPECT_EQ(twice, "a/a");
}

TEST(FileString, Split) {
  struct Row {
    std::string path, name, bare, extension, folder, parent, grandparent;
  };
  for (const Row& row : std::initializer_list<Row>{{"/a/c.tar.gz", "c.tar.gz", "c.tar", "gz", "/a", "/a", ""},
                                                   {"/a.b/c", "c", "c", "", "/a.b", "/a.b", ""},
                                                   {"/a.b/", "", "", "", "/a.b", "", ""},
                                                   {"a/b//c/", "", "", "", "a/b//c", "a/b/", "a/b"},
                                                   {".bashrc", ".bashrc", "", "bashrc", "-", "", ""},
                                                   {"x.", "x.", "x", "", "-", "", ""},
                                                   {"/", "", "", "", "", "", ""},
                                                   {"", "", "", "", "-", "", ""}}) {
    SCOPED_TRACE(row.path);
    FileString stem = row.path;
    removeExtension(stem);
    EXPECT_EQ(fileNamePart(row.path), row.name);
    EXPECT_EQ(fileName(row.path, WithExtension::Yes), row.name);
    EXPECT_EQ(fileName(row.path, WithExtension::No), row.bare);
    EXPECT_EQ(extension(row.path), row.extension);
    EXPECT_EQ(fileNamePart(stem), row.bare);
    EXPECT_EQ(folderPart(row.path, "-"), row.folder);
    EXPECT_EQ(parentFolder(row.path, 0), row.path);
    EXPECT_EQ(parentFolder(row.path), row.parent);
    EXPECT_EQ(parentFolder(row.path, 2), row.grandparent);
  }
  EXPECT_EQ(folderOf("/x"), "");
  EXPECT_EQ(folderOf("/a/b/../c.d"), "/a");
  EXPECT_EQ(folderOf("x"), fs::current_path().string());
  std::vector<StringBase<char>> list{"before"};
  splitComponents("//a///b/../c./", list);
  EXPECT_EQ(list, (std::vector<StringBase<char>>{"before", "a", "c."}));
}

TEST(FileString, Replace) {
  for (const auto& [path, text, extended, whole, kept] : std::initializer_list<std::array<std::string, 5>>{
           {"/a/c.tar.gz", "z", "/a/c.tar.z", "/a/z", "/a/z.gz"},
           {"a.b/c", ".z", "a.b/c.z", "a.b/.z", "a.b/.z"},
           {"a/", "z", "a/.z", "a/z", "a/z"},
           {"c.x", "", "c.", "", ".x"},
           {"", "n.m", ".n.m", "n.m", "n.m"}}) {
    SCOPED_TRACE(path);
    FileString results[3] = {path, path, path};
    setExtension(results[0], text);
    replaceName(results[1], text, WithExtension::Yes);
    replaceName(results[2], text, WithExtension::No);
    EXPECT_EQ(results[0], extended);
    EXPECT_EQ(results[1], whole);
    EXPECT_EQ(results[2], kept);
  }
}

TEST(FileString, ExpandEnvironment) {
  const ScopedVariable variables[] = {{"KEST", "v"},
                                      {"K", "k"},
                                      {"_9z", "u"},
                                      {"HOME", "/home/u"},
                                      {"H", "h"},
                                      {"O", "bad"},
                                      {"NEST", "${KEST}"},
                                      {"UNSET", std::nullopt},
                                      {"SELF", "${SELF}"},
                                      {"GROW", "x${GROW}"},
                                      {"BIG", std::string(40000, 'b')}};
  for (const auto& [path, expected] :
       std::initializer_list<std::array<std::string, 2>>{{"$(HOME)/x", "/home/u/x"},
                                                         {"${HOME}/x", "/home/u/x"},
                                                         {"$HOME/x", "hME/x"},
                                                         {"a$KEST/x", "avx"},
                                                         {"$KEST", "v"},
                                                         {"$_9z.$K-", "uk"},
                                                         {"$/x", "x"},
                                                         {"$Kox", "kx"},
                                                         {"$()${}$(UNSET)!", "!"},
                                                         {"$(NEST)$(K)", "vk"},
                                                         {"${A)B}$(K})", ""},
                                                         {"$$K.", "K."},
                                                         {"$O", ""}}) {
    FileString text = path;
    EXPECT_TRUE(expandEnvironment(text));
    EXPECT_EQ(text, expected) << path;
  }
  std::string thousand;
  for (int i = 0; i < 1000; ++i) thousand += "$K.";
  for (const auto& [path, code] : std::initializer_list<std::pair<std::string, int>>{{"${K}${K", 1000},
                                                                                     {"$(K}", 1000},
                                                                                     {"${K)", 1000},
                                                                                     {"$(SELF)", 1000},
                                                                                     {"$(GROW)", 1000},
                                                                                     {"$(BIG)$(BIG)", 1000},
                                                                                     {thousand + "$K", 1000},
                                                                                     {thousand, 0},
                                                                                     {"$(BIG)", 0}}) {
    FileString text = path;
    EXPECT_EQ(thrownCode([&] { expandEnvironment(text); }), code) << path.substr(0, 20);
    EXPECT_TRUE(code == 0 || text == path);
  }
  FileString text = "a$K.$";
  EXPECT_STREQ(thrown<std::out_of_range>([&] { expandEnvironment(text); }).what(), "basic_string::at");
  text = "no dollar";
  EXPECT_FALSE(expandEnvironment(text));
}

TEST(FileString, DisplayName) {
  EXPECT_EQ(displayName(""), "<none>");
  EXPECT_EQ(displayName("", 0, EmptyPath::AsEmpty), "");
  EXPECT_EQ(displayName("x"), (fs::current_path() / "x").string());
  for (const auto& [limit, expected] :
       std::initializer_list<std::pair<std::size_t, std::string>>{{21, "/usr/local/share/file"},
                                                                  {20, "/.../share/file"},
                                                                  {15, "/.../share/file"},
                                                                  {14, "/.../file"},
                                                                  {1, "/.../file"}}) {
    EXPECT_EQ(displayName("/usr/local/share/file", limit), expected) << limit;
  }
  EXPECT_EQ(displayName("/a/bcdefgh", 9), "/.../bcdefgh");
  EXPECT_EQ(displayName("//abcdefgh/i", 9), "/.../i");
  std::string path;
  while (path.size() < 600) path += "/folder";
  EXPECT_EQ(displayName(path), "/..." + path.substr(path.size() - 504));
  EXPECT_EQ(displayName("/" + std::string(600, 'x')).size(), 601u);
}

}  // namespace
