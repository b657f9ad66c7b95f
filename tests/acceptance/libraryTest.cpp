// The C++ interface, as a host meets it when things go wrong. What it does when all is well, quarryctl's tests show.

#include "quarry/quarry.hpp"

#include "tests/support/hostTest.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <type_traits>

namespace quarry::test {
namespace {

using CppLibrary = v1::Library;

const std::wstring kNotepad = L"C:\\windows\\system32\\notepad.exe";

// Freed twice, used by two threads at a time: what must not compile.
template <typename Owner>
constexpr bool kIsOnlyMoved = !std::is_copy_constructible_v<Owner> && !std::is_copy_assignable_v<Owner> &&
                              std::is_nothrow_move_constructible_v<Owner> && std::is_nothrow_move_assignable_v<Owner>;
static_assert(kIsOnlyMoved<CppLibrary> && kIsOnlyMoved<v1::ApplicationRecord> && kIsOnlyMoved<v1::ApplicationRecords> &&
              kIsOnlyMoved<v1::IconRecord> && kIsOnlyMoved<v1::IconData> && kIsOnlyMoved<v1::ExtensionRecords>);
template <typename AnyLibrary, typename = void>
constexpr bool kCanScan = false;
template <typename AnyLibrary>
constexpr bool kCanScan<AnyLibrary, std::void_t<decltype(std::declval<AnyLibrary&>().Scan())>> = true;
static_assert(kCanScan<CppLibrary> && !kCanScan<const CppLibrary>);

Bytes ForMachine(std::uint16_t machine) {
  std::ifstream file(BinFolder() / L"quarry.dll", std::ios::binary);
  Bytes bytes{std::istreambuf_iterator<char>(file), {}};
  const std::size_t place = static_cast<std::size_t>(bytes.at(0x3C)) + bytes.at(0x3D) * 256u + sizeof(DWORD);
  bytes.at(place) = static_cast<std::uint8_t>(machine);
  bytes.at(place + 1) = static_cast<std::uint8_t>(machine >> 8);
  return bytes;
}

TEST(CppInterface, TellsWhatKeepsItFromOpening) {
  const TemporaryFolder folder(L"quarry.dll Bücher 漢字");
  const std::wstring arm = folder.WriteBytes(L"arm.dll", ForMachine(IMAGE_FILE_MACHINE_ARM64));
  const std::wstring x86 = folder.WriteBytes(L"x86.dll", ForMachine(IMAGE_FILE_MACHINE_I386));
  const std::wstring broken = (BinFolder() / L"fixtures" / L"brokenLibrary.dll").wstring();
  const struct {
    std::wstring path;
    FileTypes fileTypes;
    OpenError error;
    DWORD platformError;
  } kCases[] = {
      {L"quarry.dll", FileTypes::Leave, OpenError::NotFullPath, 0},
      {L"", FileTypes::Leave, OpenError::NotFullPath, 0},
      {L"\\quarry.dll", FileTypes::Leave, OpenError::NotFullPath, 0},
      {folder / L"no.dll", FileTypes::Leave, OpenError::NoFile, ERROR_MOD_NOT_FOUND},
      {folder.MakeFolder(L"folder.dll"), FileTypes::Leave, OpenError::NotLoaded, ERROR_ACCESS_DENIED},
      {folder.WriteText(L"text.dll", L"text"), FileTypes::Leave, OpenError::WrongMachine, ERROR_BAD_EXE_FORMAT},
      {arm, FileTypes::Leave, OpenError::WrongMachine, ERROR_BAD_EXE_FORMAT},
      {x86, FileTypes::Leave, OpenError::WrongMachine, ERROR_BAD_EXE_FORMAT},
      {L"C:\\windows\\system32\\version.dll", FileTypes::Leave, OpenError::NotQuarry, 0},
      {broken, FileTypes::Read, OpenError::MissingFunction, 0},
      {broken, FileTypes::Leave, OpenError::NotInitialised, 0},
      {folder.CopyFrom(L"quarry.dll", BinFolder() / L"quarry.dll"), FileTypes::Leave, OpenError::None, 0},
  };
  for (const auto& [path, fileTypes, error, platformError] : kCases) {
    SCOPED_TRACE(Unicode_Utf8FromWide(path));
    const CppLibrary library = CppLibrary::Open(path, nullptr, fileTypes);
    EXPECT_STREQ(Describe(library.Error()), Describe(error));
    EXPECT_EQ(library.PlatformError(), platformError);
    EXPECT_EQ(static_cast<bool>(library), error == OpenError::None);
  }
  EXPECT_EQ(CppLibrary::OpenBesideProgram().Error(), OpenError::NoFile);
}

TEST(CppInterface, IsOpenOnceInAProgram) {
  const TemporaryFolder folder;
  const std::wstring copy = folder.CopyFrom(L"quarry.dll", BinFolder() / L"quarry.dll");
  const std::wstring own = (BinFolder() / L"quarry.dll").wstring();
  CppLibrary first = CppLibrary::Open(own);
  EXPECT_EQ(CppLibrary::Open(own).Error(), OpenError::AlreadyOpen);
  EXPECT_EQ(CppLibrary::Open(copy).Error(), OpenError::AlreadyOpen);
  {
    CppLibrary moved(std::move(first));
    EXPECT_TRUE(moved.VerifyApplication(kNotepad));
  }
  EXPECT_TRUE(CppLibrary::Open(copy).VerifyApplication(kNotepad));
}

TEST(CppInterface, KeepsWhatALogThrows) {
  unsigned heard = 0;
  CppLibrary library = CppLibrary::Open((BinFolder() / L"quarry.dll").wstring(), [&heard](LogLevel, Text message) {
    EXPECT_EQ(message.find(L"Unknown icon \n"), Text::npos) << "opening asked for it";
    ++heard;
    throw std::runtime_error("from the log");
  });
  EXPECT_FALSE(library.GetIcon(L"no icon"));
  const unsigned before = heard;
  EXPECT_TRUE(library.GetIconData(L"no icon").empty());
  EXPECT_GT(heard, before);
}

TEST(CppInterface, RecordsOutliveIt) {
  const TemporaryFolder folder(L"quarry.dll Bücher 漢字");
  const std::wstring path = folder.CopyFrom(L"quarry.dll", BinFolder() / L"quarry.dll");
  folder.WriteLink(L"Editor.lnk", kNotepad);
  const std::wstring ini = folder.WriteText(L"all.ini", L"[All]\r\nRoot=" + folder.Path() + L"\r\nIncludes=*.lnk\r\n");
  std::vector<std::wstring> lost;
  std::optional<CppLibrary> library(CppLibrary::Open(path, [&lost](LogLevel, Text message) {
    if (message.find(L"Unable to find application") != Text::npos) lost.emplace_back(message);
  }));
  ASSERT_TRUE(*library);
  ApplicationRecords records = library->Scan(ini);
  ASSERT_EQ(records.size(), 1u);
  v1::IconRecord icon = library->GetIcons(records[0])[0];
  ASSERT_TRUE(icon);
  const IconData data = library->GetIconData(icon->Name());
  EXPECT_FALSE(data.empty());
  {
    v1::ApplicationRecord application = library->GetApplication(kNotepad);
    v1::ApplicationRecord taken = std::move(application);
    application = std::move(taken);
    application = library->GetApplication(application->Path());
  }
  EXPECT_THAT(lost, IsEmpty()) << "freed twice";

  library.reset();
  EXPECT_NE(GetModuleHandleW(path.c_str()), nullptr);
  EXPECT_EQ(records[0].TargetPath(), kNotepad);
  EXPECT_THAT(std::wstring(icon->Path()), HasSubstr(std::wstring(icon->Name())));
  EXPECT_EQ(*(data.begin() + 1), std::byte{'P'});
  {
    const ApplicationRecords last = std::move(records);
    icon = {};
  }
  EXPECT_THAT(lost, SizeIs(1)) << "the log went before the records";
  EXPECT_NE(GetModuleHandleW(path.c_str()), nullptr) << "the data is left";
}

}  // namespace
}  // namespace quarry::test
