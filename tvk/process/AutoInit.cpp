#include <tvk/process/AutoInit.h>

#include <utility>
#include <vector>

namespace tvk {
namespace {

using ServiceList = std::vector<std::unique_ptr<AutoInitBase>>;
ServiceList* s_services = nullptr;  // made by the first registration, freed by ExitAll

}  // namespace

AutoInitBase::~AutoInitBase() = default;

void AutoInitBase::Register(std::unique_ptr<AutoInitBase> service) {
  if (s_services == nullptr) s_services = new ServiceList;
  s_services->push_back(std::move(service));
}

void AutoInitBase::InitAll() {
  // By index, and looked up each time: a service may register another one, or end everything.
  for (std::size_t i = 0; s_services != nullptr && i < s_services->size(); ++i) (*s_services)[i]->Init();
}

void AutoInitBase::ExitAll() {
  while (s_services != nullptr && !s_services->empty()) {
    // Out of the list first: what Exit registers or takes down meanwhile must not touch this one.
    const std::unique_ptr<AutoInitBase> newest = std::move(s_services->back());
    s_services->pop_back();
    newest->Exit();
  }
  delete std::exchange(s_services, nullptr);
}

}  // namespace tvk
