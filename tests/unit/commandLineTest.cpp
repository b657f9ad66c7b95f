#include "lib/appUtil/actionUri.h"
#include "lib/fileTypes/fileTypeDiscovery.h"
#include "lib/fileTypes/fileTypeRecord.h"
#include "lib/fileTypes/handlerPath.h"
#include "lib/fileTypes/lowerCase.h"
#include "lib/misc/remoteServers.h"

#include "tests/unit/allocationLimit.h"
#include "tests/unit/fileTypesFixture.h"

namespace quarry::test {
namespace {

class CommandLine : public FileTypesFixture {
 protected:
  std::optional<FileTypeHandler> Add(const std::wstring& commandLine) {
    FileTypeInfoWin32 record(".q", 0);
    std::optional<FileTypeHandler> handler = record.AddApplicationWithCommandLine(commandLine);
    EXPECT_EQ(record.handlerPaths.size(), handler ? 1u : 0u);
    EXPECT_EQ(record.actionUris.size(), record.handlerPaths.size());
    return handler;
  }
  /// Whether the server of a program that is not there was asked for it: each such access is timed.
  bool IsAsked(const std::wstring& commandLine) {
    const ULONGLONG before = now;
    EXPECT_FALSE(Add(commandLine));
    return now != before;
  }
};

TEST_F(CommandLine, LeadsToItsProgramAndItsActionUri) {
  const std::string browser = R"(c:\program files\internet explorer\iexplore.exe)";
  const std::string browserUri = "file:///C:/Program%20Files/Internet%20Explorer/iexplore.exe";
  const std::string notepad = R"(c:\windows\system32\notepad.exe)";
  const std::string notepadUri = "file:///C:/windows/system32/notepad.exe";
  const struct {
    std::wstring line;
    std::string handler;
    std::string uri;
  } cases[] = {
      {LR"("C:\Program Files\Internet Explorer\iexplore.exe" "%1"  -ü&=)", browser,
       browserUri + "?argv%5B%5D=%22%251%22&argv%5B%5D=-%C3%BC%26%3D"},
      {L" \t\"C:\\Program Files\\Internet Explorer\\iexplore.exe", browser, browserUri},
      {LR"("%ProgramFiles%\Internet Explorer\iexplore.exe" %1)", browser, browserUri + "?argv%5B%5D=%251"},
      // The URI of an unquoted line ends before its first space.
      {LR"(C:\Program Files\Internet Explorer\iexplore.exe)", browser,
       "file:///C:/Program?argv%5B%5D=Files%5CInternet&argv%5B%5D=Explorer%5Ciexplore.exe"},
      {LR"(%SystemRoot%\system32\notepad.exe %1)", notepad, notepadUri + "?argv%5B%5D=%251"},
      {L"\"notepad.exe\"", notepad, notepadUri},
      {L"\"%1\" %*", R"(c:\windows\explorer.exe)", "file:///C:/windows/explorer.exe?argv%5B%5D=%22%251%22"},
  };
  for (const auto& each : cases) {
    const std::optional<FileTypeHandler> handler = Add(each.line);
    ASSERT_TRUE(handler) << Unicode_Utf8FromWide(each.line);
    EXPECT_EQ(handler->path, each.handler);
    EXPECT_EQ(handler->actionUri, each.uri);
  }
  folder.MakeFolder(L"two");  // a folder is no program
  const std::wstring program = Program(L"two words\\Bücher.exe");
  std::wstring shortPath(MAX_PATH, L'\0');
  shortPath.resize(GetShortPathNameW(program.c_str(), shortPath.data(), MAX_PATH));
  ASSERT_EQ(shortPath.find(L' '), std::wstring::npos);
  for (const std::wstring& path : {program, shortPath}) {
    EXPECT_EQ(Add(path + L" %1").value_or(FileTypeHandler()).path, Handler(L"two words\\Bücher.exe"));
  }
  EXPECT_EQ(AppUtil_ActionURIForCommandLine(L"\"\\\\server\\my share\\x.exe\" a"),
            "file://server/my%20share/x.exe?argv%5B%5D=a");
  EXPECT_THAT(messages, IsEmpty());
}

TEST_F(CommandLine, WithoutAProgramAddsNothingAndSaysSo) {
  const std::string notAdded = "FileTypeInfoWin32::AddApplicationWithCommandLine: Failed to add application '";
  const std::wstring path = folder.Path();
  for (const std::wstring& line : {std::wstring(), std::wstring(L"   \t "), std::wstring(L"\""),
                                   std::wstring(L"\"\"\"\"\"\""), std::wstring(L"\" \""), path + L"\\none.exe %1",
                                   L'"' + path + L"\\none.exe\" %1", L'"' + std::wstring(300, L'a') + L'"'}) {
    messages.clear();
    EXPECT_FALSE(Add(line)) << Unicode_Utf8FromWide(line);
    const std::string shown = Unicode_Utf8FromWide(line.substr(std::min(line.find_first_not_of(L" \t"), line.size())));
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back(), notAdded + shown + "' as handler for type name '.q'.\n");
  }
  messages.clear();
  EXPECT_FALSE(Add(L"\"none.exe\" x"));
  EXPECT_FALSE(AppUtil_ActionURIForCommandLine(L"none.exe x"));
  EXPECT_THAT(messages,
              ElementsAre("FileTypeInfoWin32::AddApplicationWithCommandLine: executable not found: \"none.exe\"",
                          notAdded + "\"none.exe\" x' as handler for type name '.q'.\n",
                          "AppUtil_ActionURIForCommandLine: executable not found: \"none.exe\""));
  EXPECT_FALSE(AppUtil_ActionURIForCommandLine(L"\"C:\\" + std::wstring(257, L'a') + L'"'));
  EXPECT_TRUE(AppUtil_ActionURIForCommandLine(L"\"C:\\" + std::wstring(256, L'a') + L'"'));
}

TEST_F(CommandLine, IsRememberedAsItIsWritten) {
  const std::wstring program = Program(L"App.exe");
  EXPECT_TRUE(Add(program + L" %1"));
  DeleteFileW(program.c_str());
  EXPECT_EQ(Add(L" " + program + L" %1").value_or(FileTypeHandler()).path, Handler(L"App.exe"));
  EXPECT_FALSE(Add(folder / L"APP.EXE %1"));
  AppUtilFileTypeCaches().Clear();
  EXPECT_FALSE(Add(program + L" %1"));
}

TEST_F(CommandLine, AsksAServerThatIsSlowToFailOnceUntilItIsForgotten) {
  const std::wstring path = L"quarrytestdead\\share\\App.exe";
  const std::wstring ways[] = {L"\\\\" + path, L"//QUARRYTESTDEAD/share/App.exe", L"\\\\?\\UNC\\" + path,
                               L"\\\\.\\unc\\" + path};
  for (const std::wstring& slow : ways) {
    RemoteServer_Forget();
    step = 1999;
    EXPECT_TRUE(IsAsked(slow));
    step = 2000;
    EXPECT_TRUE(IsAsked(slow)) << Unicode_Utf8FromWide(slow);
    for (const std::wstring& way : ways) {
      EXPECT_FALSE(IsAsked(way)) << Unicode_Utf8FromWide(way) << " after " << Unicode_Utf8FromWide(slow);
    }
    EXPECT_FALSE(IsAsked(L"\"\\\\" + path + L'"'));
    EXPECT_TRUE(IsAsked(L"\\\\quarrytestother\\share\\App.exe"));
    EXPECT_FALSE(IsAsked(L"\\\\?\\C:\\none.exe"));  // on no server
  }
  EXPECT_TRUE(Add(L"\"\\\\?\\" + Program(L"App.exe") + L'"'));
}

TEST_F(CommandLine, CostsOnlyItselfWhenMemoryRunsOut) {
  const std::wstring line = L"\"C:\\x.exe\" " + std::wstring(200000, L'a');
  const std::string text(100000, 'A');
  std::optional<std::string> uri;
  std::optional<std::string> lower;
  {
    const AllocationLimit limit(100000);
    uri = AppUtil_ActionURIForCommandLine(line);
    lower = AppUtil_ToLowerUtf8(text);
  }
  EXPECT_FALSE(uri);
  EXPECT_FALSE(lower);
  EXPECT_THAT(messages, ElementsAre(StartsWith("MEM_ALLOC lib/appUtil/appUtilWin32:"),
                                    "AppUtil_ToLowerUtf16: Failed to alloc 200002 bytes.\n"));
}

}  // namespace
}  // namespace quarry::test
