// One operation of the library, run under one fault (see FaultShim.h), and what must hold then.
#pragma once

#include <cstdint>
#include <new>
#include <set>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include <tvk/files/FileException.h>

#include "FaultShim.h"

namespace faults {

class Trial;

struct Operation {
  const char* name;
  // Calls whose failure the operation must tell, in blanks: without them it cannot have done its work.
  const char* told;
  void (*run)(Trial& trial);
  // In a process of its own each time, without a run before it: what is made once is made under the fault.
  bool isCold = false;
};

std::span<const Operation> fileOperations();
std::span<const Operation> otherOperations();

// An operation prepares files in the current folder, which is empty, calls run() once and looks at what came
// of it. What it leaves behind (memory, descriptors, temporary files) is looked at by the caller.
class Trial {
 public:
  Trial(const Operation& operation, std::string fault);

  // Runs the work under the fault. True when it succeeded, which is what it answers, if it answers a bool.
  // It may fail, under a fault, by answering false, or by throwing: an Exception with one of the codes, or with the
  // one that stands for the system's error; a FileException, about one of the paths and with the system's
  // error as cause; std::bad_alloc for a failed allocation.
  template <class Work>
  bool run(const std::set<std::int64_t>& codes, const std::set<std::string>& paths, Work&& work) {
    bool isDone = true;
    begin();
    try {
      if constexpr (std::is_same_v<decltype(work()), bool>) {
        isDone = work();
      } else {
        work();
      }
      end();
    } catch (const tvk::FileException& e) {
      end();
      return checkCode(e, codes), checkPath(e, paths), isFair(false);
    } catch (const tvk::Exception& e) {
      end();
      return checkCode(e, codes), isFair(false);
    } catch (const std::bad_alloc&) {
      end();
      expect(m_call == "malloc", "bad_alloc though no allocation failed");
      return isFair(false);
    } catch (const std::exception& e) {
      end();
      expect(false, std::string("threw ") + e.what());
    }
    return isFair(isDone);
  }

  // For work without a call that may throw: the fault is on between the two.
  void begin();
  void end();

  void expect(bool holds, const std::string& what);
  bool hasFired() const { return m_fired > 0; }
  // By the name of a call, or CALL:N.
  bool isFault(const std::string& use) const {
    return m_fault.starts_with(use) && m_fault.find_first_of(":+", use.size()) == use.size();
  }
  const std::string& error() const { return m_error; }
  long failures() const { return m_failures; }

  // What was written to standard output since the last call, and what is to be read from standard input, a
  // terminal.
  static std::string screen();
  static void type(const std::string& keys);
  // A folder on another device; empty when there is none.
  static std::string otherDevice();

 private:
  bool isFair(bool isDone);
  void checkCode(const tvk::Exception& e, const std::set<std::int64_t>& codes);
  void checkPath(const tvk::FileException& e, const std::set<std::string>& paths);

  const Operation& m_operation;
  std::string m_fault, m_call, m_error;
  long m_fired = 0, m_failures = 0;
};

}  // namespace faults
