#include <zed/Decompressor.h>

#include "Blocks.h"

using namespace std::string_literals;

TEST(Decompressor, RefusesWhatIsNotOneWholeBlock) {
  const std::string whole = textOf(pack(prose(5000)));
  std::vector<std::string> blocks{whole + whole,
                                  whole + "\0\0\0\0"s,      // padding
                                  whole + "\x89\x13\0\0"s,  // bytes that read as a larger size
                                  textOf(pack<zed::Zip>(prose(5000)))};
  for (const std::string& size : {"\x87\x13\0\0"s, "\x89\x13\0\0"s, "\0\0\0\0"s, "\xFF\xFF\xFF\xFF"s})
    blocks.push_back(whole.substr(0, whole.size() - 4) + size);
  for (std::size_t length = 1; length < whole.size(); ++length) blocks.push_back(whole.substr(0, length));
  for (const std::size_t at : {std::size_t{1}, whole.size() / 2, whole.size() - 8})
    blocks.push_back(std::string(whole).replace(at, 1, 1, whole[at] ^ 16));
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    SCOPED_TRACE(i);
    const ByteBuffer block(blocks[i]);
    ByteBuffer out{1};
    zed::Decompressor unpacker;
    unpacker.Result() = out;
    HeapWatch watch;
    EXPECT_FALSE(unpacker.Decompress(block) || zed::IsCompleteBlock(block) ||
                 zed::DecompressGzip(block, out));
    EXPECT_TRUE(out.IsEmpty() && unpacker.Result().IsEmpty());
    EXPECT_LE(watch.largest, 65536u);
  }
}

TEST(Decompressor, ExchangesFilesWithGzip) {
  const support::ScopedFolder folder;
  for (const ByteBuffer& content : {prose(300000), randomBytes(100000), ByteBuffer()}) {
    support::writeWhole(folder / "text", textOf(content));
    support::runCommand("gzip -f '" + (folder / "text") + "'");
    const ByteBuffer block(support::readWhole(folder / "text.gz"));
    ByteBuffer out{1};
    EXPECT_EQ(zed::DecompressGzip(block, out), content.Size());
    EXPECT_TRUE(out == content && zed::IsCompleteBlock(block) && zed::Decompressor().Decompress(block));
    support::writeWhole(folder / "our.gz",
                        textOf(pack(ByteBuffer{'x'})) + textOf(content.IsEmpty() ? block : pack(content)));
    EXPECT_TRUE(support::runCommand("gzip -dc '" + (folder / "our.gz") + "'").output ==
                "x" + textOf(content));
  }
}

TEST(Decompressor, KnowsContainersAndLimits) {
  const ByteBuffer zeros(std::string(2000000, '\0'));  // near the ratio that deflate can reach
  const ByteBuffer gzip = pack(zeros), zip = pack<zed::Zip>(zeros), longer(textOf(zip) + "x");
  for (const int windowBits : {15, 31, 47, -15, 1000}) {
    for (const ByteBuffer* const block : {&gzip, &zip, &longer}) {
      const bool isKnown = (block == &zip && (windowBits | 32) == 47) ||
                           (block == &gzip && windowBits >> 4 == 1) || (block == &gzip && windowBits == 47);
      EXPECT_EQ(zed::IsCompleteBlock(*block, windowBits), isKnown);
      for (const std::size_t maximum : {zed::noLimit, zeros.Size(), zeros.Size() - 1, std::size_t{0}}) {
        SCOPED_TRACE(testing::Message() << windowBits << ' ' << maximum << ' ' << block->Size());
        zed::Decompressor unpacker(windowBits, maximum);
        const bool isGood = isKnown && maximum >= zeros.Size();
        EXPECT_EQ(unpacker.Decompress(*block), isGood);
        EXPECT_TRUE(unpacker.Result() == (isGood ? zeros : ByteBuffer()));
      }
    }
  }
}

TEST(Decompressor, ServesOneBlockThatMayBeItsOwn) {
  const ByteBuffer packed = pack(prose(9000));
  ByteBuffer both = packed;
  both.SetWipe(true);
  EXPECT_EQ(zed::DecompressGzip(both, both), 9000u);
  EXPECT_TRUE(both.Wipe() && both == prose(9000));
  zed::Decompressor unpacker;
  unpacker.Result() = ByteBuffer("?" + textOf(packed));
  EXPECT_TRUE(unpacker.Decompress(nullptr, 5));
  EXPECT_TRUE(unpacker.Decompress(unpacker.Result().Data() + 1, packed.Size()));
  EXPECT_FALSE(unpacker.Decompress(packed));
  both.Resize(0);
  EXPECT_TRUE(unpacker.GetResult(both) && both.Wipe() && both == prose(9000));
}
