#pragma once

#include <windows.h>

#include <cstdint>

/// Milliseconds since the system was started. Source: Microsoft Learn, GetTickCount64.
std::uint64_t TickCount_Now();

/// The lower 32 bits of the same count, which start again every 49.7 days: subtract two of them as unsigned numbers.
std::uint32_t TickCount_Now32();

using TickSource = ULONGLONG(WINAPI*)();

/// Takes the count from `source` from now on, so that tests need not wait; null goes back to the system's.
void TickCount_SetSource(TickSource source) noexcept;
