#include "quarry/config/adminOnlyKey.h"
#include "quarry/config/worldWritable.h"
#include "quarry/diagnostics/log.h"

#include "lib/misc/pathTrust.h"

#include "tests/support/hostTest.h"
#include "tests/support/importTable.h"

#include <aclapi.h>
#include <sddl.h>

namespace quarry::test {
namespace {

/// A security descriptor without a file or key behind it.
struct Descriptor {
  explicit Descriptor(const std::wstring& text) : whole(SecurityDescriptor(text)) {
    BOOL ignored = FALSE;
    GetSecurityDescriptorDacl(whole.get(), &ignored, &dacl, &ignored);
  }
  ACCESS_ALLOWED_ACE* FirstEntry() const { return reinterpret_cast<ACCESS_ALLOWED_ACE*>(dacl + 1); }

  UniqueLocal<void> whole;
  PACL dacl = nullptr;
};

UniqueLocal<void> Sid(const wchar_t* text) {
  PSID sid = nullptr;
  ConvertStringSidToSidW(text, &sid);
  return UniqueLocal<void>(sid);
}

TEST(Dacl, FirstEntryForEveryoneDecidesWhetherAFolderIsWritable) {
  const UniqueLocal<void> world = Sid(L"WD");
  for (const auto& [text, writable] : {std::pair(L"D:", false),
                                       {L"D:(A;;FA;;;BU)", false},
                                       {L"D:(A;;FA;;;BU)(A;;0x2;;;WD)(D;;0x2;;;WD)", true},
                                       {L"D:(D;;0x10;;;WD)(A;;FA;;;WD)", false},
                                       {L"D:(A;;FR;;;WD)(A;;FA;;;WD)", false}}) {
    EXPECT_EQ(IsDaclWorldWritable(Descriptor(text).dacl, world.get()), writable) << text;
  }
  // Damaged entries are neither read beyond nor taken for a grant.
  const Descriptor descriptor(L"D:(A;;FA;;;WD)");
  auto* const ace = descriptor.FirstEntry();
  auto* const sid = reinterpret_cast<SID*>(&ace->SidStart);
  sid->SubAuthorityCount = 15;  // longer than the entry that holds it
  EXPECT_EQ(IsDaclWorldWritable(descriptor.dacl, world.get()), false);
  sid->SubAuthorityCount = 1;
  EXPECT_EQ(IsDaclWorldWritable(descriptor.dacl, world.get()), true);
  ace->Header.AceType = 0x42;
  descriptor.dacl->AceCount = 9;  // more than there are
  EXPECT_EQ(IsDaclWorldWritable(descriptor.dacl, world.get()), false);
}

TEST(Dacl, KeyPassesWhenItIsEmptyButNotWithoutOne) {
  const UniqueLocal<void> administrators = Sid(L"BA");
  HostLog::Clear();
  SetLogCallback(HostLog::Record);
  EXPECT_TRUE(IsDaclAdminOnly(Descriptor(L"D:").dacl, administrators.get(), L"K"));
  EXPECT_FALSE(IsDaclAdminOnly(nullptr, administrators.get(), L"K"));
  EXPECT_THAT(HostLog::Lines(), ElementsAre(LogLine{0, L"Key K: Couldn't get security entries for key\n"}));
  SetLogCallback(nullptr);
}

constexpr wchar_t kOwn[] = L"S-1-5-21-1-2-3-4";

TEST(Trust, IsInAdministratorsTheSystemAndTheOwnUserOnly) {
  const UniqueLocal<void> owner = Sid(kOwn);
  const std::wstring installer = L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
  const std::pair<std::wstring, Distrust> kCases[] = {
      {L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;BU)", Distrust::None},
      {L"O:SYD:(A;;FA;;;" + installer + L")", Distrust::None},
      {L"O:" + installer + L"D:(A;;FA;;;" + kOwn + L")", Distrust::None},
      {std::wstring(L"O:") + kOwn + L"D:", Distrust::None},
      {L"O:BUD:", Distrust::ForeignOwner},
      {L"O:S-1-5-21-1-2-3-5D:", Distrust::ForeignOwner},
      {L"O:" + installer.substr(0, installer.size() - 1) + L"5D:", Distrust::ForeignOwner},
      {L"D:", Distrust::ForeignOwner},
      {L"O:BA", Distrust::ForeignWriter},                       // without a DACL everybody may do everything
      {L"O:BAD:(A;OICIIO;0x2;;;BU)", Distrust::ForeignWriter},  // for what is made in it
      {L"O:BAD:(A;OICIIO;FA;;;CO)(A;;FA;;;S-1-3-4)", Distrust::None},
      {L"O:BAD:(A;OICIIO;FA;;;CG)", Distrust::ForeignWriter},
      {L"O:BAD:(A;CIID;0x116;;;BU)", Distrust::InheritedWriter},  // as in the common application-data folder
      {L"O:BAD:(A;CI;0x4;;;WD)(A;CIID;0x116;;;BU)", Distrust::ForeignWriter},
      {L"O:BAD:(A;CIID;0x116;;;BU)(A;;0x1200a9;;;WD)", Distrust::InheritedWriter},
      {L"O:BAD:(D;;FA;;;WD)(A;;FA;;;WD)", Distrust::ForeignWriter},
      {L"O:BAD:(D;;FA;;;WD)(A;;FRFX;;;WD)", Distrust::None},
  };
  for (const auto& [text, distrust] : kCases) {
    EXPECT_EQ(JudgeDescriptor(Descriptor(text).whole.get(), owner.get()), distrust)
        << std::string(text.begin(), text.end());
  }
  EXPECT_EQ(JudgeDescriptor(Descriptor(kCases[3].first).whole.get(), nullptr), Distrust::ForeignOwner);

  const Descriptor descriptor(L"O:BAD:(A;ID;FR;;;WD)");
  ACCESS_ALLOWED_ACE* const ace = descriptor.FirstEntry();
  for (unsigned bit = 0; bit < 32; ++bit) {
    ace->Mask = 1U << bit;
    const bool adds = (ace->Mask & 0x116U) != 0;
    const bool exchanges = (ace->Mask & 0x500D'0040U) != 0;
    EXPECT_EQ(JudgeDescriptor(descriptor.whole.get(), owner.get()), exchanges ? Distrust::ForeignWriter
                                                                    : adds    ? Distrust::InheritedWriter
                                                                              : Distrust::None)
        << bit;
  }
  ace->Header.AceType = ACCESS_ALLOWED_OBJECT_ACE_TYPE;  // not understood
  EXPECT_EQ(JudgeDescriptor(descriptor.whole.get(), owner.get()), Distrust::ForeignWriter);
  ace->Header.AceType = ACCESS_ALLOWED_ACE_TYPE;
  reinterpret_cast<SID*>(&ace->SidStart)->SubAuthorityCount = 15;  // longer than the entry that holds it
  EXPECT_EQ(JudgeDescriptor(descriptor.whole.get(), owner.get()), Distrust::ForeignWriter);
  descriptor.dacl->AceCount = 9;  // more than there are
  EXPECT_EQ(JudgeDescriptor(descriptor.whole.get(), owner.get()), Distrust::Unreadable);
}

/// The function itself, whose import here is replaced.
template <typename Function>
Function* Real(Function* /*import*/, const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"advapi32.dll"), name)));
}

