#pragma once

#include "quarry/quarry.h"

#include <array>
#include <cstdint>

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

struct NumberField {
  const char* name;
  std::int64_t QuarryIconInfo::*member;
};

/// The numbers and texts of an icon record under their names.
inline constexpr std::array<NumberField, 3> kIconNumberFields = {{
    {"width", &QuarryIconInfo::width},
    {"height", &QuarryIconInfo::height},
    {"depth", &QuarryIconInfo::depth},
}};
struct IconTextField {
  const char* name;
  wchar_t* QuarryIconInfo::*member;
};
inline constexpr std::array<IconTextField, 2> kIconTextFields = {{
    {"name", &QuarryIconInfo::name},
    {"path", &QuarryIconInfo::path},
}};

/// The name of the record's one number.
inline constexpr const char* kIconCountName = "iconCount";

}  // namespace quarryctl
