// 1,000 options with typed values are read.
#include <getopt.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <tvk/cmdline/CommandLineParsing.h>

#include "Sides.h"

#ifdef BENCH_CLI11
#include <CLI/CLI.hpp>
#endif
#ifdef BENCH_GFLAGS
#include <gflags/gflags.h>
DEFINE_int64(count, 0, "");
DEFINE_int64(limit, 0, "");
DEFINE_string(name, "", "");
DEFINE_bool(quiet, false, "");
#endif
#ifdef BENCH_ABSL
#include <absl/flags/flag.h>
#include <absl/flags/parse.h>
ABSL_FLAG(std::int64_t, absl_count, 0, "");
ABSL_FLAG(std::int64_t, absl_limit, 0, "");
ABSL_FLAG(std::string, absl_name, "", "");
ABSL_FLAG(bool, absl_quiet, false, "");
#endif
#ifdef BENCH_BOOST
#include <boost/program_options.hpp>
#endif

namespace {

constexpr int s_count = 1000;

// What the last option of each kind said.
struct Settings {
  std::int64_t count = 0, limit = 0;
  std::string name;
  bool isQuiet = false;
  bool operator==(const Settings&) const = default;
};

// The arguments of a program with `prefix` in front of every name, and of its values.
std::vector<std::string> arguments(const std::string& prefix) {
  std::vector<std::string> all{"program"};
  for (int i = 0; i < s_count; i += 4) {
    all.push_back(prefix + "count=" + std::to_string(i * 37));
    all.push_back(prefix + "limit=" + std::to_string(-i));
    all.push_back(prefix + "name=some name " + std::to_string(i));
    all.push_back(prefix + "quiet");
  }
  return all;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> all;
  for (std::string& text : texts) all.push_back(text.data());
  all.push_back(nullptr);
  return all;
}

class Options : public tvk::CommandLineParsing {
 public:
  using CommandLineParsing::CommandLineParsing;
  bool HandleOption() override {
    switch (ReadKeyword("count\tlimit\tname\tquiet")) {
      case 0:
        ExpectChar('=');
        m_settings.count = ReadInt64(INT64_MIN, INT64_MAX);
        return true;
      case 1:
        ExpectChar('=');
        m_settings.limit = ReadInt64(INT64_MIN, INT64_MAX);
        return true;
      case 2:
        ExpectChar('=');
        ReadText(m_settings.name);
        return true;
      case 3:
        m_settings.isQuiet = true;
        return true;
      default:
        return false;
    }
  }
  Settings m_settings;
};

Settings byGetopt(int argc, char** argv) {
  static const option options[] = {{"count", required_argument, nullptr, 'c'},
                                   {"limit", required_argument, nullptr, 'l'},
                                   {"name", required_argument, nullptr, 'n'},
                                   {"quiet", no_argument, nullptr, 'q'},
                                   {nullptr, 0, nullptr, 0}};
  Settings settings;
  optind = 0;
  for (int found; (found = getopt_long(argc, argv, "", options, nullptr)) != -1;) {
    char* end = nullptr;
    if (found == 'c') {
      settings.count = std::strtoll(optarg, &end, 10);
    } else if (found == 'l') {
      settings.limit = std::strtoll(optarg, &end, 10);
    } else if (found == 'n') {
      settings.name = optarg;
    } else if (found == 'q') {
      settings.isQuiet = true;
    }
    if (end != nullptr && *end != '\0') return {};
  }
  return settings;
}

}  // namespace

void bench::ask() {
  static std::vector<std::string> one = arguments("-"), two = arguments("--");
  static std::vector<char*> short_ = pointers(one), long_ = pointers(two);
  static const int argc = static_cast<int>(long_.size()) - 1;
  Question<Settings> question("options");
  question.items(s_count);
  question.side("tvk", [] {
    const tvk::ArgumentList list(argc, short_.data());
    Options options(list);
    options.Parse();
    return options.m_settings;
  });
  question.side("getopt_long + strtoll", [] {
    std::vector<char*> own = long_;  // which it may sort
    return byGetopt(argc, own.data());
  });
#ifdef BENCH_CLI11
  question.side("CLI11", [] {
    Settings settings;
    CLI::App app;
    app.add_option("--count", settings.count)->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.add_option("--limit", settings.limit)->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.add_option("--name", settings.name)->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.add_flag("--quiet", settings.isQuiet)->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.parse(argc, long_.data());
    return settings;
  });
#endif
#ifdef BENCH_GFLAGS
  question.side("gflags", [] {
    std::vector<char*> own = long_;
    int count = argc;
    char** at = own.data();
    gflags::ParseCommandLineFlags(&count, &at, false);
    return Settings{FLAGS_count, FLAGS_limit, FLAGS_name, FLAGS_quiet};
  });
#endif
#ifdef BENCH_ABSL
  static std::vector<std::string> three = arguments("--absl_");
  static std::vector<char*> absl_ = pointers(three);
  question.side("Abseil", [] {
    absl::ParseCommandLine(argc, absl_.data());
    return Settings{absl::GetFlag(FLAGS_absl_count), absl::GetFlag(FLAGS_absl_limit),
                    absl::GetFlag(FLAGS_absl_name), absl::GetFlag(FLAGS_absl_quiet)};
  });
#endif
#ifdef BENCH_BOOST
  // One value an option at most, so each comes as a list.
  question.side("Boost", [] {
    namespace po = boost::program_options;
    std::vector<std::int64_t> counts, limits;
    std::vector<std::string> names;
    po::options_description options;
    options.add_options()("count", po::value(&counts))("limit", po::value(&limits))("name",
                                                                                    po::value(&names));
    options.add_options()("quiet", po::value<std::vector<bool>>()->zero_tokens());
    po::variables_map map;
    po::store(po::command_line_parser(argc, long_.data()).options(options).run(), map);
    po::notify(map);
    return Settings{counts.back(), limits.back(), names.back(), map.count("quiet") != 0};
  });
#endif
}
