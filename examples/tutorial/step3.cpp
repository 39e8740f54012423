// Step 3: reads files whole, and writes copies that are whole or not there.
#include <cstdint>
#include <string>

#include <tvk/cmdline/OptionTable.h>
#include <tvk/console/Console.h>
#include <tvk/files/File.h>
#include <tvk/files/FileStatus.h>
#include <tvk/process/Application.h>
#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>

namespace {

// Codes below 2000 are fatal errors, below 4000 errors; texts that are no errors begin at 5000.
enum Text : std::uint32_t {
  Usage = 5001,
  Purpose = 5002,
  OptionInto = 5003,
  OptionCopies = 5004,
  Kept = 5006,
};

constexpr struct {
  Text code;
  const char* text;
} s_texts[] = {
    {Usage, "[options] FILE..."},
    {Purpose, "Keeps copies of files, the newest ones of each."},
    {OptionInto, "the folder for the copies"},
    {OptionCopies, "how many copies of a file to keep"},
    {Kept, "%1 is kept as %2"},
};

// A text in the user's language, with its values.
tvk::StringBase<char> text(Text code, const std::string& first, const std::string& second = {}) {
  tvk::StringBase<char> format, result;
  tvk::loadMessage("keep", code, false, format);
  tvk::formatMessage(result, format.c_str(), first.c_str(), second.c_str());
  return result;
}

std::string readFile(const tvk::FileString& path) {
  tvk::File file(path);
  file.open(tvk::ModeRead | tvk::ModeMustExist);
  std::string contents(file.size(), '\0');
  file.read(contents.data(), contents.size(), true);
  return contents;
}

class Keep : public tvk::Application {
 public:
  Keep() : Application("KP", "keep") {}

  std::int32_t Main() override {
    for (const auto& [code, english] : s_texts) tvk::registerMessage("keep", {code, english});
    tvk::OptionTable options({
        tvk::Option::FileName("into", OptionInto, m_folder).Default("kept"),
        tvk::Option::Number("copies", OptionCopies, m_copies, 1, 99).Default("3"),
    });
    options.Version("1.0");
    options.Describe(Usage, Purpose, 0);
    if (!options.Parse()) return 0;
    if (options.Argument() == nullptr) options.Fail(2024);  // missing specification

    tvk::File(m_folder).createFolder(tvk::ModeRecursive);
    const tvk::ArgumentList& files = tvk::ArgumentList::OfProcess();
    for (std::size_t i = options.ArgumentIndex(); i < files.Count(); ++i) KeepFile(files[i]);
    return tvk::ConsoleStreamBuf::Get().WriteError() == 0 ? 0 : 1;
  }

 private:
  void KeepFile(const tvk::FileString& path) {
    const std::string contents = readFile(path);
    const tvk::FileString name = tvk::fileNamePart(path);
    std::uint32_t number = 1;
    while (tvk::isFile(CopyPath(name, number))) ++number;
    const tvk::FileString copy = CopyPath(name, number);
    tvk::File(copy).replaceContents(contents.data(), contents.size(), tvk::ModeNoOverwrite);
    tvk::Console::Get() << text(Kept, path, copy) << std::endl;
  }

  tvk::FileString CopyPath(const tvk::FileString& name, std::uint32_t number) const {
    return tvk::joinedCopy(m_folder, name + '.' + std::to_string(number));
  }

  tvk::FileString m_folder;
  std::uint32_t m_copies = 0;
};

}  // namespace

int main(int argc, char** argv) {
  Keep keep;
  return tvk::Application::Main(argc, argv);
}
