// Work on text that nobody vouches for, with a library that does not vouch for itself: done in a process of
// its own, which may crash, hang or run out of memory without taking this one along.
#pragma once

#include <functional>
#include <vector>

#include "platform/types.h"

namespace platform::gl {

/// Runs `work`, which must touch nothing but memory (no graphics, no threads, no files), in a copy of this
/// process and gives the bytes that it returned. False when the copy ended before it was through; it is given
/// 10 seconds of processor time and 1 GiB. Where there can be no copy, `work` runs here.
bool RunIsolated(const std::function<std::vector<u8>()>& work, std::vector<u8>& result);

}  // namespace platform::gl
