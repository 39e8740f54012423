// Blocks packed, damaged and forged, and unpacked in every way, against zlib itself.
#include <zed/Compressor.h>
#include <zed/Decompressor.h>
#include <zlib.h>

#include "Input.h"

// All ways to unpack agree with zlib and take no more memory than the block can account for.
static void check(const zed::ByteBuffer& block, int windowBits, std::size_t maximum,
                  const std::string* content) {
  std::string wanted;
  z_stream stream{};
  stream.next_in = const_cast<Bytef*>(block.Data());
  stream.avail_in = static_cast<uInt>(block.Size());
  const bool isKnown = windowBits / 8 == 1 || windowBits / 8 == 3 || windowBits / 8 == 5;
  const bool isGzip = windowBits / 8 == 3 || (windowBits / 8 == 5 && block.Size() > 1 && block[0] == 0x1F);
  const bool isTooWide = !isGzip && block.Size() > 0 && (block[0] >> 4) + 8 > windowBits % 16;
  int status = isKnown && !isTooWide ? inflateInit2(&stream, windowBits | 7) : Z_STREAM_ERROR;
  while (status == Z_OK && wanted.size() <= maximum) {
    char room[4096];
    stream.next_out = reinterpret_cast<Bytef*>(room);
    stream.avail_out = sizeof room;
    status = inflate(&stream, Z_NO_FLUSH);
    wanted.append(room, sizeof room - stream.avail_out);
  }
  inflateEnd(&stream);
  const bool isGood = status == Z_STREAM_END && stream.avail_in == 0 && wanted.size() <= maximum;
  if (!isGood) wanted.clear();
  assert(content == nullptr || (isGood && wanted == *content));

  zed::Decompressor unpacker(windowBits, maximum);
  zed::ByteBuffer out = block;
  assert(unpacker.Decompress(block) == (isGood || block.Size() == 0));
  assert(unpacker.Result() == zed::ByteBuffer(wanted));
  assert(unpacker.Result().Capacity() <= 1032 * block.Size() + 64);
  assert(windowBits != 31 || zed::DecompressGzip(out, out, maximum) == wanted.size());
  assert(windowBits != 31 || out == unpacker.Result());
  assert(maximum != zed::noLimit || zed::IsCompleteBlock(block, windowBits) == isGood);
  assert(!isGood || zed::IsBlockOf(block, unpacker.Result(), windowBits));
}

void fuzz::run(Input in) {
  const int windowBits = in.Take() % 50, packedBits = in.Take() % 40 - 4;
  const std::size_t maximum = in.Take<std::uint16_t>();
  std::pair<std::uint16_t, std::uint8_t> damage[2];
  for (auto& [at, change] : damage) at = in.Take<std::uint16_t>(), change = in.Take();
  const unsigned times = in.Take();
  const std::string bytes = in.Rest();
  std::string content;
  for (unsigned i = 0; i < times; ++i) content += bytes;
  zed::Compressor packer(packedBits);
  if (!packer.Compress(content.data(), content.size())) return;
  zed::ByteBuffer block = times > 0 ? packer.Result() : zed::ByteBuffer(bytes);
  if (packedBits > 0 && !content.empty()) check(block, packedBits < 16 ? 15 : 31, zed::noLimit, &content);
  for (const auto& [at, change] : damage)  // from the end, where the trailer is
    if (at < block.Size()) block[block.Size() - 1 - at] ^= change;
  check(block, windowBits, maximum, nullptr);
  check(block, windowBits, zed::noLimit, nullptr);
  check(block, 31, zed::noLimit, nullptr);
}
