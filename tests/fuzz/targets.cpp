#include "tests/fuzz/targets.h"

#include "lib/misc/fileBytes.h"

#include "tests/support/iconImages.h"

#include <cstring>
#include <filesystem>
#include <fstream>

namespace quarry::test {
namespace {

namespace fs = std::filesystem;

// A small picture of the newer kind, with a real stream inside.
IconImage PngImage() {
  return {256, 256, 32, {0x89, 'P',  'N',  'G',  '\r', '\n', 0x1A, '\n', 0,   0,   0,    13,   'I',  'H',
                         'D',  'R',  0,    0,    0,    1,    0,    0,    0,   1,   8,    6,    0,    0,
                         0,    0x1F, 0x15, 0xC4, 0x89, 0,    0,    0,    13,  'I', 'D',  'A',  'T',  0x78,
                         0x9C, 0x63, 0xF8, 0xCF, 0xC0, 0xF0, 0x1F, 0,    5,   0,   1,    0xFF, 0x89, 0x99,
                         0x3D, 0x1D, 0,    0,    0,    0,    'I',  'E',  'N', 'D', 0xAE, 0x42, 0x60, 0x82}};
}

std::vector<IconImage> Images() {
  return {MakeImage(16, 16, 8), MakeImage(16, 16, 24), MakeImage(24, 24, 8), MakeImage(32, 32, 32), PngImage()};
}

const Names kPaths = {L"C:\\",   L"\\",         L"/",       L"..\\",       L"%windir%", L"%CommonStartMenu%",
                      L"%",      L"\\\\?\\",    L"\\??\\",  L"\\\\.\\",    L"\\\\h\\",  L"tsclient\\",
                      L"C",      L":",          L"*",       L"?",          L"\"",       L" ",
                      L".exe",   L".lnk",       L".ico",    L".bat",       L"a",        L"\xD800",
                      L"\xDC00", L"\x0001",     L"\x4E2D",  L"file:",      L"http://",  L"&",
                      L"|",      L"system32\\", L"regedit", L"notepad.exe"};
const Names kIniPieces = {L"[",        L"]",     L"\r\n", L"[A]\r\n", L"Root=", L"Includes=", L"Excludes=",
                          L"Enabled=", L"*.lnk", L";",    L"=",       L"0",     L"1",         L"%windir%",
                          L"C:\\",     L"?*",    L"[[[",  L"\x4E2D",  L"\t",    L"Name=",     L"\r\n\r\n"};
const Names kRulePieces = {L"BeginRule\n", L"EndRule\n",  L"action=",  L"block",  L"map",    L"type=",
                           L"tooltip",     L"company=",   L"product=", L"major=", L"build=", L"4294967296",
                           L"-1",          L"classname=", L"\n",       L"#",      L"=",      L"notapplicableto=",
                           L"\x4E2D",      L"Microsoft",  L"\r\n",     L"x"};

Bytes BytesOf(const std::wstring& text) {
  const auto* const data = reinterpret_cast<const std::uint8_t*>(text.data());
  return {data, data + text.size() * sizeof(wchar_t)};
}

std::wstring TextOf(const Bytes& bytes) {
  std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
  return text;
}

/// The parts of a text that were joined with NULs; `count` of them, however many there are.
Names Parts(const Bytes& bytes, std::size_t count) {
  Names parts(1);
  for (const wchar_t character : TextOf(bytes)) {
    if (character == L'\0')
      parts.emplace_back();
    else
      parts.back() += character;
  }
  parts.resize(count);
  return parts;
}

/// `count` texts of these pieces, joined with NULs.
Bytes Joined(const Names& pieces, std::size_t count, Random& random) {
  std::wstring text;
  for (std::size_t part = 0; part < count; ++part) text += Text(pieces, 8, random) + L'\0';
  return BytesOf(text);
}

/// In UTF-8 or UTF-16, with a flipped bit now and then.
Bytes TextFile(const Names& pieces, Random& random) {
  const std::wstring text = Text(pieces, 60, random);
  const std::string narrow = Unicode_Utf8FromWide(text);
  Bytes bytes = random.OneIn(2) ? BytesOf(L'\xFEFF' + text) : Bytes(narrow.begin(), narrow.end());
  return random.OneIn(3) ? Damaged({bytes, 0, bytes.size()}, random) : bytes;
}

fs::path RuleFolder() { return fs::path(_wgetenv(L"ProgramData")) / L"Velkor" / L"KilnServer" / L"Seamly Filters"; }

}  // namespace

FuzzWorld::FuzzWorld() {
  settings_.SetString(L"", L"IconCacheDir", folder_ / L"cache");
  settings_.SetDword(L"Config", L"RemoteFileOpenTimeoutMs", 0);
  program_ = folder_.CopyFrom(L"source.exe", FixtureProgram(L"emptyApp"));
  folder_.WriteLink(L"menu\\Fuzz.lnk", program_, {.iconLocation = folder_ / L"fuzz.ico"});
  PutVersion(program_, {true, {{0x0409, 0x04e4}}, {{L"040904e4", {{L"ProductName", L"Fuzz"}}}}, true, 1});
  PutIconGroup(program_, MAKEINTRESOURCEW(1), Images());
}

const QuarryHost& FuzzWorld::Host() {
  if (host_ == nullptr) host_ = std::make_unique<QuarryHost>(false, nullptr);
  return *host_;
}

void FuzzWorld::Describe(const std::wstring& path) {
  const ApplicationRecord app = Host().GetApplication(path);
  for (std::uint64_t index = 0; app != nullptr && index < app->iconCount; ++index) {
    Host().GetApplicationIcon(*app, index);
  }
}

Model FuzzWorld::IconModel() {
  const std::vector<IconImage> images = Images();
  return {IcoFile(images), 0, 6 + 16 * images.size() + 40};
}

Model FuzzWorld::ProgramModel() const {
  const Bytes bytes = ReadWholeFile(program_).value_or(Bytes());
  // The tables of the resources end with the group.
  const Bytes group = {0, 0, 1, 0, 5, 0, 16, 16};
  const auto found = std::search(bytes.begin(), bytes.end(), group.begin(), group.end());
  const auto position = static_cast<std::size_t>(found - bytes.begin());
  return {bytes, position - std::min<std::size_t>(position, 1024), position + 128};
}

Model FuzzWorld::ShortcutModel() const {
  const std::wstring path = folder_.WriteLink(
      L"model.lnk", program_,
      {.arguments = L"/a", .description = L"text", .workingDirectory = folder_.Path(), .iconLocation = L"x.ico"});
  const Bytes bytes = ReadWholeFile(path).value_or(Bytes());
  return {bytes, 0, bytes.size()};
}

// Wine keeps an image mapped whose sections cover its own header, so each program has a name of its own.
void FuzzWorld::FeedProgram(const Bytes& bytes) {
  const std::wstring path = folder_.WriteBytes(L"fuzz" + std::to_wstring(++programs_) + L".exe", bytes);
  Describe(path);
  DeleteFileW(path.c_str());
  // Wine reads a whole folder to find that a file is not in it.
  if (programs_ % 100 == 0) fs::remove_all(folder_ / L"cache"), folder_.MakeFolder(L"cache");
}

void FuzzWorld::FeedRuleFile(const Bytes& bytes) {
  fs::create_directories(RuleFolder());
  std::ofstream(RuleFolder() / L"fuzz.txt", std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  QuarryHost(false, nullptr).GetOpenWindows();
  fs::remove(RuleFolder() / L"fuzz.txt");
}

/// The first byte chooses the value, the second its type; the rest is its data.
void FuzzWorld::FeedRegistry(const Bytes& bytes) {
  const struct {
    const RegistryFixture& key;
    const wchar_t* subkey;
    const wchar_t* name;
  } kValues[] = {{settings_, L"", L"MaxScanDepth"},
                 {settings_, L"", L"WritableFolders"},
                 {settings_, L"", L"ScanHidden"},
                 {settings_, L"Filter1", L"Root"},
                 {settings_, L"Filter1", L"Includes"},
                 {settings_, L"Filter1", L"Enabled"},
                 {rules_, L"", L"one"},
                 {extension_, L"", L""},
                 {extension_, L"OpenWithList", L"a"},
                 {type_, L"", L"FriendlyTypeName"},
                 {type_, L"", L"URL Protocol"},
                 {type_, L"shell\\open\\command", L""},
                 {type_, L"shell\\open", L"FriendlyAppName"},
                 {type_, L"DefaultIcon", L""}};
  constexpr DWORD kTypes[] = {REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ, REG_BINARY, REG_DWORD, REG_SZ, REG_SZ};
  if (bytes.size() < 2) return;
  const auto& value = kValues[bytes[0] % std::size(kValues)];
  settings_.SetString(L"", L"MaxScanDepth", L"2");  // a root can be that of a whole drive
  value.key.SetRaw(value.subkey, value.name, kTypes[bytes[1] % std::size(kTypes)], std::span(bytes).subspan(2));
  extension_.SetString(L"OpenWithProgids", L"QuarryFuzz", L"");
  {
    const QuarryHost host(true, nullptr);
    host.GetOpenWindows();
    host.Scan();
    host.GetRegisteredExtensions(program_);
  }
  value.key.RemoveValue(value.subkey, value.name);
}

/// A file name, a NUL and what is asked for; then what the file holds.
void FuzzWorld::FeedCacheFolder(const Bytes& bytes) {
  const Names names = Parts(bytes, 2);
  std::error_code refused;
  std::ofstream(fs::path(folder_ / L"cache") / names[0], std::ios::binary) << "PNG";
  {
    const QuarryHost host(false, nullptr);
    for (const std::wstring& name : names) {
      const IconRecord icon(host->GetIcon(name.c_str()));
      host.GetIconData(name);
    }
  }
  fs::remove(fs::path(folder_ / L"cache") / names[0], refused);
}

void FuzzWorld::FeedArguments(const Bytes& bytes) {
  const std::wstring path = Parts(bytes, 1)[0];
  Describe(path);
  Host()->VerifyApplication(path.c_str());
  Host().Scan(path);
}

/// A program that is not there is started with it: all is judged, nothing runs.
void FuzzWorld::FeedLaunch(const Bytes& bytes) {
  const Names texts = Parts(bytes, 5);
  const wchar_t* const types[] = {L"file-path", L"url", L"appCommandLine", L"FILE-path", L"other"};
  const QuarryLaunchParameter parameters[] = {{types[texts[1].size() % 5], texts[1].c_str()},
                                              {types[texts[2].size() % 5], texts[2].c_str()}};
  const std::wstring missing = folder_ / L"missing.exe";
  for (const std::uint32_t flags : {0U, QUARRY_LAUNCH_ALLOW_LOCAL_FILES | QUARRY_LAUNCH_TRACK_PROCESSES}) {
    Host()->LaunchApplication(missing.c_str(), flags, texts[3].c_str(), texts[4].c_str(), 2, parameters);
  }
}

const std::vector<std::string>& FuzzWorld::TargetNames() {
  static const std::vector<std::string> names = {"iconFile", "program",   "shortcut",    "iniFile", "ruleFile",
                                                 "registry", "arguments", "cacheFolder", "launch"};
  return names;
}

FuzzTarget FuzzWorld::Target(const std::string& name) {
  const auto file = [this](const wchar_t* path, void (FuzzWorld::*then)()) {
    return [this, path, then](const Bytes& bytes) {
      folder_.WriteBytes(path, bytes);
      (this->*then)();
    };
  };
  const auto damaged = [](const Model& model) { return [model](Random& random) { return Damaged(model, random); }; };
  if (name == "iconFile") return {damaged(IconModel()), file(L"fuzz.ico", &FuzzWorld::DescribeLink)};
  if (name == "program") {
    return {[model = ProgramModel()](Random& random) {
              // One of four has its headers damaged.
              return Damaged(random.OneIn(4) ? Model{model.bytes, 0, 1024} : model, random);
            },
            [this](const Bytes& bytes) { FeedProgram(bytes); }};
  }
  if (name == "shortcut") return {damaged(ShortcutModel()), file(L"menu\\Fuzz.lnk", &FuzzWorld::DescribeLink)};
  if (name == "iniFile") {
    return {[](Random& random) { return TextFile(kIniPieces, random); }, file(L"fuzz.ini", &FuzzWorld::ScanWithIni)};
  }
  if (name == "ruleFile") {
    return {[](Random& random) { return TextFile(kRulePieces, random); },
            [](const Bytes& bytes) { FeedRuleFile(bytes); }};
  }
  if (name == "registry") {
    return {[](Random& random) {
              Bytes bytes = BytesOf(Text(kPaths, 8, random));
              if (random.OneIn(3)) bytes.resize(random.Below(bytes.size() + 1));
              bytes.insert(bytes.begin(), {static_cast<std::uint8_t>(random.Below(256)),
                                           static_cast<std::uint8_t>(random.Below(256))});
              return bytes;
            },
            [this](const Bytes& bytes) { FeedRegistry(bytes); }};
  }
  if (name == "cacheFolder") {
    const Names pieces = {
        L"0123456789abcdef0123456789abcdef", L"-", L"16", L"0", L"99999999999", L".png", L"x", L"..", L"\\", L"*"};
    return {[pieces](Random& random) { return Joined(pieces, 2, random); },
            [this](const Bytes& bytes) { FeedCacheFolder(bytes); }};
  }
  if (name == "arguments") {
    return {[](Random& random) { return Joined(kPaths, 1, random); },
            [this](const Bytes& bytes) { FeedArguments(bytes); }};
  }
  return {[](Random& random) { return Joined(kPaths, 5, random); }, [this](const Bytes& bytes) { FeedLaunch(bytes); }};
}

}  // namespace quarry::test
