// A growable block of bytes that can wipe its memory before it is freed.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <ranges>
#include <span>
#include <type_traits>

#include <zed/Export.h>

namespace zed {

class ByteBuffer;

// What a buffer can be made from: strings, views, spans, vectors and arrays of one-byte elements. Built-in
// arrays are left out, because that of a string literal would bring its terminator along.
template <class Range>
concept ByteRange = std::ranges::contiguous_range<Range> && std::ranges::sized_range<Range> &&
                        sizeof(std::ranges::range_value_t<Range>) == 1 &&
                    std::is_trivially_copyable_v<std::ranges::range_value_t<Range>> &&
                    !std::is_array_v<std::remove_cvref_t<Range>> &&
                    !std::is_base_of_v<ByteBuffer, std::remove_cvref_t<Range>>;

// Bytes on the heap: `Size()` of them are in use, `Capacity()` are allocated.
//
// Wiping    With the wipe flag every block is overwritten with zeros before it is freed, the spare bytes
//           included, and every new block is filled with zeros. The flag belongs to the buffer: a new buffer
//           made from another takes it over, an assignment switches it on where either side has it,
//           everything else keeps it.
// Errors    std::bad_alloc when memory is short; the buffer is then as it was.
// Threads   one thread at a time; constant use may be shared.
// Lifetime  pointers, iterators and spans hold until the block is replaced: by growing, assigning or
//           clearing.
//
//   zed::ByteBuffer key{0x13, 0x37};
//   key.SetWipe(true);
//   for (unsigned char byte : key) ...
class ZED_EXPORT ByteBuffer {
 public:
  ByteBuffer() noexcept = default;
  // A copy of `size` bytes from `data`; null gives the empty buffer.
  ByteBuffer(const void* data, std::size_t size) { Assign(data, size); }
  ByteBuffer(std::initializer_list<unsigned char> bytes) : ByteBuffer(bytes.begin(), bytes.size()) {}
  template <ByteRange Range>
  explicit ByteBuffer(const Range& bytes) : ByteBuffer(std::ranges::data(bytes), std::ranges::size(bytes)) {}
  ByteBuffer(const ByteBuffer& other);
  // The block itself goes over; the other buffer is empty afterwards and keeps its flag.
  ByteBuffer(ByteBuffer&& other) noexcept;
  ByteBuffer& operator=(const ByteBuffer& other);
  ByteBuffer& operator=(ByteBuffer&& other) noexcept;
  ~ByteBuffer() { Clear(); }

  unsigned char* Data() noexcept { return m_data.get(); }
  const unsigned char* Data() const noexcept { return m_data.get(); }
  std::size_t Size() const noexcept { return m_size; }
  std::size_t Capacity() const noexcept { return m_capacity; }
  // True when no block is allocated. A buffer of size 0 may still hold one.
  bool IsEmpty() const noexcept { return m_empty; }

  bool Wipe() const noexcept { return m_wipe != 0; }
  // Applies to the blocks freed and made from now on.
  void SetWipe(bool wipe) noexcept { m_wipe = wipe ? 1 : 0; }

  // A size within the capacity only changes the size. A larger one gets a new block of exactly that size with
  // the old contents in front; the bytes behind them are zero when wiping and of any value otherwise.
  void Resize(std::size_t size);
  // Takes a copy of the bytes, which may lie in this very buffer, in place of the contents. A null `data`
  // counts as no bytes. A new block is made, of exactly that size, only when the bytes do not fit.
  void Assign(const void* data, std::size_t size);
  // Frees the block.
  void Clear() noexcept;

  unsigned char& operator[](std::size_t index) noexcept { return m_data[index]; }
  unsigned char operator[](std::size_t index) const noexcept { return m_data[index]; }
  unsigned char* begin() noexcept { return Data(); }
  unsigned char* end() noexcept { return Data() + m_size; }
  const unsigned char* begin() const noexcept { return Data(); }
  const unsigned char* end() const noexcept { return Data() + m_size; }
  std::span<unsigned char> Span() noexcept { return {Data(), m_size}; }
  std::span<const unsigned char> Span() const noexcept { return {Data(), m_size}; }

  // Equal bytes in use; capacity and flag do not count.
  friend bool operator==(const ByteBuffer& left, const ByteBuffer& right) noexcept {
    return std::ranges::equal(left.Span(), right.Span());
  }

 private:
  std::unique_ptr<unsigned char[]> NewBlock(std::size_t size) const;
  void Replace(std::unique_ptr<unsigned char[]> block, std::size_t size) noexcept;
  void TakeBlock(ByteBuffer& other) noexcept;

  std::unique_ptr<unsigned char[]> m_data;
  std::size_t m_size = 0;
  std::size_t m_capacity = 0;
  bool m_empty = true;
  std::uint32_t m_wipe = 0;
};

}  // namespace zed
