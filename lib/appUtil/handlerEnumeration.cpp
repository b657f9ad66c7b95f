#include "lib/appUtil/handlerEnumeration.h"

namespace {

using EnumHandlersFn = HRESULT(WINAPI*)(PCWSTR protocol, REFIID interfaceId, void** enumerator);

/// In the shell's module, which is loaded for what this library imports from it.
EnumHandlersFn FindEnumHandlers() {
  return reinterpret_cast<EnumHandlersFn>(reinterpret_cast<void*>(
      GetProcAddress(GetModuleHandleW(L"shell32"), "SHAssocEnumHandlersForProtocolByApplication")));
}

HRESULT SystemForExtension(const wchar_t* extension, IEnumAssocHandlers** handlers) {
  return SHAssocEnumHandlers(extension, ASSOC_FILTER_NONE, handlers);
}

HRESULT SystemForProtocol(const wchar_t* protocol, IEnumAssocHandlers** handlers) {
  return VlkSHAssocEnumHandlersForProtocolByApplication(protocol, IID_IEnumAssocHandlers,
                                                        reinterpret_cast<void**>(handlers));
}

constexpr HandlerEnumeration kSystemEnumeration = {SystemForExtension, SystemForProtocol};
const HandlerEnumeration* g_enumeration = &kSystemEnumeration;

}  // namespace

HRESULT VlkSHAssocEnumHandlersForProtocolByApplication(PCWSTR protocol, REFIID interfaceId, void** enumerator) {
  static const EnumHandlersFn enumHandlers = FindEnumHandlers();
  if (enumHandlers == nullptr) return E_NOTIMPL;
  return enumHandlers(protocol, interfaceId, enumerator);
}

const HandlerEnumeration& AppUtil_GetHandlerEnumeration() { return *g_enumeration; }

void AppUtil_SetHandlerEnumeration(const HandlerEnumeration* enumeration) {
  g_enumeration = enumeration != nullptr ? enumeration : &kSystemEnumeration;
}
