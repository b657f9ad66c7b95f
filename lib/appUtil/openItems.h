#pragma once

#include <string>
#include <string_view>
#include <vector>

/// What AppUtil_OpenItems is given.
enum class OpenItemKind { File, Url };

/// Whether an item stays one argument between quotation marks: false for one that holds a quotation mark or a control
/// character.
bool AppUtil_IsOneArgument(std::wstring_view item);

/// Opens files or URLs as the shell would open them with the application at `applicationPath`: through the handler of
/// each item's extension or protocol that is that application. Returns the items that could not be opened so, in the
/// order in which they were given up on. The calling thread must have COM initialised. Raises std::bad_alloc only when
/// memory does not suffice for a copy of the items.
std::vector<std::wstring> AppUtil_OpenItems(const std::vector<std::wstring>& items, OpenItemKind kind,
                                            const std::wstring& applicationPath);
