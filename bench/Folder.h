// Fresh folders for what is measured on files; in memory where there is room (/dev/shm), so that no disk is measured.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace bench {

class Folder {
 public:
  Folder() {
    const char* const asked = std::getenv("BENCH_FOLDER");
    std::string name = (asked != nullptr ? asked : "/dev/shm") + std::string("/bench-XXXXXX");
    if (mkdtemp(name.data()) == nullptr) {
      std::perror(name.c_str());
      std::exit(1);
    }
    m_path = name;
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::filesystem::path& path() const { return m_path; }
  std::string operator/(const std::string& name) const { return m_path / name; }

 private:
  std::filesystem::path m_path;
};

inline void writeFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path) << text;
}

// Text that packs to a fourth.
inline std::string words(std::size_t size, std::uint32_t seed) {
  static const char* const all[] = {"the ",   "error ", "file ",    "of ",     "folder ",     "42 ",
                                    "time ",  "was ",   "not ",     "found ",  "2026-11-22 ", "user ",
                                    "reads ", "and ",   "writes\n", "nothing "};
  std::string text;
  for (std::uint32_t value = seed + 1; text.size() < size; value = value * 1664525 + 1013904223)
    text += all[value >> 28];
  text.resize(size);
  return text;
}

// FOLDERS folders of as many FILES each, half of them "*.h", the others "*.cpp".
inline void makeTree(const std::filesystem::path& root, int folders, int files) {
  for (int folder = 0; folder < folders; ++folder) {
    const auto path = root / std::to_string(folder % 70) / std::to_string(folder);
    std::filesystem::create_directories(path);
    for (int file = 0; file < files; ++file)
      writeFile(path / ("file" + std::to_string(file) + (file % 2 ? ".h" : ".cpp")), std::to_string(file));
  }
}

}  // namespace bench
