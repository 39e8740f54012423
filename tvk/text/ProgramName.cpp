#include <tvk/text/ProgramName.h>

#include <cstring>
#include <mutex>

#include <tvk/process/Platform.h>
#include <tvk/process/Singleton.h>

namespace tvk {
namespace {

struct Slot {
  const void* owner = nullptr;
  StringBase<char> name;
};

struct Names {
  Slot application;
  Slot frame;
};

std::mutex s_lock;
char s_codePrefix[ProgramName::maxCodePrefix + 1] = "";

// Error texts are formed until the very end of the process.
Names& names() {
  static Lasting<Names> s_names;
  return s_names.value;
}

void forgetIn(Slot& slot, const void* owner) {
  if (slot.owner == owner) slot = Slot();
}

}  // namespace

void ProgramName::SetApplication(const void* owner, const StringBase<char>& name) {
  const std::lock_guard lock(s_lock);
  names().application = {owner, name};
}

void ProgramName::SetFrame(const void* owner, const StringBase<char>& name) {
  const std::lock_guard lock(s_lock);
  names().frame = {owner, name};
}

void ProgramName::Forget(const void* owner) {
  const std::lock_guard lock(s_lock);
  forgetIn(names().application, owner);
  forgetIn(names().frame, owner);
}

StringBase<char> ProgramName::Get() {
  {
    const std::lock_guard lock(s_lock);
    if (names().application.owner != nullptr) return names().application.name;
    if (names().frame.owner != nullptr) return names().frame.name;
  }
  const std::string path = platform::executablePath();
  const std::string file = path.substr(path.rfind('/') + 1);
  return file.empty() ? "<unknown>" : file.c_str();
}

bool ProgramName::SetCodePrefix(const char* prefix) noexcept {
  const std::string_view text = prefix != nullptr ? prefix : "";
  if (text.size() > maxCodePrefix) return false;
  const std::lock_guard lock(s_lock);
  text.copy(s_codePrefix, text.size());
  s_codePrefix[text.size()] = '\0';
  return true;
}

StringBase<char> ProgramName::CodePrefix() {
  const std::lock_guard lock(s_lock);
  return s_codePrefix;
}

}  // namespace tvk
