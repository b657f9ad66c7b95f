#include "quarry/config/adminOnlyKey.h"
#include "quarry/config/worldWritable.h"
#include "quarry/diagnostics/log.h"

#include "lib/misc/platformHandles.h"
#include "lib/misc/trustedPath.h"

#include <gmock/gmock.h>

#include <sddl.h>

#include <filesystem>
#include <string>

namespace {

using namespace quarry;

std::wstring g_lastMessage;

void Record(std::uint32_t /*level*/, const wchar_t* message) { g_lastMessage = message; }

/// A DACL from a text, without a file or key behind it.
class Dacl {
 public:
  explicit Dacl(const wchar_t* text) {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, &descriptor, nullptr);
    owner_ = UniqueLocal<void>(descriptor);
    GetSecurityDescriptorDacl(descriptor, &present, &acl_, &defaulted);
  }
  PACL get() const { return acl_; }

 private:
  UniqueLocal<void> owner_;
  PACL acl_ = nullptr;
};

/// A well-known SID.
struct Sid {
  explicit Sid(WELL_KNOWN_SID_TYPE type) { CreateWellKnownSid(type, nullptr, bytes, &size); }
  alignas(DWORD) BYTE bytes[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof(bytes);
};

TEST(Dacl, FirstEntryForEveryoneDecidesWhetherAFolderIsWritable) {
  Sid world(WinWorldSid);
  for (const auto& [text, writable] : {std::pair(L"D:", false),
                                       {L"D:(A;;FA;;;BU)", false},
                                       {L"D:(A;;FA;;;BU)(A;;0x2;;;WD)(D;;0x2;;;WD)", true},
                                       {L"D:(D;;0x10;;;WD)(A;;FA;;;WD)", false},
                                       {L"D:(A;;FR;;;WD)(A;;FA;;;WD)", false}}) {
    EXPECT_EQ(IsDaclWorldWritable(Dacl(text).get(), world.bytes), writable) << text;
  }
  // Damaged entries are neither read beyond nor taken for a grant.
  const Dacl dacl(L"D:(A;;FA;;;WD)");
  auto* const ace = reinterpret_cast<ACCESS_ALLOWED_ACE*>(dacl.get() + 1);
  auto* const sid = reinterpret_cast<SID*>(&ace->SidStart);
  sid->SubAuthorityCount = 15;  // longer than the entry that holds it
  EXPECT_EQ(IsDaclWorldWritable(dacl.get(), world.bytes), false);
  sid->SubAuthorityCount = 1;
  EXPECT_EQ(IsDaclWorldWritable(dacl.get(), world.bytes), true);
  ace->Header.AceType = 0x42;
  dacl.get()->AceCount = 9;  // more than there are
  EXPECT_EQ(IsDaclWorldWritable(dacl.get(), world.bytes), false);
}

TEST(Dacl, AFolderIsTrustedWhenNoOrdinaryAccountOwnsOrChangesIt) {
  const wchar_t* const kOwner = L"belongs to an ordinary account";
  const wchar_t* const kWritable = L"can be written to by ordinary accounts";
  const struct {
    const wchar_t* text;
    const wchar_t* way;
    const wchar_t* content;
  } kRows[] = {{L"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FRFX;;;BU)", nullptr, nullptr},
               {L"O:SYD:", nullptr, nullptr},
               {L"O:S-1-5-21-1-2-3-1000D:(A;;FA;;;S-1-5-21-1-2-3-1000)", nullptr, nullptr},
               {L"O:S-1-5-21-1-2-3-1001D:(A;;FA;;;BA)", kOwner, kOwner},
               {L"O:BA", kWritable, kWritable},
               {L"O:BAD:(A;;FA;;;BA)(A;;0x2;;;BU)", nullptr, kWritable},  // adds files
               {L"O:BAD:(A;;0x4;;;AU)", nullptr, kWritable},              // adds folders
               {L"O:BAD:(A;;0x100;;;BU)", nullptr, kWritable},            // may make a junction of it
               {L"O:BAD:(A;;0x40;;;BU)", kWritable, kWritable},           // deletes what is in it
               {L"O:BAD:(A;;SD;;;BU)", kWritable, kWritable},
               {L"O:BAD:(A;;WD;;;WD)", kWritable, kWritable},
               {L"O:BAD:(A;;WO;;;WD)", kWritable, kWritable},
               {L"O:BAD:(A;OICIIO;FA;;;BU)", nullptr, kWritable},  // of what will be in it
               {L"O:BAD:(A;OICIIO;FA;;;CO)(D;;FA;;;BU)", nullptr, nullptr}};
  for (const auto& row : kRows) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(row.text, SDDL_REVISION_1, &descriptor, nullptr));
    const UniqueLocal<void> owner(descriptor);
    const auto reason = [&](TrustedUse use) {
      return ReasonForDistrust(descriptor, use, L"S-1-5-21-1-2-3-1000").value_or(L"");
    };
    EXPECT_EQ(reason(TrustedUse::Way), row.way == nullptr ? L"" : row.way) << std::filesystem::path(row.text);
    EXPECT_EQ(reason(TrustedUse::Content), row.content == nullptr ? L"" : row.content)
        << std::filesystem::path(row.text);
  }
}

TEST(Dacl, KeyPassesWhenItIsEmptyButNotWithoutOne) {
  Sid administrators(WinBuiltinAdministratorsSid);
  SetLogCallback(Record);
  EXPECT_TRUE(IsDaclAdminOnly(Dacl(L"D:").get(), administrators.bytes, L"K"));
  EXPECT_EQ(g_lastMessage, L"");
  EXPECT_FALSE(IsDaclAdminOnly(nullptr, administrators.bytes, L"K"));
  EXPECT_EQ(g_lastMessage, L"Key K: Couldn't get security entries for key\n");
  SetLogCallback(nullptr);
}

}  // namespace
