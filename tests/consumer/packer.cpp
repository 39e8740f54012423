#include <cstdio>
#include <string>

#include <zed/Compressor.h>
#include <zed/Decompressor.h>

int main() {
  const std::string text(100000, 'x');
  zed::GZip gzip;
  zed::ByteBuffer packed;
  zed::Decompressor gunzip;
  zed::ByteBuffer unpacked;
  const bool well = gzip.Compress(zed::ByteBuffer(text)) && gzip.GetResult(packed) && packed.Size() < 1000 &&
                    gunzip.Decompress(packed) && gunzip.GetResult(unpacked) &&
                    unpacked == zed::ByteBuffer(text);
  std::puts(well ? "packed and unpacked" : "lost something");
  return well ? 0 : 1;
}
