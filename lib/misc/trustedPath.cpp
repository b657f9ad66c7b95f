#include "lib/misc/trustedPath.h"

#include "lib/misc/accessEntry.h"
#include "lib/misc/platformHandles.h"

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace {

// The rights that let one exchange a folder for something else, and those that let one add to it. A reparse point is
// set with the right to write attributes (Microsoft Learn, FSCTL_SET_REPARSE_POINT), on an empty folder only.
constexpr DWORD kReplace = FILE_DELETE_CHILD | DELETE | WRITE_DAC | WRITE_OWNER | GENERIC_ALL;
constexpr DWORD kChange =
    kReplace | FILE_ADD_FILE | FILE_ADD_SUBDIRECTORY | FILE_WRITE_ATTRIBUTES | FILE_WRITE_EA | GENERIC_WRITE;

std::wstring SidText(PSID sid) {
  LPWSTR text = nullptr;
  if (sid == nullptr || ConvertSidToStringSidW(sid, &text) == FALSE) return {};
  const UniqueLocal<wchar_t> owner(text);
  return text;
}

bool IsTrusted(const std::wstring& sid, const std::wstring& own) {
  // Microsoft Learn, "Security identifiers": Administrators, Local System, and the Windows Modules Installer.
  constexpr std::wstring_view kTrusted[] = {L"S-1-5-32-544", L"S-1-5-18",
                                            L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464"};
  return sid == own || std::find(std::begin(kTrusted), std::end(kTrusted), sid) != std::end(kTrusted);
}

/// Entries for these stand for the owner, who is judged apart.
bool StandsForOwner(const std::wstring& sid) { return sid == L"S-1-3-0" || sid == L"S-1-3-4"; }

bool GrantsToOthers(ACE_HEADER* header, TrustedUse use, const std::wstring& own) {
  constexpr BYTE kOtherGrants[] = {ACCESS_ALLOWED_COMPOUND_ACE_TYPE, ACCESS_ALLOWED_OBJECT_ACE_TYPE,
                                   ACCESS_ALLOWED_CALLBACK_OBJECT_ACE_TYPE};
  const BYTE type = header->AceType;
  if (std::find(std::begin(kOtherGrants), std::end(kOtherGrants), type) != std::end(kOtherGrants)) return true;
  if (type != ACCESS_ALLOWED_ACE_TYPE && type != ACCESS_ALLOWED_CALLBACK_ACE_TYPE) return false;
  if (use == TrustedUse::Way && (header->AceFlags & INHERIT_ONLY_ACE) != 0) return false;
  PSID sid = SidOfAce(header);
  if (sid == nullptr) return true;
  const DWORD mask = reinterpret_cast<const ACCESS_ALLOWED_ACE*>(header)->Mask;
  if ((mask & (use == TrustedUse::Way ? kReplace : kChange)) == 0) return false;
  const std::wstring text = SidText(sid);
  return !IsTrusted(text, own) && !StandsForOwner(text);
}

bool GrantsToOthers(PACL dacl, TrustedUse use, const std::wstring& own) {
  ACL_SIZE_INFORMATION information{};
  if (GetAclInformation(dacl, &information, sizeof(information), AclSizeInformation) == FALSE) return true;
  for (DWORD index = 0; index < information.AceCount; ++index) {
    void* ace = nullptr;
    if (GetAce(dacl, index, &ace) == FALSE || GrantsToOthers(static_cast<ACE_HEADER*>(ace), use, own)) return true;
  }
  return false;
}

/// What the token of this process tells; empty when it tells nothing.
std::vector<BYTE> TokenInformation(TOKEN_INFORMATION_CLASS what) {
  HANDLE opened = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened) == FALSE) return {};
  const UniqueKernelHandle token(opened);
  std::vector<BYTE> information(sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE);
  DWORD size = 0;
  const auto capacity = static_cast<DWORD>(information.size());
  if (GetTokenInformation(token.get(), what, information.data(), capacity, &size) == FALSE) return {};
  return information;
}

std::wstring OwnSid() {
  const std::vector<BYTE> user = TokenInformation(TokenUser);
  return user.empty() ? std::wstring() : SidText(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid);
}

}  // namespace

bool IsPrivilegedProcess() {
  // Where the token cannot be read, the guards stay on.
  const std::vector<BYTE> elevation = TokenInformation(TokenElevation);
  return elevation.empty() || reinterpret_cast<const TOKEN_ELEVATION*>(elevation.data())->TokenIsElevated != 0;
}

std::optional<std::wstring> ReasonForDistrust(PSECURITY_DESCRIPTOR descriptor, TrustedUse use,
                                              const std::wstring& own) {
  PSID owner = nullptr;
  PACL dacl = nullptr;
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  if (GetSecurityDescriptorOwner(descriptor, &owner, &defaulted) == FALSE || !IsTrusted(SidText(owner), own)) {
    return L"belongs to an ordinary account";
  }
  if (GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) == FALSE || present == FALSE ||
      dacl == nullptr || GrantsToOthers(dacl, use, own)) {
    return L"can be written to by ordinary accounts";
  }
  return std::nullopt;
}

std::optional<Distrust> FindDistrust(HANDLE handle, const std::wstring& path, TrustedUse use) {
  PSID owner = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD status = GetSecurityInfo(handle, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                                       &owner, nullptr, nullptr, nullptr, &descriptor);
  const UniqueLocal<void> descriptorOwner(descriptor);
  if (status != ERROR_SUCCESS) return Distrust{path, {}, L"does not tell who owns it"};
  // By its name, because Wine (8.0) opens what a link leads to. What lies above is trusted, so nobody exchanges it.
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    return Distrust{path, SidText(owner), L"is a reparse point"};
  }
  const std::optional<std::wstring> reason = ReasonForDistrust(descriptor, use, OwnSid());
  return reason ? std::optional(Distrust{path, SidText(owner), *reason}) : std::nullopt;
}

std::vector<std::wstring> FoldersBelow(const std::wstring& root, const std::wstring& path) {
  const auto rootSize = static_cast<int>(root.size());
  const bool isBelow = !root.empty() && path.size() > root.size() && path[root.size()] == L'\\' &&
                       CompareStringOrdinal(path.c_str(), rootSize, root.c_str(), rootSize, TRUE) == CSTR_EQUAL;
  std::vector<std::wstring> folders;
  for (std::size_t end = isBelow ? path.find(L'\\', root.size() + 1) : std::wstring::npos; end != std::wstring::npos;
       end = path.find(L'\\', end + 1)) {
    folders.push_back(path.substr(0, end));
  }
  folders.push_back(path);
  return folders;
}

std::optional<Distrust> FindDistrustOnPath(const std::wstring& root, const std::wstring& path) {
  for (const std::wstring& folder : FoldersBelow(root, path)) {
    const UniqueFile opened(CreateFileW(folder.c_str(), READ_CONTROL | FILE_READ_ATTRIBUTES,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!opened) return Distrust{folder, {}, L"cannot be opened"};
    const TrustedUse use = folder.size() == path.size() ? TrustedUse::Content : TrustedUse::Way;
    if (std::optional<Distrust> distrust = FindDistrust(opened.get(), folder, use)) return distrust;
  }
  return std::nullopt;
}
