#pragma once

#include <windows.h>

#include <string_view>

namespace quarryctl {

/// One of the process's standard streams. Takes UTF-8 and writes it unbuffered, so that it keeps its order with what
/// the library writes through its own run time: as bytes when redirected, as characters on a console, whatever the
/// console's code page is.
class Output {
 public:
  /// `standardHandle` is STD_OUTPUT_HANDLE or STD_ERROR_HANDLE.
  explicit Output(DWORD standardHandle);

  void Write(std::string_view utf8);
  bool IsConsole() const { return isConsole_; }
  /// True once a write did not get through (a full disk, a reader that went away).
  bool HasFailed() const { return hasFailed_; }

 private:
  void WriteBytes(std::string_view bytes);
  void WriteCharacters(std::wstring_view text);

  HANDLE handle_;
  bool isConsole_;
  bool hasFailed_ = false;
};

/// Writes `text` as a line that begins with this program's name.
void WriteComplaint(Output& err, std::string_view text);

}  // namespace quarryctl
