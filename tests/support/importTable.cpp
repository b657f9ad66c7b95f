#include "tests/support/importTable.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <stdexcept>

namespace quarry::test {
namespace {

constexpr std::size_t kStubSize = 48;
using StubCode = std::array<std::uint8_t, kStubSize>;

template <typename T>
const T* At(HMODULE module, DWORD offset) {
  return reinterpret_cast<const T*>(reinterpret_cast<const std::uint8_t*>(module) + offset);
}

bool IsCode(const void* address) {
  constexpr DWORD kExecutable = PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
  MEMORY_BASIC_INFORMATION region{};
  return VirtualQuery(address, &region, sizeof(region)) != 0 && (region.Protect & kExecutable) != 0;
}

std::string NameOf(HMODULE module, const IMAGE_THUNK_DATA& entry) {
  if (IMAGE_SNAP_BY_ORDINAL(entry.u1.Ordinal)) return '#' + std::to_string(IMAGE_ORDINAL(entry.u1.Ordinal));
  return At<IMAGE_IMPORT_BY_NAME>(module, static_cast<DWORD>(entry.u1.AddressOfData))->Name;
}

void SetSlot(void** slot, void* function) {
  DWORD protection = 0;
  VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
  *slot = function;
  VirtualProtect(slot, sizeof(*slot), protection, &protection);
}

/// Counts in the cell and jumps on, or comes back with a failure. The registers of arguments and the stack stay as they
/// are; the last error of a thread lies at gs:[68h].
StubCode StubFor(const void* cell) {
  StubCode code = {0x49, 0xBA, 0,    0,    0,    0, 0, 0, 0, 0,  // mov r10, cell
                   0xF0, 0x49, 0xFF, 0x02,                       // lock inc qword ptr [r10]
                   0x49, 0x8B, 0x02,                             // mov rax, [r10]
                   0x49, 0x3B, 0x42, 0x08,                       // cmp rax, [r10 + failingCall]
                   0x75, 0x11,                                   // jne pass
                   0x41, 0x8B, 0x42, 0x18,                       // mov eax, [r10 + error]
                   0x65, 0x89, 0x04, 0x25, 0x68, 0, 0, 0,        // mov gs:[68h], eax
                   0x49, 0x8B, 0x42, 0x10,                       // mov rax, [r10 + result]
                   0xC3,                                         // ret
                   0x41, 0xFF, 0x62, 0x20,                       // pass: jmp [r10 + target]
                   0xCC, 0xCC, 0xCC, 0xCC};
  std::memcpy(code.data() + 2, &cell, sizeof(cell));
  return code;
}

}  // namespace

std::vector<Import> ImportsOf(HMODULE module) {
  const auto* const headers =
      At<IMAGE_NT_HEADERS>(module, static_cast<DWORD>(At<IMAGE_DOS_HEADER>(module, 0)->e_lfanew));
  const DWORD table = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  std::vector<Import> imports;
  if (table == 0) return imports;
  for (const auto* library = At<IMAGE_IMPORT_DESCRIPTOR>(module, table); library->Name != 0; ++library) {
    const auto* name = At<IMAGE_THUNK_DATA>(module, library->OriginalFirstThunk);
    auto* slot = const_cast<void**>(At<void*>(module, library->FirstThunk));
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
      if (IsCode(*slot)) imports.push_back({At<char>(module, library->Name), NameOf(module, *name), slot});
    }
  }
  return imports;
}

void** ReplacedImport::SlotOf(HMODULE module, std::string_view library, std::string_view function) {
  for (const Import& import : ImportsOf(module)) {
    if (import.function == function && _stricmp(import.library.c_str(), std::string(library).c_str()) == 0) {
      return import.slot;
    }
  }
  throw std::invalid_argument(std::string(library) + ": " + std::string(function) + " is not imported");
}

ReplacedImport::ReplacedImport(void** slot, void* replacement) : slot_(slot), original_(*slot) {
  SetSlot(slot_, replacement);
}

ReplacedImport::~ReplacedImport() { SetSlot(slot_, original_); }

// The stubs stay in memory for good, because a module can have kept their addresses. Their code and what they write to
// lie on different pages: the processor is very slow where they share one.
CountedImports::CountedImports(std::span<const Import> imports) {
  constexpr std::size_t kPage = 4096;
  const std::size_t codeSize = (imports.size() * kStubSize / kPage + 1) * kPage;
  auto* const code = static_cast<std::uint8_t*>(
      VirtualAlloc(nullptr, codeSize + imports.size() * sizeof(Cell), MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
  if (code == nullptr) throw std::bad_alloc();
  cells_ = reinterpret_cast<Cell*>(code + codeSize);
  for (std::size_t index = 0; index < imports.size(); ++index) {
    functions_.push_back(imports[index].function);
    cells_[index].target = *imports[index].slot;
    const StubCode stub = StubFor(cells_ + index);
    std::copy(stub.begin(), stub.end(), code + index * kStubSize);
  }
  DWORD protection = 0;
  VirtualProtect(code, codeSize, PAGE_EXECUTE_READ, &protection);
  FlushInstructionCache(GetCurrentProcess(), code, codeSize);
  for (std::size_t index = 0; index < imports.size(); ++index) {
    replaced_.emplace_back(imports[index].slot, code + index * kStubSize);
  }
}

std::map<std::string, std::uint64_t> CountedImports::Counts() const {
  std::map<std::string, std::uint64_t> counts;
  for (std::size_t index = 0; index < functions_.size(); ++index) {
    if (cells_[index].calls != 0) counts[functions_[index]] += cells_[index].calls;
  }
  return counts;
}

void CountedImports::Reset() {
  for (std::size_t index = 0; index < functions_.size(); ++index) {
    cells_[index].calls = 0;
    cells_[index].failingCall = 0;
  }
}

void CountedImports::Fail(std::string_view function, std::uint64_t call, const Failure& failure) {
  for (std::size_t index = 0; index < functions_.size(); ++index) {
    if (functions_[index] != function) continue;
    cells_[index].result = failure.result;
    cells_[index].error = failure.error;
    cells_[index].failingCall = call;
  }
}

}  // namespace quarry::test
