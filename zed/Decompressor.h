// Unpacks blocks of bytes held in memory from the gzip and zlib containers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>

#include <zed/ByteBuffer.h>
#include <zed/Export.h>

namespace zed {

// No limit on the unpacked size but the one that the format itself sets: 1032 times the packed size.
inline constexpr std::size_t noLimit = std::numeric_limits<std::size_t>::max();

// Unpacks one block. A gzip block is one member, from its first byte to its last, of at most 4,294,967,295
// bytes unpacked: blocks of several members, with bytes behind the end, or of more content are refused.
//
// Safety   any bytes may be given. Nothing is read beyond them, and no more is allocated than they can hold
//          unpacked: a size in the trailer that the length cannot account for is refused before memory is
//          taken.
// Errors   answered as false; nothing is thrown but std::bad_alloc when memory is short.
// Threads  each object is used by one thread at a time.
class ZED_EXPORT Decompressor {
 public:
  // zlib's window bits: 24 to 31 take the gzip container, 8 to 15 the zlib container, 40 to 47 either. With
  // others Decompress() answers false. A zlib block that tells of a larger window is refused; a gzip block
  // tells of none and may have any. A block that unpacks to more than `maximum` bytes is refused.
  explicit Decompressor(std::int32_t windowBits = 31, std::size_t maximum = noLimit);
  ~Decompressor();
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;

  // Unpacks the whole block, which may lie in Result(). True when it ended properly; the result is then its
  // content. No bytes are nothing to do: true, and the result stays as it was. False leaves the result empty;
  // a second block is refused and leaves the result as it was.
  bool Decompress(const void* data, std::size_t length);
  bool Decompress(const ByteBuffer& data) { return Decompress(data.Data(), data.Size()); }

  // Copies the result into `out`, which keeps its own wipe flag; nothing is copied when `out` is Result()
  // itself. Answers true.
  bool GetResult(ByteBuffer& out) const;

  // The object's own result buffer: set its wipe flag before unpacking, or move the bytes out without a copy.
  ByteBuffer& Result() noexcept;

 private:
  struct Context;
  std::unique_ptr<Context> m_context;
};

// Unpacks a gzip block, as a Decompressor does, and answers the number of bytes in `out`: 0 for a failure,
// which leaves `out` empty, and for a block of nothing; IsCompleteBlock() tells them apart. `out` keeps its
// wipe flag, and may be `in`, which is lost then.
ZED_EXPORT std::size_t DecompressGzip(const ByteBuffer& in, ByteBuffer& out, std::size_t maximum = noLimit);

// Whether the bytes are one whole and undamaged block that a Decompressor of these window bits would unpack.
// The content is worked through and dropped, in the same time and with a small piece of memory.
ZED_EXPORT bool IsCompleteBlock(const void* data, std::size_t length, std::int32_t windowBits = 31);
inline bool IsCompleteBlock(const ByteBuffer& block, std::int32_t windowBits = 31) {
  return IsCompleteBlock(block.Data(), block.Size(), windowBits);
}

// Whether `block` is such a block and its content is `content`, compared as it is worked through.
ZED_EXPORT bool IsBlockOf(const ByteBuffer& block, const ByteBuffer& content, std::int32_t windowBits = 31);

}  // namespace zed
