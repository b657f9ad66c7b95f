#include "lib/appUtil/appUtilFileTypesWin32Caches.h"

void FileTypeCaches::Clear() {
  progIdCache.clear();
  commandLineCache.clear();
  friendlyTypeNameCache.clear();
  friendlyNameCache.clear();
  indirectNameCache.clear();
}

FileTypeCaches& AppUtilFileTypeCaches() {
  static FileTypeCaches caches;
  return caches;
}
