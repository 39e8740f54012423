// The texts of the option table.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include <tvk/Export.h>
#include <tvk/text/BuiltinMessages.h>

namespace tvk {

enum OptionMessage : std::uint32_t {
  OptionUsage = 55392,      // %1: the program, %2: what stands behind it
  OptionUsageRest = 55393,  // %2 of a program that says nothing else
  OptionHeading = 55394,    // above options without a group
  OptionHelp = 55395,       // what "-help" does
  OptionVersion = 55396,    // what "-version" does
  OptionFromTo = 55397,     // %1 and %2: the least and the greatest value
  OptionAtLeast = 55398,    // %1: the least value
  OptionAtMost = 55399,     // %1: the greatest value
  OptionBytes = 55400,      // %1: how many bytes at most
  OptionDefault = 55401,    // %1: the value without the option
  OptionRequired = 55402,
  OptionRepeatable = 55403,
  OptionDidYouMean = 55404,  // %1: an option that there is, %2: what was typed
  OptionNumber = 55405,      // what stands for a value, from here on
  OptionText = 55406,
  OptionFile = 55407,
  OptionHost = 55408,
  OptionHexBytes = 55409,
  OptionDate = 55410,
  OptionValue = 55411,
};

// All of them, in English; for the check of translations.
TVK_EXPORT std::span<const BuiltinMessage> optionMessages() noexcept;

// One of them, or of the program's, from the message table, with its placeholders filled: a translation where a
// language library has one. Safe from every thread.
std::string optionMessage(std::uint32_t code, std::initializer_list<std::string_view> values = {});

}  // namespace tvk
