#include "quarry/facade/quarry.h"

#include "lib/misc/tickCount.h"

#include "tests/support/registryFixture.h"
#include "tests/support/temporaryFolder.h"

#include <gtest/gtest.h>

#include <new>

namespace quarry {
namespace {

ULONGLONG now = 1;
ULONGLONG step = 0;
int builds = 0;

ULONGLONG WINAPI Now() { return now += step; }

void CountBuilds(std::uint32_t level, const wchar_t* message) {
  const std::wstring_view text = message;
  if (level == 2 && text.starts_with(L"Building the file extension database took ") && text.ends_with(L" ms.\n")) {
    ++builds;
  }
}

// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): GoogleTest alone makes and destroys it
class FacadeFileTypes : public testing::Test {
 protected:
  FacadeFileTypes() {
    now += 3600000;
    builds = 0;
    TickCount_SetSource(&Now);
  }
  ~FacadeFileTypes() override { TickCount_SetSource(nullptr); }
};

TEST_F(FacadeFileTypes, AreReadAgainFifteenSecondsAfterTheLastReadingEnded) {
  const test::TemporaryFolder folder;
  const std::wstring program = folder.WriteBytes(L"app.exe", {});
  const test::RegistryFixture progId(L"QuarryProgId1", HKEY_CLASSES_ROOT);
  progId.SetString(L"", L"", L"Quarry file");
  progId.SetString(L"shell\\open\\command", L"", L'"' + program + L"\" %1");
  const test::RegistryFixture type(L".quarrya", HKEY_CLASSES_ROOT);

  step = 1000;  // the reading itself takes longer than its result holds
  const ULONGLONG started = now;
  const std::unique_ptr<Quarry> facade = CreateQuarry(&CountBuilds, true);
  step = 0;
  const ULONGLONG ended = now;
  EXPECT_GE(ended - started, 15000u);
  EXPECT_EQ(builds, 1);
  type.SetString(L"", L"", L"QuarryProgId1");
  now = ended + 14999;
  EXPECT_EQ(facade->GetApplicationRegisteredExtensions(program.c_str())->GetCount(), 0u);
  EXPECT_EQ(builds, 1);
  now = ended + 15000;
  const RegisteredExtensionsPtr extensions = facade->GetApplicationRegisteredExtensions(program.c_str());
  EXPECT_EQ(builds, 2);
  facade->GetApplicationRegisteredExtensions(program.c_str());
  EXPECT_EQ(builds, 2);
  ASSERT_EQ(extensions->GetCount(), 1u);
  type.RemoveValue(L"", L"");
  now += 15000;
  EXPECT_EQ(facade->GetApplicationRegisteredExtensions(program.c_str())->GetCount(), 0u);
  EXPECT_EQ(extensions->GetEntries().at(0)->GetName(), L".quarrya");  // what was handed out stays as it was
  EXPECT_EQ(extensions->GetEntries().at(0)->GetDescription(), L"Quarry file");
}

TEST_F(FacadeFileTypes, AreNotReadUnlessAskedFor) {
  const std::unique_ptr<Quarry> facade = CreateQuarry(&CountBuilds, false);
  EXPECT_THROW(facade->GetApplicationRegisteredExtensions(L"C:\\app.exe"), std::bad_alloc);
  EXPECT_EQ(builds, 0);
}

}  // namespace
}  // namespace quarry
