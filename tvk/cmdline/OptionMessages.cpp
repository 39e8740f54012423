#include <tvk/cmdline/OptionMessages.h>

#include <iterator>

#include <tvk/text/MessageFormat.h>
#include <tvk/text/MessageTable.h>

namespace tvk {
namespace {

// clang-format off
constexpr BuiltinMessage s_messages[] = {
    {55392, "Usage: %1 %2"},
    {55393, "[options]"},
    {55394, "Options:"},
    {55395, "show this help"},
    {55396, "show the version"},
    {55397, "%1 to %2"},
    {55398, "at least %1"},
    {55399, "at most %1"},
    {55400, "at most %1 bytes"},
    {55401, "default: %1"},
    {55402, "required"},
    {55403, "may be repeated"},
    {55404, "%2 (did you mean %1?)"},
    {55405, "N"},
    {55406, "TEXT"},
    {55407, "FILE"},
    {55408, "HOST"},
    {55409, "HEXBYTES"},
    {55410, "DATE[,TIME]"},
    {55411, "VALUE"},
};
// clang-format on

static_assert(std::size(s_messages) == OptionValue - OptionUsage + 1, "a text for each code, in their order");

}  // namespace

std::span<const BuiltinMessage> optionMessages() noexcept { return s_messages; }

std::string optionMessage(std::uint32_t code, std::initializer_list<std::string_view> values) {
  if (code >= OptionUsage && code <= OptionValue)
    registerMessage("tvk", {code, s_messages[code - OptionUsage].text.data()});
  StringBase<char> format, text;
  loadMessage("tvk", code, true, format);
  formatMessageWith(text, format.c_str(), {values.begin(), values.size()});
  return text;
}

}  // namespace tvk
