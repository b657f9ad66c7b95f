#pragma once

#include "quarry/apps/application.h"
#include "quarry/quarry.h"

#include <cstdint>
#include <map>

namespace quarry {

/// The application behind each record that was handed out, found by the record's address.
class ApplicationMap {
 public:
  /// The process's one map.
  static ApplicationMap& Instance();

  /// Enters a record; an entry that is left over at its address is replaced.
  void Enter(const QuarryApplicationInfo* record, ApplicationPtr application);
  /// Empty for a record that the map does not know.
  ApplicationPtr Find(const QuarryApplicationInfo* record) const;
  /// Drops the entry. False for a record that the map does not know.
  bool Remove(const QuarryApplicationInfo* record);
  void Clear() { applications_.clear(); }

 private:
  std::map<std::uintptr_t, ApplicationPtr> applications_;
};

}  // namespace quarry
