// Scans: folders, and shortcuts whose icons are in the cache already, each to a program of its own or all to one.

#include "lib/misc/platformHandles.h"

#include "tests/support/quarryHost.h"
#include "tests/support/temporaryFolder.h"

#include <windows.h>

#include <aclapi.h>
#include <shellapi.h>
#include <shlobj.h>
#include <wrl/client.h>

#include <set>
#include <stdexcept>

#include "bench/path.h"

namespace quarry::bench {

namespace {

constexpr wchar_t kSettings[] = L"SOFTWARE\\Velkor, Inc.\\Velkor Quarry";
constexpr wchar_t kPolicies[] = L"SOFTWARE\\Policies\\Velkor, Inc.\\Velkor Quarry";
constexpr const wchar_t* kFolderSettings[] = {L"MaxScanDepth", L"ScanHidden", L"ScanReparsePoints", L"WritableFolders"};
constexpr DWORD kAsResources = LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE;

template <typename Visit>
void ForEachFile(const std::wstring& folder, const Visit& visit) {
  WIN32_FIND_DATAW entry{};
  const UniqueFind find(FindFirstFileW((folder + L"\\*").c_str(), &entry));
  if (!find) return;
  do {
    const std::wstring name = entry.cFileName;
    if (name != L"." && name != L"..") visit(folder + L'\\' + name, entry.dwFileAttributes);
  } while (FindNextFileW(find.get(), &entry) != FALSE);
}

void ReadSetting(const wchar_t* name) {
  for (const wchar_t* const path : {kPolicies, kSettings}) {
    UniqueRegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, key.put()) != ERROR_SUCCESS) continue;
    DWORD size = 0;
    RegQueryValueExW(key.get(), name, nullptr, nullptr, nullptr, &size);
  }
}

void ReadRights(const std::wstring& folder) {
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  GetNamedSecurityInfoW(folder.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list, nullptr,
                        &descriptor);
  const UniqueLocal<void> owner(descriptor);
}

void ScanNaively(const std::wstring& folder, const std::function<void(const std::wstring&)>& look) {
  for (const wchar_t* const setting : kFolderSettings) ReadSetting(setting);
  GetFileAttributesW(folder.c_str());
  ReadRights(folder);
  ForEachFile(folder, [&](const std::wstring& path, DWORD attributes) {
    (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? ScanNaively(path, look) : look(path);
  });
}

/// With settings that cannot change under way.
void ScanBest(const std::wstring& folder, const std::function<void(const std::wstring&)>& look) {
  ReadRights(folder);
  ForEachFile(folder, [&](const std::wstring& path, DWORD attributes) {
    (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? ScanBest(path, look) : look(path);
  });
}

class Apartment {
 public:
  Apartment() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
  ~Apartment() { CoUninitialize(); }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
};

/// Throws std::runtime_error when the shell does not do its part.
class Links {
 public:
  Links() {
    CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&link_));
    if (!link_ || FAILED(link_.As(&file_))) throw std::runtime_error("the shell reads no shortcuts");
  }

  std::wstring TargetOf(const std::wstring& path) const {
    file_->Load(path.c_str(), STGM_READ);
    link_->Resolve(nullptr, SLR_NO_UI | SLR_NOUPDATE | SLR_NOSEARCH | SLR_NOTRACK);
    wchar_t target[MAX_PATH] = {};
    link_->GetPath(target, MAX_PATH, nullptr, 0);
    return target;
  }

 private:
  Apartment apartment_;  // outlives the objects
  Microsoft::WRL::ComPtr<IShellLinkW> link_;
  Microsoft::WRL::ComPtr<IPersistFile> file_;
};

void ReadVersion(const std::wstring& program) {
  DWORD ignored = 0;
  std::vector<std::uint8_t> block(GetFileVersionInfoSizeW(program.c_str(), &ignored));
  GetFileVersionInfoW(program.c_str(), 0, static_cast<DWORD>(block.size()), block.data());
}

BOOL CALLBACK TakeFirst(HMODULE /*module*/, LPCWSTR /*type*/, LPWSTR /*name*/, LONG_PTR /*found*/) { return FALSE; }

void LookForIcons(const std::wstring& program) {
  const UniqueModule module(LoadLibraryExW(program.c_str(), nullptr, kAsResources));
  if (module) EnumResourceNamesW(module.get(), RT_GROUP_ICON, TakeFirst, 0);
}

void LookAtLinkNaively(const std::wstring& path) {
  const Links links;
  const std::wstring target = links.TargetOf(path);
  SHFILEINFOW shown{};
  SHGetFileInfoW(path.c_str(), 0, &shown, sizeof(shown), SHGFI_DISPLAYNAME);
  GetFileAttributesW(target.c_str());
  ReadVersion(target);
  LookForIcons(target);
}

class ScanSubject : public Subject {
 public:
  /// Makes one item below "root" of the folder.
  using Make = std::function<void(const test::TemporaryFolder& folder, int index)>;
  ScanSubject(int count, const Make& make) {
    folder_.MakeFolder(L"root");
    for (int index = 0; index < count; ++index) make(folder_, index);
    ini_ = folder_.WriteText(L"filters.ini", L"[Bench]\r\nRoot=" + folder_ / L"root" + L"\r\nIncludes=*.lnk\r\n");
  }

  std::shared_ptr<void> Library() override { return std::make_shared<test::ApplicationArray>(host_.Scan(ini_)); }
  void Naive() override { ScanNaively(folder_ / L"root", LookAtLinkNaively); }
  void Best() override {
    const Links links;
    std::set<std::wstring> seen;
    ScanBest(folder_ / L"root", [&](const std::wstring& path) {
      const std::wstring target = links.TargetOf(path);
      if (!seen.insert(target).second) return;
      ReadVersion(target);
      LookForIcons(target);
    });
  }

 private:
  test::TemporaryFolder folder_{L"quarryBench"};
  std::wstring ini_;
  test::QuarryHost host_;
};

Path MakePath(const char* name, int few, int many, const ScanSubject::Make& make) {
  return {name, few, many, [make](int count) { return std::make_unique<ScanSubject>(count, make); }};
}

std::wstring Numbered(const wchar_t* name, int index, const wchar_t* extension = L"") {
  return name + std::to_wstring(index) + extension;
}

}  // namespace

std::vector<Path> ScanPaths() {
  const auto makeFolder = [](const test::TemporaryFolder& folder, int index) {
    folder.MakeFolder(Numbered(L"root\\folder", index));
  };
  const auto linkOwn = [](const test::TemporaryFolder& folder, int index) {
    const std::wstring program = folder.CopyFrom(Numbered(L"app", index, L".exe"), test::FixtureProgram(L"emptyApp"));
    folder.WriteLink(Numbered(L"root\\link", index, L".lnk"), program);
  };
  const auto linkSame = [](const test::TemporaryFolder& folder, int index) {
    const std::wstring program = folder / L"app.exe";
    if (index == 0) folder.CopyFrom(L"app.exe", test::FixtureProgram(L"emptyApp"));
    folder.WriteLink(Numbered(L"root\\link", index, L".lnk"), program);
  };
  return {MakePath("folder in a scan", 20, 220, makeFolder),
          MakePath("shortcut to a program of its own, warm", 10, 60, linkOwn),
          MakePath("shortcut to a program seen in the same scan, warm", 10, 60, linkSame)};
}

}  // namespace quarry::bench
