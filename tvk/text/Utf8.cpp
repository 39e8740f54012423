#include <tvk/text/Utf8.h>

#include <cstring>

namespace tvk {

Utf8::Utf8(const char* text) {
  if (text != nullptr) m_bytes.assign(text, text + std::strlen(text) + 1);
}

Utf8::Utf8(const char* bytes, std::size_t count) {
  if (bytes == nullptr || count == 0) return;
  *this = Counted({bytes, strnlen(bytes, count)});
}

Utf8 Utf8::Counted(std::string_view bytes) {
  Utf8 result;
  result.m_bytes.reserve(bytes.size() + 1);
  result.m_bytes.assign(bytes.begin(), bytes.end());
  result.m_bytes.push_back('\0');
  return result;
}

}  // namespace tvk
