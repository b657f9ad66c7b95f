#include "lib/appUtil/appUtilFileTypesWin32AssocHandlers.h"
#include "lib/appUtil/appUtilFileTypesWin32Indirect.h"
#include "lib/appUtil/appUtilFileTypesWin32Record.h"

#include "tests/support/versionedExecutable.h"
#include "tests/unit/fileTypesFixture.h"

#include <gmock/gmock.h>

#include <shobjidl.h>

#include <cstring>

namespace quarry::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::wstring kExplorerTypes = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\";

class FileTypeRecord : public FileTypesFixture {
 protected:
  /// The programs of a type, in order, by the argument that each one's command names itself with.
  std::vector<std::string> Programs(const std::string& type, std::uint32_t flags = 0) {
    FileTypeInfoWin32 record(type, 0);
    EXPECT_EQ(record.Load(flags), ERROR_SUCCESS);
    return Programs(record);
  }
  static std::vector<std::string> Programs(const FileTypeInfo& record) {
    EXPECT_EQ(record.actionUris.size(), record.handlerPaths.size());
    std::vector<std::string> programs;
    for (std::size_t index = 0; index < record.handlerPaths.size(); ++index) {
      const std::string& path = record.handlerPaths[index];
      const std::string& uri = record.actionUris[index];
      programs.push_back(path.substr(path.rfind('\\') + 1));
      EXPECT_TRUE(uri.ends_with("?argv%5B%5D=" + programs.back())) << uri;
    }
    return programs;
  }
};

TEST_F(FileTypeRecord, TakesHandlersFromEverySourceInOrder) {
  for (const wchar_t* const name : {L"1", L"3", L"4", L"4b", L"5", L"6", L"7", L"8", L"9"}) {
    Class(std::wstring(L"QuarryProgId") + name, std::wstring(L"p") + name + L".exe");
  }
  RegistryFixture& type = Key(L".quarrytest");
  type.SetString(L"", L"", L"QuarryProgId1");
  type.SetString(L"", L"PerceivedType", L"quarryperceived");
  type.SetString(L"shell\\open\\command", L"", Command(L"p2.exe"));
  type.MakeSubkey(L"OpenWithList\\QuarryProgId4");
  type.MakeSubkey(L"OpenWithList\\QuarryProgId4b");
  type.SetRaw(L"OpenWithProgIds", L"QuarryProgId5", REG_NONE, {});
  type.SetString(L"OpenWithProgIds", L"QuarryProgId6", L"");
  type.SetString(L"OpenWithProgIds", L"", L"QuarryProgId9");
  type.SetDword(L"OpenWithProgIds", L"QuarryProgId9", 1);
  Key(L"SystemFileAssociations\\quarryperceived").MakeSubkey(L"OpenWithList\\QuarryProgId3");
  RegistryFixture& user = Key(kExplorerTypes + L".quarrytest", HKEY_CURRENT_USER);
  user.SetRaw(L"OpenWithProgIds", L"QuarryProgId7", REG_NONE, {});
  user.SetString(L"OpenWithList", L"a", L"QuarryProgId9");
  user.SetString(L"OpenWithList", L"b", L"QuarryProgId8");
  user.SetString(L"OpenWithList", L"MRUList", L"bxa");

  EXPECT_THAT(Programs(".quarrytest"), ElementsAre("p1.exe", "p2.exe", "p1.exe", "p4.exe", "p4b.exe", "p5.exe",
                                                   "p6.exe", "p7.exe", "p8.exe", "p9.exe"));
  EXPECT_THAT(messages,
              testing::UnorderedElementsAre(
                  "FileTypeInfoWin32::AddHandlersForSubValues: Ignoring type '.quarrytest' handler '' because "
                  "its type isn't correct (1).\n",
                  "FileTypeInfoWin32::AddHandlersForSubValues: Ignoring type '.quarrytest' handler "
                  "'QuarryProgId9' because its type isn't correct (4).\n"));
  EXPECT_THAT(Programs(".quarrytest", kFileTypesPerceivedType),
              ElementsAre("p1.exe", "p2.exe", "p3.exe", "p1.exe", "p4.exe", "p4b.exe", "p5.exe", "p6.exe", "p7.exe",
                          "p8.exe", "p9.exe"));
  user.SetString(L"OpenWithList", L"MRUList", std::wstring(512, L'a'));  // more than is read, with its terminator
  EXPECT_THAT(Programs(".quarrytest").size(), 8u);
  type.RemoveValue(L"", L"");
  EXPECT_THAT(Programs(".quarrytest"), IsEmpty());
  EXPECT_EQ(FileTypeInfoWin32(".quarrynone", 0).Load(0), ERROR_FILE_NOT_FOUND);
}

