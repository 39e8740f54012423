#include <tvk/text/MessageEntry.h>

TvkGetStrings GetStrings;
TvkGetStrings* UsesWords(void) { return GetStrings; }
int InBoth(void) { return 2; }

int nowhere(void);
int CallsNowhere(void) { return nowhere(); }
