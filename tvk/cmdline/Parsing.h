// A scanner over a text, for grammars of the program's own.
#pragma once

#include <cstdint>

#include <tvk/Export.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// One item while it is read, as the hooks of a scanner see it.
struct ItemRecord {
  std::int32_t maximumLength;  // the limit that the caller gave
  std::int32_t count;          // 0; appending fails once it is not below the limit
  std::uint32_t flags;
  std::uintptr_t extra;  // the caller's word to the hooks
  StringBase<char>& output;
  std::int32_t errorCode;  // 0, or the code that the item fails with
};

// A cursor over a zero-terminated text, a mark where the current item began, and a reader for one item: a
// plain run of characters or one in double quotation marks, with backslash escapes. Subclasses read their
// grammars with it and take part in reading an item through three hooks.
//
// Escapes  \t \v \b \r \f \a \\ \? \' \" as in C; \n is a line break; up to three octal digits, or x and
//          any number of hexadecimal digits, give one byte (the low 8 bits). Before anything else the
//          backslash is dropped.
// Errors   ReadItem() throws Exception with one of the codes below and the text from where the item began.
// Threads  a scanner belongs to one thread at a time.
// Lifetime the text is not copied: it has to outlive the scanner. Null counts as empty.
//
//   tvk::Parsing scanner("\"two words\" three");
//   scanner.ReadItem(item, tvk::Parsing::ItemSkipBlanks | tvk::Parsing::ItemEndsAtBlank, 80);
class TVK_EXPORT Parsing {
 public:
  // --- How to read an item.

  // Blanks before the item and behind each closing mark are skipped.
  static constexpr std::uint32_t ItemSkipBlanks = 0x01;
  // The item must be quoted.
  static constexpr std::uint32_t ItemQuoted = 0x20;
  // A blank or tab ends an unquoted item; an item behind blanks must be quoted.
  static constexpr std::uint32_t ItemEndsAtBlank = 0x40;
  // Quotation marks and escapes are copied as they stand, line breaks as a backslash and "n".
  static constexpr std::uint32_t ItemRaw = 0x80;
  // Line breaks may stand in the item and, behind a closing mark, continue it. CR LF and LF CR count as one;
  // the item gets a line feed.
  static constexpr std::uint32_t ItemLineBreaks = 0x100;

  explicit Parsing(const char* text) noexcept;
  Parsing(const Parsing&) = delete;
  Parsing& operator=(const Parsing&) = delete;
  virtual ~Parsing();

  const char* Cursor() const noexcept { return m_cursor; }
  // Moves the cursor to a place of the text; null is its end.
  void SetCursor(const char* position) noexcept;
  void MarkItemStart() noexcept { m_itemStart = m_cursor; }
  const char* ItemStart() const noexcept { return m_itemStart; }

  // Whether the cursor stands on a blank or a tab, or on a CR or LF when these count as blanks.
  bool IsBlank() const noexcept;
  void SkipBlanks() noexcept;

  // Whether CR and LF count as blanks: for every scanner of the process, off at first, safe from every
  // thread.
  static void SetLineBreaksAreBlank(bool areBlank) noexcept;
  static bool LineBreaksAreBlank() noexcept;

  // Reads one item into `out`, at most `maxLength` characters; what is left of a longer plain item stays at
  // the cursor. With ItemRaw the item may get one character longer, and with ItemLineBreaks it gets all line
  // breaks behind a closing mark, whatever the limit. With a limit below 0 only an empty item can be read.
  // Adjacent quoted pieces make one item. Room is taken at once for as much as the limit and the rest of the
  // text allow: give a limit that fits the item. True, or an exception:
  //   2006  a control character in the item, or no closing mark before the end of the text or the limit
  //   2007  something to append under a limit of 0 or less
  //   2023  not quoted, with ItemQuoted
  //   2024  nothing to read; not quoted behind blanks, with ItemEndsAtBlank
  //   any   what a hook left in the record; 0 when it refused without a code
  // After 2024 behind blanks, and after 2006 for a missing closing mark, the cursor is back at the start of
  // the item; after the others it stands where the failure was found.
  bool ReadItem(StringBase<char>& out, std::uint32_t flags, std::int32_t maxLength, std::uintptr_t extra = 0);

 protected:
  // Called before the characters of an item are read, with the cursor behind the opening mark of a quoted
  // one; `first` is that mark or the character at the cursor. False aborts the item.
  virtual bool BeginItem(ItemRecord& record, char first);
  // Called once when the item ends, also when it failed, even before BeginItem(). False makes a success a
  // failure.
  virtual bool EndItem(ItemRecord& record);
  // Called for a backslash, unless ItemRaw is set, with the cursor behind it. A hook that takes the escape
  // moves the cursor behind it, not past the end of the text, and answers true. One that sets the error code
  // and answers false ends the item.
  virtual bool HandleEscape(ItemRecord& record);

  // Append to the item; false when it may not grow, with the error code set to 2007.
  static bool Append(ItemRecord& record, char character);
  // A line feed; with ItemRaw a backslash and "n".
  static bool AppendLineBreak(ItemRecord& record);

 private:
  enum class Piece { goesOn, ended, failed };

  // Each answers false when the item failed, with the error code in the record.
  bool ReadWhole(ItemRecord& record);
  bool ReadCharacters(ItemRecord& record, bool isQuoted);
  bool ReadEscape(ItemRecord& record);
  Piece EndPiece(ItemRecord& record);

  // Moves over the other half of CR LF or LF CR.
  void SkipPartner(char lineBreak) noexcept;
  bool IsInText(const char* before) const noexcept;

  const char* m_text;
  const char* m_itemStart;
  const char* m_cursor;
};

}  // namespace tvk
