#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarry::test {

/// One function that a module imports, and the place in the module that it is called through.
struct Import {
  std::string library;   ///< as the module names it: "KERNEL32.dll"
  std::string function;  ///< "#12" for one that is imported by its number
  void** slot = nullptr;
};

/// The functions that a loaded module imports by its import table. What it finds through GetProcAddress or COM is not
/// there; variables of the runtime, which are, are left out.
std::vector<Import> ImportsOf(HMODULE module);

/// Puts a function into the place of an imported one, for as long as it lives; the last one put there goes first. The
/// module must stay loaded. A module can keep the function's address, for a window class for instance: the replacement
/// must stay callable.
class ReplacedImport {
 public:
  /// `library` in any case, with its extension. `replacement` is a function of the same signature. Throws
  /// std::invalid_argument when `module` has no such import.
  template <typename Function>
  ReplacedImport(HMODULE module, std::string_view library, std::string_view function, Function* replacement)
      : ReplacedImport(SlotOf(module, library, function), reinterpret_cast<void*>(replacement)) {}
  /// `slot` of an Import.
  ReplacedImport(void** slot, void* replacement);
  ~ReplacedImport();
  ReplacedImport(const ReplacedImport&) = delete;
  ReplacedImport& operator=(const ReplacedImport&) = delete;

  /// The function that was in the place before.
  template <typename Function>
  Function* Original() const {
    return reinterpret_cast<Function*>(original_);
  }

 private:
  static void** SlotOf(HMODULE module, std::string_view library, std::string_view function);

  void** slot_;
  void* original_;
};

/// How a call fails: what its caller gets, and the last error that it finds.
struct Failure {
  std::uint64_t result = 0;
  DWORD error = ERROR_NOT_ENOUGH_MEMORY;
};

/// Counts the calls of imported functions, whatever their signatures, while it lives, and lets one of them fail that is
/// asked for. For x86-64.
class CountedImports {
 public:
  /// Throws std::bad_alloc.
  explicit CountedImports(std::span<const Import> imports);
  explicit CountedImports(HMODULE module) : CountedImports(ImportsOf(module)) {}

  /// Calls by function since the last reset, without those that were not called.
  std::map<std::string, std::uint64_t> Counts() const;
  /// Begins to count anew, and no call fails any more.
  void Reset();
  /// From now on the `call`-th call of `function`, counted from 1 since the last reset, is not made but fails.
  void Fail(std::string_view function, std::uint64_t call, const Failure& failure);

 private:
  /// What a stub counts in, when and how it fails, and where it jumps to.
  struct Cell {
    volatile std::uint64_t calls;
    std::uint64_t failingCall;  ///< 0 for none
    std::uint64_t result;
    std::uint64_t error;
    void* target;
  };

  std::vector<std::string> functions_;
  Cell* cells_ = nullptr;
  std::deque<ReplacedImport> replaced_;
};

}  // namespace quarry::test
