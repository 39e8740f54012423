// Threads that are waited for together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <tvk/Export.h>
#include <tvk/process/Thread.h>

namespace tvk {

// A list of threads. Each element is a copy that shares the record of the thread it was made from; the thread
// objects themselves stay with their owner and must live as long as their Run() needs them. A group belongs
// to one thread at a time. Its destructor neither stops nor joins anything.
class TVK_EXPORT ThreadGroup {
 public:
  // Appends a copy; true.
  bool Add(const Thread& thread);
  // Joins every thread in order, also behind one that fails. True when every join succeeded, and for an
  // empty group.
  bool JoinAll();
  // Cancels the first thread with this id and takes it out. False when there is none, or when it cannot be
  // cancelled and stays.
  bool Cancel(std::uint64_t id);

  std::size_t Count() const noexcept { return m_threads.size(); }

 private:
  std::vector<Thread> m_threads;
};

}  // namespace tvk
