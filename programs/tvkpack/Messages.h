// The program's own texts. The English ones are registered when the program starts; a language library that
// the frame has loaded by then stands in front of them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

namespace tvkpack {

enum MessageCode : std::uint32_t {
  // Errors, in ranges that give them their severity.
  NotWhole = 1901,    // %1: ": " and the path
  NotTheSame = 1902,  // %1: the path
  HelpUsage = 5000,
  HelpBefore = 5001,
  HelpBehind = 5002,
  LinePacked = 5010,    // %1 and %2: bytes before and after, %3: the ratio, %4: the path
  LineUnpacked = 5011,  // the same
  LineTested = 5012,    // the same
  LineLeft = 5013,      // %1: the reason, %2: the path
  LineListed = 5014,    // %1: packed, %2: unpacked, %3: the ratio, %4: date and time, %5: the path
  ListHeader = 5015,
  ReasonLink = 5020,
  ReasonManyLinks = 5021,
  ReasonNoFile = 5022,
  ReasonEmpty = 5023,
  ReasonPacked = 5024,
  ReasonNotPacked = 5025,
  ReasonTooLarge = 5026,
  ReasonNotSmaller = 5027,
  ReasonChanged = 5028,
  ReasonSkipped = 5029,
  ReasonLeftover = 5030,
  ReasonRefused = 5031,
  TotalsPacked = 5040,  // %1: handled, %2: left alone, %3: failed, %4 and %5: bytes before and after
  TotalsUnpacked = 5041,
  TotalsTested = 5042,
  TotalsListed = 5043,
  Progress = 5050,      // %1: files done, %2: files in all
  QuestionPack = 5060,  // %1: the path
  QuestionUnpack = 5061,
  QuestionTest = 5062,
  QuestionList = 5063,
  AnswerKeys = 5064,  // yes, no, all, quit: four letters in this order
  Interrupted = 5070,
  // What the options do, in the order of the help.
  OptionPack = 5080,
  OptionUnpack,
  OptionTest,
  OptionList,
  OptionRecurse,
  OptionKeep,
  OptionOverwrite,
  OptionBefore,
  OptionAfter,
  OptionLarger,
  OptionSmaller,
  OptionSkip,
  OptionJobs,
  OptionAsk,
  OptionPage,
  OptionLog,
  OptionQuiet,
};

void registerMessages();

// The text of a message with its placeholders filled. Put what comes from outside into the last placeholder:
// a "%" in it is then left alone.
std::string message(MessageCode code, std::initializer_list<std::string> values = {});

}  // namespace tvkpack
