#include "quarry/apps/comInterface.h"

#include "lib/unicode/unicode.h"

#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/fileOutput.h"
#include "tools/quarryctl/iconFile.h"
#include "tools/quarryctl/options.h"
#include "tools/quarryctl/paths.h"
#include "tools/quarryctl/remoteApp.h"
#include "tools/quarryctl/session.h"
#include "tools/quarryctl/table.h"
#include "tools/quarryctl/utf16Files.h"

#include <windows.h>

#include <shlobj.h>

#include <algorithm>
#include <cstddef>
#include <cwchar>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

constexpr wchar_t kAllowListFile[] = L"remoteapp.reg";

struct ExportOptions {
  std::string host;
  std::string gateway;
  std::string filter;
  std::wstring iniPath;
  std::wstring folder;
  bool force = false;
};

/// An application with what the remote desktop makes of it.
struct Export {
  const QuarryApplicationInfo* application;
  RemoteApp app;
};

std::wstring NameOf(const QuarryApplicationInfo& application) {
  std::wstring name = *application.productName == L'\0' ? application.fileName : application.productName;
  std::replace_if(
      name.begin(), name.end(), [](wchar_t character) { return HasControlCharacter({character}); }, L' ');
  return name;
}

bool IsAskedFor(const QuarryApplicationInfo& application, const std::wstring& folded) {
  const std::wstring texts[] = {NameOf(application), application.path, application.targetPath};
  return std::any_of(std::begin(texts), std::end(texts), [&folded](const std::wstring& text) {
    return Unicode_FoldCase(text).find(folded) != std::wstring::npos;
  });
}

/// The arguments of a shortcut's own; empty for other files, nothing when they cannot be read.
std::optional<std::wstring> ArgumentsOf(const QuarryApplicationInfo& application, quarry::ComInterface* reader) {
  // Microsoft Learn, CreateProcessW: no command line is longer.
  constexpr int kLongestCommandLine = 32767;
  if (!Unicode_EqualIgnoreCase(application.extension, L"lnk")) return L"";
  std::wstring arguments(kLongestCommandLine, L'\0');
  if (reader == nullptr || !reader->Load(application.path) ||
      FAILED(reader->ShellLink().GetArguments(arguments.data(), kLongestCommandLine))) {
    return std::nullopt;
  }
  arguments.resize(std::wcslen(arguments.c_str()));
  return arguments;
}

std::wstring FileTypesOf(const QuarryApplicationInfo& application, Library& library) {
  std::wstring types;
  for (const quarry::Extension& extension : library.GetExtensions(application.path)) {
    const std::wstring name = extension.Name().c_str();
    // The others are protocols.
    if (!name.starts_with(L'.') || HasControlCharacter(name)) continue;
    types += (types.empty() ? L"" : L";") + name;
  }
  return types;
}

/// Those that are asked for, each path once. What cannot be published so is told on the error stream.
std::vector<Export> Select(const ApplicationRecords& records, const ExportOptions& options, Library& library,
                           const CommandContext& context) {
  const std::wstring filter = Unicode_FoldCase(Unicode_WideFromUtf8(options.filter));
  const quarry::ComReference reader;
  std::vector<Export> exports;
  std::set<std::wstring, Unicode_LessIgnoreCase> paths;
  std::set<std::wstring, Unicode_LessIgnoreCase> aliases;
  for (const QuarryApplicationInfo& application : Items(records)) {
    if (!IsAskedFor(application, filter) || !paths.insert(application.path).second) continue;
    const std::optional<std::wstring> arguments = ArgumentsOf(application, reader.Get());
    const std::wstring name = NameOf(application);
    const char* whyNot = nullptr;
    if (!arguments) whyNot = "its arguments cannot be read";
    if (arguments && (HasControlCharacter(*arguments) || HasControlCharacter(application.targetPath))) {
      whyNot = "a control character is in its arguments or path";
    }
    const std::wstring alias = AliasOf(name, application.path);
    if (whyNot == nullptr && !aliases.insert(alias).second) whyNot = "another one has its alias";
    if (whyNot != nullptr) {
      WriteComplaint(context.err, Unicode_Utf8FromWide(application.path) + " is left out: " + whyNot);
      continue;
    }
    exports.push_back(
        {&application, {alias, name, application.targetPath, *arguments, FileTypesOf(application, library)}});
  }
  return exports;
}

bool Exists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

/// Whether nothing of what is to be written is there already; else says what is.
bool IsFree(const std::vector<Export>& exports, const std::wstring& folder, const CommandContext& context) {
  std::vector<std::wstring> names = {kAllowListFile};
  for (const Export& one : exports) {
    for (const wchar_t* extension : {L".rdp", L".ico"}) names.push_back(one.app.alias + extension);
  }
  std::erase_if(names, [&folder](const std::wstring& name) { return !Exists(folder + name); });
  if (names.empty()) return true;
  WriteComplaint(context.err, "nothing was written: " + FormatCount(names.size(), "file") +
                                  " would be overwritten (--force does), the first is " +
                                  Unicode_Utf8FromWide(folder + names.front()));
  return false;
}

