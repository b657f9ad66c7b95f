#include "tools/quarryctl/interruption.h"

#include "tools/quarryctl/commandContext.h"

#include <atomic>

namespace quarryctl {
namespace {

/// Set once a command waits for it; the handler runs in a thread of its own.
std::atomic<HANDLE> awaited = nullptr;

BOOL WINAPI Handle(DWORD control) {
  if (control != CTRL_C_EVENT && control != CTRL_BREAK_EVENT) return FALSE;
  if (const HANDLE event = awaited; event != nullptr) return SetEvent(event);
  // Not ExitProcess: it would unload the library under the thread that is at work in it.
  return TerminateProcess(GetCurrentProcess(), kInterrupted);
}

}  // namespace

void EndWhenInterrupted() { SetConsoleCtrlHandler(Handle, TRUE); }

bool WaitForInterruption(DWORD milliseconds) {
  if (awaited == nullptr) awaited = CreateEventW(nullptr, TRUE, FALSE, nullptr);  // used until the process ends
  return WaitForSingleObject(awaited, milliseconds) != WAIT_TIMEOUT;
}

}  // namespace quarryctl
