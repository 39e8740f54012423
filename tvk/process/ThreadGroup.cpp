#include <tvk/process/ThreadGroup.h>

#include <algorithm>

namespace tvk {

bool ThreadGroup::Add(const Thread& thread) {
  m_threads.push_back(thread);
  return true;
}

bool ThreadGroup::JoinAll() {
  if (m_threads.empty()) return true;
  Thread::Yield();
  bool all = true;
  for (Thread& thread : m_threads) all = thread.Join() && all;
  return all;
}

bool ThreadGroup::Cancel(std::uint64_t id) {
  const auto found = std::find_if(m_threads.begin(), m_threads.end(),
                                  [id](const Thread& thread) { return thread.GetId() == id; });
  if (found == m_threads.end() || !found->Cancel()) return false;
  m_threads.erase(found);
  return true;
}

}  // namespace tvk
