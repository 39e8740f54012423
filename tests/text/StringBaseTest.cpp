#include <tvk/text/StringBase.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <sstream>
#include <unordered_set>

#include <tvk/process/Singleton.h>
#include <tvk/text/Utf8Conversion.h>

#include "support/Support.h"

namespace {

using Narrow = tvk::StringBase<char>;
using Wide = tvk::StringBase<wchar_t>;
using support::thrownCode;
using testing::ElementsAre;

constexpr wchar_t middle = L'\x4E2D';

struct ScopedLocale {
  explicit ScopedLocale(const char* name) { EXPECT_NE(std::setlocale(LC_CTYPE, name), nullptr) << name; }
  ~ScopedLocale() { std::setlocale(LC_CTYPE, "C"); }
};

TEST(StringBase, NullPointersAndTheSourceOfAMoveAreEmpty) {
  const char* const bytes = nullptr;
  const wchar_t* const characters = nullptr;
  const char16_t* const units = nullptr;
  EXPECT_EQ(Narrow(bytes) + Narrow(nullptr) + Narrow(bytes, 3) + Narrow(characters) + Narrow(units, 5), "");
  EXPECT_EQ(Wide(bytes) + Wide(nullptr) + Wide(characters) + Wide(units, 5), L"");
  Narrow assigned("old");
  assigned = bytes;
  EXPECT_TRUE(assigned.empty());

  Narrow source("short"), target(std::move(source));
  EXPECT_EQ(target, "short");
  EXPECT_TRUE(source.empty());  // NOLINT: the promise under test
  Narrow& self = target;
  target = std::move(self);
  EXPECT_EQ(target, "short");
}

TEST(StringBase, NarrowingByTheLocale) {
  EXPECT_EQ(Narrow(middle), "?");
  EXPECT_EQ(Narrow(Wide(L"a\x4E2D\x4E2D")), "???") << "one character that fails spoils all";
  EXPECT_EQ(Narrow(L'\0'), "");
  const ScopedLocale locale("de_DE.UTF-8");
  EXPECT_EQ(Narrow(middle), "\xE4\xB8\xAD");
  EXPECT_EQ(Narrow(L"\x20AC"), "\xE2\x82\xAC");
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
    EXPECT_EQ(Wide("\xA4"), Wide(L"\x20AC"));
    EXPECT_EQ(Wide('\xA4'), Wide(L"\x20AC"));
  }
  const ScopedLocale locale("de_DE.UTF-8");
  EXPECT_EQ(Wide("\xE4\xB8\xAD."), Wide(L"\x4E2D."));
  EXPECT_EQ(thrownCode([] { Wide w("ok\xFF"); }), 1000);
  EXPECT_EQ(thrownCode([] { Wide w('\xE4'); }), 1000) << "the first byte of several is no character";
  EXPECT_EQ(Wide(2, char16_t{0xFFFE}), Wide(L"\xFFFE\xFFFE")) << "zero extension";
}

TEST(StringBase, CopyingToTheCallersBuffer) {
  const Narrow narrow("abcdef");
  const Wide wide(L"abcdef");
  std::array<char, 8> bytes;
  std::array<char16_t, 8> units;
  std::array<wchar_t, 8> characters;
  const auto refill = [&] { bytes.fill('#'), units.fill(u'#'), characters.fill(L'#'); };
  const auto shown = [](const auto& buffer) {  // the first seven units, a zero as '.'
    std::string text;
    for (std::size_t i = 0; i < 7; ++i) text += buffer[i] == 0 ? '.' : static_cast<char>(buffer[i]);
    return text;
  };
  struct Row {
    std::size_t capacity;
    bool terminate;
    std::size_t longAnswer, unitAnswer;
    const char *longCopy, *narrowUnits, *wideUnits;
  };
  for (const Row& row : {Row{0, true, 0, 0, "#######", "#######", "#######"},
                         Row{1, true, 6, 1, ".######", "a######", ".######"},
                         Row{4, true, 6, 4, "abc.###", "abcd###", "abc.###"},
                         Row{4, false, 6, 4, "abcd###", "abcd###", "abcd###"},
                         Row{6, true, 6, 6, "abcde.#", "abcdef#", "abcde.#"},
                         Row{7, true, 6, 6, "abcdef.", "abcdef.", "abcdef."},
                         Row{7, false, 6, 6, "abcdef#", "abcdef#", "abcdef#"}}) {
    SCOPED_TRACE(testing::Message() << "capacity " << row.capacity << " terminate " << row.terminate);
    refill();
    EXPECT_EQ(narrow.CopyTo(bytes.data(), row.capacity, row.terminate), row.longAnswer);
    EXPECT_EQ(shown(bytes), row.longCopy);
    EXPECT_EQ(wide.CopyTo(characters.data(), row.capacity, row.terminate), row.longAnswer);
    EXPECT_EQ(shown(characters), row.longCopy);
    refill();
    EXPECT_EQ(wide.CopyAsciiTo(bytes.data(), row.capacity, row.terminate), row.longAnswer);
    EXPECT_EQ(shown(bytes), row.longCopy);
    const auto checkUnits = [&](const auto& text, bool converted, const char* expected) {
      refill();
      EXPECT_EQ(converted ? text.CopyOtherUnitsTo(units.data(), row.capacity, row.terminate)
                          : text.CopyUnitsTo(units.data(), row.capacity, row.terminate),
                row.unitAnswer);
      EXPECT_EQ(shown(units), expected);
    };
    checkUnits(narrow, false, row.narrowUnits);
    checkUnits(wide, true, row.narrowUnits);
    checkUnits(wide, false, row.wideUnits);
    checkUnits(narrow, true, row.wideUnits);
  }
  std::array<char16_t, 2> signs{};
  Narrow("\xA9\x7F").CopyUnitsTo(signs.data(), 2, false);
  EXPECT_THAT(signs, ElementsAre(0xFFA9, 0x007F));
  Wide(L"\xA9\x12345").CopyUnitsTo(signs.data(), 2, false);
  EXPECT_THAT(signs, ElementsAre(0x00A9, 0x2345));
  std::array<std::uint16_t, 2> plain{};
  EXPECT_EQ(Narrow(signs.data(), 1).size() + Wide(L"\xA9z").CopyUnitsTo(plain.data(), 2, false), 3u);
  EXPECT_EQ(Wide(plain.data(), 2), Wide(L"\xA9z"));
  EXPECT_EQ(Narrow("a\xA9").CopyAsciiTo(bytes.data(), 8, true), 2u);
  EXPECT_STREQ(bytes.data(), "a?");
  EXPECT_EQ(Wide(L"\x80z").CopyAsciiTo(bytes.data(), 8, true), 2u);
  EXPECT_STREQ(bytes.data(), "?z");
}

