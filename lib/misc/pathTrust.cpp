#include "lib/misc/pathTrust.h"

#include "lib/misc/fileBytes.h"

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>

namespace {

PSID UserOf(const std::vector<std::uint8_t>& tokenUser) {
  return tokenUser.empty() ? nullptr : reinterpret_cast<const TOKEN_USER*>(tokenUser.data())->User.Sid;
}

std::vector<std::uint8_t> AskForUser(HANDLE token) {
  DWORD size = sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE;
  std::vector<std::uint8_t> user(size);
  if (GetTokenInformation(token, TokenUser, user.data(), size, &size) == FALSE) user.clear();
  return user;
}

bool IsElevated(HANDLE token) {
  TOKEN_ELEVATION elevation{};
  DWORD size = 0;
  return GetTokenInformation(token, TokenElevation, &elevation, sizeof(elevation), &size) == FALSE ||
         elevation.TokenIsElevated != 0;
}

/// "DOMAIN\name", or the SID's own text where nobody knows it by a name.
std::wstring AccountOf(PSID sid) {
  constexpr DWORD kLongestName = 257;  // Microsoft Learn, UNLEN
  wchar_t name[kLongestName];
  wchar_t domain[kLongestName];
  DWORD nameLength = kLongestName;
  DWORD domainLength = kLongestName;
  SID_NAME_USE use{};
  if (LookupAccountSidW(nullptr, sid, name, &nameLength, domain, &domainLength, &use) != FALSE) {
    return domainLength == 0 ? name : std::wstring(domain) + L'\\' + name;
  }
  wchar_t* text = nullptr;
  if (ConvertSidToStringSidW(sid, &text) == FALSE) return L"unknown";
  return UniqueLocal<wchar_t>(text).get();
}

UniqueFile OpenFolder(const std::wstring& folder, DWORD access) {
  return UniqueFile(CreateFileW(folder.c_str(), FILE_READ_ATTRIBUTES | READ_CONTROL | access, kShareAll, nullptr,
                                OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

/// By name, because Wine (8.0) follows links whatever the flags of an open file are.
bool LeadsElsewhere(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

bool IsBelow(const std::wstring& folder, const std::wstring& root) {
  return !root.empty() && folder.size() > root.size() && folder[root.size()] == L'\\' &&
         CompareStringOrdinal(folder.data(), static_cast<int>(root.size()), root.data(), static_cast<int>(root.size()),
                              TRUE) == CSTR_EQUAL;
}

}  // namespace

PathTrust::PathTrust() {
  UniqueKernelHandle token;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.put()) == FALSE) return;
  ownUser_ = AskForUser(token.get());
  PSID user = UserOf(ownUser_);
  needed_ = IsElevated(token.get()) || user == nullptr || IsWellKnownSid(user, WinLocalSystemSid) != FALSE;
}

std::vector<JudgedFolder> PathTrust::FoldersToJudge(const std::wstring& folder, const std::wstring& root) const {
  if (!needed_ || !IsBelow(folder, root)) return {{folder, FolderPlace::Elsewhere}};
  std::vector<JudgedFolder> folders;
  for (std::size_t end = folder.find(L'\\', root.size() + 1); end != std::wstring::npos;
       end = folder.find(L'\\', end + 1)) {
    folders.push_back({folder.substr(0, end), FolderPlace::OnTheWay});
  }
  folders.push_back({folder, FolderPlace::Last});
  return folders;
}

PathJudgement PathTrust::JudgeFolder(const JudgedFolder& folder) const {
  if (!needed_) return {};
  PathJudgement judgement = Judge(OpenFolder(folder.path, 0).get(), LeadsElsewhere(folder.path));
  if (judgement.distrust != Distrust::InheritedWriter || folder.place == FolderPlace::Elsewhere) return judgement;
  if (folder.place == FolderPlace::OnTheWay) return {};

  // Not by SetSecurityInfo, which passes the rights on to all that is in the folder, and so to what the hard links lead
  // to that others have put there.
  const UniqueLocal<void> rights = NewFolderDescriptor();
  const UniqueFile handle = OpenFolder(folder.path, WRITE_DAC);
  if (handle && rights && Judge(handle.get()).distrust == Distrust::InheritedWriter &&
      SetKernelObjectSecurity(handle.get(), DACL_SECURITY_INFORMATION, rights.get()) != FALSE) {
    judgement = Judge(handle.get());
    judgement.takenOver = judgement.IsTrusted();
  }
  return judgement;
}

PathJudgement PathTrust::JudgeFile(HANDLE file) const { return needed_ ? Judge(file) : PathJudgement(); }

PathJudgement PathTrust::Judge(HANDLE object, bool leadsElsewhere) const {
  BY_HANDLE_FILE_INFORMATION information{};
  PSID owner = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetFileInformationByHandle(object, &information) == FALSE ||
      GetSecurityInfo(object, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner, nullptr,
                      nullptr, nullptr, &descriptor) != ERROR_SUCCESS) {
    return {Distrust::Unreadable, L"unknown"};
  }
  const UniqueLocal<void> descriptorOwner(descriptor);
  leadsElsewhere = leadsElsewhere || (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  const Distrust distrust = leadsElsewhere ? Distrust::ReparsePoint : JudgeDescriptor(descriptor, UserOf(ownUser_));
  if (distrust == Distrust::None) return {};
  return {distrust, owner != nullptr ? AccountOf(owner) : L"unknown"};
}

UniqueLocal<void> NewFolderDescriptor() {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;BU)",
                                                       SDDL_REVISION_1, &descriptor, nullptr);
  return UniqueLocal<void>(descriptor);
}
