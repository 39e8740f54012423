#include <tvk/text/Hexadecimal.h>

#include "support/Support.h"

TEST(Hexadecimal, BothDirections) {
  const std::vector<std::uint8_t> bytes = {0x00, 0x0F, 0x9A, 0xFF};
  EXPECT_EQ(tvk::EncodeHexadecimal(bytes), "000F9AFF");
  EXPECT_EQ(tvk::DecodeHexadecimal("000f9AfF"), bytes);
  EXPECT_TRUE(tvk::EncodeHexadecimal({}).empty() && tvk::DecodeHexadecimal("").empty());
  for (const std::string text : {"0", "0G", "g0", "0x12", "12 ", "12\xFF\xFF"})
    EXPECT_EQ(support::thrownMessage([&] { tvk::DecodeHexadecimal(text); }),
              "value " + text + " out of range.");
}
