// GNU's run time keeps a reserve for exceptions that are raised when there is no memory. The lock of that reserve is
// made at its first use, in memory: where there is none, that raises an exception, and so on until the stack is used
// up. So the reserve is used once when the library is loaded. What the run time has for each thread is made for this
// one.

#include <windows.h>

#include <cxxabi.h>

#include <cstddef>
#include <exception>

// The place that the library calls malloc through, as the linker names it.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" void* (*__imp_malloc)(std::size_t);

namespace {

using Malloc = void*(std::size_t);

Malloc* original = nullptr;

void SetMalloc(Malloc* function) {
  DWORD protection = 0;
  if (VirtualProtect(&__imp_malloc, sizeof(__imp_malloc), PAGE_READWRITE, &protection) == FALSE) return;
  *const_cast<Malloc* volatile*>(&__imp_malloc) = function;
  VirtualProtect(&__imp_malloc, sizeof(__imp_malloc), protection, &protection);
}

/// The exception's memory is refused, that of the lock is not.
void* RefuseOnce(std::size_t /*size*/) {
  SetMalloc(original);
  return nullptr;
}

struct UsedOnce {
  UsedOnce() {
    [[maybe_unused]] const volatile int kept = std::uncaught_exceptions();
    original = __imp_malloc;
    SetMalloc(RefuseOnce);
    abi::__cxa_free_exception(abi::__cxa_allocate_exception(1));
  }
};

const UsedOnce kUsedOnce;

}  // namespace
