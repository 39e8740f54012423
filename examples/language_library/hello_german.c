/* German for ../hello: its own text, and some of the library's. Bytes above ASCII are ISO-8859-15. */
#include <tvk/text/MessageEntry.h>

static const TvkMessageEntry s_texts[] = {
    {1001, "Datei %1 nicht gefunden"},
    {1003,
     "Datei %1 kann nicht ge\xF6"
     "ffnet werden"},
    {5001, "Hallo, %1!"},
    {55297, "Fehler"},
    {55299, "schwerer Fehler"},
    {0, 0},
};

TVK_MODULE_EXPORT const TvkMessageEntry* GetStrings(void) { return s_texts; }