const wchar_t* g_rights = nullptr;  // what the folder's rights seem to be
bool g_elevated = true;

DWORD WINAPI SeemingRights(HANDLE handle, SE_OBJECT_TYPE type, SECURITY_INFORMATION what, PSID* owner, PSID* group,
                           PACL* dacl, PACL* sacl, PSECURITY_DESCRIPTOR* descriptor) {
  if (g_rights == nullptr) {
    return Real(GetSecurityInfo, "GetSecurityInfo")(handle, type, what, owner, group, dacl, sacl, descriptor);
  }
  BOOL defaulted = FALSE;
  *descriptor = SecurityDescriptor(g_rights).release();
  GetSecurityDescriptorOwner(*descriptor, owner, &defaulted);
  return ERROR_SUCCESS;
}

BOOL WINAPI SetRights(HANDLE handle, SECURITY_INFORMATION what, PSECURITY_DESCRIPTOR descriptor) {
  g_rights = nullptr;
  return Real(SetKernelObjectSecurity, "SetKernelObjectSecurity")(handle, what, descriptor);
}

BOOL WINAPI Token(HANDLE token, TOKEN_INFORMATION_CLASS what, void* data, DWORD size, DWORD* needed) {
  const BOOL result = Real(GetTokenInformation, "GetTokenInformation")(token, what, data, size, needed);
  if (what == TokenElevation) static_cast<TOKEN_ELEVATION*>(data)->TokenIsElevated = g_elevated ? 1 : 0;
  return result;
}

