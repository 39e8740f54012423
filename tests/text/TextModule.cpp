// A module with texts, and with the answers of a module that is up to no good.
#include <tvk/text/MessageEntry.h>

#include <pthread.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

static char s_sizes[64];

static void note(unsigned size) {
  const std::size_t used = std::strlen(s_sizes);
  std::snprintf(s_sizes + used, sizeof(s_sizes) - used, "%u ", size);
}

TVK_MODULE_EXPORT const char* AskedSizes() { return s_sizes; }

TVK_MODULE_EXPORT std::uint32_t TvkLoadStringFromResource(std::uint32_t code, std::uint32_t size,
                                                          char* buffer) {
  const auto fill = [&](std::uint32_t length) {
    const std::uint32_t fits = length < size ? length : size - 1;
    std::memset(buffer, 'x', fits);
    buffer[fits] = '\0';
    return length;
  };
  switch (code) {
    case 70001:
      note(size);
      std::strcpy(buffer, "module text");
      return 11;
    case 70300:
      note(size);
      return fill(300);
    case 70256:
      return fill(256);
    case 70255:
      return fill(255);
    case 70002:
      return fill(0xFFFFFFFF);
    case 70003:
      return fill(2 * 1024 * 1024);
    case 70004:
      throw 1;
    case 70005:
      std::memset(buffer, 'y', size);
      return 255;
    case 70006:
      return size == 256 ? 400 : 0;
    case 70007:
      pthread_testcancel();
      return 0;
    default:
      return 0;
  }
}
