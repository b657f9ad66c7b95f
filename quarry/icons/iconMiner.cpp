#include "quarry/icons/iconMiner.h"

#include "quarry/diagnostics/log.h"
#include "quarry/icons/iconMinerExe.h"
#include "quarry/icons/iconMinerIco.h"
#include "quarry/paths/pathParts.h"

#include "lib/misc/fileBytes.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>

namespace quarry {

namespace {

constexpr std::size_t kSniffedBytes = 16;
constexpr std::array<std::uint8_t, 4> kIcoStart = {0, 0, 1, 0};  // reserved 0, type 1

constexpr std::wstring_view kModuleTypes[] = {L"exe", L"dll", L"cpl"};

bool StartsAsIco(const std::wstring& path) {
  const auto start = ReadFileStart(path, kSniffedBytes);
  return start && start->size() >= kIcoStart.size() && std::equal(kIcoStart.begin(), kIcoStart.end(), start->begin());
}

std::wstring FileTypeOf(const std::wstring& path) {
  std::wstring type = SplitPath(path).extension;
  if (!type.empty()) return type;
  if (StartsAsIco(path)) {
    Log(LogLevel::Detail, L"Icon file %s appears to be ICO format\n", path.c_str());
    return L"ico";
  }
  Log(LogLevel::Detail, L"Unable to deduce file type of %s - EXE assumed\n", path.c_str());
  return L"exe";
}

// The type is compared as written, as the extensions of applications are.
std::unique_ptr<IconMiner> MakeMiner(const std::wstring& type) {
  if (type == L"ico") return std::make_unique<IconMinerIco>();
  if (std::find(std::begin(kModuleTypes), std::end(kModuleTypes), type) != std::end(kModuleTypes)) {
    return std::make_unique<IconMinerExe>();
  }
  Log(LogLevel::Error, L"Don't know how to mine icons from %s file\n", type.c_str());
  return nullptr;
}

}  // namespace

std::unique_ptr<IconMiner> IconMiner::Open(const std::wstring& path, std::int32_t index) {
  std::unique_ptr<IconMiner> miner = MakeMiner(FileTypeOf(path));
  if (miner == nullptr || miner->Init(path, index)) return miner;
  Log(LogLevel::Error, L"Failed to initialize IconMiner\n");
  return nullptr;
}

std::size_t IconMiner::GetIconCount() const { return CheckInitialized() ? icons_.size() : 0; }

MinedIcon IconMiner::GetMinedIcon(std::size_t position) const {
  return CheckInitialized() ? icons_[position] : MinedIcon{};
}

bool IconMiner::CheckInitialized() const {
  if (!initialized_) Log(LogLevel::Error, L"Using an uninitialized IconMiner!\n");
  return initialized_;
}

}  // namespace quarry
