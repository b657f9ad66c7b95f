#pragma once

#include <optional>
#include <set>
#include <string>

/// What one build of the file types finds out and the next is to find out anew. Lives as long as the build; there is
/// one at a time.
class BuildMemory {
 public:
  BuildMemory();
  ~BuildMemory();
  BuildMemory(const BuildMemory&) = delete;
  BuildMemory& operator=(const BuildMemory&) = delete;

  /// Whether Explorer may keep lists of this user's for the type. True outside of a build.
  static bool MayHaveUserLists(const std::string& typeName);

  /// Whether the shell is known to have no command for a prog ID or an application. False outside of a build, where
  /// nothing is remembered.
  static bool IsWithoutCommand(const std::string& name);
  static void RememberWithoutCommand(const std::string& name);

 private:
  /// In lower case; nothing when they could not all be read.
  std::optional<std::set<std::string>> userTypes_;
  std::set<std::string> withoutCommand_;
};

/// Where Explorer keeps what this user opens types with, a key for each type.
constexpr char kExplorerTypesKey[] = R"(Software\Microsoft\Windows\CurrentVersion\Explorer\FileExts)";
