// What is done with one file.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <tvk/files/FileString.h>

#include "Place.h"
#include "Settings.h"

namespace tvkpack {

// A file to look at, or a folder that could not be read, with the error number of that. Its path begins with
// that of the root.
struct Item {
  std::shared_ptr<const Root> root;
  tvk::FileString path;
  int error;
};

struct Outcome {
  enum Kind : std::uint8_t { NotSelected, Done, Left, Failed, Unstarted };
  Kind kind = NotSelected;
  std::string line;          // what to report; an error's text when it failed
  std::uint64_t before = 0;  // bytes of the file and of what it became
  std::uint64_t after = 0;
};

// Packs, unpacks, tests or lists files, each for itself. Safe from several threads at once.
class FileWork {
 public:
  // Asked before a file is read, with its path as it can be shown: false leaves it alone.
  using Confirm = std::function<bool(const std::string& path)>;

  // Files are no longer begun, and those begun not replaced, once `stop` is set.
  FileWork(const Settings& settings, const std::atomic<bool>& stop, Confirm confirm)
      : m_settings(settings), m_stop(stop), m_confirm(std::move(confirm)) {}

  // Does not throw, but for what `confirm` throws: failures are outcomes.
  Outcome Do(const Item& item) const;

 private:
  const Settings& m_settings;
  const std::atomic<bool>& m_stop;
  const Confirm m_confirm;
};

}  // namespace tvkpack
