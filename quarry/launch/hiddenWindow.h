#pragma once

#include "lib/misc/platformHandles.h"

namespace quarry {

/// Makes the message-only window that takes the foreground before an application is started, so that the application
/// may take it in turn. Null, with a message, when it cannot be made.
UniqueWindow CreateHiddenWindow();

}  // namespace quarry
