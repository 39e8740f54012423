#include <tvk/process/AutoInit.h>

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
  if (s_services == nullptr) return;
  for (const auto& service : *s_services) service->Init();
}

void AutoInitBase::ExitAll() {
  if (s_services == nullptr) return;
  while (!s_services->empty()) {
    s_services->back()->Exit();
    s_services->pop_back();
  }
  delete s_services;
  s_services = nullptr;
}

}  // namespace tvk
