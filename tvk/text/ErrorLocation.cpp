#include <tvk/text/ErrorLocation.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <vector>

namespace tvk {
namespace {

struct Entry {
  StringBase<char> text;
  bool isChained;
  std::uint64_t number;  // never used twice, so that a scope recognises its own entry
};

using Stack = std::vector<Entry>;
using StackMap = std::map<std::uint64_t, Stack>;  // holds threads with live scopes only

std::mutex s_lock;
StackMap* s_stacks = nullptr;
std::uint64_t s_lastNumber = 0;

// The number of the calling thread. Unlike the system's it is never used twice, so that a thread does not find
// itself in the scopes that another one left open.
std::uint64_t thisThread() noexcept {
  static constinit std::atomic<std::uint64_t> s_lastThread{0};
  static constinit thread_local std::uint64_t s_number = 0;
  if (s_number == 0) s_number = ++s_lastThread;
  return s_number;
}

// Cuts the thread's stack below the entry of that number; does nothing when the entry is gone.
void popFrom(std::uint64_t thread, std::uint64_t number) noexcept {
  const std::lock_guard lock(s_lock);
  if (s_stacks == nullptr) return;
  const auto found = s_stacks->find(thread);
  if (found == s_stacks->end()) return;
  Stack& stack = found->second;
  const auto own = std::ranges::lower_bound(stack, number, {}, &Entry::number);  // numbers only grow
  if (own == stack.end() || own->number != number) return;
  stack.erase(own, stack.end());
  if (stack.empty()) s_stacks->erase(found);
}

}  // namespace

struct ErrorLocation::Record {
  bool isActive;
  bool isChained;
  std::uint64_t count;
  std::uint64_t number;
  std::uint64_t thread;
};

ErrorLocation::ErrorLocation(const StringBase<char>& text, bool chained)
    : m_record(new Record{true, chained, 0, 0, thisThread()}) {
  const std::lock_guard lock(s_lock);
  if (s_stacks == nullptr) s_stacks = new StackMap;
  m_record->number = ++s_lastNumber;
  (*s_stacks)[m_record->thread].push_back({text, chained, m_record->number});
  m_record->count = 1;
}

ErrorLocation::~ErrorLocation() {
  if (!m_record->isActive) return;
  m_record->isActive = false;
  if (m_record->count != 0) popFrom(m_record->thread, m_record->number);
}

StringBase<char> ErrorLocation::Current() {
  const std::lock_guard lock(s_lock);
  if (s_stacks == nullptr) return {};
  const auto found = s_stacks->find(thisThread());
  if (found == s_stacks->end() || found->second.empty()) return {};
  const Stack& stack = found->second;
  auto first = std::prev(stack.end());
  while (first->isChained && first != stack.begin()) --first;
  StringBase<char> location = first->text;
  for (auto entry = std::next(first); entry != stack.end(); ++entry)
    location.append(", ").append(entry->text);
  return location;
}

ErrorLocationInit::~ErrorLocationInit() = default;

template <>
void AutoInit<ErrorLocationInit>::Init() {
  if (m_object != nullptr) return;
  m_object = new ErrorLocationInit;
  const std::lock_guard lock(s_lock);
  if (s_stacks == nullptr) s_stacks = new StackMap;
}

template <>
void AutoInit<ErrorLocationInit>::Exit() {
  {
    const std::lock_guard lock(s_lock);
    delete s_stacks;
    s_stacks = nullptr;
  }
  delete m_object;
  m_object = nullptr;
}

}  // namespace tvk
