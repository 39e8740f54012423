// Stands in for the fuzzer where there is none: runs the target on every file of a folder.
#include <filesystem>
#include <fstream>
#include <sstream>

#include "Input.h"

int main(int argc, char** argv) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(argv[argc - 1])) {
    std::ostringstream bytes;
    bytes << std::ifstream(entry.path()).rdbuf();
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.view().data()), bytes.view().size());
    ++count;
  }
  return count == 0;  // a test without inputs shows nothing
}
