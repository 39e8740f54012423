#include <tvk/text/ErrorLocation.h>

#include <atomic>
#include <mutex>
#include <utility>

namespace tvk {
namespace {

struct Stack;

// One scope, on the stack of the thread that opened it.
struct Entry {
  StringBase<char> text;
  bool isChained;
  bool isOpen = true;  // until it ends, or a scope around it
  Stack* stack = nullptr;
  Entry* outer = nullptr;
  Entry* inner = nullptr;  // of the innermost one: stale
};

// The scopes of one thread, from the first to the last; a thread without scopes has none. Its lock is the thread's own
// until another one ends a scope.
struct Stack {
  std::mutex lock;
  const void* owner = nullptr;  // the s_stack of the thread
  std::uint64_t generation = 0;
  std::uint64_t scopes = 0;  // not yet destroyed, open or not
  Entry* innermost = nullptr;
  bool isLasting = false;  // another thread ended its last scope once: an s_stack may still point here
  Stack* nextSpare = nullptr;
};

// Counts the shut-downs; the stacks from before are as good as empty.
constinit std::atomic<std::uint64_t> s_generation{0};

// What the thread used last. When another one ended its last scope, the stack has another owner by now or none.
constinit thread_local Stack* s_stack = nullptr;

// The lasting ones without an owner: never freed, but used again.
constinit std::atomic<Stack*> s_spare{nullptr};
std::mutex s_spareLock;

// Holds the lock of s_stack, or none when that is not the stack of this thread.
std::unique_lock<std::mutex> lockOwn() noexcept {
  if (s_stack == nullptr) return {};
  std::unique_lock lock(s_stack->lock);
  if (s_stack->owner != &s_stack || s_stack->generation != s_generation) return {};
  return lock;
}

Stack* unusedStack() {
  if (s_spare == nullptr) return new Stack;
  const std::lock_guard lock(s_spareLock);
  if (s_spare == nullptr) return new Stack;
  return s_spare.exchange(s_spare.load()->nextSpare);
}

// The thread has ended its last scope, or another one has.
void giveBack(Stack* stack) noexcept {
  if (!stack->isLasting) return delete stack;
  const std::lock_guard lock(s_spareLock);
  stack->nextSpare = s_spare.exchange(stack);
}

}  // namespace

struct ErrorLocation::Record : Entry {};

ErrorLocation::ErrorLocation(const StringBase<char>& text, bool chained)
    : m_record(new Record{{text, chained}}) {
  auto lock = lockOwn();
  if (!lock) {
    s_stack = unusedStack();
    lock = std::unique_lock(s_stack->lock);
    s_stack->owner = &s_stack;
    s_stack->generation = s_generation;
  }
  ++s_stack->scopes;
  m_record->stack = s_stack;
  m_record->outer = std::exchange(s_stack->innermost, m_record.get());
  if (m_record->outer != nullptr) m_record->outer->inner = m_record.get();
}

ErrorLocation::~ErrorLocation() {
  Stack* const stack = m_record->stack;
  {
    const std::lock_guard lock(stack->lock);
    for (; m_record->isOpen; stack->innermost = stack->innermost->outer) stack->innermost->isOpen = false;
    if (--stack->scopes != 0) return;
    if (stack->owner != &s_stack) stack->isLasting = true;
    stack->owner = nullptr;
    if (s_stack == stack) s_stack = nullptr;
  }
  giveBack(stack);
}

StringBase<char> ErrorLocation::Current() {
  const auto lock = lockOwn();
  if (!lock || s_stack->innermost == nullptr) return {};
  const Entry* const innermost = s_stack->innermost;
  const Entry* entry = innermost;
  while (entry->isChained && entry->outer != nullptr) entry = entry->outer;
  StringBase<char> location = entry->text;
  while (entry != innermost) location.append(", ").append((entry = entry->inner)->text);
  return location;
}

ErrorLocationInit::~ErrorLocationInit() = default;

template <>
void AutoInit<ErrorLocationInit>::Init() {
  if (m_object == nullptr) m_object = new ErrorLocationInit;
}

template <>
void AutoInit<ErrorLocationInit>::Exit() {
  ++s_generation;
  delete std::exchange(m_object, nullptr);
}

}  // namespace tvk
