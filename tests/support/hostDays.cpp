#include "tests/support/hostDays.h"

#include "tests/support/hostTest.h"

#include <boost/algorithm/string/replace.hpp>

#include <filesystem>

namespace quarry::test {
namespace {

constexpr wchar_t kWindowTitle[] = L"Window of the faults";

/// Joined by bars.
std::string LineOf(std::initializer_list<std::wstring> texts) {
  std::wstring line;
  for (const std::wstring& text : texts) line += text + L'|';
  return Unicode_Utf8FromWide(line);
}

std::string LineOf(const QuarryApplicationInfo& app) {
  return LineOf({app.path, app.fileName, app.baseName, app.extension, app.productName, app.productVersion,
                 app.fileDescription, app.fileVersion, app.comments, app.companyName, app.targetPath,
                 std::to_wstring(app.iconCount)});
}

}  // namespace

HostWorld::HostWorld() {
  wchar_t published[MAX_PATH];  // a real program with a version resource and icons
  ExpandEnvironmentStringsW(L"%windir%\\regedit.exe", published, MAX_PATH);
  folder_.WriteLink(L"menu\\Echo.lnk", echo_, {.description = L"Says how it was started"});
  published_ = folder_.WriteLink(L"menu\\Tools\\Registry.lnk", published);
  ini_ = folder_.WriteText(L"filters.ini", L"[Menu]\r\nRoot=" + (folder_ / L"menu") + L"\r\nIncludes=*.lnk\r\n");
  keys_.emplace_back(kSettingsKey).SetString(L"", L"IconCacheDir", folder_ / L"icons");
  keys_.emplace_back(kFilterKey).SetString({}, L"one", L"company=Nobody;action=block");
  keys_.emplace_back(L".quarryfault", HKEY_CLASSES_ROOT).SetString(L"", L"", L"QuarryFault");
  const RegistryFixture& type = keys_.emplace_back(L"QuarryFault", HKEY_CLASSES_ROOT);
  type.SetString(L"", L"", L"Fault report");
  type.SetString(L"shell\\open\\command", L"", L"\"" + echo_ + L"\" \"%1\"");
  windows_.emplace_back(std::vector<WindowSpec>{{kWindowTitle}, {kWindowTitle}});
}

std::vector<std::string> HostWorld::Spend(Day day) const {
  std::filesystem::remove_all(folder_ / L"icons");
  std::vector<std::string> said;
  {
    const QuarryHost host(day == Day::FileTypes);
    if (day == Day::Scan) Scan(host, said);
    if (day == Day::Launch) Launch(host, said);
    if (day == Day::Windows) {
      for (const QuarryWindowInfo& window : host.GetOpenWindows()) {
        if (std::wstring_view(window.title) == kWindowTitle) said.push_back(LineOf({window.title, window.imagePath}));
      }
    }
    if (day == Day::FileTypes) {
      const ExtensionRecord extensions = host.GetRegisteredExtensions(echo_);
      for (std::uint64_t index = 0; extensions != nullptr && index < extensions->count; ++index) {
        said.push_back(LineOf({extensions->entries[index].name, extensions->entries[index].description}));
      }
    }
  }
  for (const LogLine& line : HostLog::Lines()) {
    // How long something took is another number each time.
    if (line.text.find(L" took ") != std::wstring::npos) continue;
    said.push_back(LineOf({std::to_wstring(line.level), line.text}));
  }
  HostLog::Clear();
  for (std::string& line : said) {
    // The folders have a new name in every process.
    boost::replace_all(line, Unicode_Utf8FromWide(folder_.Path()), "FOLDER");
    boost::replace_all(line, Unicode_Utf8FromWide(programs_.Folder().Path()), "PROGRAMS");
  }
  return said;
}

void HostWorld::Scan(const QuarryHost& host, std::vector<std::string>& said) const {
  for (int scan = 0; scan < 2; ++scan) {  // with an empty icon cache, and with a filled one
    const ApplicationArray applications = host.Scan(ini_);
    for (const QuarryApplicationInfo& app : applications) {
      said.push_back(LineOf(app));
      for (std::uint64_t index = 0; index < app.iconCount; ++index) {
        const IconRecord icon = host.GetApplicationIcon(app, index);
        if (icon == nullptr) continue;
        said.push_back(LineOf({icon->name, icon->path}));
        said.push_back("bytes " + std::to_string(host.GetIconData(icon->name).size()));
      }
    }
  }
  said.push_back(std::to_string(host->VerifyApplication(echo_.c_str())));
}

void HostWorld::Launch(const QuarryHost& host, std::vector<std::string>& said) const {
  const QuarryLaunchParameter parameters[] = {{L"appCommandLine", L"/quiet"}, {L"url", L"https://host.example/a b"}};
  const std::uint32_t result =
      host->LaunchApplication(echo_.c_str(), QUARRY_LAUNCH_TRACK_PROCESSES, L"good morning", L"", 2, parameters);
  said.push_back(std::to_string(result));
  if (result != QUARRY_LAUNCH_OK) return;
  for (const std::wstring& arguments : programs_.Take(1)) said.push_back(LineOf({arguments}));
}

}  // namespace quarry::test
