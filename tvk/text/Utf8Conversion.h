// Conversion of whole texts to and from UTF-8, independent of the locale.
#pragma once

#include <cstddef>
#include <string_view>

#include <tvk/Export.h>
#include <tvk/process/CriticalSection.h>
#include <tvk/process/Singleton.h>
#include <tvk/text/StringBase.h>
#include <tvk/text/Utf8.h>

namespace tvk {

// What the four converters share: one iconv descriptor and the lock that makes each conversion whole.
class TVK_EXPORT CharsetConverter : public Singleton {
 public:
  ~CharsetConverter() override;

 protected:
  CharsetConverter(const char* to, const char* from);
  CharsetConverter(Unlisted unlisted, const char* to, const char* from);

  // Converts the whole text into `out`, which has room for `capacity` units: ASCII in front by itself, the rest
  // in one call. Answers the number of units produced, or -1 when the input is invalid, holds a character that
  // the target lacks, or needs more room.
  template <class In, class Out>
  std::ptrdiff_t ConvertText(std::basic_string_view<In> in, Out* out, std::size_t capacity);
  template <class In>
  std::size_t ConvertToUtf8(std::basic_string_view<In> in, Utf8& out);

 private:
  void* m_descriptor;
  CriticalSection m_lock;
};

// Converts from From to To; the four specialisations below exist. Making one opens its descriptor; Get()
// answers the process-wide one of its direction, which is never destroyed.
//
// Convert() is all or nothing: on invalid input, on a character that the target lacks, and when the
// descriptor could not be opened, the output is empty and the result 0. Otherwise the result counts the units
// produced. Safe from several threads at once. Every other converter is owned by the singleton list: make it
// with new, or let it die before shut-down.
template <class From, class To>
class Utf8Conversion;

template <>
class TVK_EXPORT Utf8Conversion<StringBase<char>, Utf8> : public CharsetConverter {
 public:
  Utf8Conversion();
  ~Utf8Conversion() override;
  std::size_t Convert(const StringBase<char>& in, Utf8& out);
  static Utf8Conversion& Get();

 protected:
  explicit Utf8Conversion(Unlisted unlisted);
};

template <>
class TVK_EXPORT Utf8Conversion<Utf8, StringBase<char>> : public CharsetConverter {
 public:
  Utf8Conversion();
  ~Utf8Conversion() override;
  std::size_t Convert(const Utf8& in, StringBase<char>& out) { return Convert(in.View(), out); }
  std::size_t Convert(std::string_view in, StringBase<char>& out);
  static Utf8Conversion& Get();

 protected:
  explicit Utf8Conversion(Unlisted unlisted);
};

template <>
class TVK_EXPORT Utf8Conversion<StringBase<wchar_t>, Utf8> : public CharsetConverter {
 public:
  Utf8Conversion();
  ~Utf8Conversion() override;
  std::size_t Convert(const StringBase<wchar_t>& in, Utf8& out);
  static Utf8Conversion& Get();

 protected:
  explicit Utf8Conversion(Unlisted unlisted);
};

template <>
class TVK_EXPORT Utf8Conversion<Utf8, StringBase<wchar_t>> : public CharsetConverter {
 public:
  Utf8Conversion();
  ~Utf8Conversion() override;
  std::size_t Convert(const Utf8& in, StringBase<wchar_t>& out) { return Convert(in.View(), out); }
  std::size_t Convert(std::string_view in, StringBase<wchar_t>& out);
  static Utf8Conversion& Get();

 protected:
  explicit Utf8Conversion(Unlisted unlisted);
};

}  // namespace tvk
