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
  for (const std::uint32_t code :
       {9, 1, 2052, 6, 19, 12, 7, 8, 16, 14, 17, 18, 22, 10, 29, 1028, 25, 0x0407, 0x7809, 4, 0x0C04, 0}) {
    const char* const name = Language::NameOf(code);
    names += name != nullptr ? name : "-";
  }
  EXPECT_EQ(names, "UsSaCnDkNlFrDeGrItHuJpKoBrEsSeTwRuDeUs---");
}
