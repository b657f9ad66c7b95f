#pragma once

#include "tools/quarryctl/commandContext.h"
#include "tools/quarryctl/library.h"
#include "tools/quarryctl/logView.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace quarryctl {

using LogHearer = std::function<void(std::uint32_t level, std::wstring_view message)>;

struct SessionOptions {
  FileTypes fileTypes = FileTypes::Leave;
  bool showsErrors = true;   ///< of the library's log even without -v
  LogHearer hear = nullptr;  ///< gets all messages from the library's first on, without their line ends
};

/// The library at work for one sub-command, and the view of its log.
class Session {
 public:
  /// Opens the quarry.dll that lies beside this program. Null when that fails; the error stream then has the reason.
  static std::unique_ptr<Session> Open(const CommandContext& context, const SessionOptions& options = {});
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  Library& GetLibrary() { return *library_; }
  LogView& GetLog() { return log_; }

 private:
  Session(const CommandContext& context, const SessionOptions& options);

  LogView log_;  // sees the library go too
  std::optional<LogListener> listener_;
  std::optional<Library> library_;
};

}  // namespace quarryctl
