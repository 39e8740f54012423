// The same on KJ's.
#include <kj/main.h>

#include <iostream>

namespace {

class Hello {
 public:
  explicit Hello(kj::ProcessContext& context) : m_context(context) {}
  kj::MainFunc getMain() {
    return kj::MainBuilder(m_context, "1.0", "Greets the world.")
        .callAfterParsing([] {
          std::cout << "Hello, world!" << std::endl;
          return kj::MainBuilder::Validity(true);
        })
        .build();
  }

 private:
  kj::ProcessContext& m_context;
};

}  // namespace

KJ_MAIN(Hello)
