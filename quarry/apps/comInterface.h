#pragma once

#include "quarry/diagnostics/objectCounters.h"

#include <windows.h>

#include <objidl.h>
#include <shobjidl.h>
#include <wrl/client.h>

#include <string>

namespace quarry {

/// The process's one shell-link object, through which all shortcuts are read. It initialises COM as a single-threaded
/// apartment on the thread that acquires it first.
class ComInterface {
 public:
  ComInterface();
  ~ComInterface();
  ComInterface(const ComInterface&) = delete;
  ComInterface& operator=(const ComInterface&) = delete;

  bool IsValid() const { return shellLink_ != nullptr && persistFile_ != nullptr; }
  IShellLinkW& ShellLink() const { return *shellLink_.Get(); }
  /// Loads the shortcut file at `path`; false when there is none, or one of more than 1 MiB or with sizes that do not
  /// hold.
  bool Load(const std::wstring& path) const;

 private:
  DWORD initializedThread_ = 0;  // 0 when COM was not initialised here
  Microsoft::WRL::ComPtr<IShellLinkW> shellLink_;
  Microsoft::WRL::ComPtr<IPersistFile> persistFile_;
  ObjectCount count_{"ComInterface"};
};

/// Takes part in the use of the shared object, which is made at the first call and destroyed when the last user
/// releases it. Null, with a message, when it cannot be made; it is to be released all the same.
ComInterface* AcquireComInterface();
void ReleaseComInterface();

/// Holds the shared object for its own lifetime.
class ComReference {
 public:
  ComReference() : interface_(AcquireComInterface()) {}
  ~ComReference() { ReleaseComInterface(); }
  ComReference(const ComReference&) = delete;
  ComReference& operator=(const ComReference&) = delete;

  /// Null when the shared object could not be made.
  ComInterface* Get() const { return interface_; }

 private:
  ComInterface* interface_;
};

}  // namespace quarry
