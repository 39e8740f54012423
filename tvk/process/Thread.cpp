#include <tvk/process/Thread.h>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <limits>
#include <utility>

#include <tvk/process/CriticalSection.h>
#include <tvk/process/detail/Sanitizers.h>

namespace tvk {
namespace {

// Sanitizers put much more on the stack.
constexpr std::size_t s_joinableStackSize =
    TVK_ADDRESS_SANITIZER || TVK_THREAD_SANITIZER ? 0x200000 : 0x20000;

// Keeps cancellation away from a scope. The end of the scope is where a request that came meanwhile strikes,
// hence noexcept(false). The type is changed as well as the state: a request that is already on its way when
// the state changes still strikes a thread of the asynchronous type.
class CancellationOff {
 public:
  CancellationOff() noexcept {
    pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &m_type);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_state);
  }
  ~CancellationOff() noexcept(false) {
    int ignored;
    pthread_setcancelstate(m_state, &ignored);
    pthread_setcanceltype(m_type, &ignored);
  }
  CancellationOff(const CancellationOff&) = delete;
  CancellationOff& operator=(const CancellationOff&) = delete;

 private:
  int m_type = PTHREAD_CANCEL_DEFERRED;
  int m_state = PTHREAD_CANCEL_ENABLE;
};

// Runs the work open to cancellation at any instruction. A frame of its own without anything to destroy, so
// that the request may strike here too. Begins and ends closed to cancellation.
[[gnu::noinline]] void* runCancellable(Thread& object, void* arg) {
  int ignored;
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &ignored);
  pthread_testcancel();
  // What the header promises. NOLINTNEXTLINE(cert-pos47-c,concurrency-thread-canceltype-asynchronous)
  pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, &ignored);
  void* const result = object.Run(arg);
  pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &ignored);
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &ignored);
  return result;
}

}  // namespace

// One thread of the system, known to the thread itself and to the records that stand for it. Guarded by the
// global lock.
struct Thread::Activity : std::enable_shared_from_this<Activity> {
  pthread_t thread{};
  bool isRunning = true;
  bool isJoinable = false;   // nobody has joined or detached it, or is about to join it
  bool isAbandoned = false;  // the record that started it has given it up

  static thread_local Activity* s_current;  // of the calling thread; null in threads of others
};

thread_local Thread::Activity* Thread::Activity::s_current = nullptr;

// An object whose Run() threads are to enter, which may go before they do. Several threads, when it was given
// up and started again. Guarded by the global lock.
struct Thread::Body {
  Thread* object;            // null when it is gone
  std::size_t runCount = 0;  // threads that have not left its Run() yet
};

// What the copies of a Thread share. `activity` and `isStarter` are guarded by the global lock.
struct Thread::Record {
  std::atomic<std::uint64_t> id{0};    // not 0 while the thread runs
  std::shared_ptr<Activity> activity;  // null when empty
  std::atomic<std::uint32_t> holders{1};
  bool isStarter = false;  // started the activity, so that it frees it

  void GiveUpActivity() noexcept {
    id = 0;
    if (std::exchange(isStarter, false)) {
      activity->isAbandoned = true;
      if (std::exchange(activity->isJoinable, false)) pthread_detach(activity->thread);
    }
    activity = nullptr;
  }
};

// The global lock, held where no cancellation can strike.
class Thread::RecordLock {
 public:
  RecordLock() : m_lock(CriticalSection::Global()) {}

 private:
  CancellationOff m_cancellation;
  CriticalSectionLock m_lock;
};

struct Thread::StartBlock {
  std::shared_ptr<Record> record;
  std::shared_ptr<Activity> activity;
  std::shared_ptr<Body> body;
  void* arg;
};

// The new thread's part in its record: takes over from Start(), and notes the end when it goes, whichever way
// the thread is left.
class Thread::EndStep {
 public:
  explicit EndStep(StartBlock* block) noexcept : m_block(std::move(*block)) { delete block; }

  ~EndStep() {
    Activity::s_current = nullptr;
    {
      const CriticalSectionLock lock(CriticalSection::Global());
      m_block.activity->isRunning = false;
      --m_block.body->runCount;
    }
    // Last, when the lock is not needed any more: who sees the id gone may take the library down. A record
    // that was given up meanwhile holds no id, or that of another thread.
    std::uint64_t own = pthread_self();
    m_block.record->id.compare_exchange_strong(own, 0);
  }

  EndStep(const EndStep&) = delete;
  EndStep& operator=(const EndStep&) = delete;

  // The object to run, null when it is gone. Waits until Start() has written the record.
  Thread* Begin() noexcept {
    const CriticalSectionLock lock(CriticalSection::Global());
    Activity::s_current = m_block.activity.get();
    return m_block.body->object;
  }
  void* Argument() const noexcept { return m_block.arg; }

 private:
  StartBlock m_block;
};

// The right to join an activity, given back when the join does not come about.
class Thread::JoinClaim {
 public:
  explicit JoinClaim(Record& record) noexcept : m_record(record) {}

  ~JoinClaim() noexcept(false) {
    if (m_activity == nullptr) return;
    const RecordLock lock;
    if (m_isJoined) {
      m_activity->isRunning = false;
      if (m_record.activity == m_activity) m_record.id = 0;
    } else if (m_activity->isAbandoned) {
      pthread_detach(m_activity->thread);
    } else {
      m_activity->isJoinable = true;
    }
  }

