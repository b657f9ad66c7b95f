#include "lib/appUtil/handlerEnumeration.h"

#include "lib/appUtil/protocolHandlers.h"

namespace {

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

const HandlerEnumeration& AppUtil_GetHandlerEnumeration() { return *g_enumeration; }

void AppUtil_SetHandlerEnumeration(const HandlerEnumeration* enumeration) {
  g_enumeration = enumeration != nullptr ? enumeration : &kSystemEnumeration;
}
