// files FOLDER: makes the folder, works with files in it, and removes it again.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <tvk/cmdline/ArgumentList.h>
#include <tvk/console/Console.h>
#include <tvk/files/File.h>
#include <tvk/files/FileException.h>
#include <tvk/files/FileStatus.h>
#include <tvk/files/FileTreeScan.h>
#include <tvk/process/Application.h>
#include <tvk/text/MessageTable.h>

namespace {

constexpr std::int64_t s_notFound = 1001;
constexpr std::int64_t s_tooLarge = 5001;  // own texts have codes from 5000
constexpr std::size_t s_largest = 64 * 1024;

// The text of a file, if there is one. Its size is not believed: it may change, and devices have none.
std::optional<std::string> readText(const tvk::FileString& path) {
  tvk::File file(path);
  try {
    file.open(tvk::ModeRead | tvk::ModeMustExist);
  } catch (const tvk::FileException& e) {
    if (e.GetCode() == s_notFound) return std::nullopt;
    throw;  // there, but not to be had
  }
  std::string text(s_largest + 1, '\0');
  text.resize(file.read(text.data(), text.size()));
  if (text.size() > s_largest) throw tvk::FileException::Of(s_tooLarge, path, s_largest);
  return text;
}

void append(const tvk::FileString& path, std::string_view line) {
  tvk::File journal(path);
  journal.open(tvk::ModeWriteCreate | tvk::ModeAppend);
  journal.write(line.data(), line.size());
  journal.flush();  // on the disk
  journal.close();  // throws when something could not be written; the destructor could not
}

class Lister : public tvk::FileTreeScan {
 public:
  using FileTreeScan::FileTreeScan;

 protected:
  void onFile(const tvk::FileString& entry) override {
    if (tvk::isFile(entry)) tvk::Console::Get().PrintLine("%s", tvk::fileNamePart(entry).c_str());
  }
};

void list(const tvk::FileString& folder) {
  tvk::FileSpecification everything;
  everything.folder = folder;
  everything.recursive = true;
  everything.add("*");
  Lister(everything).run();
}

class Files : public tvk::Application {
 public:
  Files() : Application("FI", "files") {}

  std::int32_t Main() override {
    tvk::registerMessage("files", {s_tooLarge, "file %1 is larger than %2 bytes"});
    const tvk::FileString folder = tvk::ArgumentList::OfProcess()[0];
    tvk::File(folder).createFolder(tvk::ModeRecursive);
    const tvk::FileString settings = tvk::joinedCopy(folder, "settings");

    if (!readText(settings)) {
      const std::string_view text = "colour = blue\n";
      tvk::File(settings).replaceContents(text.data(), text.size());  // the whole of it or nothing
    }
    tvk::Console::Get() << *readText(settings);

    append(tvk::joinedCopy(folder, "journal"), "started\n");
    list(folder);

    tvk::File(folder).removeTree();
    return tvk::ConsoleStreamBuf::Get().WriteError() == 0 ? 0 : 1;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Files files;
  return tvk::Application::Main(argc, argv);
}
