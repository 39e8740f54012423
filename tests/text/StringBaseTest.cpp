#include <tvk/text/StringBase.h>

#include <array>
#include <clocale>
#include <unordered_set>

#include <tvk/text/Utf8Conversion.h>

#include "support/Support.h"

namespace {

using Narrow = tvk::StringBase<char>;
using Wide = tvk::StringBase<wchar_t>;
using support::thrownCode;

constexpr wchar_t middle = L'\x4E2D';

struct ScopedLocale {
  explicit ScopedLocale(const char* name) { EXPECT_NE(std::setlocale(LC_CTYPE, name), nullptr) << name; }
  ~ScopedLocale() { std::setlocale(LC_CTYPE, "C"); }
};

// What a copy answers, then the seven units it was given: a zero as '.', an untouched one as '#'.
template <class Unit, class Copy>
std::string copied(Copy copy) {
  std::array<Unit, 7> buffer;
  buffer.fill('#');
  std::string text = std::to_string(copy(buffer.data())) + ' ';
  for (const Unit unit : buffer) text += unit == 0 ? '.' : static_cast<char>(unit);
  return text;
}

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

TEST(StringBase, NarrowingByTheLocale) {
  EXPECT_EQ(Narrow(middle), "?");
  EXPECT_EQ(Narrow(Wide(L"a\x4E2D\x4E2D")), "???") << "one character that fails spoils all";
  EXPECT_EQ(Narrow(L'\0'), "");
  const ScopedLocale locale("de_DE.UTF-8");
  EXPECT_EQ(Narrow(middle), "\xE4\xB8\xAD");
  EXPECT_EQ(Narrow(Wide(3, middle)), "\xE4\xB8\xAD\xE4\xB8\xAD") << "2n + 2 = 8 bytes hold two of nine";
  EXPECT_EQ(Narrow(Wide(L"ab\0cd", 5)), "ab") << "stops at a zero";
  const char16_t units[] = {0x41, 0xE4, 0xD800};
  EXPECT_EQ(Narrow(units, 2), "A\xC3\xA4");
  EXPECT_EQ(Narrow(units, 3), "???") << "a lone surrogate is no character";
}

TEST(StringBase, WideningByTheLocale) {
  EXPECT_EQ(thrownCode([] { Wide w("\xE4"); }), 1000) << "C locale";
  {
    const ScopedLocale locale("de_DE.ISO-8859-15");
    EXPECT_EQ(Wide("\xA4") + Wide('\xA4'), L"\x20AC\x20AC");
  }
  const ScopedLocale locale("de_DE.UTF-8");
  EXPECT_EQ(Wide("\xE4\xB8\xAD."), L"\x4E2D.");
  EXPECT_EQ(thrownCode([] { Wide w("ok\xFF"); }), 1000);
  EXPECT_EQ(thrownCode([] { Wide w('\xE4'); }), 1000) << "the first byte of several is no character";
  EXPECT_EQ(Wide(2, char16_t{0xFFFE}), L"\xFFFE\xFFFE") << "zero extension";
}

TEST(StringBase, CopyingToTheCallersBuffer) {
  const Narrow narrow("abcdef");
  const Wide wide(L"abcdef");
  struct Row {
    std::size_t size;
    bool ends;
    const char *characters, *narrowUnits, *wideUnits;
  };
  for (const Row& row : {Row{0, true, "0 #######", "0 #######", "0 #######"},
                         Row{1, true, "6 .######", "1 a######", "1 .######"},
                         Row{4, true, "6 abc.###", "4 abcd###", "4 abc.###"},
                         Row{4, false, "6 abcd###", "4 abcd###", "4 abcd###"},
                         Row{6, true, "6 abcde.#", "6 abcdef#", "6 abcde.#"},
                         Row{7, true, "6 abcdef.", "6 abcdef.", "6 abcdef."},
                         Row{7, false, "6 abcdef#", "6 abcdef#", "6 abcdef#"}}) {
    EXPECT_EQ(copied<char>([&](auto to) { return narrow.CopyTo(to, row.size, row.ends); }), row.characters);
    EXPECT_EQ(copied<char>([&](auto to) { return wide.CopyAsciiTo(to, row.size, row.ends); }),
              row.characters);
    EXPECT_EQ(copied<wchar_t>([&](auto to) { return wide.CopyTo(to, row.size, row.ends); }), row.characters);
    const auto units = [&](const auto& text, const auto& other) {
      return copied<char16_t>([&](auto to) { return text.CopyUnitsTo(to, row.size, row.ends); }) +
             copied<char16_t>([&](auto to) { return other.CopyOtherUnitsTo(to, row.size, row.ends); });
    };
    EXPECT_EQ(units(narrow, wide), std::string(row.narrowUnits) + row.narrowUnits);
    EXPECT_EQ(units(wide, narrow), std::string(row.wideUnits) + row.wideUnits);
  }
  std::u16string units(2, u'#');
  Narrow("\xA9\x7F").CopyUnitsTo(units.data(), 2, false);
  EXPECT_EQ(units, u"\xFFA9\x7F");
  Wide(L"\xA9\x12345").CopyUnitsTo(units.data(), 2, false);
  EXPECT_EQ(units, u"\xA9\x2345");
  std::uint16_t plain[2];
  EXPECT_EQ(Wide(L"\xA9z").CopyUnitsTo(plain, 2, false), 2u);
  EXPECT_EQ(Wide(plain, 2), L"\xA9z");
  EXPECT_EQ(copied<char>([](char* to) { return Narrow("a\xA9").CopyAsciiTo(to, 7, true); }), "2 a?.####");
  EXPECT_EQ(copied<char>([](char* to) { return Wide(L"\x80z").CopyAsciiTo(to, 7, true); }), "2 ?z.####");
}

TEST(StringBase, CopyingByTheLocaleClearsTheWholeBufferFirst) {
  const ScopedLocale locale("de_DE.UTF-8");
  const auto widened = [](const Narrow& text) {
    return copied<wchar_t>([&](wchar_t* to) { return text.CopyTo(to, 4, true); });
  };
  const auto narrowed = [](const Wide& text) {
    return copied<char>([&](char* to) { return text.CopyTo(to, 4, true); });
  };
  EXPECT_EQ(widened("\xC3\xA4"), "1 \xE4...###");
  EXPECT_EQ(widened("abcdef"), "4 abcd###") << "full: no terminator";
  EXPECT_EQ(thrownCode([&] { widened("\xFF"); }), 1000);
  EXPECT_EQ(narrowed(L""), "0 ....###");
  EXPECT_EQ(narrowed(L"\x4E2D\x4E2D"), "3 \xE4\xB8\xAD.###") << "whole characters only";
  EXPECT_EQ(thrownCode([&] { narrowed(L"\xD800"); }), 1000);
}

TEST(StringBase, TheOtherWidthIsKeptUntilAskedAgain) {
  Narrow text("one");
  const wchar_t* const kept = text.OtherWidth();
  text = "two";
  EXPECT_STREQ(kept, L"one");
  EXPECT_STREQ(text.OtherWidth(), L"two");
}

TEST(StringBase, IsAKeyOfTheStandardContainers) {
  EXPECT_EQ(std::unordered_set<Narrow>({std::string("a") + "b", "ab", "c"}).size(), 2u);
}

}  // namespace
