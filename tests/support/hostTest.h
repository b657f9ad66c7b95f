#pragma once

// What most tests begin with: the matchers, the host and its log, folders, registry keys, programs and their versions.

#include "lib/misc/platformHandles.h"
#include "lib/string/str.h"
#include "lib/unicode/unicode.h"

#include "tests/support/processOutput.h"
#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/resourceCounts.h"
#include "tests/support/temporaryFolder.h"
#include "tests/support/versionedExecutable.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace quarry::test {

using namespace testing;

using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::wstring>;

}  // namespace quarry::test
