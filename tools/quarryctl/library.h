#pragma once

#include "quarry/quarry.hpp"

#include <span>
#include <string_view>
#include <vector>

namespace quarryctl {

using quarry::ApplicationRecord;
using quarry::ApplicationRecords;
using quarry::ExtensionRecords;
using quarry::FileTypes;
using quarry::IconData;
using quarry::IconRecord;
using quarry::Library;
using quarry::WindowRecords;

/// The icons of one application under their indexes; one that could not be stored is empty.
using IconRecords = std::vector<IconRecord>;

/// `application` is a record of `library`, not a copy.
inline IconRecords GetIcons(Library& library, const QuarryApplicationInfo& application) {
  const quarry::IconRange icons = library.GetIcons(quarry::Application(application));
  return {icons.begin(), icons.end()};
}

/// The records of a range as they are.
template <typename Records>
auto Items(const Records& records) {
  return std::span(records.data(), records.size());
}

inline std::string_view Bytes(const IconData& data) {
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

}  // namespace quarryctl
