// The lazily made process-wide objects: those that shut-down ends, and those that last.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

#include <tvk/Export.h>

namespace tvk {

// A process-wide object that is never destroyed, so that late users (static destructors, threads that nobody
// waited for) do not find it dead. Lies in static storage: a module that goes takes it along.
//
//   static Lasting<CriticalSection> s_lock;
//   return s_lock.value;
template <class T>
union Lasting {
  template <class... Args>
  explicit Lasting(Args&&... args) : value(std::forward<Args>(args)...) {}
  Lasting(const Lasting&) = delete;
  Lasting& operator=(const Lasting&) = delete;
  ~Lasting() {}

  T value;
};

// An entry of the process-wide singleton list. Making one appends it to the list; shut-down deletes the
// entries, newest first. An entry that dies earlier leaves at most a null, which is skipped.
class TVK_EXPORT Singleton {
 public:
  Singleton(const Singleton&) = delete;
  Singleton& operator=(const Singleton&) = delete;
  virtual ~Singleton();

  // Deletes every entry, newest first, also those that destructors add meanwhile; then frees the list.
  // Entries made afterwards start a new list. Only shut-down calls it.
  static void DestroyAll() noexcept;

  // Serialises the making of process-wide objects. Recursive: the maker of one object may ask for another.
  static std::recursive_mutex& CreationLock() noexcept;

 protected:
  Singleton();
  // Is not in the list, so that shut-down leaves it alone.
  struct Unlisted {};
  explicit Singleton(Unlisted) noexcept {}
};

// Owns the process-wide object that `published` points at, and clears that pointer before the object goes, so
// that a later request makes a fresh one. Nobody may be using it when that happens.
template <class T>
class TSingleton : public Singleton {
 public:
  TSingleton(std::unique_ptr<T> object, std::atomic<T*>& published)
      : m_object(object.release()), m_published(&published) {}

  ~TSingleton() override {
    T* mine = m_object;
    m_published->compare_exchange_strong(mine, nullptr);
    delete m_object;
    m_object = nullptr;
  }

 private:
  T* m_object;
  std::atomic<T*>* m_published;
};

// The process-wide object behind `published`: made by `make` exactly once, also when several threads ask
// first, and registered in the order of first use. `make` answers a std::unique_ptr<T>.
template <class T, class Make>
T& ProcessWide(std::atomic<T*>& published, Make make) {
  if (T* object = published.load(std::memory_order_acquire)) return *object;
  const std::lock_guard lock(Singleton::CreationLock());
  if (T* object = published.load(std::memory_order_acquire)) return *object;
  std::unique_ptr<T> made = make();
  T* const object = made.get();
  new TSingleton<T>(std::move(made), published);  // owned by the singleton list
  published.store(object, std::memory_order_release);
  return *object;
}

}  // namespace tvk
