#pragma once

#include "lib/fileTypes/fileTypeInfo.h"

#include <vector>

/// Records under construction, in the order in which they are found.
using FileTypeList = std::vector<FileTypeInfoPtr>;

// Types that applications declare in their own keys. Each application adds records of its own.

/// The place in messages about memory that ran out.
inline constexpr char kFileTypesSource[] = "lib/appUtil/appUtilFileTypesWin32";

/// The http and https records of the well-known browsers that are installed.
void AppUtilAddBrowsers(FileTypeList& types);

/// The mailto records of the mail clients.
void AppUtilAddMailClients(FileTypeList& types);

/// The types in the capabilities of the registered applications, in both registry views.
/// Source: Microsoft Learn, "Registering an application for use with Default Programs".
void AppUtilAddCapabilities(FileTypeList& types);
