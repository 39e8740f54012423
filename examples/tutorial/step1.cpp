// Step 1: a frame.
#include <tvk/console/Console.h>
#include <tvk/process/Application.h>

namespace {

class Keep : public tvk::Application {
 public:
  Keep() : Application("KP", "keep") {}

  std::int32_t Main() override {
    tvk::Console::Get().PrintLine("nothing to keep");
    return 0;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Keep keep;
  return tvk::Application::Main(argc, argv);
}
