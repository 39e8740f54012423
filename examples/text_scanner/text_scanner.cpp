// A grammar on top of the text scanner: settings, one to a line, whose values may use earlier ones.
//
//   home = /srv/data
//   log  = "\(home)/log files"      # \(NAME) is the value of an earlier line
//
// usage: text_scanner FILE
// Prints the settings in the order of their names; lines that are none are left out and reported at the end.
#include <algorithm>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <string_view>

#include <tvk/cmdline/Parsing.h>
#include <tvk/text/Characters.h>
#include <tvk/text/Exception.h>

namespace {

using Settings = std::map<std::string, std::string, std::less<>>;

class SettingsLine : public tvk::Parsing {
 public:
  SettingsLine(const char* line, Settings& settings) : Parsing(line), m_settings(settings) {}

  // Adds the setting of the line, if it holds one.
  void Read() {
    if (AtEnd()) return;
    tvk::StringBase<char> name;
    tvk::StringBase<char> value;
    ReadItem(name, ItemEndsAtBlank, longestItem, isName);
    SkipBlanks();
    if (*Cursor() != '=') throw tvk::Exception::Of(badItem, Cursor());
    SetCursor(Cursor() + 1);
    SkipBlanks();
    ReadItem(value, ItemSkipBlanks | ItemEndsAtBlank, longestItem, isValue);
    if (!AtEnd()) throw tvk::Exception::Of(badItem, Cursor());
    m_settings[name] = value;
  }

 protected:
  // Names are letters; values may be anything.
  bool EndItem(tvk::ItemRecord& record) override {
    if (record.errorCode != 0 || record.extra != isName) return true;
    if (std::ranges::all_of(record.output, tvk::characters::isLetter)) return true;
    record.errorCode = badItem;
    return false;
  }

  // Takes "\(NAME)"; all other escapes are the scanner's.
  bool HandleEscape(tvk::ItemRecord& record) override {
    const std::string_view rest = Cursor();
    if (!rest.starts_with('(')) return false;
    const std::size_t end = rest.find(')');
    const auto setting = m_settings.find(rest.substr(1, end == rest.npos ? end : end - 1));
    if (end == rest.npos || setting == m_settings.end()) {
      record.errorCode = outOfRange;
      MarkItemStart();  // the message shall name the reference, not the whole item
      return false;
    }
    SetCursor(Cursor() + end + 1);
    return std::ranges::all_of(setting->second, [&record](char c) { return Append(record, c); });
  }

 private:
  static constexpr std::int32_t longestItem = 4096;
  static constexpr std::uintptr_t isName = 1;
  static constexpr std::uintptr_t isValue = 2;
  static constexpr std::int32_t outOfRange = 2005;
  static constexpr std::int32_t badItem = 2023;

  bool AtEnd() {
    SkipBlanks();
    return *Cursor() == '\0' || *Cursor() == '#';
  }

  Settings& m_settings;
};

}  // namespace

int main(int argc, char** argv) {
  std::ifstream file(argc == 2 ? argv[1] : "");
  if (!file) {
    std::cerr << "usage: text_scanner FILE\n";
    return 2;
  }
  Settings settings;
  std::string problems;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    try {
      SettingsLine(line.c_str(), settings).Read();
    } catch (const tvk::Exception& e) {
      problems += "line " + std::to_string(number) + ": " + e.what() + '\n';
    }
  }
  for (const auto& [name, value] : settings) std::cout << name << " = " << value << '\n';
  std::cout << problems << std::flush;
  if (std::cout) return 0;
  std::cerr << "text_scanner: cannot write\n";
  return 1;
}
