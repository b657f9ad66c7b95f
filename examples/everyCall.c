/* Calls every function once. The reference shows the part of each beside it. quarry.dll lies beside this program. */
#include "quarry/quarry.h"

#include <windows.h>

#include <stdio.h>

typedef void (*InitFn)(QuarryLogFn, uint32_t, QuarryFunctions*);

/* [Quarry_Init] */
static void CountErrors(uint32_t level, const wchar_t* message) {
  static unsigned errors = 0;
  if (level == QUARRY_LOG_ERROR) fprintf(stderr, "error %u: %ls", ++errors, message);
}

static HMODULE Load(QuarryFunctions* quarry) {
  HMODULE library = LoadLibraryExW(L"quarry.dll", NULL, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
  InitFn init = library ? (InitFn)(void (*)(void))GetProcAddress(library, "Quarry_Init") : NULL;
  if (init) init(CountErrors, 1, quarry);
  return library;
}
/* [Quarry_Init] */

static void ShowWindows(const QuarryFunctions* quarry) {
  /* [Quarry_GetOpenWindows] */
  QuarryWindowInfo* windows = NULL;
  uint64_t count = 0;
  quarry->GetOpenWindows(&windows, &count);
  for (uint64_t i = 0; i < count; ++i) printf("%ls of %ls\n", windows[i].title, windows[i].imagePath);
  quarry->FreeWindows(windows, count);
  /* [Quarry_GetOpenWindows] */
}

static void ShowScans(const QuarryFunctions* quarry) {
  /* [Quarry_ScanApplications] */
  QuarryApplicationInfo* apps = NULL;
  uint64_t count = 0;
  quarry->ScanApplications(NULL, 0, &apps, &count);
  for (uint64_t i = 0; i < count; ++i) printf("%ls\n", apps[i].path);
  quarry->FreeApplications(apps, count);
  /* [Quarry_ScanApplications] */

  /* [Quarry_ScanApplicationsUsingIniFile] */
  QuarryApplicationInfo* found = NULL;
  uint64_t foundCount = 0;
  quarry->ScanApplicationsUsingIniFile(L"C:\\agent\\filters.ini", &found, &foundCount);
  quarry->FreeApplications(found, foundCount);
  /* [Quarry_ScanApplicationsUsingIniFile] */
}

static void ShowIcon(const QuarryFunctions* quarry, const QuarryApplicationInfo* app) {
  /* [Quarry_GetApplicationIcon] */
  QuarryIconInfo* icon = app->iconCount > 0 ? quarry->GetApplicationIcon(app, 0) : NULL;
  /* [Quarry_GetApplicationIcon] */
  if (!icon) return;
  /* [Quarry_GetIconData] */
  void* png = NULL;
  uint64_t size = 0;
  if (quarry->GetIconData(icon->name, &png, &size)) {
    printf("%u bytes\n", (unsigned)size);
    quarry->FreeIconData(png);
  }
  /* [Quarry_GetIconData] */
  /* [Quarry_GetIcon] */
  QuarryIconInfo* same = quarry->GetIcon(icon->name);
  if (same) printf("%d pixels wide\n", (int)same->width);
  quarry->FreeIcon(same);
  /* [Quarry_GetIcon] */
  quarry->FreeIcon(icon);
}

static void ShowApplication(const QuarryFunctions* quarry, const wchar_t* path) {
  /* [Quarry_VerifyApplication] */
  if (!quarry->VerifyApplication(path)) return;
  /* [Quarry_VerifyApplication] */
  /* [Quarry_GetApplication] */
  QuarryApplicationInfo* app = quarry->GetApplication(path);
  if (!app) return;
  printf("%ls %ls\n", app->productName, app->fileVersion);
  /* [Quarry_GetApplication] */
  ShowIcon(quarry, app);
  /* [Quarry_GetApplicationRegisteredExtensions] */
  QuarryExtensionList* list = quarry->GetApplicationRegisteredExtensions(app->targetPath);
  for (uint64_t i = 0; list && i < list->count; ++i) printf("%ls\n", list->entries[i].name);
  quarry->FreeRegisteredExtensions(list);
  /* [Quarry_GetApplicationRegisteredExtensions] */
  /* [Quarry_FreeApplication] */
  quarry->FreeApplication(app);
  /* [Quarry_FreeApplication] */
}

static void Launch(const QuarryFunctions* quarry, const wchar_t* path) {
  /* [Quarry_LaunchApplication] */
  const QuarryLaunchParameter url = {L"url", L"https://example.org/"};
  uint32_t result = quarry->LaunchApplication(path, QUARRY_LAUNCH_MAXIMIZE, L"", L"", 1, &url);
  if (result != QUARRY_LAUNCH_OK) printf("launch: %u\n", (unsigned)result);
  /* [Quarry_LaunchApplication] */
}

int wmain(int argc, wchar_t** argv) {
  QuarryFunctions quarry = {0};
  HMODULE library = Load(&quarry);
  if (!library || !quarry.Exit) return 1;
  ShowWindows(&quarry);
  ShowScans(&quarry);
  ShowApplication(&quarry, L"C:\\Windows\\System32\\notepad.exe");
  if (argc > 1) Launch(&quarry, argv[1]);
  /* [Quarry_Exit] */
  quarry.Exit();
  quarry.ReportDebugInfo();
  FreeLibrary(library);
  /* [Quarry_Exit] */
  return 0;
}
