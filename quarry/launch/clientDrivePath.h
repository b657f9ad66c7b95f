#pragma once

#include <string>

namespace quarry {

/// Tells whether a path lies on one of the remote user's redirected drives: it begins with "\\tsclient\" in any letter
/// case, with or without a quotation mark before it.
bool IsClientDrivePath(const std::wstring& path);

/// The path with every folder name reduced to the characters that the client's share can carry, those of the system's
/// ANSI code page, and without quotation marks around it. A name that cannot be converted is kept, with a message.
std::wstring SanitizeClientDrivePath(const std::wstring& path);

}  // namespace quarry
