#include <tvk/text/BuiltinMessages.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace tvk {
namespace {

// clang-format off
constexpr BuiltinMessage s_messages[] = {
    {1001, "file %1 not found"},
    {1002, "folder not found: %1"},
    {1003, "file %1 cannot be opened"},
    {1004, "file %1 cannot be created"},
    {1005, "file %1 cannot be closed"},
    {1006, "temporary file cannot be created"},
    {1007, "temporary file cannot be renamed to %1"},
    {1008, "file %1 cannot be deleted for update"},
    {1009, "cannot read from file %1"},
    {1010, "cannot write to file %1"},
    {1011, "disk %1 is full"},
    {1012, "too many opened files"},
    {1013, "access to %1 denied"},
    {1014, "no more RAM available"},
    {1015, "invalid drive: %1"},
    {1016, "bad file/folder: %1"},
    {1017, "disk %1 is write-protected"},
    {1018, "disk %1 cannot be selected"},
    {1019, "data on disk %1 cannot be seeked"},
    {1020, "disk %1 has invalid format"},
    {1021, "invalid disk change in %1"},
    {1022, "file %1 is locked"},
    {1024, "no setting of environment variable %1"},
    {1025, "bad specification in environment variable %1: %2"},
    {1029, "file %1 already exists"},
    {1030, "line too long"},
    {1031, "file is corrupt%1"},
    {1033, "bad contents in text file%1"},
    {1034, "file has bad header%1"},
    {1035, "file has wrong CRC value%1"},
    {1036, "file has wrong file type%1"},
    {1037, "file is packed"},
    {1038, "remote computer access not suported"},
    {1039, "folder %1 cannot be created"},
    {1040, "folder %1 cannot be removed"},
    {1100, "too many relocation entries in file"},
    {1101, "file is DOS-high-load program"},
    {1102, "file is no valid executable file"},
    {1103, "file is OS/2 or Windows program"},
    {1104, "file structure is too complex"},
    {1105, "file is OS/2 or Windows map"},
    {1113, "file has version %1. Needed version is %2 or higher"},
    {1114, "file has bad version %1"},
    {1115, "file not initialized"},
    {1116, "%1: no access to service manager (system error %2)"},
    {1117, "%1 is not installed"},
    {1118, "no access to %1 (system error %2)"},
    {1119, "%1 is busy (system error %2)"},
    {1120, "%1 cannot be installed (system error %2)"},
    {1121, "%1 cannot be removed (system error %2)"},
    {1122, "%1 cannot be started (system error %2)"},
    {1123, "%1 cannot be stopped (system error %2)"},
    {1124, "registry for %1 cannot be accessed (system error %2)"},
    {1125, "registry parameter setting for %1 cannot be accessed (system error %2)"},
    {1126, "\"%3\" in registry for %1 cannot be changed (system error %2)"},
    {1127, "version of %1 is unknown"},
    {1128, "%1 has wrong version %3"},
    {1129, "%1 needs client version %3"},
    {1130, "no user rights to manage %1 (system error %2)"},
    {1131, "language module contains invalid version information"},
    {1132, "language module contains %1 as internal name"},
    {1133, "language module has wrong version %1 (%2 required)"},
    {1134, "event log for %1 cannot be accessed (system error %2)"},
    {1135, "%1 cannot be paused (system error %2)"},
    {1136, "%1 cannot be continued (system error %2)"},
    {1137, "%1 is not started"},
    {1138, "%1 cannot be installed: file %3 not found"},
    {1139, "%1 is busy (status change pending)"},
    {1140, "no access to \"%1\" in registration (%2)"},
    {1141, "\"%1\" in registration not found (%2)"},
    {1142, "\"%1\" in registration has bad data (%2)"},
    {1143, "\"%1\" in registration is out of range (%2)"},
    {1144, "\"%1\" in registration not found"},
    {1145, "item cannot be accessed (system error %1)"},
    {1146, "item contains bad data \"%1\""},
    {1147, "item not found"},
    {1150, "type of install file differs from installed file"},
    {1151, "language of install file differs from installed file"},
    {1152, "installed file is newer than install file"},
    {1215, "file has no valid segment table"},
    {1216, "file has no valid symbol table"},
    {1305, "no network system available"},
    {1306, "network server not found: %1"},
    {1308, "network not ready"},
    {1309, "network communication error (%1)"},
    {1312, "System error %1%2"},
    {1313, "Invalid date/time: %1"},
    {2001, "invalid option"},
    {2002, "bad argument in option"},
    {2003, "missing argument in option"},
    {2005, "value %1 out of range"},
    {2006, "no end of string %1"},
    {2007, "string too long"},
    {2010, "symbol %1 undefined"},
    {2011, "symbol %1 in different segments defined"},
    {2012, "symbol %1 has invalid type"},
    {2013, "value may not be a symbol: %1"},
    {2015, "data specification too long"},
    {2019, "file specification expected: %1"},
    {2020, "decimal number expected: %1"},
    {2021, "number expected: %1"},
    {2022, "end of input line expected: %1"},
    {2023, "bad specification: %1"},
    {2024, "missing specification"},
    {2025, "specification is ambiguous: %1"},
    {2026, "multiple specification: %1"},
    {2027, "invalid option for %1 mode"},
    {2100, "disk only permitted in first file specification: %1"},
    {2101, "folder only permitted in first file specification: %1"},
    {2102, "options only permitted after first file specification: %1"},
    {4003, "file has EXE header"},
    {4004, "file is packed"},
    {55296, "Undocumented/internal (%1)"},
    {55297, "error"},
    {55298, "warning"},
    {55299, "fatal error"},
    {55312, "JanFebMarAprMayJunJulAugSepOctNovDec"},
    {55313, "SuMoTuWeThFrSa"},
    {55314, "Version %1 of %2"},
    {55315, "Level"},
    {55316, "Concept"},
    {55317, "Alpha"},
    {55318, "Beta"},
    {55319, "Gamma"},
    {55320, "Build"},
    {55321, "%2/%3/%1"},
    {55328, "Copyright \xA9 %1 by"},
    {55329, "Copyright \xA9 %1 - %2 by"},
    {55330, "What's This?"},
    {55336, "file \"%1\""},
    {55344, "\"%1\" service (%2)"},
    {55345, "\"%1\" driver (%2)"},
    {55360, "file \"%1\", topic [%2]"},
    {55361, "file \"%1\", topic [%2], value \"%3\""},
    {55376, "%1: aborted by user"},
    {55377, "[Press any key to continue]"},
    {55378, "undocumented"},
    {57088, "Language Module %1"},
    {57089, "Module ignored. Embedded English language is used."},
};
// clang-format on

static_assert(std::ranges::adjacent_find(s_messages,
                                         [](const auto& a, const auto& b) { return a.code >= b.code; }) ==
                  std::end(s_messages),
              "unique codes in ascending order");

// Where the text of a code is, plus one, by the low bits of the code, in which the codes happen to differ; 0
// where there is none.
constexpr std::size_t indexSize = 2048;
constexpr auto s_index = [] {
  std::array<std::uint8_t, indexSize> index{};
  std::uint8_t number = 0;
  for (const BuiltinMessage& message : s_messages) index[message.code % indexSize] = ++number;
  return index;
}();
static_assert(std::ranges::count(s_index, 0) == indexSize - std::size(s_messages), "no two share a place");
static_assert(std::size(s_messages) <= 255, "a place fits a byte");

}  // namespace

std::span<const BuiltinMessage> builtinMessages() noexcept { return s_messages; }

const BuiltinMessage* builtinMessage(std::uint32_t code) noexcept {
  const std::size_t number = s_index[code % indexSize];
  return number != 0 && s_messages[number - 1].code == code ? &s_messages[number - 1] : nullptr;
}

}  // namespace tvk