TEST_F(FileTypeRecord, EditsWithAHandlerThatCannotOpenAndAsksForProgramsByTheirNames) {
  Class(L"QuarryProgId1", L"editor.exe", L"edit");
  Class(L"quarryapp.exe", L"byname.exe");
  Key(L"QuarryProgId2").SetString(L"shell\\print\\command", L"", Command(L"printer.exe"));
  FileTypeInfoWin32 record(".q", 0);
  for (const char* const name : {"QuarryProgId1", "quarryapp.exe", "QuarryProgId2", "QuarryNone", "", "\\", "."}) {
    record.AddHandlerForName(name);
  }
  EXPECT_THAT(Programs(record), ElementsAre("editor.exe", "byname.exe"));
}

TEST_F(FileTypeRecord, SurvivesValuesThatNobodyShouldHaveWritten) {
  Class(L"QuarryProgId1", L"p1.exe");
  const std::wstring name = L"QuarryProgId1";
  const auto bytes = [](const std::wstring& text, std::size_t size) {
    std::vector<std::uint8_t> result(size);
    std::memcpy(result.data(), text.data(), size);
    return result;
  };
  RegistryFixture& type = Key(L".quarrytest");
  type.MakeSubkey(L"OpenWithList\\QuarryProgId1");
  const std::wstring huge(30000, L'a');
  const struct {
    DWORD type;
    std::vector<std::uint8_t> data;
    std::size_t handlers;  // one from the list whenever there is a default value
  } cases[] = {
      {REG_SZ, bytes(name, name.size() * 2), 3},             // not terminated
      {REG_SZ, bytes(name + L"x", name.size() * 2 + 1), 3},  // half a character more
      {REG_EXPAND_SZ, bytes(name, name.size() * 2), 3},
      {REG_SZ, {}, 1},
      {REG_SZ, {0}, 1},
      {REG_SZ, bytes(huge, huge.size() * 2), 1},
      {REG_DWORD, {1, 0, 0, 0}, 1},
      {REG_BINARY, bytes(name, name.size() * 2), 1},
      {REG_NONE, {}, 1},
  };
  for (const auto& each : cases) {
    type.SetRaw(L"", L"", each.type, each.data);
    EXPECT_EQ(Programs(".quarrytest").size(), each.handlers) << each.type << " of " << each.data.size() << " bytes";
  }
  type.SetRaw(L"shell\\open\\command", L"", REG_SZ, bytes(huge, huge.size() * 2));
  EXPECT_EQ(Programs(".quarrytest").size(), 1u);

  const std::wstring longest = L"." + std::wstring(254, L'x');
  RegistryFixture& longType = Key(longest);
  longType.SetString(L"", L"", name);
  longType.MakeSubkey(L"OpenWithList\\QuarryProgId1");  // a path that is not looked at
  longType.MakeSubkey(L"OpenWithList\\" + longest);
  EXPECT_EQ(Programs(Unicode_Utf8FromWide(longest)).size(), 2u);
}

TEST_F(FileTypeRecord, ReadsAListForALimitedTimeOnly) {
  Class(L"QuarryProgId1", L"p1.exe");
  RegistryFixture& type = Key(L".quarrytest");
  type.SetString(L"", L"", L"");
  for (int index = 0; index < 100; ++index) {
    type.MakeSubkey(L"OpenWithList\\QuarryNone" + std::to_wstring(index));
    type.SetRaw(L"OpenWithProgIds", L"QuarryNone" + std::to_wstring(index), REG_NONE, {});
  }
  type.MakeSubkey(L"OpenWithList\\Quarry_Last");
  Key(kExplorerTypes + L".quarrytest", HKEY_CURRENT_USER).SetRaw(L"OpenWithProgIds", L"QuarryProgId1", REG_NONE, {});
  step = 1000;
  const std::vector<std::string> programs = Programs(".quarrytest");
  step = 0;
  EXPECT_THAT(programs, ElementsAre("p1.exe"));  // the next list is read all the same
  EXPECT_THAT(
      messages,
      ElementsAre("FileTypeInfoWin32::Load: Leaving out the rest of '.quarrytest\\OpenWithList' after 10000 ms.\n",
                  "FileTypeInfoWin32::AddHandlersForSubValues: Leaving out the rest of "
                  "'.quarrytest\\OpenWithProgIds' after 10000 ms.\n"));
  EXPECT_LT(AppUtilFileTypeCaches().friendlyTypeNameCache.size(), 25u);
}

