#include <tvk/process/Language.h>

#include <cstdlib>
#include <string_view>

namespace tvk {
namespace {

struct Row {
  std::uint32_t code;
  const char* name;
};

// In the order of the search.
constexpr Row s_languages[] = {
    {9, "Us"},  {1, "Sa"},  {2052, "Cn"}, {6, "Dk"},    {19, "Nl"}, {12, "Fr"},
    {7, "De"},  {8, "Gr"},  {16, "It"},   {14, "Hu"},   {17, "Jp"}, {18, "Ko"},
    {22, "Br"}, {10, "Es"}, {29, "Se"},   {1028, "Tw"}, {25, "Ru"},
};

constexpr std::uint32_t s_primaryLanguage = 0x3FF;  // the bits of a code that leave out the region

struct Choice {
  std::string_view prefix;
  std::uint32_t code;
};

constexpr Choice s_choices[] = {{"en_", 9},      {"de_", 7},  {"fr_", 12}, {"es_", 10},
                                {"zh_CN", 2052}, {"ja_", 17}, {"ru_", 25}};

}  // namespace

std::uint32_t Language::OfUser() {
  static const std::uint32_t s_language = FromVariable(std::getenv("LANG"));
  return s_language;
}

std::uint32_t Language::FromVariable(const char* lang) noexcept {
  const std::string_view value = lang != nullptr ? lang : "";
  for (const Choice& choice : s_choices)
    if (value.starts_with(choice.prefix)) return choice.code;
  return english;
}

const char* Language::NameOf(std::uint32_t code) noexcept {
  for (const std::uint32_t wanted : {code, code & s_primaryLanguage})
    for (const Row& row : s_languages)
      if (row.code == wanted) return row.name;
  return nullptr;
}

}  // namespace tvk
