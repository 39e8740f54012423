#include <zed/Compressor.h>
#include <zed/Decompressor.h>

#include <functional>

#include "HeapWatch.h"
#include "Samples.h"

namespace {

void putSize(ByteBuffer& block, std::size_t size) {
  for (std::size_t i = 0; i < 4; ++i) block[block.Size() - 4 + i] = static_cast<unsigned char>(size >> 8 * i);
}

void append(ByteBuffer& block, const ByteBuffer& tail) {
  const std::size_t size = block.Size();
  block.Resize(size + tail.Size());
  std::copy(tail.begin(), tail.end(), block.begin() + size);
}

// A gzip block of nothing.
const ByteBuffer s_nothing{0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 3, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0};

TEST(Decompressor, RefusesWhatIsNotOneWholeBlock) {
  const std::size_t size = 5000;
  const ByteBuffer content = prose(size);
  const ByteBuffer whole = packWith<zed::GZip>(content);
  struct Row {
    const char* label;
    std::function<void(ByteBuffer&)> damage;
  };
  for (const Row& row : std::initializer_list<Row>{
           {"smaller size", [](ByteBuffer& b) { putSize(b, size - 1); }},
           {"larger size", [](ByteBuffer& b) { putSize(b, size + 1); }},
           {"size of nothing", [](ByteBuffer& b) { putSize(b, 0); }},
           {"huge size", [](ByteBuffer& b) { putSize(b, 0xFFFFFFFF); }},
           {"wrong checksum", [](ByteBuffer& b) { b[b.Size() - 8] ^= 1; }},
           {"wrong content", [](ByteBuffer& b) { b[b.Size() / 2] ^= 0x10; }},
           {"wrong magic", [](ByteBuffer& b) { b[1] = 0; }},
           {"another member", [](ByteBuffer& b) { append(b, ByteBuffer(b)); }},
           {"an empty member", [](ByteBuffer& b) { append(b, s_nothing); }},
           {"zeros behind",
            [](ByteBuffer& b) {
              append(b, {0, 0, 0, 0});
            }},
           {"bytes behind that read as a size",
            [](ByteBuffer& b) {
              append(b, {0x89, 0x13, 0, 0});
            }},
           {"zlib container", [&](ByteBuffer& b) { b = packWith<zed::Zip>(content); }}}) {
    SCOPED_TRACE(row.label);
    ByteBuffer block = whole;
    row.damage(block);
    ByteBuffer out{1};
    zed::Decompressor unpacker;
    unpacker.Result() = out;
    HeapWatch watch;
    EXPECT_FALSE(unpacker.Decompress(block));
    EXPECT_EQ(zed::DecompressGzip(block, out), 0u);
    EXPECT_FALSE(zed::IsCompleteBlock(block));
    EXPECT_LE(watch.Largest(), 65536u);
    EXPECT_TRUE(out.IsEmpty() && unpacker.Result().IsEmpty());
  }
  for (std::size_t length = 0; length < whole.Size(); ++length) {
    ByteBuffer out;
    EXPECT_EQ(zed::DecompressGzip(ByteBuffer(whole.Data(), length), out), 0u) << length;
    EXPECT_FALSE(zed::IsCompleteBlock(whole.Data(), length)) << length;
    EXPECT_EQ(zed::Decompressor().Decompress(whole.Data(), length), length == 0) << length;
  }
}

TEST(Decompressor, ReadsGzipsFiles) {
  const support::ScopedFolder folder;
  for (const ByteBuffer& content : {prose(300000), ByteBuffer()}) {
    for (const char* option : {"-1", "-9 -n"}) {
      support::writeWhole(folder / "text", textOf(content));
      support::runCommand(std::string("gzip -f ") + option + " '" + (folder / "text") + "'");
      const ByteBuffer block(support::readWhole(folder / "text.gz"));
      ByteBuffer out;
      EXPECT_EQ(zed::DecompressGzip(block, out), content.Size());
      EXPECT_TRUE(out == content);
      EXPECT_TRUE(zed::IsCompleteBlock(block));
      zed::Decompressor unpacker;
      EXPECT_TRUE(unpacker.Decompress(block) && unpacker.GetResult(out));
      EXPECT_TRUE(out == content);
    }
  }
}

TEST(Decompressor, KnowsContainersAndLimits) {
  const ByteBuffer zeros(std::string(2000000, '\0'));  // near the ratio that deflate can reach
  const ByteBuffer gzip = packWith<zed::GZip>(zeros);
  const ByteBuffer zip = packWith<zed::Zip>(zeros);
  struct Row {
    const char* label;
    int windowBits;
    const ByteBuffer& block;
    std::size_t maximum;
    bool isGood;
  };
  for (const Row& row : std::initializer_list<Row>{{"gzip", 31, gzip, zed::noLimit, true},
                                                   {"zlib", 15, zip, zed::noLimit, true},
                                                   {"either: gzip", 47, gzip, 2000000, true},
                                                   {"either: zlib", 47, zip, 2000000, true},
                                                   {"gzip, limit", 31, gzip, 1999999, false},
                                                   {"zlib, limit", 15, zip, 1999999, false},
                                                   {"zlib, no room", 15, zip, 0, false},
                                                   {"gzip as zlib", 15, gzip, zed::noLimit, false},
                                                   {"neither", -15, gzip, zed::noLimit, false},
                                                   {"no such bits", 1000, gzip, zed::noLimit, false}}) {
    SCOPED_TRACE(row.label);
    zed::Decompressor unpacker(row.windowBits, row.maximum);
    EXPECT_EQ(unpacker.Decompress(row.block), row.isGood);
    EXPECT_TRUE(unpacker.Result() == (row.isGood ? zeros : ByteBuffer()));
    if (row.maximum == zed::noLimit) {
      EXPECT_EQ(zed::IsCompleteBlock(row.block, row.windowBits), row.isGood);
    }
  }
  ByteBuffer out;
  EXPECT_EQ(zed::DecompressGzip(gzip, out, 1999999), 0u);
  ByteBuffer longer = zip;
  append(longer, {0});
  EXPECT_FALSE(zed::Decompressor(15).Decompress(longer));
  EXPECT_FALSE(zed::IsCompleteBlock(longer, 15));
}

TEST(Decompressor, ServesOneBlockThatMayBeItsOwn) {
  const ByteBuffer content = prose(9000);
  const ByteBuffer packed = packWith<zed::GZip>(content);
  ByteBuffer both = packed;
  both.SetWipe(true);
  HeapWatch watch;
  EXPECT_EQ(zed::DecompressGzip(both, both), content.Size());
  EXPECT_EQ(watch.FreedWithContent(), 0u);
  EXPECT_TRUE(both.Wipe() && both == content);

  zed::Decompressor unpacker;
  unpacker.Result() = ByteBuffer{'?'};
  append(unpacker.Result(), packed);
  EXPECT_TRUE(unpacker.Decompress(nullptr, 5));
  EXPECT_TRUE(unpacker.Decompress(unpacker.Result().Data() + 1, packed.Size()));
  EXPECT_FALSE(unpacker.Decompress(packed));
  EXPECT_EQ(unpacker.Result(), content);
  EXPECT_TRUE(unpacker.GetResult(unpacker.Result()));
  both.Resize(0);
  EXPECT_TRUE(unpacker.GetResult(both));
  EXPECT_TRUE(both.Wipe() && both == content);
  EXPECT_TRUE(zed::Decompressor().Decompress(s_nothing) && zed::IsCompleteBlock(s_nothing));
}

}  // namespace
