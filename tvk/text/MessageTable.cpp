#include <tvk/text/MessageTable.h>

#include <cxxabi.h>
#include <iconv.h>
#include <langinfo.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <tvk/process/ModuleRegistry.h>
#include <tvk/process/Platform.h>
#include <tvk/process/Singleton.h>
#include <tvk/text/BuiltinMessages.h>

namespace tvk {
namespace {

// What was registered besides the built-in texts: a tree below each bucket, which branches by the bits of the
// spread code that the bucket has not used. Entries are added and never change or go, so that a look-up takes no
// lock; they are not destroyed either, as texts are asked for until the very end of the process.
struct Registered {
  using Place = std::atomic<const Registered*>;
  MessageEntry entry;
  mutable Place below[4]{};
};

constexpr unsigned bucketBits = 13;
constinit Registered::Place s_registered[1u << bucketBits];
constinit std::mutex s_registrationLock;

// Where the entry of the code is, or would be.
Registered::Place& placeOf(std::uint32_t code) noexcept {
  constexpr std::uint32_t goldenRatio = 2654435769;  // odd: each code has bits of its own
  std::uint32_t bits = code * goldenRatio;
  Registered::Place* place = &s_registered[bits >> (32 - bucketBits)];
  bits <<= bucketBits;
  while (const Registered* const found = place->load(std::memory_order_acquire)) {
    if (found->entry.code == code) break;
    place = &found->below[bits >> 30];
    bits <<= 2;
  }
  return *place;
}

const StringBase<char>* registeredText(std::uint32_t code) noexcept {
  const Registered* const found = placeOf(code).load(std::memory_order_acquire);
  return found != nullptr ? &found->entry.text : nullptr;
}

// The texts of language libraries that were in the way of others, the newest last. Made with the first and
// never destroyed.
using TextMap = std::unordered_map<std::uint32_t, StringBase<char>>;
struct Translations {
  std::shared_mutex lock;
  std::vector<std::pair<const void*, TextMap>> all;
};
std::atomic<Translations*> s_translations{nullptr};

Translations& translations() {
  static Lasting<Translations> s_made;
  s_translations.store(&s_made.value, std::memory_order_release);
  return s_made.value;
}

// Not inline, nor is askModules(): most look-ups need neither, and are short without them.
[[gnu::noinline]] bool findTranslation(Translations& made, std::uint32_t code, StringBase<char>& out) {
  const std::shared_lock lock(made.lock);
  for (auto library = made.all.rbegin(); library != made.all.rend(); ++library) {
    if (const auto entry = library->second.find(code); entry != library->second.end()) {
      out = entry->second;
      return true;
    }
  }
  return false;
}

// The load-time registration of the built-in texts. They are constant data, so all it takes is to say that
// they count as present from now on; a text that another initialiser registered before stays in force.
std::atomic<bool> s_builtinsAreRegistered{false};
const struct RegisterBuiltins {
  RegisterBuiltins() { s_builtinsAreRegistered = true; }
} s_registerBuiltins;

bool isBuiltin(std::uint32_t code) noexcept {
  return s_builtinsAreRegistered && builtinMessage(code) != nullptr;
}

// Turns texts of translators, ISO-8859-15, into the character set of the locale.
class TranslationCharset {
 public:
  TranslationCharset() {
    const std::string_view set = nl_langinfo(CODESET);
    if (set != "ISO-8859-15" && set != "ANSI_X3.4-1968" && set != "US-ASCII")
      m_descriptor = iconv_open(nl_langinfo(CODESET), "ISO-8859-15");
  }
  TranslationCharset(const TranslationCharset&) = delete;
  TranslationCharset& operator=(const TranslationCharset&) = delete;
  ~TranslationCharset() {
    if (m_descriptor != notOpened) iconv_close(m_descriptor);
  }

  StringBase<char> Convert(const char* text) const {
    if (m_descriptor == notOpened || text == nullptr) return text;
    StringBase<char> result;
    for (; *text != '\0'; ++text) {
      char byte = *text;
      char* in = &byte;
      std::size_t inLeft = 1;
      char block[16];
      char* out = block;
      std::size_t room = sizeof(block);
      if (iconv(m_descriptor, &in, &inLeft, &out, &room) == 0) {
        result.append(block, sizeof(block) - room);
      } else {
        result.append("?");
      }
    }
    return result;
  }

