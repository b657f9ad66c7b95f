#pragma once

#include <windows.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace quarryctl {

/// The colours of a terminal that this program uses, as the numbers of its control sequences.
enum class Colour { Error = 31, Good = 32, Warning = 33 };

/// One of the process's standard streams. Takes UTF-8 and writes it unbuffered, so that it keeps its order with what
/// the library writes through its own run time: as bytes when redirected, as characters on a console, whatever the
/// console's code page is.
class Output {
 public:
  /// `standardHandle` is STD_OUTPUT_HANDLE or STD_ERROR_HANDLE. `other`, where there is one, may be the same terminal:
  /// its fleeting line makes way for what is written here, too. It outlives this one.
  explicit Output(DWORD standardHandle, Output* other = nullptr);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void Write(std::string_view utf8);
  /// Shows a line, on a console only, until the next one or anything else is written.
  void ShowFleeting(std::string_view line);
  bool IsConsole() const { return isConsole_; }
  /// How many columns a line may take, 0 when the stream is no console: nothing is cut then.
  std::size_t Columns() const;
  /// `text` in that colour, where the stream is a console that shows colours and its user wants them (NO_COLOR is not
  /// set). A text without colour is returned as it is.
  std::string Painted(Colour colour, std::string_view text) const;

  /// True once a write did not get through (a full disk).
  bool HasFailed() const { return hasFailed_; }
  /// True once nothing is written any more: for that reason, or because a pipe's reader has seen enough and left.
  bool IsLost() const { return isLost_; }

 private:
  void WriteBytes(std::string_view bytes);
  void WriteCharacters(std::wstring_view text);
  void Check(bool written);
  void EraseFleeting();

  HANDLE handle_;
  Output* other_;
  std::size_t fleetingWidth_ = 0;
  DWORD oldMode_ = 0;
  bool isConsole_;
  bool hasColours_;
  bool hasFailed_ = false;
  bool isLost_ = false;
};

/// Writes `text` as a line that begins with this program's name.
void WriteComplaint(Output& err, std::string_view text);

}  // namespace quarryctl
