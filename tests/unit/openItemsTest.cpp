#include "lib/appUtil/openItems.h"

#include "quarry/facade/quarryImpl.h"

#include "lib/misc/logEntry.h"

#include "tests/support/hostTest.h"
#include "tests/support/startedPrograms.h"
#include "tests/unit/allocationLimit.h"
#include "tests/unit/assocHandlers.h"

#include <objbase.h>

namespace quarry::test {
namespace {

std::string g_messages;

void Replace(std::string& text, const std::wstring& wide, const std::string& by) {
  const std::string part = Unicode_Utf8FromWide(wide);
  for (std::size_t at = 0; (at = text.find(part)) != std::string::npos;) text.replace(at, part.size(), by);
}

/// The fixture program as the application; its prog IDs start it with "--by-class".
class OpenItems : public Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    LogEntry_SetSink([](const char* message) { g_messages += message; });
    for (const RegistryFixture* progId : {&document_, &powerPoint_}) {
      progId->SetString(L"", L"", L"Test type");
      progId->SetString(L"shell\\open\\command", L"", L"\"" + program_ + L"\" --by-class \"%1\"");
    }
  }
  void TearDown() override {
    EXPECT_EQ(g_lentReferences, 0);
    LogEntry_SetSink(nullptr);
    CoUninitialize();
  }

  Names Open(const Names& items) const {
    g_messages.clear();
    const bool isUrl = items[0].find(L"://") != std::wstring::npos;
    return AppUtil_OpenItems(items, isUrl ? OpenItemKind::Url : OpenItemKind::File, program_);
  }

  StartedPrograms programs_;
  std::wstring program_ = programs_.Program();
  RegistryFixture document_{L"Software\\Classes\\Test.Document"};
  RegistryFixture powerPoint_{L"Software\\Classes\\Test.PowerPoint.1"};
};

TEST_F(OpenItems, GroupsByLowerCasedKeyAndGivesUpItemsWithoutOne) {
  const AssocHandlers none({}, E_FAIL);
  EXPECT_THAT(Open({L"C:\\b.txt", L"readme", L"C:\\a.TXT", L"C:\\d.dir\\e", L"C:\\x.Doc"}),
              ElementsAre(L"readme", L"C:\\d.dir\\e", L"C:\\x.Doc", L"C:\\b.txt", L"C:\\a.TXT"));
  EXPECT_EQ(g_messages,
            "AppUtil_OpenItems: Failed to query handlers for file extension '.doc' with error 0x80004005.\n"
            "AppUtil_OpenItems: Failed to query handlers for file extension '.txt' with error 0x80004005.\n");
  // A URL without a protocol ends everything behind it.
  EXPECT_THAT(Open({L"http://a", L"nocolon", L"://fault"}), ElementsAre(L"nocolon"));
  EXPECT_EQ(g_messages, "VERIFY lib/appUtil/appUtilFileTypesWin32:2288\n");
  EXPECT_THAT(none.Keys(), ElementsAre(L".doc", L".txt"));
}

TEST_F(OpenItems, TakesTheFirstHandlerThatIsTheApplication) {
  const std::wstring file = programs_.Folder().WriteText(L"a.qtest", L"text");
  const std::wstring endless(300, L'\x6f22');
  const HandlerAnswers others[] = {{L"", L"", E_ACCESSDENIED}, {endless, L"X"}, {L"C:\\other.exe", L"Test.Document"}};
  const std::string passedOver =
      "AppUtil_OpenItems: Failed to retrieve the name of a handler for file extension '.qtest' with error "
      "0x80070005.\nAppUtil_OpenItems: Failed to expand handler path '" +
      Unicode_Utf8FromWide(endless) + "' of file extension with error 0x8007007a.\n";
  {
    const AssocHandlers none({others[0], others[1], others[2]});
    EXPECT_THAT(Open({file}), ElementsAre(file));
    EXPECT_EQ(g_messages, passedOver +
                              "AppUtil_OpenItems: Failed to locate a handler for file extension '.qtest' using "
                              "application '" +
                              Unicode_Utf8FromWide(program_) +
                              "'. This is unexpected and means that we may not open the 1 file(s) with that extension "
                              "properly.\n");
  }
  for (const HandlerAnswers& useless : {HandlerAnswers{program_, L""},
                                        {program_, L"Test.Document", S_OK, false},
                                        {program_, L"Test.Document", S_OK, true, E_FAIL}}) {
    const AssocHandlers shell({useless});
    EXPECT_THAT(Open({file}), ElementsAre(file));
    EXPECT_EQ(g_messages, "");
  }
  EXPECT_THAT(programs_.Take(0), IsEmpty());
  SetEnvironmentVariableW(L"TestFolder", programs_.Folder().Path().c_str());
  const AssocHandlers shell(
      {others[0], others[1], others[2], {L"%TestFolder%\\ECHO.EXE", L"Test.Document"}, {program_, L""}});
  EXPECT_THAT(Open({file}), IsEmpty());
  SetEnvironmentVariableW(L"TestFolder", nullptr);
  EXPECT_THAT(g_messages, StartsWith(passedOver + "AppUtil_OpenItems: Handler '%TestFolder%\\ECHO.EXE' has prog ID "));
  EXPECT_THAT(programs_.Take(1), ElementsAre(L"--by-class \"" + file + L"\""));
}

