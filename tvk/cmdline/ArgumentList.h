// The arguments of a program, without the program's name.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <vector>

#include <tvk/Export.h>

namespace tvk {

// An ordered list of argument texts. It holds views only: the texts, those of `argv` as a rule, must outlive
// it. A null text counts as empty. Filled once, before others read it; reading is then safe from every
// thread.
class TVK_EXPORT ArgumentList {
 public:
  ArgumentList() = default;
  ArgumentList(std::initializer_list<const char*> texts);
  // The arguments behind `argv[0]`; `argc` below 2 or a null `argv` gives the empty list.
  ArgumentList(int argc, const char* const* argv);

  void Add(const char* text);
  void Clear() noexcept { m_texts.clear(); }

  std::size_t Count() const noexcept { return m_texts.size(); }
  bool IsEmpty() const noexcept { return m_texts.empty(); }
  // The zero-terminated text at `index`, which must be below Count().
  const char* operator[](std::size_t index) const noexcept { return m_texts[index]; }

  // The list that the application frame fills from main()'s arguments.
  static ArgumentList& OfProcess();

 private:
  std::vector<const char*> m_texts;
};

}  // namespace tvk