TEST_F(FileTypeRecord, NamesHandlersAndKeepsWhatItFoundOut) {
  RegistryFixture& progId = Class(L"QuarryProgId1", L"P1.exe");
  FileTypeInfoWin32 record(".q", 0);
  record.AddHandlerForName("QuarryProgId1");
  EXPECT_EQ(record.ApplicationFriendlyName(Handler(L"P1.EXE")), "QuarryProgId1 file");
  EXPECT_EQ(record.ApplicationFriendlyName(Unicode_Utf8FromWide(folder / L"P1.EXE")), "QuarryProgId1 file");
  EXPECT_EQ(record.ApplicationFriendlyName("c:\\other.exe"), "");

  record.AddHandlerForName("QuarryAbsent");
  Class(L"QuarryAbsent", L"p2.exe").SetString(L"", L"FriendlyTypeName", L"Late");
  progId.SetString(L"", L"FriendlyTypeName", L"Better");
  progId.RemoveSubkey(L"shell");
  record.AddHandlerForName("QUARRYPROGID1");
  record.AddHandlerForName("QuarryAbsent");
  EXPECT_THAT(record.handlerPaths, ElementsAre(Handler(L"P1.exe"), Handler(L"P1.exe"), Handler(L"p2.exe")));
  EXPECT_EQ(record.handlerNames.size(), 1u);  // the empty name was kept as well
  EXPECT_EQ(record.ApplicationFriendlyName(Handler(L"P1.exe")), "QuarryProgId1 file");

  AppUtilFileTypeCaches().Clear();
  FileTypeInfoWin32 later(".q", 1);
  later.AddHandlerForName("QuarryProgId1");
  later.AddHandlerForName("QuarryAbsent");
  EXPECT_THAT(later.handlerPaths, ElementsAre(Handler(L"p2.exe")));
  EXPECT_EQ(later.ApplicationFriendlyName(Handler(L"p2.exe")), "Late");

  later.AddApplicationWithCommandLine(Command(L"p3.exe"));
  const FileTypeInfoPtr one = later.ForApplication(Handler(L"p2.exe"));
  EXPECT_EQ(one->typeName, ".q");
  EXPECT_EQ(one->isProtocol, 1u);
  EXPECT_THAT(Programs(*one), ElementsAre("p2.exe"));
  EXPECT_EQ(one->ApplicationFriendlyName(Handler(L"p2.exe")), "Late");
  EXPECT_THAT(later.ForApplication(Unicode_Utf8FromWide(folder / L"P2.exe"))->handlerPaths, IsEmpty());
}

TEST_F(FileTypeRecord, HasTheNameThatTheShellShows) {
  Class(L"QuarryProgId1", L"p1.exe");
  Key(L".quarrytest").SetString(L"", L"", L"QuarryProgId1");
  EXPECT_EQ(FileTypeInfoWin32(".quarrytest", 0).FriendlyName(), "QuarryProgId1 file");
  Key(L"QuarryProgId1");  // emptied
  EXPECT_EQ(FileTypeInfoWin32(".QUARRYTEST", 0).FriendlyName(), "QuarryProgId1 file");
  EXPECT_THAT(messages, IsEmpty());
  EXPECT_EQ(FileTypeInfoWin32(".quarrynone", 0).FriendlyName(), "");
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0],
            "FileTypeInfoWin32::FriendlyName: Failed to get friendly name for file extension \".quarrynone\".\n");
  EXPECT_TRUE(messages[1].starts_with("FileTypeInfoWin32::FriendlyName: AssocQueryString error 0x8"));
}