TEST_F(OpenItems, OpensByClassButPresentationsByCommandLine) {
  const std::wstring file = programs_.Folder().WriteText(L"a \x6f22.QTest", L"text");
  const std::string opened =
      "F: Successfully invoked handler 'APP' directly using prog ID 'PROG' for file or url 'ITEM'.\n";
  const std::string failed = "F: Failed to invoke handler 'APP' with prog ID 'PROG' for file or url 'ITEM' with error ";
  const std::string commandLine = "F: Using command-line '\"ITEM\"' instead of prog ID.\n";
  const std::string fallback =
      "F: Failed to open HKEY_CLASSES_ROOT\\PROG key. Falling back to opening URI using class name.\n";
  const struct {
    std::wstring progId;
    std::wstring item;
    const wchar_t* startedWith;  // before the item, null when it is given back
    std::string messages;
  } cases[] = {
      {L"Test.Document", file, L"--by-class ", opened},
      {L"Test.Powerpoint", file, nullptr, failed},  // the letter case counts
      {L"Test.PowerPoint.1", file, L"", commandLine + opened},
      {L"Test.PowerPoint.1", L"QTest://host/a?b=c", L"--by-class ", opened},
      {L"Test.Gone", L"qtest://a", nullptr, fallback + failed},
      {L"PowerPoint", L"qtest://a", L"", fallback + commandLine + opened},
      {L"PowerPoint", L"qtest://a\" --evil \"b", nullptr, fallback + commandLine + failed + "160.\n"},
      {L"Test.Document", L"http://x/\" --opt \"", nullptr, failed + "160.\n"},
      {L"Test.Document", L"C:\\a\x85.qtest", nullptr, failed + "160.\n"},
      {L"Test.Document", L"qtest://" + std::wstring(2'076, L'x'), nullptr, failed + "206.\n"},
  };
  for (const auto& [progId, item, startedWith, messages] : cases) {
    const AssocHandlers shell({{program_, progId}});
    const bool isOpened = startedWith != nullptr;
    EXPECT_EQ(Open({item}), isOpened ? Names() : Names{item});
    EXPECT_THAT(shell.Keys(), ElementsAre(AnyOf(L"qtest", L".qtest", L"http")));
    Replace(g_messages, item, "ITEM");
    Replace(g_messages, progId, "PROG");
    Replace(g_messages, program_, "APP");
    Replace(g_messages, L"AppUtil_OpenItems", "F");
    EXPECT_THAT(g_messages, StartsWith("F: Handler 'APP' has prog ID 'PROG'.\n" + messages));
    EXPECT_EQ(programs_.Take(isOpened ? 1 : 0), isOpened ? Names{startedWith + (L"\"" + item + L"\"")} : Names());
  }
}

TEST_F(OpenItems, DoesNotPutWhatAnInterpreterReadsIntoAHandlersCommandLine) {
  const std::wstring program = programs_.Program(L"cscript.exe");
  const AssocHandlers shell({{program, L"Test.Document"}});
  const QuarryLaunchParameter urls[] = {{L"url", L"special://a&b"}, {L"url", L"blank://a b"}, {L"url", L"plain://a"}};
  QuarryImpl quarry(nullptr, false);
  EXPECT_EQ(quarry.LaunchApplication(program, 0, L"", L"", 3, urls), QUARRY_LAUNCH_OK);
  EXPECT_THAT(shell.Keys(), ElementsAre(L"plain"));
  EXPECT_THAT(programs_.Take(3), ElementsAre(L"\"blank://a b\"", L"\"special://a&b\"", L"--by-class \"plain://a\""));
}

TEST_F(OpenItems, GivesBackWhatMemoryDoesNotSufficeFor) {
  const AssocHandlers shell({});
  const Names items = {L"b.doc", L"a.txt"};
  Names unopened;
  {
    const AllocationLimit limit(200);  // the items, but not a message about them
    unopened = Open(items);
  }
  EXPECT_EQ(unopened, items);
  EXPECT_THAT(g_messages, StartsWith("MEM_ALLOC lib/appUtil/appUtilFileTypesWin32:"));
}

}  // namespace
}  // namespace quarry::test
