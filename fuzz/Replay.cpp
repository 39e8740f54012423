// Stands in for the fuzzer where there is none: runs the target on every file of a folder.
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Input.h"

int main(int argc, char** argv) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(argv[argc - 1])) {
    const std::string bytes = (std::ostringstream() << std::ifstream(entry.path()).rdbuf()).str();
    count += 1 + LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  return count == 0;  // a test without inputs shows nothing
}
