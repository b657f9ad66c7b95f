#include "tools/quarryctl/scanComparison.h"

#include "lib/unicode/unicode.h"

#include <algorithm>
#include <map>

namespace quarryctl {
namespace {

constexpr char kIcons[] = "icons";
constexpr const char* kTexts[] = {"path", "fileName", "productName", "productVersion", "targetPath"};

using Key = std::vector<std::string>;

std::string Text(const Json& application, const char* field) { return application.at(field).get<std::string>(); }

Key PathKey(const Json& application) { return {Unicode_FoldCase(Text(application, "path"))}; }

Key NameKey(const Json& application) {
  return {Unicode_FoldCase(Text(application, "fileName")), Unicode_FoldCase(Text(application, "targetPath"))};
}

/// Where an icon's file lies is the host's matter; its name stands for its pixels.
Json Comparable(const std::string& field, const Json& value) {
  if (field != kIcons || !value.is_array()) return value;
  Json names = Json::array();
  for (const Json& icon : value) names.push_back(icon.is_object() && icon.contains("name") ? icon.at("name") : Json());
  return names;
}

/// Paths that differ in their case only lead to one file.
bool AreSame(const std::string& field, const Json& left, const Json& right) {
  if ((field == "path" || field == "targetPath") && left.is_string() && right.is_string()) {
    return Unicode_EqualIgnoreCase(left.get<std::string>(), right.get<std::string>());
  }
  return left == right;
}

std::vector<FieldChange> Differences(const Json& before, const Json& after) {
  std::vector<FieldChange> changes;
  for (const auto& [field, value] : after.items()) {
    const auto old = before.find(field);
    if (old == before.end()) continue;
    Json was = Comparable(field, *old);
    Json is = Comparable(field, value);
    if (!AreSame(field, was, is)) changes.push_back({field, std::move(was), std::move(is)});
  }
  return changes;
}

/// Takes the pairs that have the same key out of both lists and compares them. Where several have one key, they are
/// taken in their order.
void Match(Key (*keyOf)(const Json&), std::vector<const Json*>& before, std::vector<const Json*>& after,
           ScanComparison& comparison) {
  std::multimap<Key, const Json*> waiting;
  for (const Json* application : before) waiting.emplace(keyOf(*application), application);
  std::erase_if(after, [&](const Json* application) {
    const auto found = waiting.lower_bound(keyOf(*application));
    if (found == waiting.end() || found->first != keyOf(*application)) return false;
    std::vector<FieldChange> fields = Differences(*found->second, *application);
    if (fields.empty()) {
      ++comparison.same;
    } else {
      comparison.changed.push_back({application, std::move(fields)});
    }
    std::erase(before, found->second);
    waiting.erase(found);
    return true;
  });
}

bool IsApplication(const Json& json) {
  return json.is_object() && std::all_of(std::begin(kTexts), std::end(kTexts), [&json](const char* field) {
           const auto found = json.find(field);
           return found != json.end() && found->is_string();
         });
}

std::vector<const Json*> Applications(const Json& scan) {
  std::vector<const Json*> applications;
  for (const Json& application : scan) applications.push_back(&application);
  return applications;
}

}  // namespace

bool IsScan(const Json& json) { return json.is_array() && std::all_of(json.begin(), json.end(), IsApplication); }

ScanComparison CompareScans(const Json& before, const Json& after) {
  ScanComparison comparison;
  comparison.went = Applications(before);
  comparison.came = Applications(after);
  Match(PathKey, comparison.went, comparison.came, comparison);
  Match(NameKey, comparison.went, comparison.came, comparison);
  return comparison;
}

std::string NameOf(const Json& application) {
  std::string name = Text(application, "productName");
  return name.empty() ? Text(application, "fileName") : name;
}

}  // namespace quarryctl
