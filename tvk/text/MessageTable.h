// The process-wide table from message codes to texts.
#pragma once

#include <cstdint>

#include <tvk/Export.h>
#include <tvk/text/MessageEntry.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// One text and its code. A null text counts as empty.
struct TVK_EXPORT MessageEntry {
  MessageEntry(std::uint32_t messageCode, const char* messageText) : code(messageCode), text(messageText) {}

  std::uint32_t code;
  StringBase<char> text;
};

// Adds a text under its code. The first registration of a code wins: true when the code was new, false when
// it was present and nothing changed. `module` names the registering module and has no effect. Safe from
// every thread.
TVK_EXPORT bool registerMessage(const StringBase<char>& module, const MessageEntry& entry);

// Looks a code up: in the texts of the language library, then in the table, then, with `askModules`, in the
// loaded modules that export "TvkLoadStringFromResource", in load order. True with the text in `out`; false
// with `out` empty when modules were asked, untouched otherwise. What a module throws counts as "no text".
// `module` has no effect. Safe from every thread.
TVK_EXPORT bool loadMessage(const StringBase<char>& module, std::uint32_t code, bool askModules,
                            StringBase<char>& out);

// The texts of a language library: registers each entry of the zero-ended table and puts those whose code was
// present in front of the table, until dropTranslations() of the same owner. Texts are taken as ISO-8859-15
// and kept in the character set of the locale; a character that it lacks becomes "?". A null table means
// nothing.
TVK_EXPORT void registerTranslations(const void* owner, const TvkMessageEntry* table);
TVK_EXPORT void dropTranslations(const void* owner);

}  // namespace tvk
