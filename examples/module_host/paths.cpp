// A shared module that uses the library inside a host that knows nothing of it.
#include "paths.h"

#include <exception>
#include <optional>

#include <tvk/files/Folders.h>
#include <tvk/process/Module.h>

#define PATHS_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

class Paths : public tvk::Module {
 public:
  Paths() : Module("PT", "paths") {}
};

std::optional<Paths> s_module;

}  // namespace

// No exception may reach the host: each function turns what it gets into an answer.

PATHS_EXPORT int pathsStart() {
  try {
    s_module.emplace();
    return tvk::Module::Start(&*s_module);
  } catch (const std::exception&) {
    return 0;
  }
}

PATHS_EXPORT int pathsStop() {
  try {
    const bool isDown = tvk::Module::Stop();
    s_module.reset();
    return isDown;
  } catch (const std::exception&) {
    return 0;
  }
}

PATHS_EXPORT int pathsReal(const char* path, char* buffer, size_t size) {
  try {
    tvk::realPath(path).CopyTo(buffer, size, true);
    return 1;
  } catch (const std::exception& e) {
    tvk::StringBase<char>(e.what()).CopyTo(buffer, size, true);
    return 0;
  }
}
