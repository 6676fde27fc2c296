// Counts every operator new of a program that asks for the count.
#pragma once

namespace support {

/// False where a sanitizer brings allocation functions of its own: nothing is counted then.
#if defined(OSM_SANITIZE)
inline constexpr bool kCountsAllocations = false;
#else
inline constexpr bool kCountsAllocations = true;
#endif

/// Calls of operator new in this process so far.
long long Allocations();

}  // namespace support
