// Step 2: options from a table.
#include <cstdint>

#include <tvk/cmdline/OptionTable.h>
#include <tvk/console/Console.h>
#include <tvk/process/Application.h>
#include <tvk/text/MessageTable.h>

namespace {

// Codes below 2000 are fatal errors, below 4000 errors; texts that are no errors begin at 5000.
enum Text : std::uint32_t {
  Usage = 5001,
  Purpose = 5002,
  OptionInto = 5003,
  OptionCopies = 5004,
};

constexpr struct {
  Text code;
  const char* text;
} s_texts[] = {
    {Usage, "[options] FILE..."},
    {Purpose, "Keeps copies of files, the newest ones of each."},
    {OptionInto, "the folder for the copies"},
    {OptionCopies, "how many copies of a file to keep"},
};

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

    const tvk::ArgumentList& files = tvk::ArgumentList::OfProcess();
    for (std::size_t i = options.ArgumentIndex(); i < files.Count(); ++i)
      tvk::Console::Get().PrintLine("%s goes into %s", files[i], m_folder.c_str());
    return tvk::ConsoleStreamBuf::Get().WriteError() == 0 ? 0 : 1;
  }

 private:
  tvk::FileString m_folder;
  std::uint32_t m_copies = 0;
};

}  // namespace

int main(int argc, char** argv) {
  Keep keep;
  return tvk::Application::Main(argc, argv);
}
