// A module with texts, and with the answers of a module that is up to no good.
#include <tvk/text/MessageEntry.h>

#include <pthread.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

TVK_MODULE_EXPORT std::uint32_t TvkLoadStringFromResource(std::uint32_t code, std::uint32_t size,
                                                          char* buffer) {
  const auto fill = [&](std::uint32_t length) {
    std::memset(buffer, 'x', length < size ? length + 1 : size);  // a stranger may forget the zero
    return length;
  };
  switch (code) {
    case 70001:
    case 70300:  // the size it is asked with is the text
      std::snprintf(buffer, size, "%u", size);
      return code == 70300 ? 300 : 3;
    case 70255:
    case 70256:
      return fill(code - 70000);
    case 70002:
      return fill(0xFFFFFFFF);
    case 70003:
      return fill(2 * 1024 * 1024);
    case 70004:
      throw 1;
    case 70006:
      return size == 256 ? 400 : 0;
    case 70007:
      pthread_testcancel();
      return 0;
    default:
      return 0;
  }
}
