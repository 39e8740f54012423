// The name that stands in front of every error text, and the prefix in front of every error code.
#pragma once

#include <cstddef>

#include <tvk/Export.h>
#include <tvk/text/StringBase.h>

namespace tvk {

// Frames tell their names here and take them back when they go, so that error texts need no frame. Safe from
// every thread.
class TVK_EXPORT ProgramName {
 public:
  // The name that `owner` gives the running application or, failing one, the current frame.
  static void SetApplication(const void* owner, const StringBase<char>& name);
  static void SetFrame(const void* owner, const StringBase<char>& name);
  // Forgets what `owner` told; does nothing when another one told since.
  static void Forget(const void* owner);

  // The application's name, else the frame's, else the file name of the executable, else "<unknown>".
  static StringBase<char> Get();

  // The longest code prefix, in characters.
  static constexpr std::size_t maxCodePrefix = 11;
  // Null counts as empty. A longer text is refused: false, and the prefix stays.
  static bool SetCodePrefix(const char* prefix) noexcept;
  static StringBase<char> CodePrefix();
};

}  // namespace tvk
