#include <tvk/process/SharedLibrary.h>

#include <dlfcn.h>

#include <tvk/text/MessageTable.h>

#include "support/Support.h"

namespace {

using tvk::SharedLibrary;

std::string text() {
  tvk::StringBase<char> out;
  tvk::loadMessage("tvk", 1001, false, out);
  return out;
}

bool isLoaded(const char* path) {
  return SharedLibrary(path, dlopen(path, RTLD_LAZY | RTLD_NOLOAD)).IsOpen();
}

TEST(SharedLibrary, TextsAreInForceUntilItIsClosed) {
  const support::ScopedFolder folder;
  std::filesystem::create_symlink(TVK_WORDS_LIBRARY, folder / "words.1.so");
  SharedLibrary library;
  EXPECT_EQ(library.GetSymbol("malloc"), nullptr) << "closed";
  library.LoadStrings();  // nothing to load
  ASSERT_TRUE(library.Open(folder / "words.1", true)) << library.LastError();
  EXPECT_EQ(library.GetPath(), TVK_WORDS_LIBRARY) << "the real path";
  EXPECT_EQ(library.GetSymbol("NoSuchSymbol"), library.GetSymbol(nullptr));
  library.LoadStrings();
  SharedLibrary moved(std::move(library));
  library.Close();
  EXPECT_EQ(text(), "Datei %1 fehlt") << "the texts belong to the one that moved";
  library = std::move(moved);
  library = SharedLibrary();
  EXPECT_EQ(text(), "file %1 not found") << "assignment closes what was open";
  EXPECT_FALSE(library.IsOpen() || isLoaded(TVK_WORDS_LIBRARY));
  ASSERT_TRUE(library.Open(TVK_OUTER_MODULE)) << "lazily: " << library.LastError();
  SharedLibrary program;
  EXPECT_TRUE(program.Open("") && program.GetSymbol("CallsNowhere") != nullptr) << "for everybody";
}

TEST(SharedLibrary, TellsWhyItCannotOpen) {
  const support::ScopedFolder folder;
  support::writeWhole(folder / "broken.so", "no library");
  SharedLibrary library;
  const std::string zero = TVK_OUTER_MODULE + std::string(1, '\0');
  for (const std::string& path : {folder / "broken.so", folder / "missing.so", folder.path(), zero}) {
    EXPECT_TRUE(library.Open(TVK_WORDS_LIBRARY) && library.LastError().empty());
    library.LoadStrings();
    EXPECT_FALSE(library.Open(path)) << path;
    EXPECT_FALSE(library.IsOpen() || isLoaded(TVK_WORDS_LIBRARY)) << "closed before the next is opened";
    EXPECT_TRUE(library.GetPath() == path && library.LastError().find(path) != std::string::npos) << path;
    EXPECT_EQ(text(), "file %1 not found");
  }
}

}  // namespace
