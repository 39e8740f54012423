#include <tvk/text/MessageTable.h>

#include <dlfcn.h>
#include <pthread.h>

#include <clocale>
#include <thread>

#include <tvk/text/BuiltinMessages.h>

#include "support/Support.h"

namespace {

using Text = tvk::StringBase<char>;
using Rows = std::initializer_list<std::pair<std::uint32_t, std::string>>;

std::string loaded(std::uint32_t code, bool askModules = false) {
  Text text("untouched");
  return tvk::loadMessage("tvk", code, askModules, text) ? text : "none:" + text;
}

TEST(MessageTable, HoldsTheBuiltinTexts) {
  EXPECT_EQ(tvk::builtinMessages().size(), 139u);
  for (const auto& [code, text] : Rows{{1001, "file %1 not found"},
                                       {1038, "remote computer access not suported"},
                                       {55313, "SuMoTuWeThFrSa"},
                                       {55328, "Copyright \xA9 %1 by"},
                                       {57089, "Module ignored. Embedded English language is used."},
                                       {1023, "none:untouched"}})
    EXPECT_EQ(loaded(code), text);
  EXPECT_EQ(loaded(57090, true), "none:") << "emptied when modules were asked in vain";
}

TEST(MessageTable, TheFirstRegistrationWinsAndTranslationsStandInFront) {
  EXPECT_FALSE(tvk::registerMessage("x", {1001, "other"}));
  EXPECT_TRUE(tvk::registerMessage("x", {60001, "first"}));
  EXPECT_FALSE(tvk::registerMessage("y", {60001, "second"}));
  EXPECT_TRUE(tvk::registerMessage("y", {60002, nullptr}));
  EXPECT_EQ(loaded(1001) + ", " + loaded(60001) + loaded(60002), "file %1 not found, first");
  for (std::uint32_t i = 1; i <= 20000; ++i) tvk::registerMessage("x", {i << 16, std::to_string(i).c_str()});
  for (std::uint32_t i = 1; i <= 20000; ++i) ASSERT_EQ(loaded(i << 16), std::to_string(i));

  const TvkMessageEntry texts[] = {{1001, "Datei %1 fehlt"}, {1001, "again"},  {60001, "erster"},
                                   {60003, "neu"},           {60003, "again"}, {0, nullptr}};
  const TvkMessageEntry newer[] = {{1001, "newer"}, {0, nullptr}};
  tvk::registerTranslations(&texts, texts);
  EXPECT_EQ(loaded(1001) + ", " + loaded(60001) + ", " + loaded(60003), "Datei %1 fehlt, erster, neu");
  tvk::registerTranslations(&newer, newer);
  EXPECT_EQ(loaded(1001), "newer");
  tvk::dropTranslations(&newer);
  EXPECT_EQ(loaded(1001), "Datei %1 fehlt");
  tvk::dropTranslations(&texts);
  EXPECT_EQ(loaded(1001) + ", " + loaded(60001) + ", " + loaded(60003), "file %1 not found, first, neu");
}

TEST(MessageTable, TranslationsArriveInTheCharacterSetOfTheLocale) {
  const TvkMessageEntry texts[] = {{1002, "\xFC\xDF \xA4"}, {0, nullptr}};
  for (const auto& [locale, expected] : {std::pair{"de_DE.UTF-8", "\xC3\xBC\xC3\x9F \xE2\x82\xAC"},
                                         {"de_DE.ISO-8859-15", "\xFC\xDF \xA4"},
                                         {"C", "\xFC\xDF \xA4"}}) {
    ASSERT_NE(std::setlocale(LC_CTYPE, locale), nullptr);
    tvk::registerTranslations(&texts, texts);
    EXPECT_EQ(loaded(1002), expected) << locale;
    tvk::dropTranslations(&texts);
  }
}

TEST(MessageTable, LoadedModulesAreAsked) {
  void* const module = dlopen(TVK_TEST_MODULE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(module, nullptr) << dlerror();
  for (const auto& [code, text] : Rows{{70001, "256"},
                                       {70300, "301"},                  // asked a second time
                                       {70256, std::string(256, 'x')},  // no terminator the second time
                                       {70255, std::string(255, 'x')},  // nor the first time
                                       {70002, "none:"},                // claims 4 GiB
                                       {70004, "none:"},                // throws
                                       {70006, "none:"}})               // nothing at the second call
    EXPECT_EQ(loaded(code, true), text) << code;
  EXPECT_EQ(loaded(70001), "none:untouched") << "not entered into the table";
  std::thread([] {
    pthread_cancel(pthread_self());
    const std::string text = tvk::Exception::Of(70007).what();
    EXPECT_NE(text.find("(70007)"), text.npos) << "not cancelled inside";
  }).join();
  dlclose(module);
  EXPECT_EQ(loaded(70001, true), "none:");
}

}  // namespace
