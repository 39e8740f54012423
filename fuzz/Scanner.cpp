// The text scanner under all flags, with hooks that refuse, take escapes and fail as the input wants.
#include <tvk/cmdline/Parsing.h>

#include <tuple>
#include <vector>

#include "Input.h"

namespace {

constexpr std::int32_t codeOfHook = 4711;

// What the hooks do is in the low bits of the caller's word.
class Scanner : public tvk::Parsing {
 public:
  using Parsing::Parsing;

 private:
  static bool Accept(tvk::ItemRecord& record, unsigned bit) {
    if (record.extra & bit << 1) record.errorCode = codeOfHook;
    return (record.extra & bit) == 0;
  }
  bool BeginItem(tvk::ItemRecord& record, char) override { return Accept(record, 0x01); }
  bool EndItem(tvk::ItemRecord& record) override { return Accept(record, 0x04); }
  bool HandleEscape(tvk::ItemRecord& record) override {
    if (*Cursor() == '!') return Accept(record, 0x10);
    if (*Cursor() != '@') return false;
    SetCursor(Cursor() + 1);
    return Append(record, '@') && ((record.extra & 0x40) == 0 || AppendLineBreak(record));
  }
};

}  // namespace

void fuzz::run(Input in) {
  const std::string source = in.Text();
  const std::vector<char> text(source.c_str(), source.c_str() + source.size() + 1);  // its ends are guarded
  Scanner scanner(text.data());
  while (!in.AtEnd()) {
    const auto bits = in.Take();
    Scanner::SetLineBreaksAreBlank(bits & 2);
    const std::uint32_t flags = (bits & 0xE1u) | (bits & 0x10u) << 4;
    const std::int32_t limit = bits & 4 ? in.Take<std::int32_t>() : in.Take<std::int8_t>();
    const auto hooks = bits & 8 ? in.Take() : std::uint8_t{0};
    const auto read = [&] {
      tvk::StringBase<char> item("before");
      const auto code = fuzz::codeOf([&] { assert(scanner.ReadItem(item, flags, limit, hooks)); });
      return std::tuple(code, item, scanner.ItemStart(), scanner.Cursor());
    };
    const char* const before = scanner.Cursor();
    const auto [code, item, start, cursor] = read();
    const std::string taken(start, cursor);
    assert(before <= start && start <= cursor && cursor < text.data() + text.size());
    assert(item.size() <= 2 * text.size());
    const bool mayPass = hooks != 0 || flags & Scanner::ItemRaw;
    assert(flags & Scanner::ItemLineBreaks || std::ssize(item) <= (limit > 0 ? limit + long{mayPass} : 0));
    const bool isOfHook = hooks != 0 && (code == 0 || code == codeOfHook);
    assert(isOfHook || code == -1 || code == 2006 || code == 2007 || code == 2023 || code == 2024);
    const bool isPlain = flags == Scanner::ItemRaw || taken.find_first_of("\\\"\r\n") == taken.npos;
    // But for a closing mark behind the limit.
    if (code == -1 && isPlain) assert(taken.starts_with(item) && taken.size() - item.size() <= 1);
    scanner.SetCursor(before);
    assert(read() == std::tuple(code, item, start, cursor));
  }
}
