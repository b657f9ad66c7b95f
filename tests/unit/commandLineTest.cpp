#include "lib/appUtil/actionUri.h"
#include "lib/appUtil/appUtilFileTypesWin32.h"
#include "lib/appUtil/appUtilFileTypesWin32CommandLine.h"
#include "lib/appUtil/appUtilFileTypesWin32Record.h"
#include "lib/appUtil/lowerCase.h"

#include "tests/unit/allocationLimit.h"
#include "tests/unit/fileTypesFixture.h"

#include <cstdlib>

namespace quarry::test {
namespace {

constexpr char kNotAdded[] = "FileTypeInfoWin32::AddApplicationWithCommandLine: Failed to add application '";

class CommandLine : public FileTypesFixture {
 protected:
  std::optional<FileTypeHandler> Add(const std::wstring& commandLine) {
    FileTypeInfoWin32 record(".q", 0);
    std::optional<FileTypeHandler> handler = record.AddApplicationWithCommandLine(commandLine);
    EXPECT_EQ(record.handlerPaths.size(), handler ? 1u : 0u);
    EXPECT_EQ(record.actionUris.size(), record.handlerPaths.size());
    return handler;
  }
  /// The action URI of a program of the folder, without its query.
  std::string Uri(const std::string& program) const {
    std::string uri = "file:///" + Unicode_Utf8FromWide(folder.Path()) + '/' + program;
    std::replace(uri.begin(), uri.end(), '\\', '/');
    for (std::size_t space = uri.find(' '); space != std::string::npos; space = uri.find(' ', space)) {
      uri.replace(space, 1, "%20");
    }
    return uri;
  }
};

TEST_F(CommandLine, LeadsToItsProgramAndItsActionUri) {
  SetEnvironmentVariableW(L"QUARRYTEST", folder.Path().c_str());
  Program(L"App.exe");
  Program(L"two words\\App.exe");
  Program(L"Bücher.exe");
  folder.MakeFolder(L"two");  // a folder is no program
  const std::wstring path = folder.Path();
  const std::string cutAtSpace = "file:///C:/" + Uri("").substr(11, Uri("").find("%20") - 11);
  const struct {
    std::wstring line;
    std::string handler;
    std::string uri;
  } cases[] = {
      {L'"' + path + L"\\App.exe\" \"%1\"  -x", Handler(L"App.exe"),
       Uri("App.exe") + "?argv%5B%5D=%22%251%22&argv%5B%5D=-x"},
      {L" \t\"" + path + L"\\App.exe\"", Handler(L"App.exe"), Uri("App.exe")},
      {L'"' + path + L"\\App.exe", Handler(L"App.exe"), Uri("App.exe")},
      {L'"' + path + L"\\Bücher.exe\" ü&=", Handler(L"Bücher.exe"),
       Uri("B%C3%BCcher.exe") + "?argv%5B%5D=%C3%BC%26%3D"},
      {L"\"%QUARRYTEST%\\App.exe\" %1", Handler(L"App.exe"), Uri("App.exe") + "?argv%5B%5D=%251"},
      // The folder's own name has a space, so the URI of an unquoted line ends before it.
      {path + L"\\two words\\App.exe %1", Handler(L"two words\\App.exe"),
       cutAtSpace + "?argv%5B%5D=Types." + std::to_string(GetCurrentProcessId()) +
           "%5Ctwo&argv%5B%5D=words%5CApp.exe&argv%5B%5D=%251"},
      {L"%QUARRYTEST%\\App.exe %1", Handler(L"App.exe"), Uri("App.exe") + "?argv%5B%5D=%251"},
      {L"\"%1\" %*", "c:\\windows\\explorer.exe", "file:///C:/windows/explorer.exe?argv%5B%5D=%22%251%22"},
      {L"%SystemRoot%\\system32\\notepad.exe %1", R"(c:\windows\system32\notepad.exe)",
       "file:///C:/windows/system32/notepad.exe?argv%5B%5D=%251"},
      {L"\"notepad.exe\"", R"(c:\windows\system32\notepad.exe)", "file:///C:/windows/system32/notepad.exe"},
  };
  for (const auto& each : cases) {
    const std::optional<FileTypeHandler> handler = Add(each.line);
    ASSERT_TRUE(handler) << Unicode_Utf8FromWide(each.line);
    EXPECT_EQ(handler->path, each.handler);
    EXPECT_EQ(handler->actionUri, each.uri);
  }
  EXPECT_EQ(AppUtil_ActionURIForCommandLine(L"\"\\\\server\\my share\\x.exe\" a"),
            "file://server/my%20share/x.exe?argv%5B%5D=a");
  EXPECT_TRUE(messages.empty()) << messages.front();
}

TEST_F(CommandLine, WithoutAProgramAddsNothingAndSaysSo) {
  const std::wstring path = folder.Path();
  const std::wstring lines[] = {L"",
                                L"   \t ",
                                L"\"",
                                L"\"\"\"\"\"\"",
                                L"\" \"",
                                path + L"\\none.exe %1",
                                L'"' + path + L"\\none.exe\" %1",
                                L"notepad.exe.none %1",
                                L'"' + std::wstring(300, L'a') + L"\""};
  for (const std::wstring& line : lines) {
    messages.clear();
    EXPECT_FALSE(Add(line)) << Unicode_Utf8FromWide(line);
    const std::string shown = Unicode_Utf8FromWide(line.substr(std::min(line.find_first_not_of(L" \t"), line.size())));
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back(), kNotAdded + shown + "' as handler for type name '.q'.\n");
  }
  messages.clear();
  EXPECT_FALSE(Add(L"\"none.exe\" x"));
  EXPECT_EQ(messages, (std::vector<std::string>{
                          "FileTypeInfoWin32::AddApplicationWithCommandLine: executable not found: \"none.exe\"",
                          std::string(kNotAdded) + "\"none.exe\" x' as handler for type name '.q'.\n"}));
  messages.clear();
  EXPECT_FALSE(AppUtil_ActionURIForCommandLine(L"none.exe x"));
  EXPECT_EQ(messages,
            (std::vector<std::string>{"AppUtil_ActionURIForCommandLine: executable not found: \"none.exe\""}));
  EXPECT_FALSE(AppUtil_ActionURIForCommandLine(L"\"C:\\" + std::wstring(257, L'a') + L'"'));
  EXPECT_TRUE(AppUtil_ActionURIForCommandLine(L"\"C:\\" + std::wstring(256, L'a') + L'"'));
}

TEST_F(CommandLine, WithThousandsOfArgumentsIsReadInNoTime) {
  std::wstring arguments;
  for (int index = 0; index < 5000; ++index) arguments += L" " + std::to_wstring(index);
  const ULONGLONG started = GetTickCount64();
  const std::optional<FileTypeHandler> handler = Add(L'"' + Program(L"App.exe") + L'"' + arguments);
  ASSERT_TRUE(handler);
  EXPECT_TRUE(handler->actionUri.ends_with("&argv%5B%5D=4999"));
  EXPECT_EQ(std::count(handler->actionUri.begin(), handler->actionUri.end(), '='), 5000);
  EXPECT_FALSE(Add(folder / L"none.exe" + arguments));
  EXPECT_FALSE(Add(L"\\\\quarrytestdead\\share\\app.exe" + arguments));
  EXPECT_LT(GetTickCount64() - started, 2000u);
}

/// The network of this system, whose servers are folders: none is there, and none answers, until one is made.
class Network {
 public:
  Network() {
    std::error_code error;
    std::filesystem::rename(path_, setAside_, error);  // when tests have made servers before
  }
  ~Network() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
    std::filesystem::rename(setAside_, path_, error);
  }
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;