TEST(Trust, OfFoldersIsGivenByTheirOwnRightsWhichAreNarrowedOnce) {
  const TemporaryFolder folder;
  const std::wstring sound = folder.MakeFolder(L"sound");
  const std::wstring open = folder.MakeOpenFolder(L"open");
  const TemporaryFolder links(L"quarryLinks");  // goes before the link's target
  folder.WriteText(L"sound\\file", L"");        // keeps Wine from removing the target in the place of the link
  ASSERT_TRUE(links.LinkFolder(L"link", sound));
  const PathTrust trust;
  for (const FolderPlace place : {FolderPlace::OnTheWay, FolderPlace::Last, FolderPlace::Elsewhere}) {
    EXPECT_EQ(trust.JudgeFolder({sound, place}).distrust, Distrust::None);
    EXPECT_EQ(trust.JudgeFolder({open, place}).distrust, Distrust::ForeignWriter);
    EXPECT_EQ(trust.JudgeFolder({links / L"link", place}).distrust, Distrust::ReparsePoint);
    EXPECT_EQ(trust.JudgeFolder({folder / L"missing", place}).distrust, Distrust::Unreadable);
  }
  const HMODULE self = GetModuleHandleW(nullptr);
  const ReplacedImport get(self, "ADVAPI32.dll", "GetSecurityInfo", SeemingRights);
  const ReplacedImport set(self, "ADVAPI32.dll", "SetKernelObjectSecurity", SetRights);
  g_rights = L"O:S-1-5-21-7-7-7-7D:(A;CIID;0x116;;;BU)";
  EXPECT_EQ(trust.JudgeFolder({sound, FolderPlace::Last}).owner, L"S-1-5-21-7-7-7-7");
  EXPECT_NE(g_rights, nullptr) << "it belongs to others";
  g_rights = L"O:BAD:(A;CIID;0x116;;;BU)";
  EXPECT_EQ(trust.JudgeFolder({sound, FolderPlace::Elsewhere}).distrust, Distrust::InheritedWriter);
  EXPECT_TRUE(trust.JudgeFolder({sound, FolderPlace::OnTheWay}).IsTrusted());
  EXPECT_NE(g_rights, nullptr);
  EXPECT_TRUE(trust.JudgeFolder({sound, FolderPlace::Last}).takenOver);
  EXPECT_EQ(g_rights, nullptr);
  EXPECT_FALSE(trust.JudgeFolder({sound, FolderPlace::Last}).takenOver);
}

TEST(Trust, IsAskedForInProcessesWithMoreRightsOnly) {
  const TemporaryFolder folder;
  const std::wstring open = folder.MakeOpenFolder(L"open");
  const ReplacedImport token(GetModuleHandleW(nullptr), "ADVAPI32.dll", "GetTokenInformation", Token);
  const auto steps = [](const PathTrust& asked, const std::wstring& last) {
    std::wstring text;
    for (const auto& [path, place] : asked.FoldersToJudge(last, L"C:\\ProgramData")) {
      text += path + std::to_wstring(static_cast<int>(place)) + L' ';
    }
    return text;
  };
  const std::wstring inside = L"C:\\PROGRAMdata\\A\\B b\\C";
  EXPECT_EQ(steps(PathTrust(), inside), L"C:\\PROGRAMdata\\A0 C:\\PROGRAMdata\\A\\B b0 " + inside + L"1 ");
  for (const std::wstring elsewhere : {L"C:\\ProgramData2\\A\\B", L"D:\\A", L"C:\\ProgramData", L""}) {
    EXPECT_EQ(steps(PathTrust(), elsewhere), elsewhere + L"2 ");
  }
  g_elevated = false;
  const PathTrust trust;
  g_elevated = true;
  EXPECT_FALSE(trust.IsNeeded());
  EXPECT_TRUE(trust.JudgeFolder({open, FolderPlace::Last}).IsTrusted());
  EXPECT_EQ(steps(trust, inside), inside + L"2 ");
}

}  // namespace
}  // namespace quarry::test