TEST(StringBase, CopyingByTheLocaleClearsTheWholeBufferFirst) {
  const ScopedLocale locale("de_DE.UTF-8");
  std::array<wchar_t, 4> characters{L'#', L'#', L'#', L'#'};
  EXPECT_EQ(Narrow("\xC3\xA4").CopyTo(characters.data(), 4, true), 1u);
  EXPECT_THAT(characters, ElementsAre(0xE4, 0, 0, 0));
  EXPECT_EQ(Narrow("abcdef").CopyTo(characters.data(), 4, true), 4u) << "full: no terminator";
  EXPECT_EQ(thrownCode([&] { Narrow("\xFF").CopyTo(characters.data(), 4, true); }), 1000);
  std::array<char, 4> bytes{'#', '#', '#', '#'};
  EXPECT_EQ(Wide().CopyTo(bytes.data(), 4, true), 0u);
  EXPECT_THAT(bytes, ElementsAre(0, 0, 0, 0));
  EXPECT_EQ(Wide(L"\x4E2D\x4E2D").CopyTo(bytes.data(), 4, true), 3u) << "whole characters only";
  EXPECT_EQ(thrownCode([&] { Wide(L"\xD800").CopyTo(bytes.data(), 4, true); }), 1000);
}

TEST(StringBase, TheOtherWidthIsKeptUntilAskedAgain) {
  Narrow text("one");
  const wchar_t* const kept = text.OtherWidth();
  text = "two";
  EXPECT_STREQ(kept, L"one");
  EXPECT_STREQ(text.OtherWidth(), L"two");
}

TEST(StringBase, SharedInstancesAndConvertersAreMadeAnewAfterShutDown) {
  support::inOwnProcess([] {
    const auto use = [] {
      const Narrow& empty = Narrow::Empty();
      EXPECT_TRUE(&empty == &Narrow::Empty() && &empty != &Narrow::NewLine() && empty.empty());
      EXPECT_TRUE(Narrow::NewLine() == "\n" && Wide::NewLine() == L"\n" && Wide::Empty().empty());
      EXPECT_EQ(Wide::FromUtf8(Narrow("\xA4").ToUtf8()), L"\x20AC");
      EXPECT_EQ(Narrow::FromUtf8(Wide(L"\x20AC").ToUtf8()), "\xA4");
      const auto& converter = tvk::Utf8Conversion<Narrow, tvk::Utf8>::Get();
      EXPECT_EQ(&converter, (&tvk::Utf8Conversion<Narrow, tvk::Utf8>::Get()));
    };
    use();
    tvk::Singleton::DestroyAll();
    use();
    tvk::Singleton::DestroyAll();
  });
}

TEST(StringBase, MeetsTheStandardVocabulary) {
  const Narrow text = std::string("a") + "b";
  EXPECT_EQ(std::unordered_set<Narrow>({text, "ab", "c"}).size(), 2u);
  std::ostringstream out;
  out << text << Narrow("!");
  EXPECT_EQ(std::string_view(text), out.view().substr(0, 2));
}

}  // namespace
