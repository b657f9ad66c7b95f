#include "tools/quarryctl/jsonFormat.h"

#include "tools/quarryctl/recordFields.h"
#include "tools/quarryctl/utf8.h"

#include <nlohmann/json.hpp>

namespace quarryctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kIndent = 2;

Json JsonFromRecord(const QuarryApplicationInfo& application) {
  Json object = Json::object();
  for (const TextField& field : kTextFields) object[field.name] = Utf8FromWide(application.*field.member);
  object[kIconCountName] = application.iconCount;
  return object;
}

Json JsonFromRecord(const QuarryIconInfo& icon) {
  Json object = Json::object();
  for (const NumberField& field : kIconNumberFields) object[field.name] = icon.*field.member;
  for (const IconTextField& field : kIconTextFields) object[field.name] = Utf8FromWide(icon.*field.member);
  return object;
}

Json JsonFromRecord(const ApplicationWithIcons& application) {
  Json object = JsonFromRecord(application.application);
  Json& icons = object["icons"] = Json::array();
  for (const IconRecord& icon : application.icons) icons.push_back(icon ? JsonFromRecord(*icon) : Json());
  return object;
}

template <typename Record>
std::string Format(const Record& record) {
  return JsonFromRecord(record).dump(kIndent) + '\n';
}

}  // namespace

std::string FormatJson(const QuarryApplicationInfo& application) { return Format(application); }
std::string FormatJson(const ApplicationWithIcons& application) { return Format(application); }
std::string FormatJson(const QuarryIconInfo& icon) { return Format(icon); }

std::string FormatJson(std::span<const ApplicationWithIcons> applications) {
  Json array = Json::array();
  for (const ApplicationWithIcons& application : applications) array.push_back(JsonFromRecord(application));
  return array.dump(kIndent) + '\n';
}

}  // namespace quarryctl
