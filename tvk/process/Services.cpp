// The services of the library and the one place that registers them while it is loaded. The start-up of
// every frame is defined here, so that a linker that takes a frame out of a static archive takes the
// registration too.
#include <memory>

#include <tvk/console/ConsoleStreamBuf.h>
#include <tvk/process/AutoInit.h>
#include <tvk/process/StartUp.h>
#include <tvk/process/SystemInfo.h>
#include <tvk/text/ErrorLocation.h>
#include <tvk/time/DateTime.h>

namespace tvk {
namespace {

template <class... Services>
bool registerInOrder() {
  (AutoInitBase::Register(std::make_unique<AutoInit<Services>>()), ...);
  return true;
}

// In start-up order; shut-down is the reverse.
[[maybe_unused]] const bool s_registered =
    registerInOrder<ErrorLocationInit, SystemInfoImpl, DateTimeInit, ConsoleStreamBuf>();

}  // namespace

bool StartUp::InitServices() {
  AutoInitBase::InitAll();
  return true;
}

}  // namespace tvk
