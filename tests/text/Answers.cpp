// What the strings, the message table and the exceptions answer (see Probe.cpp).
#include <dlfcn.h>
#include <pthread.h>

#include <algorithm>
#include <clocale>
#include <cstdint>
#include <functional>
#include <map>
#include <thread>

#include <tvk/text/BuiltinMessages.h>
#include <tvk/text/Exception.h>
#include <tvk/text/Hexadecimal.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/ProgramName.h>
#include <tvk/text/StringBase.h>

#include "differential/Probe.h"

namespace {

using Narrow = tvk::StringBase<char>;
using Wide = tvk::StringBase<wchar_t>;
using Unit = char16_t;
using Words = std::vector<std::string>;  // the first one is the operation's name

std::uint32_t number(const std::string& word) { return static_cast<std::uint32_t>(std::stoul(word)); }

std::string bytesOf(const auto& units) {
  return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof units[0]};
}

// The units whose bytes a word has in hexadecimal.
template <class C = wchar_t>
std::basic_string<C> unitsOf(const std::string& word) {
  const auto bytes = tvk::DecodeHexadecimal(word);
  std::basic_string<C> units(bytes.size() / sizeof(C), C());
  std::ranges::copy(bytes, reinterpret_cast<std::uint8_t*>(units.data()));
  return units;
}

// What a copy answers, and the seven units it was given. The words: capacity, and "1" for a terminator.
template <class C, class Text>
std::string copied(const Text& text, std::size_t (Text::*copy)(C*, std::size_t, bool) const, const Words& w) {
  std::vector<C> units(7, '#');
  const std::size_t count = (text.*copy)(units.data(), number(w[1]), w[2] == "1");
  return std::to_string(count) + ' ' + bytesOf(units);
}

// Whose a name or a translation is.
const void* owner(const Words& w) { return reinterpret_cast<void*>(std::stoul(w[1])); }

Narrow loaded(const Words& w) {
  Narrow text("untouched");
  return tvk::loadMessage("tvk", number(w[1]), w[2] == "1", text) ? text : "none:" + text;
}

// The words behind the owner: codes, each with its text.
const char* translate(const Words& w) {
  std::vector<TvkMessageEntry> table;
  for (std::size_t i = 2; i < w.size(); i += 2) table.push_back({number(w[i]), w[i + 1].c_str()});
  table.push_back({0, nullptr});
  tvk::registerTranslations(owner(w), table.data());
  return "";
}

// The words: code, three parameters and the location.
Narrow message(const Words& w) { return tvk::Exception(std::stoll(w[1]), w[2], w[3], w[4], w[5]).what(); }

Narrow messageWhileCancelled(const Words& w) {
  Narrow text("cancelled");
  std::thread([&] { pthread_cancel(pthread_self()), text = message(w); }).join();
  return text;
}

void* s_library = nullptr;
std::map<std::string, tvk::ErrorLocation> s_scopes;
tvk::AutoInit<tvk::ErrorLocationInit> s_scopeService;

// Wide text and 16-bit units are in hexadecimal in the question, and bytes in the answer.
const std::map<std::string, std::function<Narrow(const Words&)>> s_questions{
    {"encode", [](auto& w) { return tvk::EncodeHexadecimal(tvk::DecodeHexadecimal(w[1])); }},
    {"narrow", [](auto& w) { return Narrow(Wide(unitsOf(w[1]))); }},
    {"narrow character", [](auto& w) { return Narrow(unitsOf(w[1])[0]); }},
    {"narrow units", [](auto& w) { return Narrow(unitsOf<Unit>(w[1]).c_str(), w[1].size() / 4); }},
    {"widen", [](auto& w) { return bytesOf(Wide(w[1].c_str())); }},
    {"widen character", [](auto& w) { return bytesOf(Wide(w[1][0])); }},
    {"widen units", [](auto& w) { return bytesOf(Wide(unitsOf<Unit>(w[1]).c_str(), w[1].size() / 4)); }},
    {"copy narrow", [](auto& w) { return copied<char>(Narrow(w[3]), &Narrow::CopyTo, w); }},
    {"copy wide", [](auto& w) { return copied<wchar_t>(Wide(unitsOf(w[3])), &Wide::CopyTo, w); }},
    {"copy narrow widened", [](auto& w) { return copied<wchar_t>(Narrow(w[3]), &Narrow::CopyTo, w); }},
    {"copy wide narrowed", [](auto& w) { return copied<char>(Wide(unitsOf(w[3])), &Wide::CopyTo, w); }},
    {"copy narrow ascii", [](auto& w) { return copied<char>(Narrow(w[3]), &Narrow::CopyAsciiTo, w); }},
    {"copy wide ascii", [](auto& w) { return copied<char>(Wide(unitsOf(w[3])), &Wide::CopyAsciiTo, w); }},
    {"copy narrow units", [](auto& w) { return copied<Unit>(Narrow(w[3]), &Narrow::CopyUnitsTo, w); }},
    {"copy wide units", [](auto& w) { return copied<Unit>(Wide(unitsOf(w[3])), &Wide::CopyUnitsTo, w); }},
    {"register",
     [](auto& w) {
       return tvk::registerMessage("x", {number(w[1]), w[2].c_str()}) ? "1" : "0";
     }},
    {"load", loaded},
    {"count messages", [](auto&) { return std::to_string(tvk::builtinMessages().size()); }},
    {"message", message},
    {"message while cancelled", messageWhileCancelled},
    {"where", [](auto&) { return tvk::ErrorLocation::Current(); }},
    // What holds for the questions behind it.
    {"locale", [](auto& w) { return std::setlocale(LC_CTYPE, w[1].c_str()); }},
    {"translate", translate},
    {"drop translations", [](auto& w) { return tvk::dropTranslations(owner(w)), ""; }},
    {"open",
     [](auto& w) { return (s_library = dlopen(w[1].c_str(), RTLD_NOW)) != nullptr ? "" : dlerror(); }},
    {"close", [](auto&) { return dlclose(s_library), ""; }},
    {"prefix", [](auto& w) { return tvk::Exception::SetCodePrefix(w[1].c_str()), ""; }},
    {"application", [](auto& w) { return tvk::ProgramName::SetApplication(owner(w), w[2]), ""; }},
    {"frame", [](auto& w) { return tvk::ProgramName::SetFrame(owner(w), w[2]), ""; }},
    {"forget", [](auto& w) { return tvk::ProgramName::Forget(owner(w)), ""; }},
    {"scope", [](auto& w) { return s_scopes.try_emplace(w[1], w[1], w[2] == "1"), ""; }},
    {"leave", [](auto& w) { return s_scopes.erase(w[1]), ""; }},
    {"service up", [](auto&) { return s_scopeService.Init(), ""; }},
    {"service down", [](auto&) { return s_scopeService.Exit(), ""; }},
};

}  // namespace

// The words of a question: its name, and what it needs.
std::string answerText(const std::string& question) {
  const Words words = split(question);
  return s_questions.at(words[0])(words);
}
