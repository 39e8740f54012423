// Packs a block, unpacks it again, and refuses what is damaged or too large.
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include <zed/ByteBuffer.h>
#include <zed/Compressor.h>
#include <zed/Decompressor.h>

namespace {

constexpr std::size_t s_largest = 1 << 20;

// As gzip(1) reads and writes it.
std::optional<zed::ByteBuffer> pack(const zed::ByteBuffer& block) {
  zed::GZip gzip;
  if (!gzip.Compress(block)) return std::nullopt;
  return std::move(gzip.Result());
}

// Bytes from a stranger: undamaged, and of a size that we are ready to hold.
std::optional<zed::ByteBuffer> unpack(const zed::ByteBuffer& packed) {
  zed::Decompressor unpacker(31, s_largest);
  if (!unpacker.Decompress(packed)) return std::nullopt;
  return std::move(unpacker.Result());
}

}  // namespace

int main() {
  const zed::ByteBuffer block(std::string(10'000, 'x'));
  std::optional<zed::ByteBuffer> packed = pack(block);
  if (!packed || !zed::IsBlockOf(*packed, block)) return 1;
  std::printf("%zu bytes packed to %zu\n", block.Size(), packed->Size());

  const std::optional<zed::ByteBuffer> unpacked = unpack(*packed);
  if (!unpacked || *unpacked != block) return 1;

  (*packed)[20] ^= 1;
  if (!unpack(*packed) && !zed::IsCompleteBlock(*packed)) std::puts("a damaged block is refused");

  const std::optional<zed::ByteBuffer> large = pack(zed::ByteBuffer(std::string(s_largest + 1, 'x')));
  if (large && !unpack(*large)) std::puts("so is a large one");

  zed::ByteBuffer key{0x13, 0x37};
  key.SetWipe(true);  // zeros before the memory is given back
  return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? 0 : 1;
}
