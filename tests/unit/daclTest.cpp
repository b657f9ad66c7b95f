#include "quarry/config/adminOnlyKey.h"
#include "quarry/config/worldWritable.h"
#include "quarry/diagnostics/log.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <sddl.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace quarry;

std::wstring g_lastMessage;

void Record(std::uint32_t /*level*/, const wchar_t* message) { g_lastMessage = message; }

/// A well-known SID and hand-made ACLs, without a file or key behind them.
class DaclTest : public testing::Test {
 protected:
  void SetUp() override {
    g_lastMessage.clear();
    SetLogCallback(Record);
    ASSERT_TRUE(InitializeAcl(Acl(), sizeof(memory_), ACL_REVISION));
    DWORD size = sizeof(world_);
    ASSERT_TRUE(CreateWellKnownSid(WinWorldSid, nullptr, world_, &size));
    size = sizeof(administrators_);
    ASSERT_TRUE(CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators_, &size));
    size = sizeof(users_);
    ASSERT_TRUE(CreateWellKnownSid(WinBuiltinUsersSid, nullptr, users_, &size));
  }
  void TearDown() override { SetLogCallback(nullptr); }

  PACL Acl() { return reinterpret_cast<PACL>(memory_); }
  void Allow(BYTE* sid, DWORD mask) { ASSERT_TRUE(AddAccessAllowedAce(Acl(), ACL_REVISION, mask, sid)); }
  void Deny(BYTE* sid, DWORD mask) { ASSERT_TRUE(AddAccessDeniedAce(Acl(), ACL_REVISION, mask, sid)); }

  alignas(DWORD) BYTE memory_[512] = {};
  alignas(DWORD) BYTE world_[SECURITY_MAX_SID_SIZE];
  alignas(DWORD) BYTE administrators_[SECURITY_MAX_SID_SIZE];
  alignas(DWORD) BYTE users_[SECURITY_MAX_SID_SIZE];
};

TEST_F(DaclTest, FirstEntryForEveryoneDecidesWhetherAFolderIsWritable) {
  EXPECT_EQ(IsDaclWorldWritable(Acl(), world_), false);
  Allow(users_, FILE_ALL_ACCESS);
  EXPECT_EQ(IsDaclWorldWritable(Acl(), world_), false);
  Allow(world_, FILE_ADD_FILE);
  EXPECT_EQ(IsDaclWorldWritable(Acl(), world_), true);
  Deny(world_, FILE_ADD_FILE);
  EXPECT_EQ(IsDaclWorldWritable(Acl(), world_), true);
}

TEST_F(DaclTest, LeadingDenyOrReadEntryHidesLaterGrants) {
  for (const bool deny : {true, false}) {
    ASSERT_TRUE(InitializeAcl(Acl(), sizeof(memory_), ACL_REVISION));
    if (deny) Deny(world_, FILE_WRITE_EA);
    if (!deny) Allow(world_, FILE_GENERIC_READ);
    Allow(world_, FILE_ALL_ACCESS);
    EXPECT_EQ(IsDaclWorldWritable(Acl(), world_), false);
  }
}

TEST_F(DaclTest, DamagedEntriesAreNeitherReadBeyondNorTakenForAGrant) {
  Allow(world_, FILE_ALL_ACCESS);
  auto* const ace = reinterpret_cast<ACCESS_ALLOWED_ACE*>(memory_ + sizeof(ACL));
  auto* const sid = reinterpret_cast<SID*>(&ace->SidStart);
  sid->SubAuthorityCount = 15;  // longer than the entry that holds it
  EXPECT_EQ(IsDaclWorldWritable(Acl(), world_), false);
  sid->SubAuthorityCount = 1;
  ace->Header.AceType = 0x42;
  EXPECT_EQ(IsDaclWorldWritable(Acl(), world_), false);

  Acl()->AceCount = 9;  // more than there are
  EXPECT_EQ(IsDaclWorldWritable(Acl(), world_), false);
}

TEST_F(DaclTest, KeyPassesWithAnEmptyDaclButNotWithoutOne) {
  EXPECT_TRUE(IsDaclAdminOnly(Acl(), administrators_, L"K"));
  EXPECT_EQ(g_lastMessage, L"");
  EXPECT_FALSE(IsDaclAdminOnly(nullptr, administrators_, L"K"));
  EXPECT_EQ(g_lastMessage, L"Key K: Couldn't get security entries for key\n");
}

}  // namespace
