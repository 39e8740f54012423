// The languages the library knows, and the one the user wants.
#pragma once

#include <cstdint>

#include <tvk/Export.h>

namespace tvk {

// Languages are numbered by the LANGID codes of the Win32 national-language scheme.
class TVK_EXPORT Language {
 public:
  static constexpr std::uint32_t english = 9;

  // The user's language by the variable LANG, decided by the first call for the life of the process. Only
  // LANG is asked; LC_ALL, LC_MESSAGES and LANGUAGE are not. Safe from every thread.
  static std::uint32_t OfUser();
  // The language that a value of LANG chooses, by its beginning: "en_", "de_", "fr_", "es_", "zh_CN", "ja_"
  // and "ru_" are known; all else is English, also null and a bare "de".
  static std::uint32_t FromVariable(const char* lang) noexcept;

  // The two-letter name of a code ("De"), found by the whole code or else by its low ten bits; else null.
  static const char* NameOf(std::uint32_t code) noexcept;
};

}  // namespace tvk
