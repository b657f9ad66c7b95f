#include "quarry/paths/expandPath.h"
#include "quarry/paths/pathParts.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cerrno>
#include <string>

namespace {

using namespace quarry;

TEST(SplitPath, TakesOnlyTheLastExtensionWithoutItsDot) {
  const PathParts parts = SplitPath(L"C:\\Tools\\archive.tar.jar");
  EXPECT_TRUE(parts.parsed);
  EXPECT_EQ(parts.drive, L"C:");
  EXPECT_EQ(parts.directory, L"\\Tools\\");
  EXPECT_EQ(parts.fileName, L"archive.tar.jar");
  EXPECT_EQ(parts.baseName, L"archive.tar");
  EXPECT_EQ(parts.extension, L"jar");

  const PathParts unc = SplitPath(L"\\\\server\\share\\README");
  EXPECT_EQ(unc.drive + L"|" + unc.directory + L"|" + unc.fileName + L"|" + unc.extension,
            L"|\\\\server\\share\\|README|");
  EXPECT_TRUE(SplitPath(L"").parsed);
}

TEST(SplitPath, RefusesPartsOfMoreThan255Characters) {
  const auto splits = [](const std::wstring& path) { return SplitPath(path).parsed; };
  const std::wstring most(255, L'x');
  const std::wstring over(256, L'x');
  EXPECT_TRUE(splits(L"C:\\" + most + L".exe"));
  EXPECT_FALSE(splits(L"C:\\" + over + L".exe"));
  EXPECT_TRUE(splits(L"C:\\a." + most.substr(1)));
  EXPECT_FALSE(splits(L"C:\\a." + most));  // the dot counts
  EXPECT_TRUE(splits(L"C:\\" + most.substr(2) + L"\\a.exe"));
  EXPECT_FALSE(splits(L"C:\\" + most.substr(1) + L"\\a.exe"));
  EXPECT_TRUE(SplitPath(L"C:\\" + over + L".exe").extension.empty());
}

TEST(JoinPath, PutsExactlyOneBackslashBetweenParts) {
  EXPECT_EQ(JoinPath(L"C:\\a", L"b"), L"C:\\a\\b");
  EXPECT_EQ(JoinPath(L"C:\\a\\", L"b"), L"C:\\a\\b");
  EXPECT_EQ(JoinPath(L"", L"b"), L"b");
  EXPECT_EQ(JoinPath(L"C:\\a", L""), L"C:\\a");
}

TEST(CollapseBackslashes, KeepsTheTwoOfANetworkPath) {
  EXPECT_EQ(CollapseBackslashes(L"C:\\Tools\\\\\\\\app.exe"), L"C:\\Tools\\app.exe");
  EXPECT_EQ(CollapseBackslashes(L"\\\\server\\\\share"), L"\\\\server\\share");
  EXPECT_EQ(CollapseBackslashes(L"\\\\\\\\server"), L"\\\\server");
  EXPECT_EQ(CollapseBackslashes(L""), L"");
}

TEST(ExpandPath, ReplacesTheFirstOccurrenceOfEachTokenAsSpelled) {
  const std::wstring common = ExpandPath(L"%CommonStartMenu%");
  const std::wstring user = ExpandPath(L"%DefaultStartMenu%");
  ASSERT_FALSE(common.empty() || user.empty());
  EXPECT_EQ(common.find(L'%') + user.find(L'%'), std::wstring::npos + std::wstring::npos);
  EXPECT_EQ(ExpandPath(L"%CommonStartMenu%\\Programs"), common + L"\\Programs");
  EXPECT_EQ(ExpandPath(L"%CommonStartMenu%|%CommonStartMenu%"), common + L"|%CommonStartMenu%");
  EXPECT_EQ(ExpandPath(L"%DefaultStartMenu%|%CommonStartMenu%"), user + L"|" + common);
  EXPECT_EQ(ExpandPath(L"%commonstartmenu%"), L"%commonstartmenu%");
  EXPECT_EQ(ExpandPath(L""), L"");
}

TEST(ExpandPath, LeavesAPathThatOutgrowsTheBufferAsItStands) {
  SetEnvironmentVariableW(L"QuarryPathTest", std::wstring(200, L'v').c_str());
  EXPECT_EQ(ExpandPath(L"%QuarryPathTest%\\x"), std::wstring(200, L'v') + L"\\x");
  const std::wstring twice = L"%QuarryPathTest%%QuarryPathTest%\\%CommonStartMenu%";
  EXPECT_EQ(ExpandPath(twice), twice);
  const std::wstring longPath(300, L'p');
  EXPECT_EQ(ExpandPath(longPath), longPath);
  EXPECT_EQ(ExpandPath(std::wstring(259, L'p')), std::wstring(259, L'p'));
  SetEnvironmentVariableW(L"QuarryPathTest", nullptr);
}

}  // namespace
