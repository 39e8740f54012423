#include <tvk/process/Singleton.h>

#include <thread>

#include "support/Support.h"

namespace {

std::string s_log;
struct Shared;
std::atomic<Shared*> s_shared{nullptr};

struct Shared {
  Shared() { std::this_thread::sleep_for(std::chrono::milliseconds(5)), s_log += "made "; }
  ~Shared() { s_log += s_shared == nullptr ? "gone " : "dangling "; }
  static void Get() {
    tvk::ProcessWide(s_shared, [] { return std::make_unique<Shared>(); });
  }
};

struct Entry : tvk::Singleton {
  explicit Entry(char letter) : m_letter(letter) {}
  ~Entry() override {
    s_log += m_letter;
    if (m_letter == 'a') Shared::Get();
  }
  char m_letter;
};

TEST(Singleton, GoesNewestFirstAndIsMadeOnceAndAnew) {
  new Entry('a');
  Entry* const early = new Entry('b');
  new Entry('c');
  delete early;
  delete new Entry('d');
  for (int round = 0; round < 2; ++round) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back(Shared::Get);
    for (std::thread& thread : threads) thread.join();
    new Entry('e');
    tvk::Singleton::DestroyAll();
  }
  EXPECT_EQ(s_log, "bdmade egone camade gone made egone ") << "what an entry makes meanwhile goes too";
}

}  // namespace
