#include <tvk/process/Language.h>

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/Support.h"

namespace {

using tvk::Language;

TEST(Language, IsChosenByTheBeginningOfLang) {
  for (const auto& [lang, code] :
       std::initializer_list<std::pair<const char*, std::uint32_t>>{{nullptr, 9},
                                                                    {"", 9},
                                                                    {"C", 9},
                                                                    {"POSIX", 9},
                                                                    {"C.UTF-8", 9},
                                                                    {"en_US.UTF-8", 9},
                                                                    {"de_DE.ISO8859-15", 7},
                                                                    {"fr_CA", 12},
                                                                    {"es_", 10},
                                                                    {"zh_CN.GB18030", 2052},
                                                                    {"zh_TW.BIG5", 9},
                                                                    {"ja_JP", 17},
                                                                    {"ru_RU", 25},
                                                                    {"it_IT", 9},
                                                                    {"de", 9},
                                                                    {"DE_de", 9}})
    EXPECT_EQ(Language::FromVariable(lang), code) << (lang != nullptr ? lang : "null");
}

TEST(Language, IsDecidedOnceAndByLangAlone) {
  const auto result = support::inChild([] {
    setenv("LC_ALL", "fr_FR", 1);
    setenv("LANG", "ru_RU", 1);
    const std::uint32_t first = Language::OfUser();
    setenv("LANG", "de_DE", 1);
    return first == Language::OfUser() ? static_cast<int>(first) : 0;
  });
  EXPECT_EQ(result.status, 25);
}

TEST(Language, NamesByTheWholeCodeThenByItsLowTenBits) {
  for (const auto& [code, name] : std::initializer_list<std::pair<std::uint32_t, const char*>>{
           {9, "Us"},      {1, "Sa"},          {2052, "Cn"}, {6, "Dk"},         {19, "Nl"},  {12, "Fr"},
           {7, "De"},      {8, "Gr"},          {16, "It"},   {14, "Hu"},        {17, "Jp"},  {18, "Ko"},
           {22, "Br"},     {10, "Es"},         {29, "Se"},   {1028, "Tw"},      {25, "Ru"},  {0x0407, "De"},
           {0x0809, "Us"}, {0xFFFFFC07, "De"}, {4, nullptr}, {0x0C04, nullptr}, {0, nullptr}})
    EXPECT_STREQ(Language::NameOf(code), name) << code;
}

}  // namespace
