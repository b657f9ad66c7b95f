#pragma once

#include "lib/unicode/unicode.h"

#include <boost/shared_ptr.hpp>

#include <windows.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// File extensions and URL protocols with the applications that open them. All texts are UTF-8 where they are not
// command lines.

/// An application that opens a type.
struct FileTypeHandler {
  std::string path;       ///< its executable: long, absolute and in lower case
  std::string actionUri;  ///< how it is started; see AppUtil_ActionURIForCommandLine
};

class FileTypeInfo;
using FileTypeInfoPtr = boost::shared_ptr<FileTypeInfo>;
using ConstFileTypeInfoPtr = boost::shared_ptr<const FileTypeInfo>;

/// One file extension or URL protocol with applications that open it.
class FileTypeInfo {
 public:
  FileTypeInfo(std::string name, std::uint32_t protocol) : typeName(std::move(name)), isProtocol(protocol) {}
  virtual ~FileTypeInfo() = default;
  FileTypeInfo(const FileTypeInfo&) = delete;
  FileTypeInfo& operator=(const FileTypeInfo&) = delete;

  /// Adds the handler that a prog ID or an application's file name leads to. Nothing is added when there is none.
  virtual void AddHandlerForName(const std::string& name) = 0;
  /// Fills the record with the handlers that the registry has for the type. `flags` are FileTypeFlags. Returns the
  /// error of opening the type's key, 0 when it was opened.
  virtual LSTATUS Load(std::uint32_t flags) = 0;
  /// The name under which a handler opens the type, a reference to a resource resolved; empty when it has none.
  virtual std::string ApplicationFriendlyName(const std::string& handlerPath) const = 0;
  /// The type's own name as the shell shows it; empty when it has none.
  virtual std::string FriendlyName() const = 0;
  /// A record of the same type with only that handler's entries. Paths are compared byte for byte.
  virtual FileTypeInfoPtr ForApplication(const std::string& handlerPath) const = 0;

  std::string typeName;                   ///< an extension with its leading dot, or a protocol without colon
  std::vector<std::string> handlerPaths;  ///< one for each handler; the same one twice when it is registered twice
  std::vector<std::string> actionUris;    ///< parallel to handlerPaths
  std::map<std::string, std::string, Unicode_LessIgnoreCase> handlerNames;  ///< friendly names by handler path
  std::uint32_t isProtocol;                                                 ///< 0 for an extension, 1 for a protocol
};

enum FileTypeFlags : std::uint32_t {
  kFileTypesProtocols = 1,      ///< URL protocols too
  kFileTypesPerceivedType = 2,  ///< handlers of the perceived type ("text", "image") too
};
