#include "quarry/config/config.h"
#include "quarry/diagnostics/log.h"
#include "quarry/scan/directoryScanner.h"
#include "quarry/scan/scanFilterImpl.h"

#include "tests/support/hostTest.h"

namespace quarry::test {
namespace {

Names NamesOf(const ApplicationList& applications) {
  Names names;
  for (const ApplicationPtr& application : applications) names.push_back(application->GetFileName());
  return names;
}

// What the scanner's operations do that the exports do not use.
TEST(DirectoryScanner, ScansByDefinitionPathAndFilterWithinItsLimits) {
  SetLogCallback(HostLog::Record);
  const TemporaryFolder folder;
  folder.WriteText(L"a\\one.bat", L"");
  folder.WriteText(L"b\\two.bat", L"");
  const RegistryFixture settings{kSettingsKey};
  settings.SetString(L"", L"MaxScanDepth", L"2147483647");
  settings.SetString(L"Filter1", L"Root", folder / L"a");
  settings.SetString(L"Filter2", L"Root", folder / L"b");
  for (const wchar_t* filter : {L"Filter1", L"Filter2"}) settings.SetDacl(filter, L"D:P(A;;KA;;;BA)");
  const Config config;
  const DirectoryScanner scanner{config, nullptr};
  ApplicationList results(3);
  EXPECT_TRUE(scanner.ScanDefault(results));
  EXPECT_THAT(NamesOf(results), ElementsAre(L"one.bat", L"two.bat"));
  for (const wchar_t* filter : {L"Filter1", L"Filter2"}) settings.RemoveValue(filter, L"Root");
  EXPECT_FALSE(scanner.ScanDefault(results));
  EXPECT_THAT(results, IsEmpty());
  EXPECT_EQ(HostLog::Count(1, L"Filter  has no paths\n"), 1u);

  results.resize(3);
  scanner.ScanPath(folder.Path(), results);
  EXPECT_THAT(results, IsEmpty());
  EXPECT_EQ(HostLog::Count(1, L"Filter Default has no paths\n"), 1u);

  EXPECT_TRUE(scanner.ScanDirectory(256, folder.Path(), ScanFilterImpl(L"Deep", {}), results));
  EXPECT_EQ(HostLog::CountHolding(L"Maximum directory scan depth (256) exceeded for \"" + folder.Path()), 1u);
  EXPECT_TRUE(scanner.ScanDirectory(255, folder.Path(), ScanFilterImpl(L"Deep", {}), results));
  EXPECT_THAT(results, IsEmpty());

  // An abort ends a filter and keeps what it had found.
  settings.SetString(L"", L"WritableFolders", L"stop");
  const ScanFilterImpl filter(L"F", {.paths = {folder / L"a", folder.MakeOpenFolder(L"open"), folder / L"b"}});
  EXPECT_FALSE(scanner.ScanWithFilter(filter, results));
  EXPECT_THAT(NamesOf(results), ElementsAre(L"one.bat"));
  SetLogCallback(nullptr);
}

}  // namespace
}  // namespace quarry::test
