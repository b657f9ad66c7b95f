#pragma once

#include "tools/quarryctl/json.h"

#include <string>

namespace quarryctl {

/// What a file of JSON holds, in UTF-8, or in UTF-16 as some shells write what a program prints.
struct JsonFile {
  Json json;
  std::string error;  ///< why there is nothing; empty when there is
};

/// Reads the file at `path`.
JsonFile ReadJsonFile(const std::wstring& path);

}  // namespace quarryctl
