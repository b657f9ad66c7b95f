#include "lib/fileTypes/fileTypeDiscovery.h"

#include "tests/unit/fileTypesFixture.h"

namespace quarry::test {
namespace {

class FileTypeDiscovery : public FileTypesFixture {
 protected:
  FileTypeDiscovery() { now += 3600000; }

  /// The types of a program, protocols with a colon, in the order of the records.
  std::vector<std::string> TypesOf(const std::wstring& program) const {
    std::vector<std::string> types;
    for (const ConstFileTypeInfoPtr& record : AppUtil_FindFileTypes(Unicode_Utf8FromWide(folder / program))) {
      types.push_back(record->typeName + (record->isProtocol != 0 ? ":" : ""));
    }
    return types;
  }
  std::vector<std::string> BuildTypesOf(const std::wstring& program, std::uint32_t flags) {
    AppUtil_BuildGlobalApplicationList(flags);
    return TypesOf(program);
  }
};

TEST_F(FileTypeDiscovery, FilesClassesAndWhatApplicationsDeclareInBothRegistryViews) {
  Class(L"QuarryProgId1", L"App.exe");
  Key(L".quarrya").SetString(L"", L"", L"QuarryProgId1");  // its program is found twice
  Class(L".quarryc", L"App.exe").SetDword(L"", L"URL Protocol", 1);
  Key(L"quarryr").SetString(L"", L"URL Protocol", L"");  // a protocol whose handler nobody knows
  const RegistryFixture& registered = Key(L"Software\\RegisteredApplications", HKEY_LOCAL_MACHINE);
  registered.SetString(L"", L"1 App", L"Software\\QuarryTest\\Capabilities");
  registered.SetDword(L"", L"2 Bad", 7);
  registered.SetString(L"", L"3 Gone", L"Software\\QuarryNone");
  const RegistryFixture& wide = Key(L"Software\\QuarryTest", HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY);
  wide.SetString(L"Capabilities\\FileAssociations", L".quarrya", L"QuarryProgId1");
  wide.SetString(L"Capabilities\\FileAssociations", L"", L"QuarryProgId1");
  wide.SetRaw(L"Capabilities\\FileAssociations", L".quarryb", REG_EXPAND_SZ, {});
  wide.SetString(L"Capabilities\\URLAssociations", L"quarryp", L"QuarryProgId1");
  const RegistryFixture& narrow = Key(L"Software\\QuarryTest", HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY);
  narrow.SetString(L"Capabilities\\FileAssociations", L".quarrye", L"QuarryProgId1");
  narrow.SetString(L"Capabilities\\FileAssociations", L".quarryd", L"QuarryNone");

  for (const int generation : {kOsGenerationVista, kOsGenerationUnknown}) {
    Os_SetGeneration(generation);
    messages.clear();
    EXPECT_THAT(BuildTypesOf(L"APP.EXE", 0), ElementsAre(".quarrya", ".quarryc", ".quarrya", "quarryp:", ".quarrye"));
    EXPECT_EQ(CountMessage("AddApplicationsFromCapabilitiesAssociationsListCB: Key type 4 is not REG_SZ\n"), 1);
    EXPECT_EQ(CountMessage("AddApplicationsFromCapabilitiesHelper: Key type 2 is not REG_SZ\n"), 1);
    const std::string unopened = "AddApplicationsFromCapabilitiesAssociationsListCB: Unable to open key with path ";
    EXPECT_EQ(CountMessage(unopened + "Software\\QuarryNone\\FileAssociations\n"), 2);
    EXPECT_EQ(CountMessage(unopened + "Software\\QuarryTest\\Capabilities\\URLAssociations\n"), 1);  // 32-bit view
  }
  EXPECT_THAT(TypesOf(L"none.exe"), IsEmpty());
  Os_SetGeneration(kOsGenerationVista - 1);
  EXPECT_THAT(BuildTypesOf(L"App.exe", kFileTypesProtocols), ElementsAre(".quarrya", ".quarryc", ".quarryc:"));
}

TEST_F(FileTypeDiscovery, KnowsBrowsersAndMailClientsOfOlderSystems) {
  Class(L"FirefoxURL", L"FÜX.exe");
  Key(L"Applications\\Opera.exe").SetString(L"shell\\open\\command", L"", Command(L"Opera.exe"));
  Key(L"ChromeHTML").SetString(L"shell\\open\\command", L"", L"\"none.exe\"");
  const RegistryFixture& mail = Key(L"Software\\Clients\\Mail\\Quarry Post", HKEY_LOCAL_MACHINE);
  mail.SetString(L"Protocols\\mailto\\shell\\open\\command", L"", Command(L"Post.exe"));
  Key(L"Software\\Clients\\Mail\\Quarry Bare", HKEY_LOCAL_MACHINE);

  Os_SetGeneration(kOsGenerationWindows2000);
  EXPECT_THAT(BuildTypesOf(L"füx.exe", kFileTypesProtocols), ElementsAre("http:", "https:"));
  Os_SetGeneration(kOsGenerationVista - 1);
  EXPECT_THAT(BuildTypesOf(L"füx.exe", kFileTypesProtocols), ElementsAre("http:", "https:"));
  EXPECT_THAT(TypesOf(L"Opera.exe"), ElementsAre("http:", "https:"));
  EXPECT_THAT(TypesOf(L"Post.exe"), ElementsAre("mailto:"));
  EXPECT_THAT(messages, Contains(EndsWith("'\"none.exe\"' as handler for type name 'ChromeHTML'.\n")));
  EXPECT_THAT(messages, Contains("AddApplicationsFromSoftwareClientsMailCB: Unable to open key with path "
                                 "Software\\Clients\\Mail\\Quarry Bare\\Protocols\\mailto\\shell\\open\\command\n"));
  EXPECT_THAT(BuildTypesOf(L"füx.exe", 0), IsEmpty());
  EXPECT_THAT(TypesOf(L"Post.exe"), IsEmpty());
  Os_SetGeneration(kOsGenerationVista);
  EXPECT_THAT(BuildTypesOf(L"füx.exe", kFileTypesProtocols), IsEmpty());
}

TEST_F(FileTypeDiscovery, RemembersHandlersForAnHour) {
  const RegistryFixture& progId = Class(L"QuarryProgId1", L"App.exe");
  Key(L".quarrya").SetString(L"", L"", L"QuarryProgId1");
  now = 0xFFFFFFFF - 60000;  // the 32-bit count starts again within the hour
  AppUtil_BuildGlobalApplicationList(0);
  progId.RemoveSubkey(L"shell");
  const ULONGLONG cleared = now;
  const std::string clearing = "AppUtil_BuildGlobalApplicationList: Clearing the global app caches.\n";
  messages.clear();
  now = cleared + 3599999;
  EXPECT_THAT(BuildTypesOf(L"App.exe", 0), ElementsAre(".quarrya"));
  EXPECT_EQ(CountMessage(clearing), 0);
  now = cleared + 3600000;
  EXPECT_THAT(BuildTypesOf(L"App.exe", 0), IsEmpty());
  EXPECT_EQ(CountMessage(clearing), 1);
}

}  // namespace
}  // namespace quarry::test
