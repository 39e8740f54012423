// Hands inputs to a target: those of the fuzzer or, where there is none, the files of a folder.
#include <netdb.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "Input.h"

// No name is known, and none leaves the process.
extern "C" int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**) { return EAI_NONAME; }

#ifdef TVK_FUZZER
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::run(fuzz::Input({reinterpret_cast<const char*>(data), size}));
  return 0;
}
#else
int main(int argc, char** argv) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(argv[argc - 1])) {
    const std::string bytes = (std::ostringstream() << std::ifstream(entry.path()).rdbuf()).str();
    fuzz::run(fuzz::Input(bytes)), ++count;
  }
  return count == 0;  // a test without inputs shows nothing
}
#endif
