// One file, and a tree of 20,000, are copied, moved and removed.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <tvk/files/File.h>

#include "Folder.h"
#include "Sides.h"

#ifdef BENCH_BOOST
#include <boost/filesystem.hpp>
#endif
#ifdef BENCH_POCO
#include <Poco/File.h>
#endif

extern char** environ;

namespace {

namespace fs = std::filesystem;

// A command that is started and waited for.
bool command(const char* name, const std::string& first, const std::string& second,
             const std::string& third = {}) {
  const char* const words[] = {name, first.c_str(), second.c_str(), third.empty() ? nullptr : third.c_str(),
                               nullptr};
  pid_t child = 0;
  int status = 1;
  return posix_spawnp(&child, name, nullptr, nullptr, const_cast<char**>(words), environ) == 0 &&
         waitpid(child, &status, 0) == child && status == 0;
}

void oneFile(const std::string& from, const std::string& to) {
  const auto fresh = [=] {
    fs::remove(to);
    if (!fs::exists(from)) bench::writeFile(from, std::string(20'000, 'x'));
  };
  bench::Question<bool> copy("copy_file");
  copy.side("tvk", fresh, [=] { return tvk::File::copyFile(from, to); });
  copy.side("std::filesystem", fresh, [=] { return fs::copy_file(from, to); });
#ifdef BENCH_BOOST
  copy.side("Boost", fresh, [=] { return boost::filesystem::copy_file(from, to); });
#endif
#ifdef BENCH_POCO
  copy.side("POCO", fresh, [=] { return Poco::File(from).copyTo(to), true; });
#endif
  copy.side("cp", fresh, [=] { return command("cp", from, to); });

  bench::Question<bool>("move_file")
      .side("tvk", fresh, [=] { return tvk::File(from).move(to), true; })
      .side("std::filesystem", fresh, [=] { return fs::rename(from, to), true; })
      .side("mv", fresh, [=] { return command("mv", from, to); });

  bench::Question<bool>("remove_file")
      .side("tvk", fresh, [=] { return tvk::File(from).remove(); })
      .side("std::filesystem", fresh, [=] { return fs::remove(from); })
      .side("rm", fresh, [=] { return command("rm", "-f", from); });
}

void tree(const std::string& from, const std::string& to, const std::string& copied) {
  const auto away = [=] {
    fs::remove_all(to);
    fs::create_directories(to);
  };
  bench::Question<bool>("copy_tree")
      .side("tvk", away, [=] { return tvk::File(from).copyTo(to, tvk::ModeRecursive); })
      .side("std::filesystem", away,
            [=] { return fs::copy(from, copied, fs::copy_options::recursive), fs::exists(copied); })
      .side("cp -r", away, [=] { return command("cp", "-r", from, to); });

  const auto back = [=] {
    away();
    fs::copy(from, copied, fs::copy_options::recursive);
  };
  bench::Question<bool>("remove_tree")
      .side("tvk", back, [=] { return tvk::File(copied).removeTree(); })
      .side("std::filesystem", back, [=] { return fs::remove_all(copied) > 0; })
      .side("rm -r", back, [=] { return command("rm", "-r", copied); });
  const std::string moved = to + "/moved";
  const auto movedBack = [=] {
    if (!fs::exists(moved)) back();
    if (!fs::exists(copied)) fs::rename(moved, copied);
  };
  bench::Question<bool>("move_tree")
      .side("tvk", movedBack, [=] { return tvk::File(copied).move(moved), true; })
      .side("std::filesystem", movedBack, [=] { return fs::rename(copied, moved), true; })
      .side("mv", movedBack, [=] { return command("mv", copied, moved); });
}

}  // namespace

void bench::ask() {
  static const Folder folder;
  oneFile(folder / "from", folder / "to");
  makeTree(folder / "tree", scaled(1000), 20);
  tree(folder / "tree", folder / "target", folder / "target/tree");
}
