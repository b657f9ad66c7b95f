#pragma once

#include <windows.h>

/// The platform's SHAssocEnumHandlersForProtocolByApplication, which is found by name because not every system has it:
/// E_NOTIMPL there. Source: Microsoft Learn, SHAssocEnumHandlersForProtocolByApplication.
HRESULT VlkSHAssocEnumHandlersForProtocolByApplication(PCWSTR protocol, REFIID interfaceId, void** enumerator);
