// The text of a message code, known and unknown.
#include <cstdint>
#include <string>
#include <unordered_map>

#include <tvk/text/BuiltinMessages.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/StringBase.h>

#include "Sides.h"

void bench::ask() {
  static const std::unordered_map<std::uint32_t, std::string> table = [] {
    std::unordered_map<std::uint32_t, std::string> texts;
    tvk::StringBase<char> text;
    for (std::uint32_t code = 1; code < 10000; ++code)
      if (tvk::loadMessage({}, code, false, text)) texts[code] = text;
    return texts;
  }();
  static const tvk::StringBase<char> module;
  Question<std::string>("known_code")
      .side("tvk",
            [] {
              tvk::StringBase<char> text;
              tvk::loadMessage(module, 1001, true, text);
              return std::string(std::move(text));
            })
      .side("unordered_map", [] { return table.find(1001)->second; });

  static tvk::StringBase<char> none;
  const auto isInTable = [] { return table.find(9999) != table.end(); };
  Question<bool>("unknown_code")
      .side("tvk", [] { return tvk::loadMessage(module, 9999, false, none); })
      .side("unordered_map", isInTable);
  Question<bool>("unknown_code_asked")
      .side("tvk", [] { return tvk::loadMessage(module, 9999, true, none); })
      .side("unordered_map", isInTable);
}
