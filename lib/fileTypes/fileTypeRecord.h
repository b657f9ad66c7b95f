#pragma once

#include "lib/fileTypes/fileTypeInfo.h"

#include <optional>
#include <string>

/// A type whose handlers come from this host's registry and shell.
class FileTypeInfoWin32 : public FileTypeInfo {
 public:
  using FileTypeInfo::FileTypeInfo;

  void AddHandlerForName(const std::string& name) override;
  LSTATUS Load(std::uint32_t flags) override;
  std::string ApplicationFriendlyName(const std::string& handlerPath) const override;
  std::string FriendlyName() const override;
  FileTypeInfoPtr ForApplication(const std::string& handlerPath) const override;

  /// Adds the program that a command line starts, and returns it. Nothing, with a message, when there is none.
  std::optional<FileTypeHandler> AddApplicationWithCommandLine(const std::wstring& commandLine);
  /// Adds the program of the open command of a class (a prog ID, protocol or extension). False when the class has no
  /// such key.
  bool AddOpenCommand(const std::string& className);
  /// The same as Load for the type's key, opened with KEY_READ.
  void LoadFrom(HKEY typeKey, std::uint32_t flags);

 private:
  void AddHandler(const FileTypeHandler& handler);
  void AddHandlersOfPerceivedType(HKEY typeKey);
  bool AddHandlersForSubkeys(const std::string& path);
  void AddHandlersForSubValues(HKEY rootKey, const std::string& path);
  void AddMostRecentlyUsed();
};
