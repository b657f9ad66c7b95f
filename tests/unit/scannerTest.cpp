#include "quarry/config/config.h"
#include "quarry/diagnostics/log.h"
#include "quarry/scan/directoryScanner.h"
#include "quarry/scan/scanFilterImpl.h"

#include "tests/support/registryFixture.h"
#include "tests/support/temporaryFolder.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <string>
#include <vector>

namespace {

using namespace quarry;
using quarry::test::kSettingsKey;
using quarry::test::RegistryFixture;
using quarry::test::TemporaryFolder;
using testing::Contains;
using testing::ElementsAre;

std::vector<std::wstring> g_messages;

void Record(std::uint32_t /*level*/, const wchar_t* message) { g_messages.emplace_back(message); }

std::vector<std::wstring> NamesOf(const ApplicationList& applications) {
  std::vector<std::wstring> names;
  for (const ApplicationPtr& application : applications) names.push_back(application->GetFileName());
  return names;
}

/// What the scanner's operations do that the exports do not use.
class DirectoryScannerTest : public testing::Test {
 protected:
  void SetUp() override {
    g_messages.clear();
    SetLogCallback(Record);
    folder_.WriteText(L"a\\one.bat", L"");
    folder_.WriteText(L"b\\two.bat", L"");
    settings_.SetString(L"", L"WritableFolders", L"allow");
  }
  void TearDown() override { SetLogCallback(nullptr); }

  Config config_;
  DirectoryScanner scanner_{config_, nullptr};
  TemporaryFolder folder_;
  RegistryFixture settings_{kSettingsKey};
  ApplicationList results_;
};

TEST_F(DirectoryScannerTest, SinglePathFindsNothingAndSaysWhy) {
  results_.resize(3);
  scanner_.ScanPath(folder_.Path(), results_);
  EXPECT_TRUE(results_.empty());
  EXPECT_THAT(g_messages, ElementsAre(L"Filter Default has no paths\n"));
}

TEST_F(DirectoryScannerTest, DefaultScanUsesTheDefinitionsAndStopsAtAFilterWithoutPaths) {
  settings_.SetString(L"Filter1", L"Root", folder_ / L"a");
  settings_.SetString(L"Filter2", L"Root", folder_ / L"b");
  for (const wchar_t* filter : {L"Filter1", L"Filter2"}) settings_.SetDacl(filter, L"D:P(A;;KA;;;BA)");
  EXPECT_TRUE(scanner_.ScanDefault(results_));
  EXPECT_THAT(NamesOf(results_), ElementsAre(L"one.bat", L"two.bat"));

  settings_.RemoveValue(L"Filter1", L"Root");
  settings_.RemoveValue(L"Filter2", L"Root");
  EXPECT_FALSE(scanner_.ScanDefault(results_));
  EXPECT_TRUE(results_.empty());
  EXPECT_THAT(g_messages, Contains(L"Filter  has no paths\n"));
}

TEST_F(DirectoryScannerTest, PathThatExpandsToNothingIsSkippedNotTakenForTheCurrentFolder) {
  const ScanFilterImpl filter(L"F", {.paths = {L"%QUARRY_NOTHING%", folder_ / L"a"}});
  ASSERT_TRUE(SetEnvironmentVariableW(L"QUARRY_NOTHING", L""));
  EXPECT_TRUE(scanner_.ScanDirectory(0, L"", filter, results_));
  EXPECT_TRUE(scanner_.ScanWithFilter(filter, results_));
  EXPECT_THAT(NamesOf(results_), ElementsAre(L"one.bat"));
  EXPECT_THAT(g_messages, Contains(L"Empty path found in filter F; skipping!\n").Times(2));
}

TEST_F(DirectoryScannerTest, AbortEndsAFilterAndKeepsWhatItHadFound) {
  settings_.SetString(L"", L"WritableFolders", L"stop");
  const ScanFilterImpl filter(L"F", {.paths = {folder_ / L"a", folder_.MakeOpenFolder(L"open"), folder_ / L"b"}});
  EXPECT_FALSE(scanner_.ScanWithFilter(filter, results_));
  EXPECT_THAT(NamesOf(results_), ElementsAre(L"one.bat"));
}

TEST_F(DirectoryScannerTest, RefusesToGoDeeperThanTheStackAllows) {
  settings_.SetString(L"", L"MaxScanDepth", L"2147483647");
  const ScanFilterImpl filter(L"Deep", {});
  EXPECT_TRUE(scanner_.ScanDirectory(256, folder_.Path(), filter, results_));
  EXPECT_THAT(g_messages,
              Contains(L"Maximum directory scan depth (256) exceeded for \"" + folder_.Path() + L"\" -- skipped\n"));
}

}  // namespace
