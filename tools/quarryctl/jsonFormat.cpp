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

}  // namespace

std::string FormatJson(const QuarryApplicationInfo& application) {
  return JsonFromRecord(application).dump(kIndent) + '\n';
}

std::string FormatJson(std::span<const QuarryApplicationInfo> applications) {
  Json array = Json::array();
  for (const QuarryApplicationInfo& application : applications) array.push_back(JsonFromRecord(application));
  return array.dump(kIndent) + '\n';
}

}  // namespace quarryctl