 private:
  static inline const iconv_t notOpened = reinterpret_cast<iconv_t>(-1);
  iconv_t m_descriptor = notOpened;
};

constexpr std::uint32_t firstBuffer = 256;
constexpr std::uint64_t longestModuleText = 1024 * 1024;

// A stranger's failure must not spoil the report of ours: whatever the module throws counts as "no text",
// save the unwinding of a cancelled thread.
std::uint32_t call(TvkLoadStringFromResourceFunction* function, std::uint32_t code, std::uint32_t size,
                   char* buffer) {
  try {
    return function(code, size, buffer);
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    return 0;
  }
}

// The text that a module's lookup function has for the code; false when it has none.
bool askModule(TvkLoadStringFromResourceFunction* function, std::uint32_t code, StringBase<char>& out) {
  char first[firstBuffer] = "";
  const std::uint32_t length = call(function, code, firstBuffer, first);
  if (length == 0) return false;
  first[firstBuffer - 1] = '\0';
  if (length < firstBuffer) {
    out = TranslationCharset().Convert(first);
    return true;
  }
  const std::uint64_t size = std::uint64_t{length} + 1;
  if (size > longestModuleText) return false;
  const auto whole = std::make_unique<char[]>(size);
  std::copy_n(first, firstBuffer, whole.get());
  if (call(function, code, static_cast<std::uint32_t>(size), whole.get()) == 0) return false;
  whole[size - 1] = '\0';
  out = TranslationCharset().Convert(whole.get());
  return true;
}

constexpr const char* lookUpSymbol = "TvkLoadStringFromResource";

// The modules that export the lookup function. Which they are is found out once for each state of the loader;
// the lock is not held while the loader works, because it may be running an initialiser that asks for a text.
std::vector<std::string> modulesToAsk() {
  struct Known {
    std::mutex lock;
    std::uint64_t loaderState = 0;
    std::vector<std::string> paths;
  };
  static Lasting<Known> s_lasting;
  Known& known = s_lasting.value;

  const std::uint64_t state = platform::loaderState();
  {
    const std::lock_guard lock(known.lock);
    if (known.loaderState == state) return known.paths;
  }
  const std::vector<std::string> all = platform::loadedModulePaths();
  const std::vector<LoadedModule> modules = LoadedModules(all);
  std::vector<std::string> paths;
  for (const LoadedModule& module : modules)
    if (module.Symbol(lookUpSymbol) != nullptr) paths.push_back(module.Path());
  if (modules.size() != all.size()) return paths;  // the loader failed; it may know next time
  const std::lock_guard lock(known.lock);
  known.paths = paths;
  known.loaderState = state;
  return paths;
}

[[gnu::noinline]] bool askModules(std::uint32_t code, StringBase<char>& out) {
  for (const LoadedModule& module : LoadedModules(modulesToAsk())) {
    void* const symbol = module.Symbol(lookUpSymbol);
    if (symbol != nullptr &&
        askModule(reinterpret_cast<TvkLoadStringFromResourceFunction*>(symbol), code, out))
      return true;
  }
  return false;
}

}  // namespace

bool registerMessage(const StringBase<char>&, const MessageEntry& entry) {
  const std::lock_guard lock(s_registrationLock);
  Registered::Place& place = placeOf(entry.code);
  if (isBuiltin(entry.code) || place.load(std::memory_order_relaxed) != nullptr) return false;
  place.store(new Registered{entry}, std::memory_order_release);
  return true;
}

bool loadMessage(const StringBase<char>&, std::uint32_t code, bool askLoadedModules, StringBase<char>& out) {
  Translations* const made = s_translations.load(std::memory_order_acquire);
  if (made != nullptr && findTranslation(*made, code, out)) return true;
  if (const auto* text = registeredText(code)) {
    out = *text;
    return true;
  }
  if (const auto* message = builtinMessage(code)) {
    out = message->text;
    return true;
  }
  if (!askLoadedModules) return false;
  if (askModules(code, out)) return true;
  out.clear();
  return false;
}

void registerTranslations(const void* owner, const TvkMessageEntry* entries) {
  if (entries == nullptr) return;
  const TranslationCharset charset;
  std::unordered_set<std::uint32_t> seen;
  TextMap present;
  for (; entries->code != 0 || entries->text != nullptr; ++entries) {
    if (!seen.insert(entries->code).second) continue;  // the first text of a code wins here too
    const MessageEntry entry(entries->code, charset.Convert(entries->text).c_str());
    if (!registerMessage("", entry)) present.emplace(entry.code, entry.text);
  }
  Translations& made = translations();
  const std::unique_lock lock(made.lock);
  made.all.emplace_back(owner, std::move(present));
}

void dropTranslations(const void* owner) {
  Translations* const made = s_translations.load(std::memory_order_acquire);
  if (made == nullptr) return;
  const std::unique_lock lock(made->lock);
  std::erase_if(made->all, [owner](const auto& library) { return library.first == owner; });
}

}  // namespace tvk
