#pragma once

#include <functional>
#include <string>

// A server that is down costs the better part of a minute at each access, and shortcuts, icons and file types name the
// same one over and over: one that took long to fail is not asked again until it is forgotten. Process-wide, without a
// lock.

/// Does `access` to the file at `path` and gives its answer, whether it succeeded. It is not even tried when the path's
/// server is known not to answer: then the answer is false and the last error ERROR_BAD_NETPATH.
bool RemoteServer_Access(const std::wstring& path, const std::function<bool()>& access);

/// Forgets which servers did not answer, so that they are asked again.
void RemoteServer_Forget();