  void Provide(const std::wstring& program, const std::wstring& server) const {
    const std::filesystem::path target = path_ / server.substr(2) / std::filesystem::path(program).filename();
    std::filesystem::create_directories(target.parent_path());
    ASSERT_TRUE(CopyFileW(program.c_str(), target.c_str(), FALSE));
  }

 private:
  std::filesystem::path path_ = L"Z:" + Unicode_WideFromUtf8(std::getenv("QUARRY_WINEPREFIX")) + L"/dosdevices/unc";
  std::filesystem::path setAside_ = path_.wstring() + L".quarrytest";
};

TEST_F(CommandLine, AsksAServerThatDoesNotAnswerOnceInABuild) {
  const std::wstring share = L"\\\\quarrytestserver\\share";
  const std::wstring line = share + L"\\App.exe %1";
  const Network network;
  AppUtilForgetUnreachableServers();
  EXPECT_FALSE(Add(line));
  network.Provide(Program(L"App.exe"), share);
  EXPECT_FALSE(Add(line));
  AppUtil_BuildGlobalApplicationList(0);
  const std::optional<FileTypeHandler> handler = Add(line);
  ASSERT_TRUE(handler);
  EXPECT_EQ(handler->path, R"(\\quarrytestserver\share\app.exe)");
}

TEST_F(CommandLine, CostsOnlyItselfWhenMemoryRunsOut) {
  const std::wstring line = L"\"C:\\x.exe\" " + std::wstring(200000, L'a');
  const std::wstring text(100000, L'A');
  std::optional<std::string> uri;
  std::optional<std::wstring> lower;
  {
    const AllocationLimit limit(100000);
    uri = AppUtil_ActionURIForCommandLine(line);
    lower = AppUtil_ToLowerUtf16(text);
  }
  EXPECT_FALSE(uri);
  EXPECT_FALSE(lower);
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_TRUE(messages[0].starts_with("MEM_ALLOC lib/appUtil/appUtilWin32:")) << messages[0];
  EXPECT_EQ(messages[1], "AppUtil_ToLowerUtf16: Failed to alloc 200002 bytes.\n");
}

TEST_F(CommandLine, IsKnownByItsLowerCasePathOnOldSystemsToo) {
  for (const int generation : {kOsGenerationWindows2000, kOsGenerationUnknown}) {
    Os_SetGeneration(generation);
    EXPECT_EQ(AppUtil_ToLowerUtf16(L"C:\\ÄÉ Б\\I.EXE"), L"c:\\äé б\\i.exe");
    EXPECT_EQ(AppUtil_ToLowerUtf8("\xC3\x84"), "\xC3\xA4");
    EXPECT_EQ(AppUtil_ToLowerUtf16(L""), L"");
  }
}

}  // namespace
}  // namespace quarry::test
