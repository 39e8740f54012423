#include <tvk/text/MessageEntry.h>

static const TvkMessageEntry s_texts[] = {{1001, "Datei %1 fehlt"}, {0, 0}};

TVK_MODULE_EXPORT const TvkMessageEntry* GetStrings(void) { return s_texts; }

int InBoth(void) { return 1; }
