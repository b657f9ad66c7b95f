#include "quarry/boundary/applicationMap.h"

#include "lib/misc/noDestructor.h"

namespace quarry {

namespace {

std::uintptr_t AddressOf(const QuarryApplicationInfo* record) { return reinterpret_cast<std::uintptr_t>(record); }

}  // namespace

ApplicationMap& ApplicationMap::Instance() {
  static NoDestructor<ApplicationMap> map;
  return map.get();
}

void ApplicationMap::Enter(const QuarryApplicationInfo* record, ApplicationPtr application) {
  applications_.insert_or_assign(AddressOf(record), std::move(application));
}

ApplicationPtr ApplicationMap::Find(const QuarryApplicationInfo* record) const {
  const auto found = applications_.find(AddressOf(record));
  return found == applications_.end() ? nullptr : found->second;
}

bool ApplicationMap::Remove(const QuarryApplicationInfo* record) { return applications_.erase(AddressOf(record)) != 0; }

}  // namespace quarry
