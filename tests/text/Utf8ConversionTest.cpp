#include <tvk/text/Utf8Conversion.h>

#include <atomic>
#include <thread>

#include "support/Support.h"

using Narrow = tvk::StringBase<char>;
using Wide = tvk::StringBase<wchar_t>;
using namespace std::string_view_literals;

TEST(Utf8, StopsAtTheFirstZeroUnlessCounted) {
  EXPECT_EQ(tvk::Utf8("ab\0c", 4).View(), "ab");
  EXPECT_EQ(tvk::Utf8("abc", 2).View(), "ab");
  EXPECT_TRUE(tvk::Utf8(nullptr, 4).IsEmpty() && tvk::Utf8(nullptr).IsEmpty() &&
              tvk::Utf8("abc", 0).IsEmpty());
  EXPECT_STREQ(tvk::Utf8().Data(), "");
  EXPECT_EQ(tvk::Utf8::Counted("ab\0c"sv).Size(), 4u);
}

TEST(Utf8Conversion, NarrowTextIsLatin9WhateverTheLocale) {
  for (const auto& [narrow, utf8] :
       {std::pair{"\xA4"sv, "\xE2\x82\xAC"sv}, {"\xE4z"sv, "\xC3\xA4z"sv}, {"a\0b"sv, "a\0b"sv}}) {
    EXPECT_EQ(Narrow(narrow).ToUtf8().View(), utf8);
    EXPECT_EQ(Narrow::FromUtf8(utf8), narrow);
  }
}

TEST(Utf8Conversion, AllOrNothing) {
  auto& toNarrow = tvk::Utf8Conversion<tvk::Utf8, Narrow>::Get();
  auto& toWide = tvk::Utf8Conversion<tvk::Utf8, Wide>::Get();
  Narrow narrow("old");
  Wide wide(L"old");
  for (const auto& bad : {"a\xE4\xB8\xAD"sv, "ok\xFF"sv, "\xE2\x82"sv, "\xC0\x80"sv}) {
    EXPECT_EQ(toNarrow.Convert(bad, narrow) + narrow.size(), 0u);
    EXPECT_EQ(support::thrownCode([&] { Narrow::FromUtf8(bad); }), 1000);
    EXPECT_TRUE(Narrow(tvk::Utf8(bad.data(), bad.size())).empty());
  }
  EXPECT_EQ(toWide.Convert("a\xE4\xB8\xAD"sv, wide), 2u);
  EXPECT_EQ(wide, L"a\x4E2D");
  EXPECT_EQ(toWide.Convert("ok\xFF"sv, wide) + wide.size(), 0u) << "also right after a success";
  EXPECT_EQ(toWide.Convert("\xEF\xBB\xBFz"sv, wide), 2u) << "a byte-order mark in the text stays";
  tvk::Utf8 utf8("old");
  EXPECT_EQ((tvk::Utf8Conversion<Wide, tvk::Utf8>::Get().Convert(L"\xD800", utf8)) + utf8.Size(), 0u);
  EXPECT_EQ(support::thrownCode([&] { Wide(L"\xD800").ToUtf8(); }), 1000);
  EXPECT_EQ(Wide(1, wchar_t{0x1F600}).ToUtf8().View(), "\xF0\x9F\x98\x80");
  EXPECT_EQ(Wide::FromUtf8("\xF0\x9F\x98\x80") + Wide::FromUtf8(nullptr), Wide(1, wchar_t{0x1F600}));
}

TEST(Utf8Conversion, OneConverterServesManyThreads) {
  std::vector<std::thread> threads;
  std::atomic<int> wrong = 0;
  for (const std::size_t size : {1000u, 1001u, 1002u, 1003u})
    threads.emplace_back([&wrong, text = Wide(size, wchar_t{0x20AC})] {
      for (int i = 0; i < 50; ++i) wrong += Wide::FromUtf8(text.ToUtf8()) != text;
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}
