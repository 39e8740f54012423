#include <tvk/text/MessageEntry.h>

int nowhere(void);
int CallsNowhere(void) { return nowhere(); }

TVK_MODULE_EXPORT uint32_t TvkLoadStringFromResource(uint32_t code, uint32_t size, char* buffer) {
  if (code != 71001 || size < 3) return 0;
  buffer[0] = 'o';
  buffer[1] = 'k';
  buffer[2] = 0;
  return 2;
}
