// A text with three placeholders is filled.
#include <string>

#include <tvk/text/MessageFormat.h>
#include <tvk/text/StringBase.h>

#include "Sides.h"

#ifdef BENCH_ABSL
#include <absl/strings/substitute.h>
#endif
#ifdef BENCH_FMT
#include <fmt/format.h>
#endif
#ifdef BENCH_BOOST
#include <boost/format.hpp>
#endif
#ifdef BENCH_POCO
#include <Poco/Format.h>
#endif

void bench::ask() {
  static const std::string file = "/srv/data/report.txt", user = "somebody", reason = "Permission denied";
  Question<std::string> question("fill");
  question.side("tvk", [] {
    tvk::StringBase<char> text;
    tvk::formatMessage(text, "cannot open %1 for %2: %3", file.c_str(), user.c_str(), reason.c_str());
    return std::string(std::move(text));
  });
#ifdef BENCH_ABSL
  question.side("Abseil", [] { return absl::Substitute("cannot open $0 for $1: $2", file, user, reason); });
#endif
#ifdef BENCH_FMT
  question.side("fmt", [] { return fmt::format("cannot open {} for {}: {}", file, user, reason); });
#endif
#ifdef BENCH_BOOST
  question.side("Boost",
                [] { return (boost::format("cannot open %1% for %2%: %3%") % file % user % reason).str(); });
#endif
#ifdef BENCH_POCO
  question.side("POCO", [] { return Poco::format("cannot open %s for %s: %s", file, user, reason); });
#endif
}
