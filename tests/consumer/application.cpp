#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/console/Console.h>
#include <tvk/files/File.h>
#include <tvk/process/Application.h>
#include <tvk/time/DateTime.h>

#include <zed/Compressor.h>
#include <zed/Decompressor.h>

#include <string>

namespace {

class Options : public tvk::CommandLineParsing {
  bool HandleOption() override { return Accept('k'); }
};

class Consumer : public tvk::Application {
 public:
  Consumer() : Application("CO", "consumer") {}

  std::int32_t Main() override {
    zed::GZip gzip;
    zed::Decompressor gunzip;
    if (!gzip.Compress(zed::ByteBuffer(std::string(4096, 'z'))) || !gunzip.Decompress(gzip.Result()))
      return 1;
    tvk::File file(GetProgramPath() + ".out");
    file.create();
    file.write(gunzip.Result().Data(), gunzip.Result().Size());
    tvk::Console& console = tvk::Console::Get();
    console.PrintLine("%d bytes", static_cast<int>(file.size()));
    console.PrintLine("%.10s", tvk::DateTimeO::FromUnixTime(1'000'000'000, 0).ToRfc3339().c_str());
    Options().Parse();  // throws at an unknown option
    return 0;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Consumer consumer;
  return tvk::Application::Main(argc, argv);
}
