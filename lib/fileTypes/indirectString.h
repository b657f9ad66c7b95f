#pragma once

#include <windows.h>

#include <string>

/// Resolves an indirect string ("@module,-resource number"); any other text is copied. `resolved` is set on success
/// only. Fails with E_INVALIDARG for a source of 1024 characters or more. Source: Microsoft Learn,
/// SHLoadIndirectString.
HRESULT VlkSHLoadIndirectString(const std::wstring& source, std::wstring& resolved);

using IndirectStringLoader = HRESULT(WINAPI*)(PCWSTR source, PWSTR buffer, UINT capacity, void** reserved);

/// Resolves through `loader` from now on, so that tests meet texts that do not fit; null goes back to the platform's.
void AppUtilSetIndirectStringLoader(IndirectStringLoader loader) noexcept;
