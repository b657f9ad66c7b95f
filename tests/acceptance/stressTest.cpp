// A tree scanned again and again, a large one in a long run: what a scan leaves behind, and how long a file takes.

#include "tests/support/hostTest.h"

#include <chrono>
#include <iostream>

namespace quarry::test {
namespace {

constexpr int kFilesPerFolder = 20;
constexpr int kApplicationsPerFolder = 15;

/// The files that each folder holds, made once and linked into the folders.
Names MakeModels(const TemporaryFolder& folder) {
  Names models;
  for (const std::wstring name : {L"notepad.exe", L"regedit.exe", L"cmd.exe", L"taskmgr.exe", L"winver.exe"}) {
    models.push_back(folder.WriteLink(L"models\\" + name + L".lnk", L"C:\\windows\\system32\\" + name));
  }
  for (const wchar_t letter : std::wstring(L"abcde")) {
    models.push_back(folder.CopyFrom(std::wstring(L"models\\") + letter + L".exe", FixtureProgram(L"emptyApp")));
    PutVersion(models.back(), {true, {{0x0409, 0x04e4}}, {{L"040904e4", {{L"ProductName", {letter}}}}}});
    models.push_back(folder.WriteText(std::wstring(L"models\\") + letter + L".bat", L"@echo off"));
  }
  for (const wchar_t* const name : {L"a.txt", L"b.LNK", L"c.lnk", L"d.EXE", L"e"}) {
    models.push_back(folder.WriteText(L"models\\junk " + std::wstring(name), L"junk"));
  }
  return models;
}

/// Groups of 20 folders: some depth as well as width.
void MakeTree(const TemporaryFolder& folder, int folders) {
  const Names models = MakeModels(folder);
  ASSERT_THAT(models, SizeIs(kFilesPerFolder));
  for (int number = 0; number < folders; ++number) {
    const std::wstring sub = folder.MakeFolder(Str_FormatWide(L"tree\\%d\\%d", number / 20, number));
    for (const std::wstring& model : models) {
      ASSERT_TRUE(CreateHardLinkW((sub + model.substr(model.rfind(L'\\'))).c_str(), model.c_str(), nullptr));
    }
  }
}

TEST(Stress, ScansLeaveNothingBehind) {
  const TemporaryFolder folder(L"quarryStress");
  const int folders = Rounds(10, 500);
  MakeTree(folder, folders);
  const std::wstring ini = folder.WriteText(L"filters.ini", L"[Tree]\r\nRoot=" + (folder / L"tree") + L"\r\n");
  const QuarryHost host(false, nullptr);  // a recorded log would be the growth that is looked for
  const auto scan = [&] {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT(host.Scan(ini), SizeIs(folders * kApplicationsPerFolder));
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    std::cout << "[ MEASURE  ] scan, per file: " << taken.count() / (folders * kFilesPerFolder) << " ms" << std::endl;
  };
  EXPECT_EQ(GrowthOf(scan, Rounds(3, 10)), ResourceCounts());
}

}  // namespace
}  // namespace quarry::test
