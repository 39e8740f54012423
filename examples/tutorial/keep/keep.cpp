// keep [options] FILE...: keeps packed copies of files, the newest ones of each.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <tvk/cmdline/OptionTable.h>
#include <tvk/console/Console.h>
#include <tvk/files/File.h>
#include <tvk/files/FileException.h>
#include <tvk/files/FileTreeScan.h>
#include <tvk/process/Application.h>
#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>
#include <zed/ByteBuffer.h>
#include <zed/Compressor.h>

namespace {

constexpr std::size_t s_largest = 16 << 20;

// Codes below 2000 are fatal errors, below 4000 errors; texts that are no errors begin at 5000.
enum Text : std::uint32_t {
  TooLarge = 1901,
  NotPacked = 1902,
  Usage = 5001,
  Purpose = 5002,
  OptionInto = 5003,
  OptionCopies = 5004,
  OptionYes = 5005,
  Kept = 5006,
  AskRemove = 5007,
};

constexpr struct {
  Text code;
  const char* text;
} s_texts[] = {
    {TooLarge, "file %1 is larger than %2 bytes"},
    {NotPacked, "file %1 holds nothing that can be packed"},
    {Usage, "[options] FILE..."},
    {Purpose, "Keeps packed copies of files, the newest ones of each."},
    {OptionInto, "the folder for the copies"},
    {OptionCopies, "how many copies of a file to keep"},
    {OptionYes, "remove older copies without a question"},
    {Kept, "%1 is kept as %2"},
    {AskRemove, "Remove %1"},
};

// A text in the user's language, with its values.
tvk::StringBase<char> text(Text code, const std::string& first, const std::string& second = {}) {
  tvk::StringBase<char> format, result;
  tvk::loadMessage("keep", code, false, format);
  tvk::formatMessage(result, format.c_str(), first.c_str(), second.c_str());
  return result;
}

zed::ByteBuffer readFile(const tvk::FileString& path) {
  tvk::File file(path);
  file.open(tvk::ModeRead | tvk::ModeMustExist);
  zed::ByteBuffer contents;
  contents.Resize(s_largest + 1);
  contents.Resize(file.read(contents.Data(), contents.Size()));
  if (contents.Size() > s_largest) throw tvk::FileException::Of(TooLarge, path, s_largest);
  return contents;
}

// The numbers of the copies of a file: N of "NAME.N.gz".
class Copies : public tvk::FileTreeScan {
 public:
  Copies(const tvk::FileSpecification& everything, const std::string& name)
      : FileTreeScan(everything), m_prefix(name + '.') {}

  std::vector<std::uint32_t> numbers;

 protected:
  void onFile(const tvk::FileString& entry) override {
    const std::string name = tvk::fileNamePart(entry);
    if (!name.starts_with(m_prefix)) return;
    std::uint32_t number = 0;
    const char* const end = name.data() + name.size();
    const auto [rest, error] = std::from_chars(name.data() + m_prefix.size(), end, number);
    if (error == std::errc() && std::string_view(rest, end) == ".gz") numbers.push_back(number);
  }

 private:
  std::string m_prefix;
};

class Keep : public tvk::Application {
 public:
  Keep() : Application("KP", "keep") {}

  std::int32_t Main() override {
    for (const auto& [code, english] : s_texts) tvk::registerMessage("keep", {code, english});
    tvk::OptionTable options({
        tvk::Option::FileName("into", OptionInto, m_folder).Default("kept"),
        tvk::Option::Number("copies", OptionCopies, m_copies, 1, 99).Default("3"),
        tvk::Option::Flag("yes", OptionYes, m_removeAll),
    });
    options.Version("1.0");
    options.Describe(Usage, Purpose, 0);
    if (!options.Parse()) return 0;
    if (options.Argument() == nullptr) options.Fail(2024);  // missing specification

    std::int32_t failed = 0;
    tvk::File(m_folder).createFolder(tvk::ModeRecursive);
    const tvk::ArgumentList& files = tvk::ArgumentList::OfProcess();
    for (std::size_t i = options.ArgumentIndex(); i < files.Count(); ++i) {
      try {
        KeepFile(files[i]);
      } catch (const tvk::AbortException&) {
        throw;
      } catch (const tvk::Exception& e) {
        tvk::Console::Get().PrintLine("%s", e.what());
        ++failed;
      }
    }
    return failed == 0 && tvk::ConsoleStreamBuf::Get().WriteError() == 0 ? 0 : 1;
  }

 private:
  void KeepFile(const tvk::FileString& path) {
    const zed::ByteBuffer contents = readFile(path);
    zed::GZip gzip;
    if (!gzip.Compress(contents) || !gzip.IsComplete()) throw tvk::FileException(NotPacked, path);
    const zed::ByteBuffer& packed = gzip.Result();

    const tvk::FileString name = tvk::fileNamePart(path);
    const std::vector<std::uint32_t> older = FindCopies(name);
    const std::uint32_t number = older.empty() ? 1 : older.back() + 1;
    const tvk::FileString copy = CopyPath(name, number);
    tvk::File(copy).replaceContents(packed.Data(), packed.Size(), tvk::ModeNoOverwrite);
    tvk::Console::Get() << text(Kept, path, copy) << std::endl;

    for (const std::uint32_t old : older) {
      if (number - old < m_copies) continue;
      const tvk::FileString oldCopy = CopyPath(name, old);
      if (MayRemove(oldCopy)) tvk::File(oldCopy).remove();
    }
  }

  std::vector<std::uint32_t> FindCopies(const tvk::FileString& name) const {
    tvk::FileSpecification everything;
    everything.folder = m_folder;
    everything.add("*");
    everything.add(".*");
    Copies copies(everything, name);
    copies.run();
    std::sort(copies.numbers.begin(), copies.numbers.end());
    return copies.numbers;
  }

  tvk::FileString CopyPath(const tvk::FileString& name, std::uint32_t number) const {
    return tvk::joinedCopy(m_folder, name + '.' + std::to_string(number) + ".gz");
  }

  bool MayRemove(const tvk::FileString& path) {
    if (m_removeAll) return true;
    const char answer = tvk::Console::Get().Ask(text(AskRemove, path), "yna", 'n');
    m_removeAll = answer == 'a';
    return answer != 'n';
  }

  tvk::FileString m_folder;
  std::uint32_t m_copies = 0;
  bool m_removeAll = false;
};

}  // namespace

int main(int argc, char** argv) {
  Keep keep;
  return tvk::Application::Main(argc, argv);
}
