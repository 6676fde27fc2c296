// om2 info: what a file holds, for people and as JSON.
#pragma once

#include <string>

#include "chunk_tree.h"

namespace tools {

// The tree as indented lines: slot, tag, class, version, id, offset, size, then each field.
std::string TreeAsText(const std::string& path, const Envelope& envelope, const ChunkTree& tree);

// The same as one JSON object; the members are described in docs/om2-tool.md.
std::string TreeAsJson(const std::string& path, const Envelope& envelope, const ChunkTree& tree);

}  // namespace tools
