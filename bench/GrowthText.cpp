// How the message table grows with the texts that are added, locations of errors with scopes inside each other, and
// the console with the length of a line.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include <tvk/console/Console.h>
#include <tvk/text/ErrorLocation.h>
#include <tvk/text/MessageTable.h>

#include "Heap.h"
#include "Output.h"
#include "Sides.h"

namespace {

constexpr std::uint32_t s_firstCode = 1'000'000;
const tvk::StringBase<char> s_module;

bool addTexts(std::uint32_t count) {
  bool isGood = true;
  for (std::uint32_t n = 0; n < count; ++n)
    isGood &= tvk::registerMessage(s_module, tvk::MessageEntry(s_firstCode + n, "cannot open %1 for %2"));
  return isGood;
}

// Codes all over the table, every other one unknown; answers how many were rightly known or not.
int lookUp(std::uint32_t size, int count) {
  int right = 0;
  tvk::StringBase<char> text;
  for (std::uint32_t n = 0, step = 2 * size / 3 | 1; count-- > 0; n = (n + step) % (2 * size))
    right += tvk::loadMessage(s_module, s_firstCode + n, false, text) == (n < size);
  return right;
}

// A process of its own, which does one thing at each call and answers with a number: what is added to the process-wide
// table stays there.
class Elsewhere {
 public:
  explicit Elsewhere(const std::function<std::function<double()>()>& prepare) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
    m_end = ends[0];
    if (fork() != 0) {
      close(ends[1]);
      return;
    }
    close(ends[0]);
    const std::function<double()> work = prepare();
    for (char word; read(ends[1], &word, 1) == 1;) {
      const double answer = work();
      if (write(ends[1], &answer, sizeof answer) != sizeof answer) break;
    }
    _exit(0);
  }
  double operator()() const {
    double answer = -1;
    if (write(m_end, "", 1) != 1 || read(m_end, &answer, sizeof answer) != sizeof answer) std::abort();
    return answer;
  }

 private:
  int m_end;  // the process ends with this one
};

void messages(std::uint32_t size) {
  constexpr int count = 20'000;
  const std::string name = std::to_string(size);
  const Elsewhere added([size] {
    const double peak = bench::heapPeakOf([size] { addTexts(size); });
    return [peak] { return peak; };
  });
  bench::Question<bool>("grow_texts_added", name).expect(true).bytes(added()).wall().side("tvk", [size] {
    const pid_t child = fork();
    if (child == 0) _exit(addTexts(size) ? 0 : 1);
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
  });
  const Elsewhere elsewhere([size] {
    addTexts(size);
    return [size] { return static_cast<double>(lookUp(size, count)); };
  });
  bench::Question<double>("grow_texts_known", name).expect(count).items(count).wall().side("tvk", elsewhere);
}

// So many scopes, one inside the other.
template <class Inside>
void nest(int depth, bool isChained, Inside inside) {
  std::deque<tvk::ErrorLocation> scopes;
  for (int level = 0; level < depth; ++level) scopes.emplace_back("reading", isChained);
  inside();
  while (!scopes.empty()) scopes.pop_back();
}

void locations(int depth) {
  const std::string name = std::to_string(depth);
  const auto scopes = [depth] {
    nest(depth, false, [] {});
    return true;
  };
  bench::Question<bool>("grow_scopes", name).bytes(bench::heapPeakOf(scopes)).side("tvk", scopes);
  bench::Question<std::size_t>("grow_chain", name)
      .expect(static_cast<std::size_t>(depth) * 9 - 2)
      .side("tvk", [depth] {
        std::size_t length = 0;
        nest(depth, true, [&length] { length = tvk::ErrorLocation::Current().size(); });
        return length;
      });
}

void lines(int length) {
  static const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const std::string line(static_cast<std::size_t>(length), 'x');
  const auto print = [line] {
    const bench::Output output(null);
    tvk::Console::Get().PrintLine("%s", line.c_str());
    return true;
  };
  bench::Question<bool>("grow_line", std::to_string(length))
      .bytes(bench::heapPeakOf(print))
      .side("tvk", print);
}

}  // namespace

void bench::ask() {
  std::fflush(stdout);
  for (int size = 100; size <= scaled(1'000'000); size *= 10) messages(static_cast<std::uint32_t>(size));
  for (int depth = 10; depth <= scaled(100'000); depth *= 10) locations(depth);
  for (int length = 100; length <= scaled(10'000'000); length *= 10) lines(length);
}