bool MakeFolder(const std::wstring& folder, const CommandContext& context) {
  const int error = SHCreateDirectoryExW(nullptr, folder.c_str(), nullptr);
  const DWORD attributes = GetFileAttributesW(folder.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return true;
  WriteComplaint(context.err,
                 "cannot make the folder " + Unicode_Utf8FromWide(folder) + ", error " + std::to_string(error));
  return false;
}

/// The list comes last: what it names is there then.
bool WriteAll(const std::vector<Export>& exports, const std::wstring& folder, const ExportOptions& options,
              Library& library, const CommandContext& context) {
  const RemoteHost host = {Unicode_WideFromUtf8(options.host), Unicode_WideFromUtf8(options.gateway)};
  std::vector<RemoteApp> apps;
  for (const auto& [application, app] : exports) {
    const std::string icon = FormatIconFile(*application, library);
    const std::wstring iconName = icon.empty() ? L"" : app.alias + L".ico";
    if (!icon.empty() && !WriteFileBytes(folder + iconName, icon, context.err)) return false;
    const std::string rdp = Utf16Bytes(FormatRdp(app, host, iconName));
    if (!WriteFileBytes(folder + app.alias + L".rdp", rdp, context.err)) return false;
    apps.push_back(app);
  }
  return WriteFileBytes(folder + kAllowListFile, Utf16Bytes(FormatAllowList(apps)), context.err);
}

std::string FormatText(const std::vector<Export>& exports, std::size_t width) {
  std::vector<TableRow> rows = {{"NAME", "ALIAS", "PROGRAM"}};
  for (const Export& one : exports) {
    const std::wstring command = one.app.program + (one.app.arguments.empty() ? L"" : L' ' + one.app.arguments);
    rows.push_back(
        {Unicode_Utf8FromWide(one.app.name), Unicode_Utf8FromWide(one.app.alias), Unicode_Utf8FromWide(command)});
  }
  return FormatList(rows, "application", width);
}

ExitStatus RunRemoteApp(const ExportOptions& options, const CommandContext& context) {
  if (!options.iniPath.empty() && !IsFile(options.iniPath)) {
    return Refuse(context, "there is no file " + Unicode_Utf8FromWide(options.iniPath));
  }
  const std::unique_ptr<Session> session = Session::Open(context, {.fileTypes = FileTypes::Read, .showsErrors = false});
  if (!session) return kNothingFound;
  Library& library = session->GetLibrary();
  const ApplicationRecords records = library.Scan(options.iniPath);
  const std::vector<Export> exports = Select(records, options, library, context);
  if (exports.empty()) return Refuse(context, "no application is published that could be exported");
  const std::wstring folder = options.folder.ends_with(L'\\') ? options.folder : options.folder + L'\\';
  if (!options.force && !IsFree(exports, folder, context)) return kNothingFound;
  if (!MakeFolder(options.folder, context)) return kNothingFound;
  if (!WriteAll(exports, folder, options, library, context)) return kNothingFound;
  context.out.Write(FormatText(exports, context.out.Columns()) + Unicode_Utf8FromWide(folder + kAllowListFile) + '\n');
  return kDone;
}

std::string RefuseOddHost(const std::string& host) {
  const bool isOdd = std::any_of(host.begin(), host.end(), [](char character) {
    return static_cast<unsigned char>(character) <= ' ' || character == '\x7F';
  });
  return host.empty() || isOdd ? "a host has a name without blanks" : "";
}

void BindRemoteApp(CLI::App& command, ExportOptions& options) {
  command.add_option("--host", options.host, "Name of this host, as its users reach it")
      ->required()
      ->type_name("NAME")
      ->check(RefuseOddHost);
  command.add_option("--gateway", options.gateway, "Gateway that its users come through")
      ->type_name("NAME")
      ->check(RefuseOddHost);
  command.add_option("--filter", options.filter, "Only applications with TEXT in their name, path or target")
      ->type_name("TEXT");
  BindFile(command, "--ini", options.iniPath, "Take the scan filters from FILE, not from the registry");
  command.add_flag("--force", options.force, "Overwrite files that are there already");
  BindFile(command, "DIR", options.folder, "Folder for the files; it is made when missing")->required()->type_name("");
}

}  // namespace

void AddExportCommand(const CommandGroup& commands) {
  const CommandGroup exports = commands.AddGroup("export", "Hand the list of applications over to other software");
  exports.Add("remoteapp", "Write .rdp and .ico files and the host's list of allowed RemoteApp programs", BindRemoteApp,
              RunRemoteApp);
}

}  // namespace quarryctl
