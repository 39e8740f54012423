// How time and memory of tvkpack grow with the size of a file, and memory with the jobs.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "Folder.h"
#include "Sides.h"

namespace {

// Packs a folder and leaves the originals; answers the most memory that it had at one time, in bytes.
double pack(const std::string& folder, int jobs) {
  const pid_t child = fork();
  if (child == 0) {
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    const std::string option = "-jobs=" + std::to_string(jobs);
    execl(BENCH_TVKPACK, "tvkpack", option.c_str(), "-keep", "-overwrite", folder.c_str(), nullptr);
    _exit(127);
  }
  int status = -1;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child || status != 0) std::abort();
  return static_cast<double>(usage.ru_maxrss) * 1024;
}

void question(const std::string& name, int size, const std::string& folder, int jobs) {
  bench::Question<bool>(name, std::to_string(size))
      .bytes(pack(folder, jobs))
      .wall()
      .rounds(3)
      .side("tvk", [=] { return pack(folder, jobs) > 0; });
}

}  // namespace

void bench::ask() {
  static const Folder folder;
  for (int kib = 64; kib <= scaled(16 << 10); kib *= 4) {
    const std::string path = folder / ("size" + std::to_string(kib));
    std::filesystem::create_directory(path);
    writeFile(path + "/file", words(static_cast<std::size_t>(kib) << 10, 1));
    question("grow_packed_size", kib, path, 1);
  }
  const std::string path = folder / "jobs";
  std::filesystem::create_directory(path);
  for (std::uint32_t n = 0; n < 64; ++n)
    writeFile(path + "/" + std::to_string(n), words(static_cast<std::size_t>(scaled(256 << 10)), n));
  for (int jobs = 1; jobs <= 64; jobs *= 2) question("grow_jobs", jobs, path, jobs);
}
