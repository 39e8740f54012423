#include <tvk/cmdline/CommandLineParsing.h>
#include <tvk/cmdline/Parsing.h>

#include <gtest/gtest.h>

#include "support/Support.h"

struct Options : tvk::CommandLineParsing {
  using CommandLineParsing::HandleOption;
};
struct Scanner : tvk::Parsing {
  using Parsing::BeginItem, Parsing::HandleEscape;
};

TEST(CommandLineParsing, HooksKeepTheirPlaces) {
  EXPECT_EQ(support::slotOf(&Options::HandleOption), 3u);
  EXPECT_TRUE(support::slotOf(&Scanner::BeginItem) == 3 && support::slotOf(&Scanner::HandleEscape) == 5);
}
