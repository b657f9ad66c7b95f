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

/// Judges a file or URL of the client's by the place that it leads to: files on client drives and URLs are accepted,
/// other network paths never, local paths only with `allowLocalFiles`. Nothing, with a message, when it is refused.
std::optional<AcceptedItem> AcceptItem(const std::wstring& value, bool allowLocalFiles);

/// The item as the only argument of `program`, quoted for it where that is needed. Nothing, with the platform's error
/// in GetLastError, when the program would not take the item as one argument.
std::optional<std::wstring> ArgumentFor(const std::wstring& program, const std::wstring& item);

/// Whether the shell may see a path as what it is to start. False leaves the platform's error in GetLastError.
bool IsFitForShell(const std::wstring& path);

}  // namespace quarry
