// Times kept in 32 bits.
#pragma once

#include <chrono>
#include <cstdint>

namespace tvk {

// A time as the seconds since the base, 1970-01-01 UTC. The offset with all bits set stands for the base
// itself.
class OffsetTime {
 public:
  using TimePoint = std::chrono::sys_seconds;

  static constexpr std::uint32_t baseOffset = 0xFFFFFFFF;
  static constexpr std::uint32_t lastOffset = baseOffset - 1;
  static constexpr TimePoint base{};

  // The base itself.
  constexpr OffsetTime() noexcept = default;
  constexpr explicit OffsetTime(std::uint32_t offset) noexcept : m_offset(offset) {}
  // A time before the base, or too late for 32 bits, becomes the last one: 2106-02-07 06:28:14 UTC.
  constexpr explicit OffsetTime(TimePoint time) noexcept {
    const std::int64_t seconds = (time - base).count();
    if (seconds != 0)
      m_offset = seconds > 0 && seconds < lastOffset ? static_cast<std::uint32_t>(seconds) : lastOffset;
  }

  constexpr std::uint32_t Offset() const noexcept { return m_offset; }
  constexpr TimePoint Time() const noexcept {
    return base + std::chrono::seconds(m_offset == baseOffset ? 0 : m_offset);
  }

 private:
  std::uint32_t m_offset = baseOffset;
};

}  // namespace tvk
