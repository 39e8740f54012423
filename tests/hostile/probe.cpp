// A program that goes through every room in the current folder; one line an operation, with the code of its failure. 0
// when all went well, 4 when some failed. With the argument "interrupted": by a signal, two thousand times a second.
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <string>

#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/console/Console.h>
#include <tvk/files/File.h>
#include <tvk/files/FileException.h>
#include <tvk/files/FileTreeScan.h>
#include <tvk/files/Folders.h>
#include <tvk/process/Application.h>
#include <tvk/process/SystemInfo.h>
#include <tvk/process/ThreadGroup.h>
#include <tvk/text/MessageTable.h>
#include <tvk/time/DateTime.h>
#include <zed/Compressor.h>
#include <zed/Decompressor.h>

namespace {

using tvk::Console;

void require(bool isWell) {
  if (!isWell) throw tvk::FileException(1010, "what was asked for", errno);
}

struct Options : tvk::CommandLineParsing {
  bool HandleOption() override {
    std::string text;
    for (bool more = true; more; more = NextArgument()) ReadText(text);
    return true;
  }
};

const std::map<std::string, void (*)()> rooms = {
    {"arguments", [] { Options().Parse(); }},
    {"compression",
     [] {
       const zed::ByteBuffer text(std::string(100'000, 'x'));
       zed::GZip gzip;
       zed::Decompressor back;
       require(gzip.Compress(text) && back.Decompress(gzip.Result()));
       if (!(back.Result() == text)) std::abort();
     }},
    {"console",
     [] {
       Console& console = Console::Get();
       console.SetFlags(Console::FlagPage | Console::FlagTerminalSize, true);
       for (int line = 0; line < 30; ++line)
         console.PrintLine("%400d", line);  // more than a small pipe holds
       console.Progress("%s", "half way");
       tvk::StringBase<char> word;
       console.ReadLine(word);
       console.PrintLine("%d %c %s", console.PollKey(), console.Ask("Go on", "yn", 'n'), word.c_str());
     }},
    {"files",
     [] {
       tvk::File file("file");
       file.open(tvk::ModeTruncate | tvk::ModeRead);
       file.write("contents", 8);
       file.flush();
       Console::Get().ClearLine(false);  // by standard output and error
       if (file.size() != 8) std::abort();
       file.close();
       file.replaceContents("other", 5);
       require(tvk::File::copyFile("file", "copy"));
       file.move("moved");
       tvk::File folder("folder");
       folder.createFolder();
       require(folder.copyTo("folder2", tvk::ModeRecursive) && folder.removeTree() &&
               tvk::File("folder2").removeTree());
       require(file.remove());
     }},
    {"host",
     [] {
       std::vector<tvk::HostAddress> list;
       tvk::StringBase<char> text;
       require(tvk::SystemInfo::GetInterfaceAddresses(list, false) && tvk::SystemInfo::GetHostName(text));
       require(!tvk::SystemInfo::GetOsDescription().empty() && tvk::loadMessage("probe", 1014, true, text));
       require(tvk::DateTimeO::FromRfc3339(tvk::DateTimeO::Now().ToRfc3339()).Format(true).size() > 1);
       require(!tvk::realPath(tvk::executablePath()).empty() && !tvk::homeFolder().empty());
     }},
    {"scan",
     [] {
       tvk::FileSpecification what;
       what.folder = ".";
       what.recursive = true;
       what.add("*");
       tvk::FileTreeScan(what).run();
     }},
    {"temporary",
     [] {
       tvk::File file;
       require(file.openTemporary("."));
       require(file.remove());
     }},
    {"threads",
     [] {
       tvk::Thread threads[3];
       tvk::ThreadGroup group;
       for (tvk::Thread& thread : threads) require(thread.Start(nullptr, true) && group.Add(thread));
       require(group.JoinAll());
     }},
};

class Probe : public tvk::Application {
 public:
  Probe() : Application("PB", "probe") {}
  using Application::Main;

  std::int32_t Main() override {
    const tvk::ArgumentList& arguments = tvk::ArgumentList::OfProcess();
    if (!arguments.IsEmpty() && std::string(arguments[0]) == "interrupted") {
      struct sigaction action {};
      action.sa_handler = [](int) {};
      sigaction(SIGALRM, &action, nullptr);
      ualarm(500, 500);
    }
    int status = 0;
    for (const auto& [name, visit] : rooms) {
      std::string result = "ok";
      try {
        visit();
      } catch (const std::exception& e) {
        result = e.what();
        status = 4;
      }
      Console::Get().PrintLine("%s: %s", name.c_str(), result.c_str());
    }
    require((errno = tvk::ConsoleStreamBuf::Get().WriteError()) == 0);
    return status;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Probe probe;
  return tvk::Application::Main(argc, argv);
}