/// An executable whose string 16 is `text`: the first of the second block of sixteen.
std::wstring WriteStringResource(const std::wstring& path, const std::wstring& text) {
  EXPECT_TRUE(WriteExecutable(path));
  std::vector<std::uint8_t> block(2 + text.size() * 2 + 15 * 2);
  block[0] = static_cast<std::uint8_t>(text.size());
  std::memcpy(block.data() + 2, text.data(), text.size() * 2);
  EXPECT_TRUE(PutResource(path, RT_STRING, MAKEINTRESOURCEW(2), block));
  return L"@" + path + L",-16";
}

TEST_F(FileTypeRecord, ResolvesANameThatIsAResourceOnce) {
  const std::wstring circle = L"@" + folder / L"circle.dll" + L",-16";
  const std::wstring gone = L"@" + folder / L"gone.dll" + L",-16";
  WriteStringResource(folder / L"circle.dll", circle);
  FileTypeInfoWin32 record(".q", 0);
  record.handlerNames = {{"plain", "Plain"},
                         {"named", Unicode_Utf8FromWide(WriteStringResource(folder / L"named.dll", L"Bücher"))},
                         {"circle", Unicode_Utf8FromWide(circle)},
                         {"gone", Unicode_Utf8FromWide(gone)},
                         {"empty", ""}};
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(record.ApplicationFriendlyName("plain"), "Plain");
    EXPECT_EQ(record.ApplicationFriendlyName("NAMED"), Unicode_Utf8FromWide(L"Bücher"));
    EXPECT_EQ(record.ApplicationFriendlyName("circle"), Unicode_Utf8FromWide(circle));
    EXPECT_EQ(record.ApplicationFriendlyName("gone"), Unicode_Utf8FromWide(gone));
    EXPECT_EQ(record.ApplicationFriendlyName("empty"), "");
    DeleteFileW((folder / L"named.dll").c_str());  // the second round has it from the cache
  }
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_TRUE(messages[0].starts_with("VlkSHLoadIndirectString: SHLoadIndirectString failed, source: \"" +
                                      Unicode_Utf8FromWide(gone) + "\", error: 0x8"));
}

std::vector<UINT> askedSizes;
UINT neededSize = 0;

HRESULT WINAPI LoadLongText(PCWSTR /*source*/, PWSTR buffer, UINT capacity, void** /*reserved*/) {
  askedSizes.push_back(capacity);
  if (capacity < neededSize) return HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
  std::fill_n(buffer, neededSize - 1, L'x');
  buffer[neededSize - 1] = L'\0';
  return S_OK;
}

// This system's own function cuts a text that does not fit and calls that a success.
TEST_F(FileTypeRecord, GivesAResourceTextMoreRoomUpToALimit) {
  const struct {
    std::size_t source;
    UINT needed;
    std::vector<UINT> asked;
    HRESULT result;
  } cases[] = {
      {10, 100, {128}, S_OK},
      {127, 129, {128, 256}, S_OK},
      {10, 1024, {128, 256, 512, 1024}, S_OK},
      {10, 1025, {128, 256, 512, 1024}, HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER)},
      {129, 600, {130, 260, 520}, HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER)},
      {1023, 1024, {1024}, S_OK},
      {1024, 10, {}, E_INVALIDARG},
  };
  AppUtilSetIndirectStringLoader(LoadLongText);
  for (const auto& each : cases) {
    askedSizes.clear();
    neededSize = each.needed;
    std::wstring text;
    EXPECT_EQ(VlkSHLoadIndirectString(std::wstring(each.source, L'@'), text), each.result);
    EXPECT_EQ(askedSizes, each.asked);
    EXPECT_EQ(text.size(), each.result == S_OK ? each.needed - 1 : 0u);
  }
  AppUtilSetIndirectStringLoader(nullptr);
  EXPECT_EQ(messages.size(), 3u);
}

TEST_F(FileTypeRecord, AnswersForAShellWithoutProtocolHandlers) {
  void* enumerator = nullptr;
  const bool known =
      GetProcAddress(GetModuleHandleW(L"shell32"), "SHAssocEnumHandlersForProtocolByApplication") != nullptr;
  const HRESULT result = VlkSHAssocEnumHandlersForProtocolByApplication(L"http", IID_IEnumAssocHandlers, &enumerator);
  EXPECT_EQ(result == E_NOTIMPL, !known);
  if (enumerator != nullptr) static_cast<IUnknown*>(enumerator)->Release();
}

}  // namespace
}  // namespace quarry::test
