#include "lib/appUtil/protocolHandlers.h"

namespace {

using EnumHandlersFn = HRESULT(WINAPI*)(PCWSTR protocol, REFIID interfaceId, void** enumerator);

EnumHandlersFn FindEnumHandlers() {
  const HMODULE shell = GetModuleHandleW(L"shell32");
  if (shell == nullptr) return nullptr;
  return reinterpret_cast<EnumHandlersFn>(
      reinterpret_cast<void*>(GetProcAddress(shell, "SHAssocEnumHandlersForProtocolByApplication")));
}

}  // namespace

HRESULT VlkSHAssocEnumHandlersForProtocolByApplication(PCWSTR protocol, REFIID interfaceId, void** enumerator) {
  static const EnumHandlersFn enumHandlers = FindEnumHandlers();
  if (enumHandlers == nullptr) return E_NOTIMPL;
  return enumHandlers(protocol, interfaceId, enumerator);
}
