/* What a language library exports, in C. A library named after the program, ".l" and the two letters of the
 * language ("tool.lDe") exports GetStrings:
 *
 *   static const TvkMessageEntry s_texts[] = {{1001, "Datei %1 nicht gefunden"}, {0, 0}};
 *   TVK_MODULE_EXPORT const TvkMessageEntry* GetStrings(void) { return s_texts; }
 *
 * It is plain C, links nothing and lies beside the program:
 *
 *   cc -shared -fPIC -fvisibility=hidden tool_de.c -o tool.lDe
 *
 * With CMake, tvk_add_language_library (TvkLanguage.cmake) makes it from a PO catalogue.
 *
 * Any loaded module may answer codes that the table lacks by exporting TvkLoadStringFromResource: it writes
 * the text of `code`, zero-terminated, into the buffer as far as it fits, and answers the length of the whole
 * text, or 0 when it has none. When it answers `size` or more it is asked once more with room for length + 1.
 *
 * Texts are bytes in ISO-8859-15; "%1" to "%3" are the places of the parameters. Texts are copied. */
#ifndef TVK_TEXT_MESSAGEENTRY_H
#define TVK_TEXT_MESSAGEENTRY_H

#include <stdint.h>

#ifdef __cplusplus
#define TVK_MODULE_EXPORT extern "C" __attribute__((visibility("default")))
extern "C" {
#else
#define TVK_MODULE_EXPORT __attribute__((visibility("default")))
#endif

/* One text; code 0 with a null text ends a table. */
typedef struct TvkMessageEntry {
  uint32_t code;
  const char* text;
} TvkMessageEntry;

typedef const TvkMessageEntry* TvkGetStrings(void);
typedef uint32_t TvkLoadStringFromResourceFunction(uint32_t code, uint32_t size, char* buffer);

#ifdef __cplusplus
}
#endif

#endif
