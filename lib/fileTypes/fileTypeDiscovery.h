#pragma once

#include "lib/fileTypes/fileTypeInfo.h"

#include <cstdint>
#include <string>
#include <vector>

// The table of this host's applications and the types that they open. The table and what is remembered for it are
// process-wide, without a lock: use them from one thread at a time.

/// Replaces the table of applications by one of what the registry holds now. Reading is the slow part: prog IDs and
/// command lines that led to a handler are remembered for up to an hour.
void AppUtil_BuildGlobalApplicationList(std::uint32_t flags);

/// The records that the last build made of the types that the application opens, in the order in which they were found.
/// A type has several when several registry sources name the application. The path must be the long one; its case does
/// not matter. Empty for an application that opens nothing.
std::vector<ConstFileTypeInfoPtr> AppUtil_FindFileTypes(const std::string& applicationPath);
