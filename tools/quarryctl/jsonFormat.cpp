#include "tools/quarryctl/jsonFormat.h"

#include "tools/quarryctl/recordFields.h"
#include "tools/quarryctl/utf8.h"

#include <nlohmann/json.hpp>

#include <utility>

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

Json JsonFromIcons(const IconRecords& icons) {
  Json array = Json::array();
  for (const IconRecord& icon : icons) array.push_back(icon ? JsonFromRecord(*icon) : Json());
  return array;
}

Json JsonFromExtensions(std::span<const QuarryExtensionEntry> extensions) {
  Json array = Json::array();
  for (const QuarryExtensionEntry& extension : extensions) {
    array.push_back({{"name", Utf8FromWide(extension.name)}, {"description", Utf8FromWide(extension.description)}});
  }
  return array;
}

std::string Format(const Json& json) { return json.dump(kIndent) + '\n'; }

}  // namespace

std::string FormatJson(const QuarryApplicationInfo& application, const IconRecords* icons,
                       std::optional<std::span<const QuarryExtensionEntry>> extensions) {
  Json object = JsonFromRecord(application);
  if (icons != nullptr) object["icons"] = JsonFromIcons(*icons);
  if (extensions) object["extensions"] = JsonFromExtensions(*extensions);
  return Format(object);
}

std::string FormatJson(std::span<const QuarryExtensionEntry> extensions) {
  return Format(JsonFromExtensions(extensions));
}

std::string FormatJson(const QuarryIconInfo& icon) { return Format(JsonFromRecord(icon)); }

std::string FormatJson(std::span<const ApplicationWithIcons> applications) {
  Json array = Json::array();
  for (const ApplicationWithIcons& application : applications) {
    Json object = JsonFromRecord(application.application);
    object["icons"] = JsonFromIcons(application.icons);
    array.push_back(std::move(object));
  }
  return Format(array);
}

}  // namespace quarryctl
