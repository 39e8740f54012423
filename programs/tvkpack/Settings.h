// What the command line asks for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <tvk/files/FileString.h>

namespace tvkpack {

enum class Mode : std::uint8_t { Pack, Unpack, Test, List };

// A file, or a folder with the patterns of the names in it.
struct Target {
  tvk::FileString path;
  std::vector<tvk::FileString> patterns;
};

struct Settings {
  Mode mode = Mode::Pack;
  bool recurse = false;
  bool keep = false;
  bool overwrite = false;
  bool ask = false;
  bool page = false;
  bool toLog = false;
  bool quiet = false;
  std::optional<std::int64_t> before;   // seconds since 1970
  std::optional<std::int64_t> after;    // the same
  std::optional<std::uint64_t> larger;  // bytes
  std::optional<std::uint64_t> smaller;
  std::string skip;  // files that begin with these bytes are left alone; empty: none
  std::uint32_t jobs = 1;
  std::vector<Target> targets;
};

// Reads the arguments of the process. Throws Exception with the codes of the command line. Nothing when an option
// asked for help or the like, which was shown; otherwise there is one target at least.
std::optional<Settings> readSettings();

}  // namespace tvkpack
