#include "lib/fileTypes/lookupCaches.h"

void FileTypeCaches::Clear() {
  progIdCache.clear();
  commandLineCache.clear();
  friendlyTypeNameCache.clear();
  friendlyNameCache.clear();
  indirectNameCache.clear();
  unresolvedNames.clear();
}

FileTypeCaches& AppUtilFileTypeCaches() {
  static FileTypeCaches caches;
  return caches;
}
