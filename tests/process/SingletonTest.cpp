#include <tvk/process/Singleton.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

std::string s_log;

struct Entry : tvk::Singleton {
  explicit Entry(char letter) : m_letter(letter) {}
  ~Entry() override { s_log += m_letter; }
  char m_letter;
};

TEST(Singleton, EntriesGoNewestFirstAndThoseThatDiedEarlierAreSkipped) {
  s_log.clear();
  new Entry('a');
  Entry* const early = new Entry('b');
  new Entry('c');
  delete early;
  delete new Entry('d');
  new Entry('e');
  tvk::Singleton::DestroyAll();
  EXPECT_EQ(s_log, "bdeca");
  tvk::Singleton::DestroyAll();
  new Entry('f');
  tvk::Singleton::DestroyAll();
  EXPECT_EQ(s_log, "bdecaf") << "a fresh list after the first went";
}

struct Shared;
std::atomic<Shared*> s_shared{nullptr};
std::atomic<int> s_made{0};

struct Shared {
  Shared() { ++s_made; }
  ~Shared() { s_log += s_shared == nullptr ? "cleared " : "dangling "; }
  static Shared& Get() {
    return tvk::ProcessWide(s_shared, [] { return std::make_unique<Shared>(); });
  }
};

struct AsksWhileGoing : tvk::Singleton {
  ~AsksWhileGoing() override { Shared::Get(); }
};

TEST(Singleton, ProcessWideObjectsAreMadeOnceAndAnewAfterTheyWent) {
  s_log.clear();
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([] { Shared::Get(); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(s_made, 1);

  tvk::Singleton::DestroyAll();
  EXPECT_EQ(s_log, "cleared ");
  Shared::Get();
  EXPECT_EQ(s_made, 2);
  tvk::Singleton::DestroyAll();

  new AsksWhileGoing;
  tvk::Singleton::DestroyAll();
  EXPECT_EQ(s_made, 3);
  EXPECT_EQ(s_log, "cleared cleared cleared ") << "what destructors make goes too";
  EXPECT_EQ(s_shared, nullptr);
}

}  // namespace
