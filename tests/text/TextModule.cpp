// A module with texts, and with the answers of a module that is up to no good.
#include <tvk/text/MessageEntry.h>

#include <pthread.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

TVK_MODULE_EXPORT std::uint32_t TvkLoadStringFromResource(std::uint32_t code, std::uint32_t size,
                                                          char* buffer) {
  if (code == 70001 || code == 70300) std::snprintf(buffer, size, "%u", size);  // asked with this size
  if (code == 70002 || code == 70255 || code == 70256) std::memset(buffer, 'x', size);  // without a zero
  if (code == 70004) throw 1;
  if (code == 70006) return size == 256 ? 400 : 0;
  if (code == 70007) pthread_testcancel();
  const bool isText = code == 70255 || code == 70256 || code == 70300;
  return code == 70001 ? 3 : code == 70002 ? 0xFFFFFFFF : isText ? code - 70000 : 0;
}
