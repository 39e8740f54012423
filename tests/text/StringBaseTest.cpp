#include <tvk/text/StringBase.h>

#include <gtest/gtest.h>

#include <string>
#include <unordered_set>

#include <tvk/text/Utf8Conversion.h>

using Narrow = tvk::StringBase<char>;
using Wide = tvk::StringBase<wchar_t>;
using namespace std::string_view_literals;

// Conversions by the locale and copies to buffers stand in text_test.py.
TEST(StringBase, NullPointersAndTheSourceOfAMoveAreEmpty) {
  const char* const bytes = nullptr;
  const wchar_t* const characters = nullptr;
  const char16_t* const units = nullptr;
  EXPECT_EQ(Narrow(bytes) + Narrow(nullptr) + Narrow(bytes, 3) + Narrow(characters) + Narrow(units, 5), "");
  EXPECT_EQ(Wide(bytes) + Wide(nullptr) + Wide(characters) + Wide(units, 5), L"");
  Narrow source("short"), target(std::move(source));
  Narrow& self = target;
  target = std::move(self);
  EXPECT_TRUE(source.empty() && target == "short");  // NOLINT: the promise under test
  target = bytes;
  EXPECT_TRUE(target.empty());
}

TEST(StringBase, TakesUnitsOfEitherTypeAndIsAKey) {
  std::uint16_t plain[2];
  EXPECT_EQ(Wide(L"\xA9z").CopyUnitsTo(plain, 2, false), 2u);
  EXPECT_EQ(Wide(plain, 2) + Wide(2, char16_t{0xFFFE}), L"\xA9z\xFFFE\xFFFE");
  EXPECT_EQ(Narrow("ab").CopyOtherUnitsTo(plain, 2, true), 2u);
  EXPECT_EQ(plain[1], 0u) << "as wide text: over the last unit";
  EXPECT_EQ(std::unordered_set<Narrow>({std::string("a") + "b", "ab", "c"}).size(), 2u);
}

TEST(StringBase, TheOtherWidthIsKeptUntilAskedAgain) {
  Narrow text("one");
  const wchar_t* const kept = text.OtherWidth();
  text = "two";
  EXPECT_STREQ(kept, L"one");
  EXPECT_STREQ(text.OtherWidth(), L"two");
}

// What the converters make of each text stands in tests/differential.
TEST(StringBase, Utf8EndsAtTheFirstZeroUnlessCounted) {
  EXPECT_EQ(tvk::Utf8("ab\0c", 4).View(), "ab");
  EXPECT_EQ(tvk::Utf8::Counted("ab\0c"sv).Size(), 4u);
  EXPECT_EQ(Wide(tvk::Utf8("abc", 2)) + Wide(tvk::Utf8(nullptr, 4)) + Wide::FromUtf8(nullptr), L"ab");
  EXPECT_STREQ(tvk::Utf8().Data(), "");
  Wide wide(L"old");
  auto& converter = tvk::Utf8Conversion<tvk::Utf8, Wide>::Get();
  EXPECT_EQ(converter.Convert("a\xE4\xB8\xAD"sv, wide), 2u);
  EXPECT_EQ(converter.Convert("ok\xFF"sv, wide) + wide.size(), 0u) << "all or nothing";
}
