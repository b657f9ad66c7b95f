#include "tools/quarryctl/recordJson.h"

#include "lib/unicode/unicode.h"

namespace quarryctl {
namespace {

template <typename Records>
Json ArrayFrom(const Records& records) {
  Json array = Json::array();
  for (const auto& record : records) array.push_back(JsonFrom(record));
  return array;
}

}  // namespace

Json JsonFrom(const QuarryApplicationInfo& application) {
  return {{"path", Unicode_Utf8FromWide(application.path)},
          {"fileName", Unicode_Utf8FromWide(application.fileName)},
          {"baseName", Unicode_Utf8FromWide(application.baseName)},
          {"extension", Unicode_Utf8FromWide(application.extension)},
          {"productName", Unicode_Utf8FromWide(application.productName)},
          {"productVersion", Unicode_Utf8FromWide(application.productVersion)},
          {"fileDescription", Unicode_Utf8FromWide(application.fileDescription)},
          {"fileVersion", Unicode_Utf8FromWide(application.fileVersion)},
          {"comments", Unicode_Utf8FromWide(application.comments)},
          {"companyName", Unicode_Utf8FromWide(application.companyName)},
          {"targetPath", Unicode_Utf8FromWide(application.targetPath)},
          {"iconCount", application.iconCount}};
}

Json JsonFrom(const ApplicationWithIcons& application) {
  Json object = JsonFrom(application.application);
  object["icons"] = JsonFrom(application.icons);
  return object;
}

Json JsonFrom(const QuarryIconInfo& icon) {
  return {{"width", icon.width},
          {"height", icon.height},
          {"depth", icon.depth},
          {"name", Unicode_Utf8FromWide(icon.name)},
          {"path", Unicode_Utf8FromWide(icon.path)}};
}

Json JsonFrom(const IconRecord& icon) { return icon ? JsonFrom(icon->Record()) : Json(); }

Json JsonFrom(const QuarryExtensionEntry& extension) {
  return {{"name", Unicode_Utf8FromWide(extension.name)}, {"description", Unicode_Utf8FromWide(extension.description)}};
}

Json JsonFrom(const QuarryWindowInfo& window) {
  return {{"title", Unicode_Utf8FromWide(window.title)},
          {"isVisible", window.isVisible != 0},
          {"isMinimized", window.isMinimized != 0},
          {"imagePath", Unicode_Utf8FromWide(window.imagePath)}};
}

Json JsonFrom(std::span<const ApplicationWithIcons> applications) { return ArrayFrom(applications); }
Json JsonFrom(const IconRecords& icons) { return ArrayFrom(icons); }
Json JsonFrom(std::span<const QuarryExtensionEntry> extensions) { return ArrayFrom(extensions); }
Json JsonFrom(std::span<const QuarryWindowInfo> windows) { return ArrayFrom(windows); }

}  // namespace quarryctl
