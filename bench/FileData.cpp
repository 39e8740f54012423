// 256 MiB are written to a file and read again: in pieces of 64 KiB and in values of 4 bytes.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <tvk/files/File.h>

#include "Folder.h"
#include "Sides.h"

namespace {

const std::uint64_t s_size = static_cast<std::uint64_t>(bench::scaled(4096)) * 65536;
constexpr std::size_t s_piece = 64u << 10;

void pieces(const std::string& path) {
  static const std::vector<char> out(s_piece, 'x');
  static std::vector<char> in(s_piece);
  bench::Question<bool>("write_pieces")
      .wall()
      .side("tvk",
            [path] {
              tvk::File file(path);
              file.open(tvk::ModeWriteCreate | tvk::ModeTruncate);
              for (std::uint64_t at = 0; at < s_size; at += s_piece) file.write(out.data(), s_piece);
              file.close();
              return true;
            })
      .side("write(2)",
            [path] {
              const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
              bool isWell = file >= 0;
              for (std::uint64_t at = 0; at < s_size; at += s_piece)
                isWell &= write(file, out.data(), s_piece) == static_cast<ssize_t>(s_piece);
              return close(file) == 0 && isWell;
            })
      .side("std::ofstream", [path] {
        std::ofstream file(path, std::ios::binary);
        for (std::uint64_t at = 0; at < s_size; at += s_piece) file.write(out.data(), s_piece);
        return file.good();
      });
  bench::Question<std::uint64_t>("read_pieces")
      .wall()
      .side("tvk",
            [path] {
              tvk::File file(path);
              file.open(tvk::ModeRead | tvk::ModeMustExist);
              std::uint64_t sum = 0;
              while (const std::size_t got = file.read(in.data(), s_piece)) sum += got;
              return sum;
            })
      .side("read(2)",
            [path] {
              const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
              std::uint64_t sum = 0;
              for (ssize_t got; (got = read(file, in.data(), s_piece)) > 0;)
                sum += static_cast<std::uint64_t>(got);
              close(file);
              return sum;
            })
      .side("std::ifstream", [path] {
        std::ifstream file(path, std::ios::binary);
        std::uint64_t sum = 0;
        while (file.read(in.data(), s_piece)) sum += s_piece;
        return sum + static_cast<std::uint64_t>(file.gcount());
      });
}

void values(const std::string& path) {
  static const auto count = static_cast<std::uint32_t>(s_size / 4);
  bench::Question<bool>("write_values")
      .rounds(5)
      .items(count)
      .side("tvk",
            [path] {
              tvk::File file(path);
              file.open(tvk::ModeWriteCreate | tvk::ModeTruncate);
              for (std::uint32_t i = 0; i < count; ++i) file.writeU32(i);
              file.close();
              return true;
            })
      .side("fwrite",
            [path] {
              std::FILE* const file = std::fopen(path.c_str(), "w");
              for (std::uint32_t i = 0; i < count; ++i) std::fwrite(&i, sizeof i, 1, file);
              return std::fclose(file) == 0;
            })
      .side("std::ofstream", [path] {
        std::ofstream file(path, std::ios::binary);
        for (std::uint32_t i = 0; i < count; ++i) file.write(reinterpret_cast<const char*>(&i), sizeof i);
        return file.good();
      });
  bench::Question<std::uint64_t>("read_values")
      .rounds(5)
      .items(count)
      .side("tvk",
            [path] {
              tvk::File file(path);
              file.open(tvk::ModeRead | tvk::ModeMustExist);
              std::uint64_t sum = 0;
              for (std::uint32_t i = 0; i < count; ++i) sum += file.readU32();
              return sum;
            })
      .side("fread",
            [path] {
              std::FILE* const file = std::fopen(path.c_str(), "r");
              std::uint64_t sum = 0;
              std::uint32_t value = 0;
              while (std::fread(&value, sizeof value, 1, file) == 1) sum += value;
              std::fclose(file);
              return sum;
            })
      .side("std::ifstream", [path] {
        std::ifstream file(path, std::ios::binary);
        std::uint64_t sum = 0;
        std::uint32_t value = 0;
        while (file.read(reinterpret_cast<char*>(&value), sizeof value)) sum += value;
        return sum;
      });
}

}  // namespace

void bench::ask() {
  static const Folder folder;
  std::thread([] {}).join();  // from now on the C library locks
  pieces(folder / "pieces");
  values(folder / "values");
}
