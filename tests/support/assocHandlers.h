#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace quarry::test {

/// A handler as the shell enumerates it. The results are what each step answers.
struct AssocHandler {
  std::wstring name;    ///< executable
  std::wstring progId;  ///< empty: the handler answers with none
  HRESULT nameResult = S_OK;
  bool hasProgIdInterface = true;
  HRESULT progIdResult = S_OK;
};

/// Stands for the shell's enumeration while it lives, which Wine does not have: COM objects made of `handlers` for
/// every extension and protocol, or the error `result`.
class AssocHandlers {
 public:
  explicit AssocHandlers(std::vector<AssocHandler> handlers, HRESULT result = S_OK);
  ~AssocHandlers();
  AssocHandlers(const AssocHandlers&) = delete;
  AssocHandlers& operator=(const AssocHandlers&) = delete;

  /// The keys that were asked for, in order.
  static const std::vector<std::wstring>& Keys();
  /// Objects that were given out and not released.
  static int LiveObjects();
};

}  // namespace quarry::test
