#pragma once

#include <windows.h>

#include <shobjidl.h>

/// The shell's two ways of enumerating the applications that handle a file type. The system's own are used unless
/// others are set.
struct HandlerEnumeration {
  /// Microsoft Learn, SHAssocEnumHandlers, with all handlers of an extension (with its dot).
  HRESULT (*forExtension)(const wchar_t* extension, IEnumAssocHandlers** handlers);
  /// Microsoft Learn, SHAssocEnumHandlersForProtocolByApplication; E_NOTIMPL where the system has no such function.
  HRESULT (*forProtocol)(const wchar_t* protocol, IEnumAssocHandlers** handlers);
};

/// The platform's SHAssocEnumHandlersForProtocolByApplication, which is found by name because not every system has it:
/// E_NOTIMPL there. Source: Microsoft Learn, SHAssocEnumHandlersForProtocolByApplication.
HRESULT VlkSHAssocEnumHandlersForProtocolByApplication(PCWSTR protocol, REFIID interfaceId, void** enumerator);

const HandlerEnumeration& AppUtil_GetHandlerEnumeration();

/// Replaces both functions for the process; null brings the system's own back.
void AppUtil_SetHandlerEnumeration(const HandlerEnumeration* enumeration);
