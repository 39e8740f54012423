// UTF-8 bytes with a zero behind them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <tvk/Export.h>

namespace tvk {

class CharsetConverter;

// A block of UTF-8 bytes. The constructors from a pointer stop at the first zero byte; a value made by
// Counted() or by a conversion may hold zeros. Plain data, used by one thread at a time.
class TVK_EXPORT Utf8 {
 public:
  Utf8() = default;
  // Null gives the empty value.
  explicit Utf8(const char* text);
  // Up to `count` bytes, fewer when a zero comes first; null or 0 gives the empty value.
  Utf8(const char* bytes, std::size_t count);
  // Every byte, zeros included.
  static Utf8 Counted(std::string_view bytes);

  // The number of bytes, without the terminating zero.
  std::size_t Size() const noexcept { return m_bytes.empty() ? 0 : m_bytes.size() - 1; }
  bool IsEmpty() const noexcept { return Size() == 0; }
  // Zero-terminated, never null.
  const char* Data() const noexcept { return m_bytes.empty() ? "" : m_bytes.data(); }
  std::string_view View() const noexcept { return {Data(), Size()}; }
  std::string ToString() const { return std::string(View()); }

  bool operator==(const Utf8& other) const noexcept { return View() == other.View(); }

 private:
  friend class CharsetConverter;

  std::vector<char> m_bytes;  // empty, or the bytes and one zero
};

}  // namespace tvk
