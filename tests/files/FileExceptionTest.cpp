#include <tvk/files/FileException.h>

#include "support/Support.h"

namespace {

using namespace support;
using namespace tvk;

TEST(FileException, ShowsThePathAndKeepsTheCause) {
  std::string folders;
  while (folders.size() < 600) folders += "/folder";
  const std::pair<std::string, FileException> rows[] = {
      {"file " + std::filesystem::current_path().string() + "/x not found.", {1001, "x"}},
      {"folder not found: <none>.", {1002, nullptr}},
      {"Undocumented/internal (9999, /%1, two, 3).", FileException::Of(9999, "/p/../%1", "two", 3)},
      {"cannot write to file /..." + folders.substr(folders.size() - 504) + ".", {1010, folders}},
      {"no more RAM available.", FileException::OfSystem(1010, "/x", ENOMEM)},
      {"file /x already exists.", FileException::OfSystem(1010, "/x", EEXIST)},
      {"file /x cannot be closed.", {1005, "/x"}},
      {"too many opened files.", FileException::OfSystem(1010, "/x", ENFILE)},
  };
  for (const auto& [text, e] : rows) EXPECT_EQ(text, thrownMessage([&, thrown = e] { throw thrown; }));
  FileException e(1004, "/x", EPERM);
  EXPECT_EQ(std::pair(std::int64_t(EPERM), EPERM), std::pair(e.systemError(), e.cause().value()));
  e = FileException::OfSystem(1010, "/y", EACCES);
  EXPECT_EQ(std::tuple(1010, 0, "/y"), std::tuple(e.GetCode(), e.systemError(), e.fileName()));
  EXPECT_EQ(std::errc::permission_denied, e.cause());
}

}  // namespace
