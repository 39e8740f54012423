// The same on POCO's application frame.
#include <Poco/Util/Application.h>

#include <iostream>

namespace {

class Hello : public Poco::Util::Application {
  int main(const std::vector<std::string>&) override {
    std::cout << "Hello, world!" << std::endl;
    return EXIT_OK;
  }
};

}  // namespace

int main(int argc, char** argv) {
  Hello hello;
  hello.init(argc, argv);
  return hello.run();
}
