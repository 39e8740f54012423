// Services that register while the library loads and come up when the frame says so.
#pragma once

#include <memory>
#include <utility>

#include <tvk/Export.h>

namespace tvk {

// One registered service. Init and Exit are idempotent. The list belongs to the thread that loads the library
// and later to the one that runs the frame; it is not locked.
class TVK_EXPORT AutoInitBase {
 public:
  AutoInitBase() = default;
  AutoInitBase(const AutoInitBase&) = delete;
  AutoInitBase& operator=(const AutoInitBase&) = delete;
  virtual ~AutoInitBase();

  virtual void Init() = 0;
  virtual void Exit() = 0;

  // Appends a service to the process-wide list, which owns it from then on.
  static void Register(std::unique_ptr<AutoInitBase> service);
  // Calls Init of every registered service in registration order. What one throws passes to the caller.
  static void InitAll();
  // Takes the services down: newest first, Exit and then delete, one after the other; then frees the list.
  // Services that are registered afterwards start a new one.
  static void ExitAll();
};

// The service that owns the process-wide T, made by Init and deleted by Exit, not by the destructor. Services
// that publish their object specialise Init and Exit.
template <class T>
class AutoInit : public AutoInitBase {
 public:
  void Init() override {
    if (m_object == nullptr) m_object = new T;
  }
  void Exit() override { delete std::exchange(m_object, nullptr); }

 protected:
  T* m_object = nullptr;
};

}  // namespace tvk
