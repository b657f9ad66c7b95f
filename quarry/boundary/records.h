#pragma once

#include "quarry/apps/application.h"
#include "quarry/fileTypes/registeredExtensions.h"
#include "quarry/icons/icon.h"
#include "quarry/quarry.h"
#include "quarry/windows/window.h"

namespace quarry {

// Records are plain memory of the runtime heap. Each Fill function takes a zero-filled record and either fills it whole
// or throws std::bad_alloc and leaves it as it was. Each Free function takes back the strings inside, not the record.

void FillRecord(QuarryApplicationInfo& record, const Application& application);
void FillRecord(QuarryIconInfo& record, const Icon& icon);
void FillRecord(QuarryWindowInfo& record, const Window& window);
void FillRecord(QuarryExtensionEntry& record, const Extension& extension);

void FreeStrings(const QuarryApplicationInfo& record) noexcept;
void FreeStrings(const QuarryIconInfo& record) noexcept;
void FreeStrings(const QuarryWindowInfo& record) noexcept;
void FreeStrings(const QuarryExtensionEntry& record) noexcept;

}  // namespace quarry
