#include "lib/appUtil/openItems.h"

#include "lib/misc/logEntry.h"

#include "tests/support/assocHandlers.h"
#include "tests/support/registryFixture.h"
#include "tests/support/startedPrograms.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <objbase.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using namespace quarry::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Items = std::vector<std::wstring>;

std::vector<std::string> g_messages;

void Record(const char* message) { g_messages.emplace_back(message); }

/// The fixture program as the handler of files (prog ID QuarryTest.Document) and of a protocol (QuarryTest.Protocol).
class OpenItems : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    g_messages.clear();
    LogEntry_SetSink(Record);
    for (const RegistryFixture* progId : {&document_, &protocol_, &powerPoint_}) {
      progId->SetString(L"", L"", L"Test type");
      progId->SetString(L"shell\\open\\command", L"", L"\"" + program_ + L"\" --by-class \"%1\"");
    }
  }
  void TearDown() override {
    EXPECT_EQ(AssocHandlers::LiveObjects(), 0);
    LogEntry_SetSink(nullptr);
    CoUninitialize();
  }

  Items Open(const Items& items, OpenItemKind kind = OpenItemKind::File) const {
    return AppUtil_OpenItems(items, kind, program_);
  }
  std::wstring File(const wchar_t* name) const { return programs_.Folder().WriteText(name, L"text"); }
  Items StartedWith(std::size_t count) const {
    Items arguments;
    for (const Start& start : programs_.Wait(count)) arguments.push_back(start.arguments);
    std::sort(arguments.begin(), arguments.end());
    return arguments;
  }
  static std::string Messages() {
    std::string all;
    for (const std::string& message : g_messages) all += message;
    return all;
  }

  StartedPrograms programs_;
  std::wstring program_ = programs_.Program();
  RegistryFixture document_{L"Software\\Classes\\QuarryTest.Document"};
  RegistryFixture protocol_{L"Software\\Classes\\QuarryTest.Protocol"};
  RegistryFixture powerPoint_{L"Software\\Classes\\QuarryTest.PowerPoint.1"};
};

TEST_F(OpenItems, GroupsByLowerCasedKeyAndGivesUpItemsWithoutOne) {
  const AssocHandlers none({}, E_FAIL);
  EXPECT_THAT(Open({L"C:\\b.txt", L"readme", L"C:\\a.TXT", L"C:\\d.dir\\e", L"C:\\x.Doc"}),
              ElementsAre(L"readme", L"C:\\d.dir\\e", L"C:\\x.Doc", L"C:\\b.txt", L"C:\\a.TXT"));
  EXPECT_THAT(AssocHandlers::Keys(), ElementsAre(L".doc", L".txt"));
  EXPECT_THAT(g_messages, ElementsAre("AppUtil_OpenItems: Failed to query handlers for file extension '.doc' with "
                                      "error 0x80004005.\n",
                                      "AppUtil_OpenItems: Failed to query handlers for file extension '.txt' with "
                                      "error 0x80004005.\n"));
}

TEST_F(OpenItems, EmptyKeyEndsEverythingBehindIt) {
  const AssocHandlers none({});
  EXPECT_THAT(Open({L"http://a", L"nocolon", L"://fault"}, OpenItemKind::Url), ElementsAre(L"nocolon"));
  EXPECT_THAT(g_messages, ElementsAre("VERIFY lib/appUtil/appUtilFileTypesWin32:2288\n"));
  EXPECT_THAT(AssocHandlers::Keys(), IsEmpty());
}

TEST_F(OpenItems, PassesOverHandlersThatAreNotTheApplication) {
  SetEnvironmentVariableW(L"QuarryTestFolder", programs_.Folder().Path().c_str());
  std::wstring upper = L"%QuarryTestFolder%\\ECHO.EXE";
  const std::wstring endless(300, L'n');
  const AssocHandlers handlers({{L"", L"", E_ACCESSDENIED},
                                {endless, L"X"},
                                {L"C:\\other.exe", L"Other.Document"},
                                {upper, L"QuarryTest.Document"},
                                {program_, L"Never.Reached"}});
  const std::wstring first = File(L"a b.qtest");
  const std::wstring second = File(L"c.QTEST");
  EXPECT_THAT(Open({first, second}), IsEmpty());
  EXPECT_THAT(StartedWith(2), ElementsAre(L"--by-class \"" + first + L"\"", L"--by-class \"" + second + L"\""));
  EXPECT_THAT(Messages(), HasSubstr("Failed to retrieve the name of a handler for file extension '.qtest' with error "
                                    "0x80070005.\n"));
  EXPECT_THAT(Messages(), HasSubstr("of file extension with error 0x8007007a.\n"));
  EXPECT_THAT(Messages(), HasSubstr("has prog ID 'QuarryTest.Document'.\n"));
  EXPECT_THAT(Messages(), HasSubstr("Successfully invoked handler"));
  SetEnvironmentVariableW(L"QuarryTestFolder", nullptr);
}

TEST_F(OpenItems, GivesBackWhatNoHandlerOfTheApplicationOpens) {
  const std::wstring file = File(L"a.qtest");
  const std::vector<AssocHandler> useless[] = {
      {},
      {{L"C:\\other.exe", L"QuarryTest.Document"}},
      {{program_, L""}},
      {{program_, L"QuarryTest.Document", S_OK, false}},
      {{program_, L"QuarryTest.Document", S_OK, true, E_FAIL}},
      {{program_, L"QuarryTest.NotRegistered"}},
  };
  for (const auto& handlers : useless) {
    const AssocHandlers shell(handlers);
    EXPECT_THAT(Open({file}), ElementsAre(file));
  }
  EXPECT_THAT(Messages(), HasSubstr("not open the 1 file(s) with that extension properly.\n"));
  EXPECT_THAT(Messages(), HasSubstr("Failed to invoke handler"));
  EXPECT_THAT(programs_.All(), IsEmpty());
}

TEST_F(OpenItems, StartsPowerPointWithTheQuotedFileInstead) {
  const AssocHandlers shell({{program_, L"QuarryTest.PowerPoint.1"}});
  const std::wstring file = File(L"slides one.qtest");
  EXPECT_THAT(Open({file}), IsEmpty());
  EXPECT_THAT(StartedWith(1), ElementsAre(L"\"" + file + L"\""));
  EXPECT_THAT(Messages(), HasSubstr("instead of prog ID.\n"));
}

TEST_F(OpenItems, OpensUrlsThroughTheClassKeyElseByClassName) {
  {
    const AssocHandlers shell({{program_, L"QuarryTest.Protocol"}});
    EXPECT_THAT(Open({L"QTest://host/a?b=c"}, OpenItemKind::Url), IsEmpty());
    EXPECT_THAT(AssocHandlers::Keys(), ElementsAre(L"qtest"));
    EXPECT_THAT(StartedWith(1), ElementsAre(L"--by-class \"QTest://host/a?b=c\""));
  }
  const AssocHandlers shell({{program_, L"QuarryTest.Gone"}});
  EXPECT_THAT(Open({L"qtest://x"}, OpenItemKind::Url), ElementsAre(L"qtest://x"));
  EXPECT_THAT(Messages(),
              HasSubstr("Failed to open HKEY_CLASSES_ROOT\\QuarryTest.Gone key. Falling back to opening URI "
                        "using class name.\n"));
}

}  // namespace
