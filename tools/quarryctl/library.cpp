#include "tools/quarryctl/library.h"

#include <utility>

namespace quarryctl {
namespace {

using InitFunction = decltype(&Quarry_Init);

InitFunction FindInit(HMODULE module) {
  // By way of the one function type that compilers let become any other.
  return reinterpret_cast<InitFunction>(reinterpret_cast<void (*)()>(GetProcAddress(module, "Quarry_Init")));
}

}  // namespace

std::span<const QuarryExtensionEntry> Items(const ExtensionRecord& record) {
  if (!record) return {};
  return {record->entries, static_cast<std::size_t>(record->count)};
}

OpenedLibrary Library::Open(const std::wstring& path, QuarryLogFn log, FileTypes fileTypes) {
  UniqueModule module(LoadLibraryW(path.c_str()));
  if (!module) return {nullptr, OpenFailure::NotLoaded, GetLastError()};
  const InitFunction init = FindInit(module.get());
  QuarryFunctions functions{};
  if (init != nullptr) init(log, fileTypes == FileTypes::Read ? 1 : 0, &functions);
  if (functions.Exit == nullptr) return {nullptr, OpenFailure::NotInitialised};
  return {std::unique_ptr<Library>(new Library(std::move(module), functions))};
}

Library::Library(UniqueModule module, const QuarryFunctions& functions)
    : module_(std::move(module)), functions_(functions) {}

ApplicationRecords Library::Scan(const std::wstring& iniPath) const {
  QuarryApplicationInfo* records = nullptr;
  std::uint64_t count = 0;
  functions_.ScanApplicationsUsingIniFile(iniPath.c_str(), &records, &count);
  return ApplicationRecords(records, {functions_.FreeApplications, count});
}

ApplicationRecord Library::GetApplication(const std::wstring& path) const {
  return ApplicationRecord(functions_.GetApplication(path.c_str()), {functions_.FreeApplication});
}

IconRecords Library::GetIcons(const QuarryApplicationInfo& application) const {
  IconRecords icons;
  for (std::uint64_t index = 0; index < application.iconCount; ++index) {
    icons.push_back(IconRecord(functions_.GetApplicationIcon(&application, index), {functions_.FreeIcon}));
  }
  return icons;
}

IconRecord Library::GetIcon(const std::wstring& name) const {
  return IconRecord(functions_.GetIcon(name.c_str()), {functions_.FreeIcon});
}

std::string Library::GetIconData(const std::wstring& name) const {
  void* block = nullptr;
  std::uint64_t size = 0;
  if (functions_.GetIconData(name.c_str(), &block, &size) == 0) return {};
  const std::unique_ptr<void, void (*)(void*)> owner(block, functions_.FreeIconData);
  return {static_cast<const char*>(block), static_cast<std::size_t>(size)};
}

ExtensionRecord Library::GetExtensions(const std::wstring& path) const {
  return ExtensionRecord(functions_.GetApplicationRegisteredExtensions(path.c_str()),
                         {functions_.FreeRegisteredExtensions});
}

std::uint32_t Library::Launch(const std::wstring& path, std::uint32_t flags, const std::wstring& arguments,
                              const std::wstring& folder, const std::vector<QuarryLaunchParameter>& parameters) const {
  return functions_.LaunchApplication(path.c_str(), flags, arguments.c_str(), folder.c_str(),
                                      static_cast<std::int32_t>(parameters.size()), parameters.data());
}

bool Library::VerifyApplication(const std::wstring& path) const {
  return functions_.VerifyApplication(path.c_str()) != 0;
}

WindowRecords Library::GetOpenWindows() const {
  QuarryWindowInfo* records = nullptr;
  std::uint64_t count = 0;
  functions_.GetOpenWindows(&records, &count);
  return WindowRecords(records, {functions_.FreeWindows, count});
}

}  // namespace quarryctl
