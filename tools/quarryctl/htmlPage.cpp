#include "tools/quarryctl/htmlPage.h"

#include "lib/unicode/unicode.h"

#include "tools/quarryctl/json.h"
#include "tools/quarryctl/recordJson.h"

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace quarryctl {
namespace {

// page.html as quarryctl.rc names it, and the place in it that takes the applications.
constexpr wchar_t kPageResource[] = L"PAGE";
constexpr std::string_view kDataPlace = "@DATA@";

std::string_view PageTemplate() {
  const HRSRC resource = FindResourceW(nullptr, kPageResource, RT_RCDATA);
  const HGLOBAL page = resource != nullptr ? LoadResource(nullptr, resource) : nullptr;
  if (page == nullptr) throw std::runtime_error("this program has lost its resources");
  return {static_cast<const char*>(LockResource(page)), SizeofResource(nullptr, resource)};
}

std::string Base64(std::string_view bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t start = 0; start < bytes.size(); start += 3) {
    std::uint32_t group = 0;
    for (std::size_t offset = 0; offset < 3; ++offset) {
      const std::size_t position = start + offset;
      group = group << 8 | (position < bytes.size() ? static_cast<unsigned char>(bytes[position]) : 0u);
    }
    for (std::size_t digit = 0; digit < 4; ++digit) {
      const bool isPadding = start + digit > bytes.size();
      text += isPadding ? '=' : kDigits[group >> (18 - 6 * digit) & 0x3F];
    }
  }
  return text;
}

std::string HostName() {
  wchar_t name[256] = {};
  DWORD size = 256;
  return GetComputerNameExW(ComputerNamePhysicalDnsHostname, name, &size) ? Unicode_Utf8FromWide(name) : std::string();
}

std::string UtcTime() {
  SYSTEMTIME now{};
  GetSystemTime(&now);
  char text[32];
  std::snprintf(text, sizeof(text), "%04u-%02u-%02uT%02u:%02u:%02uZ", now.wYear, now.wMonth, now.wDay, now.wHour,
                now.wMinute, now.wSecond);
  return text;
}

/// False when the icon's file cannot be read.
bool AddPicture(const quarry::Icon& icon, Library& library, Json& pictures) {
  const std::string name = Unicode_Utf8FromWide(icon.Name().c_str());
  if (pictures.contains(name)) return true;
  const IconData png = library.GetIconData(icon.Name());
  if (png.empty()) return false;
  pictures[name] = Base64(Bytes(png));
  return true;
}

/// All in the form that the page's script reads. Each picture is there once, under its icon's name.
Json PageData(std::span<const ApplicationWithIcons> applications, const std::vector<TrailEntry>& entries,
              Library& library) {
  Json data = {{"host", HostName()},
               {"time", UtcTime()},
               {"pictures", Json::object()},
               {"applications", Json::array()},
               {"leftOut", Json::array()}};
  for (const TrailEntry& entry : entries) {
    if (entry.fate != Fate::LeftOut) continue;
    data["leftOut"].push_back({{"path", Unicode_Utf8FromWide(entry.path)}, {"reason", entry.reason}});
  }
  for (const ApplicationWithIcons& application : applications) {
    Json object = JsonFrom(application.application);
    // An icon without its picture is left out below.
    object.erase("iconCount");
    Json& icons = object["icons"] = Json::array();
    for (const IconRecord& icon : application.icons) {
      if (!icon || !AddPicture(*icon, library, data["pictures"])) continue;
      icons.push_back(
          {{"name", Unicode_Utf8FromWide(icon->Name().c_str())}, {"width", icon->Width()}, {"height", icon->Height()}});
    }
    data["applications"].push_back(std::move(object));
  }
  return data;
}

/// JSON that can stand inside a script element: a "<" would be able to end it.
std::string ScriptText(const Json& data) {
  std::string text;
  for (const char character : data.dump()) {
    if (character == '<') {
      text += "\\u003c";
    } else {
      text += character;
    }
  }
  return text;
}

}  // namespace

std::string FormatHtmlPage(std::span<const ApplicationWithIcons> applications, const std::vector<TrailEntry>& entries,
                           Library& library) {
  std::string page(PageTemplate());
  const std::size_t place = page.find(kDataPlace);
  if (place == std::string::npos) throw std::runtime_error("this program's page has no place for the applications");
  return page.replace(place, kDataPlace.size(), ScriptText(PageData(applications, entries, library)));
}

}  // namespace quarryctl
