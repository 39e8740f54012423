#include <tvk/text/Exception.h>

#include <gtest/gtest.h>

#include <optional>
#include <thread>

using tvk::ErrorLocation;
using tvk::Exception;

// The texts stand in text_test.py.
TEST(Exception, CopiesFormTheirOwnTextAndKeepTheLocation) {
  std::optional<ErrorLocation> scope(std::in_place, "saving", true);
  Exception original = Exception::Of(2005, 12, 'c'), fixed("ready %1", 7);
  EXPECT_EQ(Exception().Location() + Exception(1001, "shown", "not").Location(), "saving");
  scope.reset();
  const Exception copy = original;
  original.SetCode(2021);
  EXPECT_STREQ(original.what(), "text_tests, saving: error 2021 - number expected: 12.");
  original = fixed;
  fixed = copy;
  EXPECT_STREQ(original.what(), "ready %1");
  EXPECT_STREQ(fixed.what(), "text_tests, saving: error 2005 - value 12 out of range.");
  EXPECT_STREQ(Exception(1001, "shown", "not").what(), "text_tests: fatal error 1001 - file  not found.");
}

TEST(ErrorLocation, EndsAlsoOnAnotherThread) {
  const auto elsewhere = [](auto work) { std::thread(work).join(); };
  std::optional<ErrorLocation> mine(std::in_place, "mine", true), inner(std::in_place, "inner", true), theirs;
  elsewhere([&] {
    EXPECT_EQ(ErrorLocation::Current(), "");
    inner.reset();
  });
  EXPECT_EQ(ErrorLocation::Current(), "mine");
  elsewhere([&] {
    mine.reset();
    theirs.emplace("theirs", false);
    EXPECT_EQ(ErrorLocation::Current(), "theirs");
  });
  EXPECT_EQ(ErrorLocation::Current(), "");
  mine.emplace("again", true);
  theirs.reset();  // its thread has ended
  EXPECT_EQ(ErrorLocation::Current(), "again");
}
