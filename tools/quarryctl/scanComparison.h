#pragma once

#include "tools/quarryctl/json.h"

#include <string>
#include <vector>

namespace quarryctl {

/// A field of an application that is not as it was.
struct FieldChange {
  std::string field;
  Json before;
  Json after;
};

struct ApplicationChange {
  const Json* application;  ///< as it is now
  std::vector<FieldChange> fields;
};

/// What is different between two scans. It points into them.
struct ScanComparison {
  std::vector<const Json*> came;
  std::vector<const Json*> went;
  std::vector<ApplicationChange> changed;
  std::size_t same = 0;

  bool HasDifferences() const { return !came.empty() || !went.empty() || !changed.empty(); }
};

/// Whether `json` has the form of what "scan --json" writes, of whatever version.
bool IsScan(const Json& json);

/// Compares two scans, of one host or of two. An application is looked for under its path, then under its name and
/// target. Only fields that both have are compared: later versions write more.
ScanComparison CompareScans(const Json& before, const Json& after);

/// What a person calls an application: its product, or its file where it has no version information.
std::string NameOf(const Json& application);

}  // namespace quarryctl
