#pragma once

#include "quarry/quarry.h"

#include <array>

namespace quarryctl {

struct TextField {
  const char* name;
  wchar_t* QuarryApplicationInfo::*member;
};

/// The texts of an application record under their names, in the record's order.
inline constexpr std::array<TextField, 11> kTextFields = {{
    {"path", &QuarryApplicationInfo::path},
    {"fileName", &QuarryApplicationInfo::fileName},
    {"baseName", &QuarryApplicationInfo::baseName},
    {"extension", &QuarryApplicationInfo::extension},
    {"productName", &QuarryApplicationInfo::productName},
    {"productVersion", &QuarryApplicationInfo::productVersion},
    {"fileDescription", &QuarryApplicationInfo::fileDescription},
    {"fileVersion", &QuarryApplicationInfo::fileVersion},
    {"comments", &QuarryApplicationInfo::comments},
    {"companyName", &QuarryApplicationInfo::companyName},
    {"targetPath", &QuarryApplicationInfo::targetPath},
}};

/// The name of the record's one number.
inline constexpr const char* kIconCountName = "iconCount";

}  // namespace quarryctl
