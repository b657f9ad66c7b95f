#include "lib/fileTypes/fileTypeRecord.h"

#include "lib/appUtil/handlerEnumeration.h"
#include "lib/fileTypes/fileTypeDiscovery.h"
#include "lib/fileTypes/indirectString.h"

#include "tests/unit/fileTypesFixture.h"

#include <unknwn.h>

#include <cstring>

namespace quarry::test {
namespace {

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
  for (const std::wstring number : {L"1", L"3", L"5", L"6", L"7", L"8"}) {
    Class(L"QuarryProgId" + number, L"p" + number + L".exe")
        .SetString(L"shell\\edit\\command", L"", Command(L"e" + number + L".exe"));
  }
  Class(L"QuarryProgId4", L"p4.exe", L"edit");
  Class(L"QuarryProgId4b", L"p4b.exe", L"print");  // neither opened nor edited
  Class(L"QuarryApp.exe", L"p9.exe");
  const RegistryFixture& type = Key(L".quarrytest");
  type.SetString(L"", L"", L"QuarryProgId1");
  type.SetString(L"", L"PerceivedType", L"quarryperceived");
  type.SetString(L"shell\\open\\command", L"", Command(L"p2.exe"));
  type.MakeSubkey(L"OpenWithList\\QuarryProgId4");
  type.MakeSubkey(L"OpenWithList\\QuarryProgId4b");
  type.SetRaw(L"OpenWithProgIds", L"QuarryProgId5", REG_NONE, {});
  type.SetString(L"OpenWithProgIds", L"QuarryProgId6", L"");
  type.SetString(L"OpenWithProgIds", L"", L"QuarryProgId8");
  type.SetDword(L"OpenWithProgIds", L"QuarryProgId8", 1);
  Key(L"SystemFileAssociations\\quarryperceived").MakeSubkey(L"OpenWithList\\QuarryProgId3");
  const RegistryFixture& user = Key(ExplorerTypeKey(L".quarrytest"), HKEY_CURRENT_USER);
  user.SetRaw(L"OpenWithProgIds", std::wstring(16'000, L'a'), REG_NONE, {});  // no class, ahead of the next
  user.SetRaw(L"OpenWithProgIds", L"QuarryProgId7", REG_NONE, {});
  user.SetString(L"OpenWithList", L"a", L"QuarryApp.exe");
  user.SetString(L"OpenWithList", L"b", L"QuarryProgId8");
  user.SetString(L"OpenWithList", L"MRUList", L"bxa");

  EXPECT_THAT(Programs(".quarrytest"),
              ElementsAre("p1.exe", "p2.exe", "p1.exe", "p4.exe", "p5.exe", "p6.exe", "p7.exe", "p8.exe", "p9.exe"));
  const std::string ignoring = "FileTypeInfoWin32::AddHandlersForSubValues: Ignoring type '.quarrytest' handler '";
  EXPECT_THAT(messages, UnorderedElementsAre(ignoring + "' because its type isn't correct (1).\n",
                                             ignoring + "QuarryProgId8' because its type isn't correct (4).\n"));
  EXPECT_THAT(
      Programs(".quarrytest", kFileTypesPerceivedType),
      ElementsAre("p1.exe", "p2.exe", "p3.exe", "p1.exe", "p4.exe", "p5.exe", "p6.exe", "p7.exe", "p8.exe", "p9.exe"));
  for (const std::size_t length : {511U, 512U}) {  // the longest that is read, with its terminator, and one more
    user.SetString(L"OpenWithList", L"MRUList", std::wstring(length, L'a'));
    EXPECT_THAT(Programs(".quarrytest"), SizeIs(length == 511 ? 7 + 511 : 7));
  }
  type.RemoveValue(L"", L"");
  EXPECT_THAT(Programs(".quarrytest"), IsEmpty());
  EXPECT_EQ(FileTypeInfoWin32(".quarrynone", 0).Load(0), ERROR_FILE_NOT_FOUND);
}

TEST_F(FileTypeRecord, SurvivesValuesThatNobodyShouldHaveWritten) {
  Class(L"QuarryProgId1", L"p1.exe");
  const RegistryFixture& type = Key(L".quarrytest");
  type.MakeSubkey(L"OpenWithList\\QuarryProgId1");
  const std::wstring text = L"QuarryProgId1" + std::wstring(30000, L'x');
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const struct {
    DWORD type;
    std::size_t size;
    std::size_t handlers;  // one from the list whenever there is a default value
  } cases[] = {
      {REG_SZ, 26, 3},  // not terminated
      {REG_SZ, 27, 3},  // half a character more
      {REG_EXPAND_SZ, 26, 3}, {REG_BINARY, 26, 1}, {REG_SZ, 0, 1}, {REG_SZ, 60000, 1},
  };
  for (const auto& each : cases) {
    type.SetRaw(L"", L"", each.type, {bytes, each.size});
    EXPECT_EQ(Programs(".quarrytest").size(), each.handlers) << each.type << " of " << each.size << " bytes";
  }
  type.SetRaw(L"shell\\open\\command", L"", REG_SZ, {bytes, 60000});
  EXPECT_EQ(Programs(".quarrytest").size(), 1u);

  for (const std::size_t length : {241U, 242U}) {  // with the name of the list behind it the longest, and one more
    const std::wstring name = L"." + std::wstring(length - 1, L'x');
    const RegistryFixture& longType = Key(name);
    longType.SetString(L"", L"", L"QuarryProgId1");
    longType.MakeSubkey(L"OpenWithList\\QuarryProgId1");
    EXPECT_THAT(Programs(Unicode_Utf8FromWide(name)), SizeIs(length == 241 ? 3 : 2));
  }
}

TEST_F(FileTypeRecord, ReadsAListForALimitedTimeOnly) {
  Class(L"QuarryProgId1", L"p1.exe");
  const RegistryFixture& type = Key(L".quarrytest");
  type.SetString(L"", L"", L"");
  for (const wchar_t* const last :
       {L"None1", L"None2", L"None3", L"None4", L"None5", L"None6", L"None7", L"None8", L"None9", L"ProgId1"}) {
    type.MakeSubkey(std::wstring(L"OpenWithList\\Quarry") + last);
    type.SetRaw(L"OpenWithProgIds", std::wstring(L"Quarry") + last, REG_NONE, {});
  }
  Key(ExplorerTypeKey(L".quarrytest"), HKEY_CURRENT_USER).SetRaw(L"OpenWithProgIds", L"QuarryProgId1", REG_NONE, {});
  step = 1000;
  EXPECT_THAT(Programs(".quarrytest"), ElementsAre("p1.exe"));  // the next list is read all the same
  EXPECT_THAT(
      messages,
      ElementsAre("FileTypeInfoWin32::Load: Leaving out the rest of '.quarrytest\\OpenWithList' after 10000 ms.\n",
                  "FileTypeInfoWin32::AddHandlersForSubValues: Leaving out the rest of "
                  "'.quarrytest\\OpenWithProgIds' after 10000 ms.\n"));
}

TEST_F(FileTypeRecord, AllListsOfABuildTogetherHaveALimitedTime) {
  for (int number = 0; number < 14; ++number) {
    const RegistryFixture& type = Key(Str_FormatWide(L".quarry%d", number));
    type.SetString(L"", L"", L"QuarryNone");
    type.MakeSubkey(L"OpenWithList\\QuarryNone");
  }
  const auto leftOut = [] {
    return std::any_of(messages.begin(), messages.end(), [](const std::string& text) {
      return text.find("Leaving out the rest of '.quarry") != std::string::npos;
    });
  };
  step = 2'500;  // two looks at the clock for each list
  for (int number = 0; number < 14; ++number) Programs(Str_Format(".quarry%d", number));
  EXPECT_FALSE(leftOut());
  AppUtil_BuildGlobalApplicationList(0);
  EXPECT_TRUE(leftOut());
}

TEST_F(FileTypeRecord, NamesHandlersAndKeepsWhatItFoundOut) {
  const RegistryFixture& progId = Class(L"QuarryProgId1", L"P1.exe");
  Class(L"QuarryProgId2", L"P1.exe");
  Class(L"QuarryProgId3", L"P1.exe").SetString(L"", L"", L"");
  FileTypeInfoWin32 record(".q", 0);
  for (const char* const name : {"QuarryProgId1", "QuarryProgId2", "QuarryProgId3", "QuarryAbsent"}) {
    record.AddHandlerForName(name);
  }
  EXPECT_EQ(record.ApplicationFriendlyName(Unicode_Utf8FromWide(folder / L"P1.EXE")), "QuarryProgId2 file");
  EXPECT_EQ(record.ApplicationFriendlyName("c:\\other.exe"), "");

  Class(L"QuarryAbsent", L"p2.exe").SetString(L"", L"FriendlyTypeName", L"Late");
  progId.SetString(L"", L"FriendlyTypeName", L"Better");
  progId.RemoveSubkey(L"shell");
  FileTypeInfoWin32 warm(".q", 0);
  warm.AddHandlerForName("QUARRYPROGID1");
  warm.AddHandlerForName("QuarryAbsent");
  EXPECT_THAT(warm.handlerPaths, ElementsAre(Handler(L"P1.exe"), Handler(L"p2.exe")));
  EXPECT_EQ(warm.handlerNames.size(), 1u);  // the empty name was kept as well
  EXPECT_EQ(warm.ApplicationFriendlyName(Handler(L"P1.exe")), "QuarryProgId1 file");

  AppUtilFileTypeCaches().Clear();
  FileTypeInfoWin32 later(".q", 1);
  later.AddHandlerForName("QuarryProgId1");
  later.AddHandlerForName("QuarryAbsent");
  later.AddApplicationWithCommandLine(Command(L"p3.exe"));
  EXPECT_THAT(Programs(later), ElementsAre("p2.exe", "p3.exe"));
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
  EXPECT_EQ(FileTypeInfoWin32(".quarrynone", 0).FriendlyName(), "");
  const std::string function = "FileTypeInfoWin32::FriendlyName: ";
  EXPECT_THAT(messages, ElementsAre(function + "Failed to get friendly name for file extension \".quarrynone\".\n",
                                    StartsWith(function + "AssocQueryString error 0x8")));
}

/// A name that stands for `text`: string 16 of an executable, the first of the second block of sixteen.
std::string WriteStringResource(const TemporaryFolder& folder, const wchar_t* name, const std::wstring& text) {
  const std::wstring path = folder.CopyFrom(name, FixtureProgram(L"emptyApp"));
  Bytes block(2 + text.size() * 2 + 15 * 2);
  block[0] = static_cast<std::uint8_t>(text.size());
  std::memcpy(block.data() + 2, text.data(), text.size() * 2);
  PutResource(path, RT_STRING, MAKEINTRESOURCEW(2), block);
  return Unicode_Utf8FromWide(L"@" + path + L",-16");
}

TEST_F(FileTypeRecord, ResolvesANameThatIsAResourceOnce) {
  const std::string circle = Unicode_Utf8FromWide(L"@" + folder / L"circle.dll" + L",-16");
  const std::string gone = Unicode_Utf8FromWide(L"@" + folder / L"gone.dll" + L",-16");
  WriteStringResource(folder, L"circle.dll", Unicode_WideFromUtf8(circle));
  const std::string named = WriteStringResource(folder, L"named.dll", L"Bücher");
  FileTypeInfoWin32 record(".q", 0);
  record.handlerNames = {{"plain", "Plain"}, {"named", named}, {"circle", circle}, {"gone", gone}, {"empty", ""}};
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(record.ApplicationFriendlyName("plain"), "Plain");
    EXPECT_EQ(record.ApplicationFriendlyName("NAMED"), "Bücher");
    EXPECT_EQ(record.ApplicationFriendlyName("circle"), circle);
    EXPECT_EQ(record.ApplicationFriendlyName("gone"), gone);
    EXPECT_EQ(record.ApplicationFriendlyName("empty"), "");
    DeleteFileW((folder / L"named.dll").c_str());
  }
  EXPECT_THAT(messages, ElementsAre(StartsWith("VlkSHLoadIndirectString: SHLoadIndirectString failed, source: \"" +
                                               gone + "\", error: 0x8")));
  // A module that comes back is found with the next build.
  WriteStringResource(folder, L"gone.dll", L"Back");
  EXPECT_EQ(record.ApplicationFriendlyName("gone"), gone);
  AppUtil_BuildGlobalApplicationList(0);
  EXPECT_EQ(record.ApplicationFriendlyName("gone"), "Back");
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
      {127, 129, {128, 256}, S_OK},
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

TEST_F(FileTypeRecord, KnowsNoProtocolHandlersWhereTheShellDoesNot) {
  void* enumerator = nullptr;  // this system's shell lacks the function
  EXPECT_EQ(VlkSHAssocEnumHandlersForProtocolByApplication(L"http", IID_IUnknown, &enumerator), E_NOTIMPL);
}

}  // namespace
}  // namespace quarry::test
