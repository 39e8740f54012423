#include <tvk/text/MessageTable.h>

#include <cxxabi.h>
#include <iconv.h>
#include <langinfo.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <tvk/process/ModuleRegistry.h>
#include <tvk/text/BuiltinMessages.h>

namespace tvk {
namespace {

using TextMap = std::unordered_map<std::uint32_t, StringBase<char>>;

// What was registered besides the built-in texts.
struct Table {
  std::shared_mutex lock;
  TextMap registered;
  std::vector<std::pair<const void*, TextMap>> translations;  // the newest last
};

// Made by the first registration and never destroyed: texts are asked for until the very end of the process.
std::atomic<Table*> s_table{nullptr};

Table& table() {
  if (Table* made = s_table.load(std::memory_order_acquire)) return *made;
  static auto* const s_made = new Table;
  s_table.store(s_made, std::memory_order_release);
  return *s_made;
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

bool askModules(std::uint32_t code, StringBase<char>& out) {
  for (const LoadedModule& module : LoadedModules()) {
    void* const symbol = module.Symbol("TvkLoadStringFromResource");
    if (symbol != nullptr &&
        askModule(reinterpret_cast<TvkLoadStringFromResourceFunction*>(symbol), code, out))
      return true;
  }
  return false;
}

const StringBase<char>* find(const TextMap& map, std::uint32_t code) {
  const auto entry = map.find(code);
  return entry != map.end() ? &entry->second : nullptr;
}

const StringBase<char>* find(const Table& table, std::uint32_t code) {
  for (auto entry = table.translations.rbegin(); entry != table.translations.rend(); ++entry)
    if (const auto* text = find(entry->second, code)) return text;
  return find(table.registered, code);
}

}  // namespace

bool registerMessage(const StringBase<char>&, const MessageEntry& entry) {
  if (isBuiltin(entry.code)) return false;
  Table& all = table();
  const std::unique_lock lock(all.lock);
  return all.registered.try_emplace(entry.code, entry.text).second;
}

bool loadMessage(const StringBase<char>&, std::uint32_t code, bool askLoadedModules, StringBase<char>& out) {
  if (Table* const all = s_table.load(std::memory_order_acquire)) {
    const std::shared_lock lock(all->lock);
    if (const auto* text = find(*all, code)) {
      out = *text;
      return true;
    }
  }
  if (const char* text = builtinMessage(code)) {
    out = text;
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
  Table& all = table();
  const std::unique_lock lock(all.lock);
  all.translations.emplace_back(owner, std::move(present));
}

void dropTranslations(const void* owner) {
  Table* const all = s_table.load(std::memory_order_acquire);
  if (all == nullptr) return;
  const std::unique_lock lock(all->lock);
  std::erase_if(all->translations, [owner](const auto& entry) { return entry.first == owner; });
}

}  // namespace tvk
