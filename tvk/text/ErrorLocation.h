// What a thread is doing, for the texts of its errors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <tvk/Export.h>
#include <tvk/process/AutoInit.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// A scope that names what the current thread is doing. Every exception made inside it captures the names: the
// innermost one, and, as far as the scopes are chained, those around it, outermost first, joined by ", ".
// A scope ends on the thread that opened it; one that outlives shut-down ends without effect. Scopes of
// different threads never meet.
//
//   tvk::ErrorLocation scope("saving", true);
class TVK_EXPORT ErrorLocation {
 public:
  // With `chained` the scope around this one is shown in front of it.
  ErrorLocation(const StringBase<char>& text, bool chained);
  ErrorLocation(const ErrorLocation&) = delete;
  ErrorLocation& operator=(const ErrorLocation&) = delete;
  ~ErrorLocation();

  // The location text of the calling thread; empty outside every scope.
  static StringBase<char> Current();

 private:
  struct Record;
  std::unique_ptr<Record> m_record;
};

// Start-up service: going down ends the scopes of all threads.
class TVK_EXPORT ErrorLocationInit {
 public:
  virtual ~ErrorLocationInit();
};

template <>
TVK_EXPORT void AutoInit<ErrorLocationInit>::Init();
template <>
TVK_EXPORT void AutoInit<ErrorLocationInit>::Exit();

}  // namespace tvk
