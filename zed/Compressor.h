// Packs blocks of bytes held in memory into the zlib and gzip containers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <zed/ByteBuffer.h>
#include <zed/Export.h>

namespace zed {

// Packs one block: made for it, it compresses, hands out the result and goes. Zip and GZip fix the container.
//
// Units     bytes. A block has at most 4,294,967,295 of them, because gzip counts in 32 bits.
// Errors    answered as false; nothing is thrown but std::bad_alloc when memory is short.
// Threads   each object is used by one thread at a time.
// Memory    while compressing a work buffer a little larger than the block, besides zlib's 268 KB.
//
//   zed::GZip gzip;
//   zed::ByteBuffer packed;
//   if (gzip.Compress(block) && gzip.GetResult(packed)) ...
class ZED_EXPORT Compressor {
 public:
  // zlib's window bits: 8 to 15 the zlib container, 25 to 31 the gzip container, -9 to -15 neither. Others
  // are not an error here; Compress() then answers false.
  explicit Compressor(std::int32_t windowBits);
  virtual ~Compressor();
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;

  // Compresses the whole block. No bytes are nothing to do: true, and the result stays as it was. False and a
  // result that stays as it was: a block that is too large, a second block, or one after GetResult().
  bool Compress(const void* data, std::size_t length);
  bool Compress(const ByteBuffer& data) { return Compress(data.Data(), data.Size()); }

  // Copies the result into `out`, which keeps its own wipe flag, and lets zlib's memory go. Nothing is copied
  // when `out` is Result() itself. May be repeated. Answers true.
  bool GetResult(ByteBuffer& out);

  // The object's own result buffer: set its wipe flag before compressing, or move the bytes out.
  ByteBuffer& Result() noexcept;

  // True once a block was packed to its very end.
  bool IsComplete() const noexcept;

 private:
  struct Context;
  std::unique_ptr<Context> m_context;
};

// The zlib container with a 32 KB window.
class ZED_EXPORT Zip : public Compressor {
 public:
  Zip() : Compressor(15) {}
  ~Zip() override;
};

// The gzip container with a 32 KB window, as gzip(1) reads it. The header carries neither name nor time.
class ZED_EXPORT GZip : public Compressor {
 public:
  GZip() : Compressor(31) {}
  ~GZip() override;
};

}  // namespace zed
