#include <cstdio>
#include <string>

#include <zed/Compressor.h>
#include <zed/Decompressor.h>

int main() {
  const zed::ByteBuffer text(std::string(100000, 'x'));
  zed::GZip gzip;
  zed::Decompressor gunzip;
  const bool well = gzip.Compress(text) && gzip.Result().Size() < 1000 && gunzip.Decompress(gzip.Result()) &&
                    gunzip.Result() == text;
  std::puts(well ? "packed and unpacked" : "lost something");
  return well ? 0 : 1;
}
