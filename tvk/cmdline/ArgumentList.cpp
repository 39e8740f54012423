#include <tvk/cmdline/ArgumentList.h>

namespace tvk {

ArgumentList::ArgumentList(std::initializer_list<const char*> texts) {
  m_texts.reserve(texts.size());
  for (const char* text : texts) Add(text);
}

ArgumentList::ArgumentList(int argc, const char* const* argv) {
  for (int i = 1; argv != nullptr && i < argc; ++i) Add(argv[i]);
}

void ArgumentList::Add(const char* text) { m_texts.push_back(text != nullptr ? text : ""); }

ArgumentList& ArgumentList::OfProcess() {
  static auto* const s_list = new ArgumentList;  // never destroyed: late readers find it whole
  return *s_list;
}

}  // namespace tvk
