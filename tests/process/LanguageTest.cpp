#include <tvk/process/Language.h>

#include "support/Support.h"

using tvk::Language;

TEST(Language, IsChosenOnceByTheBeginningOfLangAloneAndNamed) {
  std::string codes;
  for (const char* lang : {"", "C", "POSIX", "C.UTF-8", "en_US", "de_DE.ISO8859-15", "fr_CA", "es_",
                           "zh_CN.GB18030", "zh_TW.BIG5", "ja_JP", "ru_RU", "it_IT", "de", "DE_de", "xde_"})
    codes += std::to_string(Language::FromVariable(lang)) + " ";
  EXPECT_EQ(codes, "9 9 9 9 9 7 12 10 2052 9 17 25 9 9 9 9 ");
  EXPECT_EQ(Language::FromVariable(nullptr), 9u);

  const support::ScopedVariable ignored("LC_ALL", "fr_FR");
  for (const char* lang : {"ru_RU", "de_DE"}) {
    const support::ScopedVariable variable("LANG", lang);
    EXPECT_EQ(Language::OfUser(), 25u) << lang;
  }

  // Named by the whole code, then by its low ten bits.
  std::string names;
  for (const unsigned code : {9u,  1u,  2052u, 6u,  19u,   12u, 7u,      8u,      16u, 14u,     17u,
                              18u, 22u, 10u,   29u, 1028u, 25u, 0x0407u, 0x7809u, 4u,  0x0C04u, 0u}) {
    const char* const name = Language::NameOf(code);
    names += name != nullptr ? name : "-";
  }
  EXPECT_EQ(names, "UsSaCnDkNlFrDeGrItHuJpKoBrEsSeTwRuDeUs---");
}
