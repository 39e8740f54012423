#include <tvk/text/Utf8Conversion.h>

#include "support/Support.h"

using Narrow = tvk::StringBase<char>;
using Wide = tvk::StringBase<wchar_t>;
using namespace std::string_view_literals;

TEST(Utf8, StopsAtTheFirstZeroUnlessCounted) {
  EXPECT_EQ(tvk::Utf8("ab\0c", 4).View(), "ab");
  EXPECT_EQ(tvk::Utf8("abc", 2).View(), "ab");
  EXPECT_TRUE(tvk::Utf8(nullptr, 4).IsEmpty() && tvk::Utf8(nullptr).IsEmpty() &&
              tvk::Utf8("abc", 0).IsEmpty() && Wide::FromUtf8(nullptr).empty());
  EXPECT_STREQ(tvk::Utf8().Data(), "");
  EXPECT_EQ(tvk::Utf8::Counted("ab\0c"sv).Size(), 4u);
}

// What the converters make of each text stands in tests/differential.
TEST(Utf8Conversion, AllOrNothing) {
  auto& toNarrow = tvk::Utf8Conversion<tvk::Utf8, Narrow>::Get();
  auto& toWide = tvk::Utf8Conversion<tvk::Utf8, Wide>::Get();
  Narrow narrow("old");
  Wide wide(L"old");
  EXPECT_EQ(toNarrow.Convert("a\xE4\xB8\xAD"sv, narrow) + narrow.size(), 0u);
  EXPECT_EQ(toWide.Convert("a\xE4\xB8\xAD"sv, wide), 2u);
  EXPECT_EQ(toWide.Convert("ok\xFF"sv, wide) + wide.size(), 0u) << "also right after a success";
}
