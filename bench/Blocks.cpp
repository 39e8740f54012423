// Blocks are packed with gzip and unpacked.
#include <zlib.h>

#include <cstring>
#include <memory>
#include <string>

#include <zed/Compressor.h>
#include <zed/Decompressor.h>

#include "Sides.h"

#ifdef BENCH_LIBDEFLATE
#include <libdeflate.h>
#endif

namespace {

// Words in random order: packs to about a third.
std::string sample(std::size_t size) {
  static const char* const words[] = {"the ",   "error ", "file ",    "of ",     "folder ",     "42 ",
                                      "time ",  "was ",   "not ",     "found ",  "2026-11-22 ", "user ",
                                      "reads ", "and ",   "writes\n", "nothing "};
  std::string text;
  for (std::uint32_t value = 1; text.size() < size; value = value * 1664525 + 1013904223)
    text += words[value >> 28];
  text.resize(size);
  return text;
}

// One call of zlib into a block that is surely large enough, not cleared.
std::size_t rawPack(const std::string& bytes) {
  z_stream stream{};
  deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY);
  const std::size_t room = deflateBound(&stream, bytes.size());
  const std::unique_ptr<unsigned char[]> out(new unsigned char[room]);
  stream.next_in = reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = out.get();
  stream.avail_out = static_cast<uInt>(room);
  deflate(&stream, Z_FINISH);
  const std::size_t size = stream.total_out;
  deflateEnd(&stream);
  return size;
}

std::size_t rawUnpack(const zed::ByteBuffer& block, std::size_t room) {
  z_stream stream{};
  inflateInit2(&stream, 31);
  const std::unique_ptr<unsigned char[]> out(new unsigned char[room]);
  stream.next_in = const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(block.Data()));
  stream.avail_in = static_cast<uInt>(block.Size());
  stream.next_out = out.get();
  stream.avail_out = static_cast<uInt>(room);
  inflate(&stream, Z_FINISH);
  const std::size_t size = stream.total_out;
  inflateEnd(&stream);
  return size;
}

void questions(const std::string& size, const std::string& bytes) {
  zed::GZip packer;
  packer.Compress(bytes.data(), bytes.size());
  const auto block = std::make_shared<zed::ByteBuffer>();
  packer.GetResult(*block);

  bench::Question<std::size_t>("gzip", size)
      .side("tvk",
            [bytes] {
              zed::GZip gzip;
              zed::ByteBuffer out;
              gzip.Compress(bytes.data(), bytes.size());
              gzip.GetResult(out);
              return out.Size();
            })
      .side("zlib", [bytes] { return rawPack(bytes); });

  bench::Question<std::size_t> unpack("gunzip", size);
  unpack.side("tvk", [block] {
    zed::ByteBuffer out;
    return zed::DecompressGzip(*block, out);
  });
  unpack.side("zlib", [block, room = bytes.size()] { return rawUnpack(*block, room); });
#ifdef BENCH_LIBDEFLATE
  unpack.side("libdeflate", [block, room = bytes.size()] {
    const std::unique_ptr<unsigned char[]> out(new unsigned char[room]);
    libdeflate_decompressor* const worker = libdeflate_alloc_decompressor();
    std::size_t got = 0;
    libdeflate_gzip_decompress(worker, block->Data(), block->Size(), out.get(), room, &got);
    libdeflate_free_decompressor(worker);
    return got;
  });
#endif
}

}  // namespace

void bench::ask() {
  questions("64 KiB", sample(64 << 10));
  questions("64 MiB", sample(static_cast<std::size_t>(scaled(64 << 20))));
}
