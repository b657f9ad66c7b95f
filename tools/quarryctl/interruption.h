#pragma once

#include <windows.h>

namespace quarryctl {

/// From now on Ctrl+C and Ctrl+Break end this process with kInterrupted, whatever it is doing: files get their names
/// only when they are whole, so nothing half-done stays behind.
void EndWhenInterrupted();

/// Waits for `milliseconds`, or until Ctrl+C or Ctrl+Break, and tells whether it was one of them. From the first call
/// on they no longer end the process: the caller does.
bool WaitForInterruption(DWORD milliseconds);

}  // namespace quarryctl
