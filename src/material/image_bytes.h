// Image files that textures carry inside them or name.
#pragma once

#include <string>
#include <vector>

#include "platform/types.h"

namespace osm3d {

/// Takes all bytes of the file at `path`, opened as it stands. False, with a warning to the tracer and
/// `bytes` as it was, when it cannot be opened.
bool ReadImageBytes(const std::string& path, std::vector<u8>& bytes);

/// Tells a debugger that the image at `path` could not be loaded.
void ReportUnreadableImage(const std::string& path);

}  // namespace osm3d
