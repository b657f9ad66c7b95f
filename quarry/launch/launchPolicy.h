#pragma once

#include "lib/appUtil/openItems.h"

#include <optional>
#include <string>

// What may be started and opened, and in which form the shell and the programs get to see it. Everything that a client
// sends passes through here. Nothing here starts or opens anything.

namespace quarry {

/// Whether the Windows policy "Do not allow drive redirection" refuses all files and URLs, with messages.
bool IsDriveRedirectionDisabled();

/// A file or URL of the client's that may be opened.
struct AcceptedItem {
  OpenItemKind kind;
  std::wstring text;  ///< the path or the URL to be opened
};

/// False, with a message, for a value of a custom parameter that is longer than any command line.
bool IsOfAllowedLength(const std::wstring& value);

/// Judges a file or URL of the client's by the place that it leads to, behind all schemes: files on client drives and
/// URLs are accepted, other network paths never, local paths only with `allowLocalFiles`. Nothing, with a message, when
/// it is refused.
std::optional<AcceptedItem> AcceptItem(const std::wstring& value, bool allowLocalFiles);

/// What a program may be started with, by what reads its command line.
class ItemRules {
 public:
  /// `program` is what is started in the end: a shortcut, when it is not known where it leads.
  explicit ItemRules(const std::wstring& program);

  /// Whether handlers registered for the item's type may open it with the program: their command lines need not quote
  /// it.
  bool AllowHandlers(const std::wstring& item) const;

  /// The item as the program's only argument, quoted where that is needed. Nothing, with the platform's error in
  /// GetLastError, when quotes do not make one argument of it.
  std::optional<std::wstring> ArgumentFor(const std::wstring& item) const;

 private:
  bool isInterpreter_ = false;
  std::wstring unprotected_;  // characters that quotes do not keep from the interpreter
};

/// Whether the shell may see a path as what it is to start. False leaves the platform's error in GetLastError.
bool IsFitForShell(const std::wstring& path);

}  // namespace quarry
