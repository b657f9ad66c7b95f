#pragma once

#include "quarry/apps/abstractApp.h"
#include "quarry/apps/versionInfo.h"

namespace quarry {

/// A program. What its version resource does not tell is empty, the product name included.
class Executable : public AbstractApp {
 public:
  Executable(IconBoss* iconBoss, const std::wstring& path);

  std::wstring GetProductName() const override { return version_.productName; }
  std::wstring GetProductVersion() const override { return version_.productVersion; }
  std::wstring GetFileDescription() const override { return version_.fileDescription; }
  std::wstring GetFileVersion() const override { return version_.fileVersion; }
  std::wstring GetComments() const override { return version_.comments; }
  std::wstring GetCompanyName() const override { return version_.companyName; }

 private:
  VersionStrings version_;
  ObjectCount count_{"Executable"};
};

}  // namespace quarry