  JoinClaim(const JoinClaim&) = delete;
  JoinClaim& operator=(const JoinClaim&) = delete;

  bool Join() {
    {
      const RecordLock lock;
      if (m_record.activity == nullptr) return true;
      Activity& activity = *m_record.activity;
      if (!activity.isJoinable || pthread_equal(activity.thread, pthread_self()) != 0) return false;
      activity.isJoinable = false;
      m_activity = m_record.activity;
    }
    m_isJoined = pthread_join(m_activity->thread, nullptr) == 0;
    return m_isJoined;
  }

 private:
  Record& m_record;
  std::shared_ptr<Activity> m_activity;  // null without a claim
  bool m_isJoined = false;
};

Thread::Thread() : m_record(std::make_shared<Record>()) {}

Thread::Thread(std::shared_ptr<Record> record) noexcept : m_record(std::move(record)) {}

Thread::Thread(const Thread& other) noexcept : m_record(other.m_record) { ++m_record->holders; }

Thread& Thread::operator=(const Thread& other) {
  if (this == &other || m_record == other.m_record) return *this;
  GiveUpRecord();
  m_record = other.m_record;
  ++m_record->holders;
  return *this;
}

Thread::~Thread() {
  [[maybe_unused]] bool isEarly = false;
  if (m_body != nullptr) {
    const RecordLock lock;
    m_body->object = nullptr;
    isEarly = m_body->runCount != 0;
  }
  GiveUpRecord();
#ifndef NDEBUG
  if (isEarly) std::fputs("tvk::Thread: the object was destroyed before its Run() had ended\n", stderr);
#endif
}

// The last holder gives the thread up as well.
void Thread::GiveUpRecord() {
  if (m_record->holders.fetch_sub(1) != 1) return;
  const RecordLock lock;
  m_record->GiveUpActivity();
}

void* Thread::Run(void*) { return nullptr; }

Thread Thread::Current() {
  auto record = std::make_shared<Record>();
  std::shared_ptr<Activity> activity;
  if (Activity::s_current != nullptr) {
    activity = Activity::s_current->shared_from_this();
  } else {
    activity = std::make_shared<Activity>();
    activity->thread = pthread_self();
    activity->isJoinable = true;  // as far as anybody here knows
  }
  record->id = pthread_self();
  record->activity = std::move(activity);
  return Thread(std::move(record));
}

bool Thread::Start(void* arg, bool joinable) {
  const RecordLock lock;
  if (IsValid()) return false;
  auto activity = std::make_shared<Activity>();
  if (m_body == nullptr) m_body = std::make_shared<Body>(Body{this});
  auto block = std::make_unique<StartBlock>(StartBlock{m_record, activity, m_body, arg});
  m_record->GiveUpActivity();

  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  if (joinable) {
    pthread_attr_setstacksize(&attributes, s_joinableStackSize);
  } else {
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  }
  const bool isCreated = pthread_create(&activity->thread, &attributes, Enter, block.get()) == 0;
  pthread_attr_destroy(&attributes);
  if (!isCreated) return false;

  static_cast<void>(block.release());  // the thread's from now on; it waits for the lock
  activity->isJoinable = joinable;
  m_record->id = activity->thread;
  m_record->activity = std::move(activity);
  m_record->isStarter = true;
  ++m_body->runCount;
  return true;
}

// The end step is the only thing here that has to be destroyed, and cancellation strikes only below.
void* Thread::Enter(void* block) {
  int ignored;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &ignored);
  EndStep end(static_cast<StartBlock*>(block));
  Thread* const object = end.Begin();
  return object != nullptr ? runCancellable(*object, end.Argument()) : nullptr;
}

bool Thread::Join() { return JoinClaim(*m_record).Join(); }

bool Thread::Cancel() {
  const RecordLock lock;
  auto fresh = std::make_shared<Record>();
  if (IsValid() && m_record->activity->isRunning && pthread_cancel(m_record->activity->thread) != 0)
    return false;
  Release(std::move(fresh));
  return true;
}

bool Thread::Forget() {
  const RecordLock lock;
  Release(std::make_shared<Record>());
  return true;
}

// With other holders a running record is left to them. A thread that has ended is given up only when nobody
// else could join it.
void Thread::Release(std::shared_ptr<Record> fresh) noexcept {
  if (IsShared()) {
    if (!IsValid()) return;
    m_record.swap(fresh);
    if (fresh->holders.fetch_sub(1) == 1) fresh->GiveUpActivity();  // the others have gone meanwhile
  } else if (IsValid() || (m_record->isStarter && m_record->activity->isJoinable)) {
    m_record->GiveUpActivity();
  }
}

bool Thread::IsShared() const noexcept { return m_record->holders > 1; }

std::uint64_t Thread::GetId() const noexcept { return m_record->id; }

void Thread::Sleep(std::uint32_t milliseconds) {
  constexpr std::uint32_t longest = std::numeric_limits<useconds_t>::max() / 1000;
  do {
    const std::uint32_t slice = std::min(milliseconds, longest);
    if (usleep(slice * 1000) != 0) return;
    milliseconds -= slice;
  } while (milliseconds != 0);
}

void Thread::Yield() noexcept { sched_yield(); }

void Thread::ExitCurrent() { pthread_exit(nullptr); }

}  // namespace tvk
