#include "quarry/apps/comInterface.h"

#include "quarry/apps/linkFile.h"
#include "quarry/diagnostics/log.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/noDestructor.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace quarry {

namespace {

int g_users = 0;

std::unique_ptr<ComInterface>& SharedInterface() {
  static NoDestructor<std::unique_ptr<ComInterface>> shared;
  return shared.get();
}

}  // namespace

ComInterface::ComInterface() {
  // A thread that the host made multi-threaded stays so (RPC_E_CHANGED_MODE); the object works there all the same.
  if (SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE))) {
    initializedThread_ = GetCurrentThreadId();
  }
  if (SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&shellLink_)))) {
    shellLink_.As(&persistFile_);
  }
}

ComInterface::~ComInterface() {
  persistFile_.Reset();
  shellLink_.Reset();
  // Uninitialising counts by thread: on another one it would take away what is not ours.
  if (initializedThread_ == GetCurrentThreadId()) CoUninitialize();
}

// Wine (8.0) overruns its stack on long paths, reads past item lists that lie about their size, and takes 20 s for a
// link info of gigabytes.
bool ComInterface::Load(const std::wstring& path) const {
  constexpr std::size_t kLargestLink = std::size_t{1} << 20;
  const std::optional<std::vector<std::uint8_t>> bytes = ReadFileStart(path, kLargestLink + 1);
  return bytes && bytes->size() <= kLargestLink && IsSoundLink(*bytes) &&
         SUCCEEDED(persistFile_->Load(path.c_str(), STGM_READ));
}

// Nothing is shared and no user counted before the last thing that can throw: a user whose turn ended in an exception
// never releases.
ComInterface* AcquireComInterface() {
  std::unique_ptr<ComInterface> made;
  if (g_users == 0) {
    made = std::make_unique<ComInterface>();
    if (!made->IsValid()) {
      Log(LogLevel::Error, L"Failed to create ComInterface!");
      made.reset();
    }
  }
  CountCreated("ComInterfaceReference");
  if (g_users++ == 0) SharedInterface() = std::move(made);
  return SharedInterface().get();
}

void ReleaseComInterface() {
  --g_users;
  CountDeleted("ComInterfaceReference");
  if (g_users == 0) SharedInterface().reset();
}

}  // namespace quarry
