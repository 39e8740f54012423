// Blocks packed, damaged and forged, and unpacked in every way, against zlib itself.
#include <zed/Compressor.h>
#include <zed/Decompressor.h>
#include <zlib.h>

#include "Input.h"

namespace {

// What zlib makes of the bytes: the content when they are one stream from the first byte to the last.
bool unpacked(const zed::ByteBuffer& block, int windowBits, std::size_t maximum, std::string& out) {
  z_stream stream{};
  if (inflateInit2(&stream, windowBits) != Z_OK) return false;
  char room[4096];
  stream.next_in = const_cast<Bytef*>(block.Data());
  stream.avail_in = static_cast<uInt>(block.Size());
  int status = Z_OK;
  for (out.clear(); status == Z_OK && out.size() <= maximum;) {
    stream.next_out = reinterpret_cast<Bytef*>(room);
    stream.avail_out = sizeof room;
    status = inflate(&stream, Z_NO_FLUSH);
    out.append(room, sizeof room - stream.avail_out);
  }
  inflateEnd(&stream);
  const bool isGood = status == Z_STREAM_END && stream.avail_in == 0 && out.size() <= maximum;
  if (!isGood) out.clear();
  return isGood;
}

// All ways to unpack agree with zlib and take no more memory than the block can account for.
void check(const zed::ByteBuffer& block, int windowBits, std::size_t maximum) {
  const bool isKnown = windowBits / 8 == 1 || windowBits / 8 == 3 || windowBits / 8 == 5;
  std::string wanted;
  const bool isGood = isKnown && unpacked(block, windowBits, maximum, wanted);
  zed::Decompressor unpacker(windowBits, maximum);
  REQUIRE(unpacker.Decompress(block) == (isGood || block.Size() == 0));
  REQUIRE(unpacker.Result() == zed::ByteBuffer(wanted) &&
          unpacker.Result().Capacity() <= 1032 * block.Size() + 64);
  if (windowBits == 31) {
    zed::ByteBuffer inPlace = block;
    REQUIRE(zed::DecompressGzip(inPlace, inPlace, maximum) == wanted.size() && inPlace == unpacker.Result());
  }
  if (maximum == zed::noLimit) REQUIRE(zed::IsCompleteBlock(block, windowBits) == isGood);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input in(data, size);
  const int windowBits = in.Take() % 50, packedBits = in.Take() % 40 - 4;
  const std::size_t maximum = in.Take<std::uint16_t>();
  std::pair<std::uint16_t, std::uint8_t> damage[2];
  for (auto& [at, change] : damage) at = in.Take<std::uint16_t>(), change = in.Take();
  const unsigned times = in.Take();
  std::string bytes = in.Rest();
  zed::ByteBuffer block(bytes);
  if (times > 0) {  // the bytes are content, not a block
    std::string content, again;
    while (content.size() < bytes.size() * times) content += bytes;
    zed::Compressor packer(packedBits);
    if (!packer.Compress(content.data(), content.size())) return 0;
    block = std::move(packer.Result());
    const int bits = packedBits < 0 ? -15 : packedBits < 16 ? 15 : 31;
    if (!content.empty())
      REQUIRE(packer.IsComplete() && unpacked(block, bits, zed::noLimit, again) && again == content);
  }
  for (const auto& [at, change] : damage)  // from the end, where the trailer is
    if (at < block.Size()) block[block.Size() - 1 - at] ^= change;
  check(block, windowBits, maximum);
  check(block, windowBits, zed::noLimit);
  check(block, 31, zed::noLimit);
  return 0;
}
