#include <tvk/process/Singleton.h>

#include <algorithm>
#include <vector>

namespace tvk {
namespace {

std::mutex s_listLock;
// Made by the first entry, freed by DestroyAll. A null in it stands for an entry that died earlier.
std::vector<Singleton*>* s_list = nullptr;

Singleton* popNewest() {
  const std::lock_guard lock(s_listLock);
  if (s_list == nullptr) return nullptr;
  while (!s_list->empty()) {
    Singleton* const newest = s_list->back();
    s_list->pop_back();
    if (newest != nullptr) return newest;
  }
  delete s_list;
  s_list = nullptr;
  return nullptr;
}

}  // namespace

Singleton::Singleton() {
  const std::lock_guard lock(s_listLock);
  if (s_list == nullptr) s_list = new std::vector<Singleton*>;
  s_list->push_back(this);
}

Singleton::~Singleton() {
  const std::lock_guard lock(s_listLock);
  if (s_list == nullptr) return;
  const auto entry = std::find(s_list->begin(), s_list->end(), this);
  if (entry == s_list->end()) return;
  *entry = nullptr;
  if (s_list->back() == nullptr) s_list->pop_back();
}

void Singleton::DestroyAll() noexcept {
  while (Singleton* newest = popNewest()) delete newest;
}

std::recursive_mutex& Singleton::CreationLock() noexcept {
  static std::recursive_mutex s_lock;
  return s_lock;
}

}  // namespace tvk
