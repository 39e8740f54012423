#include <string>

#include <tvk/files/FileException.h>
#include <tvk/process/Module.h>
#include <tvk/text/Exception.h>

#define PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

class Plugin : public tvk::Module {
 public:
  Plugin() : Module("PL", "plugin") {}
};

Plugin* s_plugin = nullptr;

}  // namespace

PLUGIN_EXPORT int pluginStart() { return tvk::Module::Start(s_plugin = new Plugin); }

PLUGIN_EXPORT const char* pluginWork() {
  static std::string text;
  try {
    throw tvk::Exception::Of(2001, "work");
  } catch (const tvk::Exception& e) {  // crosses the border of the libraries with its type
    text = e.what();
  }
  return text.c_str();
}

PLUGIN_EXPORT void pluginThrow(int kind) {
  if (kind == 0) throw tvk::FileException::Of(1001, "/nowhere");
  if (kind == 1) throw tvk::AbortException(tvk::Exception::Of(11));
  throw tvk::Exception::Of(2001, "thrown");
}

PLUGIN_EXPORT int pluginStop() {
  const bool stopped = tvk::Module::Stop();
  delete s_plugin;
  return stopped;
}
