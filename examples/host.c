/* Lists what this host publishes. quarry.dll lies beside this program. */
#include "quarry/quarry.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <stdio.h>

typedef void (*InitFn)(QuarryLogFn, uint32_t, QuarryFunctions*);

static void PrintError(uint32_t level, const wchar_t* message) {
  if (level == QUARRY_LOG_ERROR) fwprintf(stderr, L"%ls", message);
}

int main(void) {
  HMODULE library = LoadLibraryExW(L"quarry.dll", NULL, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  InitFn init = library ? (InitFn)(void (*)(void))GetProcAddress(library, "Quarry_Init") : NULL;
  if (!init) return 1;
  _setmode(_fileno(stdout), _O_U8TEXT);
  _setmode(_fileno(stderr), _O_U8TEXT);
  QuarryFunctions quarry = {0};
  init(PrintError, 0, &quarry);

  QuarryApplicationInfo* apps = NULL;
  uint64_t count = 0;
  quarry.ScanApplications(NULL, 0, &apps, &count);
  for (uint64_t i = 0; i < count; ++i) {
    wprintf(L"%ls -> %ls\n", apps[i].productName, apps[i].targetPath);
  }
  quarry.FreeApplications(apps, count);

  quarry.Exit();
  FreeLibrary(library);
  return 0;
}
