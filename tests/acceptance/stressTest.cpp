// A large tree scanned again and again: what a scan leaves behind in memory and handles, and how long a file takes.

#include "tests/support/quarryHost.h"
#include "tests/support/resourceCounts.h"
#include "tests/support/shortcut.h"
#include "tests/support/temporaryFolder.h"
#include "tests/support/versionedExecutable.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <chrono>
#include <iostream>

namespace quarry::test {
namespace {

constexpr int kFolders = 500;
constexpr int kFilesPerFolder = 20;
constexpr int kApplicationsPerFolder = 15;
constexpr int kScans = 10;
constexpr std::ptrdiff_t kMostHeapGrowth = 1 << 20;  // bytes

const wchar_t* const kPrograms[] = {L"notepad.exe", L"regedit.exe", L"cmd.exe", L"taskmgr.exe", L"winver.exe"};

/// The files that each folder holds, made once and linked into the folders.
std::vector<std::wstring> MakeModels(const TemporaryFolder& folder) {
  std::vector<std::wstring> models;
  folder.MakeFolder(L"models");
  for (const wchar_t* const program : kPrograms) {
    Shortcut shortcut;
    shortcut.linkPath = folder / (L"models\\" + std::wstring(program) + L".lnk");
    shortcut.target = L"C:\\windows\\system32\\" + std::wstring(program);
    shortcut.description = L"Stress";
    EXPECT_TRUE(WriteShortcut(shortcut));
    models.push_back(shortcut.linkPath);
  }
  for (const wchar_t letter : std::wstring(L"abcde")) {
    models.push_back(folder / (std::wstring(L"models\\") + letter + L".exe"));
    const VersionResource version{true, {{0x0409, 0x04e4}}, {{L"040904e4", {{L"ProductName", {letter}}}}}};
    EXPECT_TRUE(WriteVersionedExecutable(models.back(), VersionResourceBytes(version)));
    models.push_back(folder.WriteText(std::wstring(L"models\\") + letter + L".bat", L"@echo off"));
  }
  for (const wchar_t* const name : {L"a.txt", L"b.LNK", L"c.lnk", L"d.EXE", L"e"}) {
    models.push_back(folder.WriteText(L"models\\junk " + std::wstring(name), L"junk"));
  }
  return models;
}

void MakeTree(const TemporaryFolder& folder) {
  const std::vector<std::wstring> models = MakeModels(folder);
  ASSERT_EQ(models.size(), static_cast<std::size_t>(kFilesPerFolder));
  for (int number = 0; number < kFolders; ++number) {
    // 25 groups of 20: some depth as well as width.
    const std::wstring sub =
        folder.MakeFolder(L"tree\\" + std::to_wstring(number / 20) + L"\\" + std::to_wstring(number));
    for (const std::wstring& model : models) {
      ASSERT_TRUE(CreateHardLinkW((sub + model.substr(model.rfind(L'\\'))).c_str(), model.c_str(), nullptr));
    }
  }
}

std::uint64_t g_messages = 0;

/// Keeps nothing: a recorded log would be the growth that is looked for.
void CountMessages(std::uint32_t /*level*/, const wchar_t* /*message*/) { ++g_messages; }

void PrintMeasure(const char* name, double value, const char* unit) {
  std::cout << "[ MEASURE  ] " << name << ": " << value << ' ' << unit << std::endl;
}

TEST(Stress, TenScansOfTenThousandFilesLeaveNothingBehind) {
  const TemporaryFolder folder(L"quarryStress");
  MakeTree(folder);
  const std::wstring ini = folder.WriteText(L"filters.ini", L"[Tree]\r\nRoot=" + (folder / L"tree") + L"\r\n");
  QuarryFunctions api{};
  Library::Instance().Init(CountMessages, 0, &api);

  ResourceCounts afterFirst;
  double milliseconds = 0;
  for (int scan = 0; scan < kScans; ++scan) {
    const auto start = std::chrono::steady_clock::now();
    {
      ApplicationArray apps;
      api.ScanApplicationsUsingIniFile(ini.c_str(), apps.put(), apps.putCount());
      ASSERT_EQ(apps.size(), static_cast<std::size_t>(kFolders * kApplicationsPerFolder));
    }
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    PrintMeasure("scan, per file", taken.count() / (kFolders * kFilesPerFolder), "ms");
    milliseconds += taken.count();
    if (scan == 0) afterFirst = ResourceCounts::Now();
  }
  const ResourceGrowth growth = ResourceCounts::Now() - afterFirst;
  api.Exit();

  PrintMeasure("mean, per file", milliseconds / (kScans * kFolders * kFilesPerFolder), "ms");
  PrintMeasure("heap growth after the first scan", static_cast<double>(growth.heapBytes), "bytes");
  EXPECT_LT(growth.heapBytes, kMostHeapGrowth);
  EXPECT_LE(growth.handles, 0);
  EXPECT_LE(growth.gdiObjects, 0);
  EXPECT_GT(g_messages, 0U);
  const std::string report = Library::Instance().DebugReport();
  EXPECT_NE(report.find("memleak: no leaks."), std::string::npos) << report;
}

}  // namespace
}  // namespace quarry::test
