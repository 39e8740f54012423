// A module that works, as a host in C sees it, and throws across the border of the libraries.
#include <string>

#include <tvk/files/FileException.h>
#include <tvk/process/Module.h>

#define PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

PLUGIN_EXPORT void pluginThrow(int kind) {
  if (kind == 0) throw tvk::FileException::Of(1001, "/nowhere");
  if (kind == 1) throw tvk::AbortException(tvk::Exception::Of(11));
  throw tvk::Exception::Of(2001, "thrown");
}

// From its start to its stop, with a failure in between: all must be fresh each time.
PLUGIN_EXPORT int pluginRun() {
  tvk::Module module("PL", "plugin");
  if (!tvk::Module::Start(&module)) return 1;
  try {
    pluginThrow(2);
  } catch (const tvk::Exception& e) {
    if (e.what() != std::string("plugin: error PL2001 - invalid option.")) return 2;
  }
  return tvk::Module::Stop() ? 0 : 3;
}
