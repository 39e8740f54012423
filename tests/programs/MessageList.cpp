// All texts of the library, or with an argument those of tvkpack: code and text, each with a zero behind it.
#include <iostream>
#include <set>

#include <tvk/cmdline/OptionMessages.h>
#include <tvk/text/MessageTable.h>

#include "../../programs/tvkpack/Messages.h"

int main(int argc, char**) {
  for (const tvk::BuiltinMessage& message : tvk::optionMessages())
    tvk::registerMessage("tvk", {message.code, message.text.data()});
  std::set<std::uint32_t> told;
  for (const bool ofProgram : {false, true}) {
    if (ofProgram) tvkpack::registerMessages();
    for (std::uint32_t code = 1; code <= 0xFFFF; ++code) {
      tvk::StringBase<char> text;
      if (!tvk::loadMessage("tvkpack", code, false, text) || !told.insert(code).second) continue;
      if (ofProgram == (argc > 1)) std::cout << code << '\0' << text << '\0';
    }
  }
  return std::cout.flush() ? 0 : 1;
}
