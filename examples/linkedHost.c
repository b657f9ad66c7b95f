/* Lists the session's windows. Linked with the import library: the system loads quarry.dll before main begins. */
#include "quarry/quarry.h"

#include <windows.h>

#include <stdio.h>

int main(void) {
  QuarryWindowInfo* windows = NULL;
  uint64_t count = 0;
  Quarry_Init(NULL, 0, NULL);
  Quarry_GetOpenWindows(&windows, &count);
  printf("%u windows\n", (unsigned)count);
  for (uint64_t i = 0; i < count; ++i) wprintf(L"%ls\n", windows[i].title);
  Quarry_FreeWindows(windows, count);
  Quarry_Exit();
  return 0;
}
