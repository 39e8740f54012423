#include <tvk/process/Singleton.h>

#include <thread>

#include "support/Support.h"

namespace {

std::string s_log;
struct Shared;
std::atomic<Shared*> s_shared{nullptr};

struct Shared {
  Shared() {
    for (int i = 0; i < 100; ++i) std::this_thread::yield();
    s_log += "made ";
  }
  ~Shared() { s_log += s_shared == nullptr ? "gone " : "dangling "; }
  static Shared& Get() {
    return tvk::ProcessWide(s_shared, [] { return std::make_unique<Shared>(); });
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

TEST(Singleton, EntriesGoNewestFirstAndWhatTheyMakeMeanwhileGoesToo) {
  new Entry('a');
  Entry* const early = new Entry('b');
  new Entry('c');
  delete early;
  delete new Entry('d');
  new Entry('e');
  tvk::Singleton::DestroyAll();
  EXPECT_EQ(s_log, "bdecamade gone ");
}

TEST(Singleton, ProcessWideObjectsAreMadeOnceAndAnewAfterTheyWent) {
  s_log.clear();
  for (int round = 0; round < 2; ++round) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back([] { Shared::Get(); });
    for (std::thread& thread : threads) thread.join();
    tvk::Singleton::DestroyAll();
  }
  EXPECT_EQ(s_log, "made gone made gone ");
}

}  // namespace
