#include <tvk/process/StartUp.h>

#include <atomic>

#include <tvk/console/Console.h>
#include <tvk/files/CurrentProcess.h>
#include <tvk/process/AutoInit.h>
#include <tvk/process/Language.h>
#include <tvk/process/Platform.h>
#include <tvk/process/Singleton.h>
#include <tvk/text/Exception.h>
#include <tvk/text/ProgramName.h>

namespace tvk {
namespace {

std::atomic<StartUp*> s_current{nullptr};

constexpr std::int64_t s_badLanguageModule = 1131;

}  // namespace

StartUp::StartUp(const char* codePrefix, const char* name)
    : m_name(std::make_unique<StringBase<char>>(name)) {
  Exception::SetCodePrefix(codePrefix);
  if (IsStarted()) return;
  ProgramName::SetFrame(this, *m_name);
  s_current = this;  // last: a frame that could not be made must not stay behind
}

StartUp::~StartUp() {
  ProgramName::Forget(this);
  m_name.reset();
  StartUp* self = this;
  s_current.compare_exchange_strong(self, nullptr);
}

StartUp* StartUp::Get() noexcept { return s_current; }

void StartUp::GetLanguageName(StringBase<char>& name) const { name = Language::NameOf(Language::OfUser()); }

StringBase<char> StartUp::LanguageName() const {
  StringBase<char> name;
  GetLanguageName(name);
  return name;
}

FileString StartUp::LanguageLibraryPath(const StringBase<char>& language, const char* directory) const {
  FileString base = GetPath();
  if (base.empty()) {
    base = directory;
    if (base.empty()) return {};
  } else if (base.find('/') == FileString::npos) {
    // Never the current folder, where anybody may have put a library.
    FileString folder = directory;
    if (folder.empty()) {
      const void* const virtualTable = *reinterpret_cast<const void* const*>(this);
      folder = folderPart(platform::moduleHolding(virtualTable), FileString());
      if (folder.empty()) return {};
    }
    base = joinedCopy(folder, base);
  }
  removeExtension(base);
  base += ".l" + language;
  normalise(base);
  return base;
}

void StartUp::LoadLanguageModule(const char* directory) {
  m_languageLibrary.Close();
  const StringBase<char> language = LanguageName();
  if (language.empty()) return;
  const FileString path = LanguageLibraryPath(language, directory);
  if (path.empty() || !m_languageLibrary.Open(path)) throw Exception::Of(s_badLanguageModule);
  m_languageLibrary.LoadStrings();
}

void StartUp::ShutDown() {
  AutoInitBase::ExitAll();
  Singleton::DestroyAll();
  Console::Destroy();
  ConsoleStreamBuf::Destroy();  // whoever made it: services go down once
  CurrentProcess::Destroy();
}

}  // namespace tvk
