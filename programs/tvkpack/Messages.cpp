#include "Messages.h"

#include <vector>

#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>

namespace tvkpack {
namespace {

constexpr struct {
  MessageCode code;
  const char* text;
} s_messages[] = {
    {NotWhole, "file is not one whole gzip block%1"},
    {NotTheSame, "packed block of %1 does not unpack to the same"},
    {HelpUsage, "[options] WHAT..."},
    {HelpBefore,
     "Packs files with gzip, in place: NAME becomes NAME.gz once the packed block has been unpacked again "
     "and "
     "compared, and is safe on disk.\n"
     "\n"
     "WHAT is a file, or a folder with name patterns behind commas, for instance /var/log,*.log,*.txt - "
     "without "
     "patterns every file of the folder. \"~\" in front is the home folder."},
    {HelpBehind,
     "Left alone, with a word why: empty files, links and files with more than one link, packed files, files "
     "over "
     "4 GiB, and what would not shrink or changes.\n"
     "\n"
     "Exit status: 0 all well, 4 a file failed, 3 bad command line or other error, 11 aborted at a prompt."},
    {LinePacked, "packed   %4  %1 -> %2  %3"},
    {LineUnpacked, "unpacked %4  %1 -> %2  %3"},
    {LineTested, "ok       %4  %1 -> %2  %3"},
    {LineLeft, "left     %2  %1"},
    {LineListed, "%1 %2 %3  %4  %5"},
    {ListHeader, "      packed     unpacked  ratio  modified             name"},
    {ReasonLink, "symbolic link"},
    {ReasonManyLinks, "has more than one link"},
    {ReasonNoFile, "not a regular file"},
    {ReasonEmpty, "empty"},
    {ReasonPacked, "already packed"},
    {ReasonNotPacked, "not packed"},
    {ReasonTooLarge, "too large for one block"},
    {ReasonNotSmaller, "would not get smaller"},
    {ReasonChanged, "changed meanwhile"},
    {ReasonSkipped, "begins with the bytes to skip"},
    {ReasonLeftover, "left over from an interrupted run"},
    {ReasonRefused, "not wanted"},
    {TotalsPacked, "%1 packed, %2 left alone, %3 failed, %4 -> %5"},
    {TotalsUnpacked, "%1 unpacked, %2 left alone, %3 failed, %4 -> %5"},
    {TotalsTested, "%1 tested, %2 left alone, %3 failed, %4 -> %5"},
    {TotalsListed, "%1 listed, %2 left alone, %3 failed, %4 -> %5"},
    {Progress, "%1 of %2 files"},
    {QuestionPack, "Pack %1?"},
    {QuestionUnpack, "Unpack %1?"},
    {QuestionTest, "Test %1?"},
    {QuestionList, "List %1?"},
    {AnswerKeys, "ynaq"},
    {Interrupted, "interrupted; the files above are done, all others as they were"},
    {OptionPack, "pack (the default)"},
    {OptionUnpack, "unpack NAME.gz to NAME"},
    {OptionTest, "unpack in memory only and say which blocks are whole"},
    {OptionList, "list packed files"},
    {OptionRecurse, "with all sub-folders"},
    {OptionKeep, "leave the originals"},
    {OptionOverwrite, "replace targets that exist"},
    {OptionBefore, "only files modified before this moment: 2024-03-15T12:00:00Z, 2024Mar15,12:00:00CET"},
    {OptionAfter, "only files modified at this moment or later: 2024-03-15, 2024Mar15"},
    {OptionLarger, "only files of more than N bytes (also octal or hexadecimal)"},
    {OptionSmaller, "only files of fewer than N bytes"},
    {OptionSkip, "leave files that begin with these bytes"},
    {OptionJobs, "N files at a time, as many as processors otherwise"},
    {OptionAsk, "ask for each file: y yes, n no, a all, q quit"},
    {OptionPage, "pause after each screenful"},
    {OptionLog, "report to the system log"},
    {OptionQuiet, "report errors only"},
};

}  // namespace

void registerMessages() {
  for (const auto& [code, text] : s_messages) tvk::registerMessage("tvkpack", {code, text});
}

std::string message(MessageCode code, std::initializer_list<std::string> values) {
  tvk::StringBase<char> format;
  tvk::loadMessage("tvkpack", code, false, format);
  const std::vector<std::string_view> texts(values.begin(), values.end());
  tvk::StringBase<char> text;
  tvk::formatMessageWith(text, format.c_str(), texts);
  return text;
}

}  // namespace tvkpack
