// A coded error with three texts is thrown and caught, without its text being asked for and with it.
#include <cstdint>
#include <exception>
#include <string>

#include <tvk/text/Exception.h>
#include <tvk/text/MessageTable.h>
#include <tvk/text/ProgramName.h>

#include "Sides.h"

#ifdef BENCH_POCO
#include <Poco/Exception.h>
#endif
#ifdef BENCH_KJ
#include <kj/debug.h>
#include <kj/exception.h>
#endif
#ifdef BENCH_BOOST
#include <boost/exception/all.hpp>
#endif

namespace {

// Texts that a program has at hand when something fails; too long for the strings' own room.
const std::string s_file = "/srv/data/customers/report.txt", s_user = "somebody-with-a-name",
                  s_reason = "Permission denied by the owner";
constexpr std::int64_t s_code = 5999;

// What one would write by hand: the limit.
struct Bare : std::exception {
  Bare(std::int64_t number, std::string one, std::string two, std::string three)
      : code(number), first(std::move(one)), second(std::move(two)), third(std::move(three)) {}
  std::int64_t code;
  std::string first, second, third;
};

bool holdsAll(const std::string& text) {
  return text.find(s_file) < text.find(s_user) && text.find(s_user) < text.find(s_reason);
}

#ifdef BENCH_BOOST
using First = boost::error_info<struct FirstTag, std::string>;
using Second = boost::error_info<struct SecondTag, std::string>;
using Third = boost::error_info<struct ThirdTag, std::string>;
struct BoostError : virtual std::exception, virtual boost::exception {};
#endif

#ifdef BENCH_KJ
kj::Exception failure() {
  return {kj::Exception::Type::FAILED, __FILE__, __LINE__,
          kj::str(s_file.c_str(), ' ', s_user.c_str(), ' ', s_reason.c_str())};
}
#endif

void withoutText() {
  bench::Question<std::string> question("throw");
  question.side("tvk", [] {
    try {
      throw tvk::Exception::Of(s_code, s_file, s_user, s_reason);
    } catch (const tvk::Exception& e) {
      return static_cast<std::string>(e.First());
    }
  });
  question.side("bare throw", [] {
    try {
      throw Bare(s_code, s_file, s_user, s_reason);
    } catch (const Bare& e) {
      return e.first;
    }
  });
#ifdef BENCH_POCO
  question.side("POCO", [] {
    try {
      throw Poco::FileAccessDeniedException(s_file, Poco::Exception(s_user, s_reason), s_code);
    } catch (const Poco::Exception& e) {
      return e.message();
    }
  });
#endif
#ifdef BENCH_BOOST
  question.side("Boost", [] {
    try {
      throw BoostError() << First(s_file) << Second(s_user) << Third(s_reason);
    } catch (const BoostError& e) {
      return *boost::get_error_info<First>(e);
    }
  });
#endif
#ifdef BENCH_KJ
  question.side("KJ", [] {
    std::string first;
    try {
      kj::throwFatalException(failure());
    } catch (const kj::Exception& e) {
      first.assign(e.getDescription().cStr(), s_file.size());
    }
    return first;
  });
#endif
}

void withText() {
  tvk::ProgramName::SetFrame(&s_code, "program");  // as every program with a frame does
  tvk::registerMessage({}, tvk::MessageEntry(s_code, "cannot open %1 for %2: %3"));
  bench::Question<bool> question("throw_text");
  question.side("tvk", [] {
    try {
      throw tvk::Exception::Of(s_code, s_file, s_user, s_reason);
    } catch (const tvk::Exception& e) {
      return holdsAll(e.what());
    }
  });
  question.side("bare throw", [] {
    try {
      throw Bare(s_code, s_file, s_user, s_reason);
    } catch (const Bare& e) {
      return holdsAll("program: fatal error " + std::to_string(e.code) + " - cannot open " + e.first +
                      " for " + e.second + ": " + e.third + ".");
    }
  });
#ifdef BENCH_POCO
  question.side("POCO", [] {
    try {
      throw Poco::FileAccessDeniedException(s_file, s_user + ' ' + s_reason, s_code);
    } catch (const Poco::Exception& e) {
      return holdsAll(e.displayText());
    }
  });
#endif
#ifdef BENCH_BOOST
  question.side("Boost", [] {
    try {
      throw BoostError() << First(s_file) << Second(s_user) << Third(s_reason);
    } catch (const BoostError& e) {
      return holdsAll(boost::diagnostic_information(e));
    }
  });
#endif
#ifdef BENCH_KJ
  question.side("KJ", [] {
    try {
      kj::throwFatalException(failure());
    } catch (const kj::Exception& e) {
      return holdsAll(kj::str(e).cStr());
    }
    return false;
  });
#endif
}

}  // namespace

void bench::ask() {
  withoutText();
  withText();
}
