#include <tvk/text/Exception.h>

#include <optional>

#include <tvk/text/ProgramName.h>

#include "support/Support.h"

namespace {

using tvk::ErrorLocation;
using tvk::Exception;

struct ExceptionText : testing::Test {
  ExceptionText() { tvk::ProgramName::SetApplication(this, "p"); }
  ~ExceptionText() override {
    tvk::ProgramName::Forget(this);
    Exception::SetCodePrefix(nullptr);
  }
};

TEST_F(ExceptionText, FollowsCodeParametersAndSeverity) {
  for (const auto& [exception, text] : std::initializer_list<std::pair<Exception, const char*>>{
           {Exception::Of(2005, 12), "p: error 2005 - value 12 out of range."},
           {Exception::Of(1999), "p: fatal error 1999 - Undocumented/internal (1999)."},
           {Exception::Of(4003), "p: warning 4003 - file has EXE header."},
           {Exception::Of(3999), "p: error 3999 - Undocumented/internal (3999)."},
           {Exception::Of(4000, "x%1y", "A"), "p: warning - xAy."},
           {Exception::Of(2000, "disk %1 gone", "A"), "p: error - disk A gone."},
           {Exception::Of(1000), "p: fatal error - ."},
           {Exception::Of(77, "a", "", "%2"), "p: fatal error 77 - Undocumented/internal (77, a, %2)."},
           {Exception::Of(-1), "p: fatal error -1 - Undocumented/internal (-1)."},
           {Exception::Of(4294968297, "x"), "p: warning 4294968297 - file x not found."},
           {Exception::Of(1142, "k", "p"), "p: fatal error 1142 - \"k\" in registration has bad data (p)."},
           {Exception(1001, "shown", "not"), "p: fatal error 1001 - file  not found."},
           {Exception("ready %1", 2001), "ready %1"}})
    EXPECT_STREQ(exception.what(), text);
}

TEST_F(ExceptionText, NameAndPrefixStandInFront) {
  const Exception e = Exception::Of(1030);
  Exception::SetCodePrefix("elevenchars");
  EXPECT_STREQ(e.what(), "p: fatal error elevenchars1030 - line too long.");
  Exception::SetCodePrefix(nullptr);
  tvk::ProgramName::SetFrame(&e, "frame");
  EXPECT_STREQ(e.what(), "p: fatal error 1030 - line too long.") << "the application's name wins";
  tvk::ProgramName::Forget(this);
  EXPECT_STREQ(e.what(), "frame: fatal error 1030 - line too long.");
  tvk::ProgramName::Forget(&e);
  EXPECT_STREQ(e.what(), "text_tests: fatal error 1030 - line too long.");
}

TEST_F(ExceptionText, LocationIsCapturedWhenMade) {
  std::optional<Exception> kept;
  {
    const ErrorLocation opening("opening", true), saving("saving", true);
    {
      const ErrorLocation copying("copying", true);
      kept = Exception::Of(1030);
      EXPECT_EQ(Exception(1030, "", "", "", "extra").Location(), "opening, saving, copying, extra");
    }
    const ErrorLocation alone("alone", false), chained("inner", true);
    EXPECT_EQ(Exception().Location(), "alone, inner");
  }
  EXPECT_STREQ(kept->what(), "p, opening, saving, copying: fatal error 1030 - line too long.");
  EXPECT_EQ(ErrorLocation::Current(), "") << "what the last scope of a thread leaves";
}

TEST_F(ExceptionText, ScopesSurviveDisorder) {
  std::optional<ErrorLocation> outer(std::in_place, "outer", true), inner(std::in_place, "inner", true);
  outer.reset();  // takes the inner entry with it
  const ErrorLocation next("next", true);
  inner.reset();  // must not take the newcomer
  EXPECT_EQ(ErrorLocation::Current(), "next");
  tvk::AutoInit<tvk::ErrorLocationInit> service;
  service.Init();
  EXPECT_EQ(ErrorLocation::Current(), "next") << "start-up keeps what came before";
  service.Exit();
  EXPECT_EQ(ErrorLocation::Current(), "");
}

TEST_F(ExceptionText, CopiesFormTheirOwnText) {
  Exception original = Exception::Of(2005, "1"), fixed("ready", 7);
  const Exception copy = original;
  original.SetCode(2021);
  EXPECT_STREQ(copy.what(), "p: error 2005 - value 1 out of range.");
  EXPECT_STREQ(original.what(), "p: error 2021 - number expected: 1.");
  original = fixed;
  fixed = copy;
  EXPECT_STREQ(original.what(), "ready");
  EXPECT_STREQ(fixed.what(), "p: error 2005 - value 1 out of range.");
}

}  // namespace
