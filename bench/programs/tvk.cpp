// The same on tvk's application frame.
#include <tvk/console/Console.h>
#include <tvk/process/Application.h>

namespace {

class Hello : public tvk::Application {
 public:
  Hello() : Application("HL", "hello") {}
  std::int32_t Main() override {
    tvk::Console::Get().PrintLine("Hello, world!");
    return 0;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Hello hello;
  return tvk::Application::Main(argc, argv);
}
