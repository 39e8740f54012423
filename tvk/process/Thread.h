// Threads and the record of what became of them.
#pragma once

#include <compare>
#include <cstdint>
#include <memory>

#include <tvk/Export.h>

namespace tvk {

// A thread of the process. Derive and override Run(); Start() begins it. Copies share one record of the
// thread, so that a copy can wait for it or cancel it; the record passes through these states:
//
//   empty      never started, or given up by Cancel() or Forget()     Join() true at once
//   running    from Start() until Run() is left, however it is left   GetId() is not 0
//   finished   Run() was left, nobody waited yet                      GetId() is 0, Join() true at once
//   joined     somebody waited                                        Join() false
//   detached   started with `joinable` false, running or finished     Join() false
//
// Run       must find the object alive until it has been entered and as long as it uses it: usually the owner
//           joins before the object goes. An object that goes earlier is not entered any more; debug builds
//           say so on standard error. An exception that leaves Run() ends the process by std::terminate.
//           Joinable threads have a stack of 128 KiB: keep large buffers out of it.
// Cancel    strikes at any instruction. In a Run() that may be cancelled no frame may hold an object with a
//           destructor, a lock or memory, or the process may end; `catch (...)` must rethrow. The harmless
//           way is cooperative: share an atomic flag, let Run() look at it and return, and Join().
// Errors    the answers are booleans; nothing throws but std::bad_alloc.
// Threads   one object is used by one thread at a time; different copies may be used by different threads.
//           All changes of a record happen under CriticalSection::Global(): do not call anything here but
//           comparisons, GetId(), IsValid(), IsShared() and copying while holding it.
// Lifetime  destroying a Thread neither stops nor joins anything. When the last copy of an unjoined thread
//           gives it up, the system frees the thread's resources as soon as it ends.
//
//   struct Counter : tvk::Thread {
//     void* Run(void* arg) override { ++*static_cast<std::atomic<int>*>(arg); return nullptr; }
//   };
//   Counter counter;
//   if (counter.Start(&total, true)) counter.Join();
class TVK_EXPORT Thread {
 public:
  // A record of its own, empty.
  Thread();
  // Shares the record.
  Thread(const Thread& other) noexcept;
  Thread& operator=(const Thread& other);
  virtual ~Thread();

  // The thread's work. Gets the pointer that was given to Start(); nobody asks for the answer.
  virtual void* Run(void* arg);

  // A new record of the calling thread, with its id. It never frees the thread's resources; outside the
  // threads of this class it can be joined or cancelled only as long as the thread lives.
  static Thread Current();

  // Starts the thread, joinable or detached (with the system's stack size). False when it is running already
  // or the system refuses; a refused start leaves the record empty.
  bool Start(void* arg, bool joinable);
  // Waits until the thread has ended. True also when nothing was started; false for a detached thread, for
  // one that somebody joined or is about to join, and for the calling thread.
  bool Join();
  // Asks the thread to end at once, and gives it up. True also when nothing runs; false, with the record
  // kept, when the system refuses.
  bool Cancel();
  // Gives the thread up without stopping it: with a single holder the record is empty again, otherwise this
  // object gets an empty one of its own. True.
  bool Forget();

  // Whether the thread runs.
  bool IsValid() const noexcept { return GetId() != 0; }
  // Whether other copies share the record.
  bool IsShared() const noexcept;
  // The platform's number of the thread while it runs, else 0.
  std::uint64_t GetId() const noexcept;

  // By the ids: the same thread, and an order for keys. Threads that do not run are equal.
  friend bool operator==(const Thread& a, const Thread& b) noexcept { return a.GetId() == b.GetId(); }
  friend std::strong_ordering operator<=>(const Thread& a, const Thread& b) noexcept {
    return a.GetId() <=> b.GetId();
  }

  // Sleeps; a signal ends the sleep early.
  static void Sleep(std::uint32_t milliseconds);
  // Lets other threads go first.
  static void Yield() noexcept;
  // Ends the calling thread as if its Run() had answered null; destructors of its frames run.
  [[noreturn]] static void ExitCurrent();

 private:
  struct Activity;
  struct Body;
  struct Record;
  struct StartBlock;
  class EndStep;
  class JoinClaim;
  class RecordLock;

  explicit Thread(std::shared_ptr<Record> record) noexcept;
  static void* Enter(void* block);
  void Release(std::shared_ptr<Record> fresh) noexcept;
  void GiveUpRecord();

  std::shared_ptr<Record> m_record;  // never null
  std::shared_ptr<Body> m_body;      // this object as its threads know it; null until it is started
};

}  // namespace tvk
