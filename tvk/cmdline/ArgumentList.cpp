#include <tvk/cmdline/ArgumentList.h>

#include <tvk/process/Singleton.h>

namespace tvk {

ArgumentList::ArgumentList(std::initializer_list<const char*> texts) {
  m_texts.reserve(texts.size());
  for (const char* text : texts) Add(text);
}

ArgumentList::ArgumentList(int argc, const char* const* argv) {
  if (argv == nullptr || argc < 2) return;
  m_texts.reserve(static_cast<std::size_t>(argc) - 1);
  for (int i = 1; i < argc; ++i) Add(argv[i]);
}

void ArgumentList::Add(const char* text) { m_texts.push_back(text != nullptr ? text : ""); }

ArgumentList& ArgumentList::OfProcess() {
  static Lasting<ArgumentList> s_list;
  return s_list.value;
}

}  // namespace tvk
