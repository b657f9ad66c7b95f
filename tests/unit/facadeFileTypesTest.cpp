#include "quarry/facade/quarry.h"

#include "lib/misc/tickCount.h"

#include "tests/support/registeredTypes.h"

namespace quarry::test {
namespace {

constexpr std::wstring_view kBuilding = L"Building the file extension database took ";

ULONGLONG now = 3600000;
ULONGLONG step = 0;
std::vector<std::wstring> builds;

ULONGLONG WINAPI Now() { return now += step; }

void RecordBuilds(std::uint32_t level, const wchar_t* message) {
  if (level == 2 && std::wstring_view(message).starts_with(kBuilding)) builds.emplace_back(message);
}

using FacadeFileTypes = RegisteredTypes;

TEST_F(FacadeFileTypes, AreReadAgainFifteenSecondsAfterTheLastReadingEnded) {
  Class(L"QuarryProgId1", L"app.exe");
  const RegistryFixture& type = Key(L".quarrya");
  const std::wstring program = folder / L"app.exe";
  TickCount_SetSource(&Now);

  step = 10'000;  // the reading itself takes longer than its result holds
  const ULONGLONG started = now + step;
  const std::unique_ptr<Quarry> facade = CreateQuarry(&RecordBuilds, true);
  step = 0;
  const ULONGLONG ended = now;
  EXPECT_GE(ended - started, 15000u);
  EXPECT_EQ(builds, std::vector{std::wstring(kBuilding) + std::to_wstring(ended - started) + L" ms.\n"});
  type.SetString(L"", L"", L"QuarryProgId1");
  now = ended + 14999;
  EXPECT_EQ(facade->GetApplicationRegisteredExtensions(program.c_str())->GetCount(), 0u);
  EXPECT_EQ(builds.size(), 1u);
  now = ended + 15000;
  const RegisteredExtensionsPtr extensions = facade->GetApplicationRegisteredExtensions(program.c_str());
  facade->GetApplicationRegisteredExtensions(program.c_str());
  EXPECT_EQ(builds.size(), 2u);
  ASSERT_EQ(extensions->GetCount(), 1u);
  type.RemoveValue(L"", L"");
  now += 15000;
  EXPECT_EQ(facade->GetApplicationRegisteredExtensions(program.c_str())->GetCount(), 0u);
  EXPECT_EQ(extensions->GetEntries().at(0)->GetName(), L".quarrya");  // what was handed out stays as it was
  EXPECT_EQ(extensions->GetEntries().at(0)->GetDescription(), L"QuarryProgId1 file");
  TickCount_SetSource(nullptr);
}

}  // namespace
}  // namespace quarry::test
