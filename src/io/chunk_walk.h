// The tree of chunks of a file, as tools show it.
#pragma once

#include <string>
#include <vector>

#include "io/chunked_stream.h"

namespace osmio {

/// One slot of a file with what the reading of it told.
struct ChunkNode {
    ChunkEvent slot;
    /// Where its reading stopped.
    i32 end = 0;
    /// Index in the list of the chunk that it stands in, or -1.
    i32 parent = -1;
    /// What the slot gave; null where it gave nothing.
    Serializable* object = nullptr;

    /// Whether a chunk's class read exactly the body that its header claims.
    bool IsExact() const { return end - slot.offset == static_cast<i64>(slot.size) + 12; }
};

/// Collects every slot of a file in file order. Install with SetObserver before ReadObject.
class ChunkWalk final : public ChunkObserver {
  public:
    void BeginSlot(const ChunkEvent& event) override;
    void EndSlot(const ChunkEvent& event, i32 end, Serializable* object) override;

    const std::vector<ChunkNode>& Nodes() const { return nodes; }

  private:
    std::vector<ChunkNode> nodes;
    std::vector<i32> open;
};

/// The four characters, with a dot for each that cannot be shown.
std::string FourCCText(u32 fourcc);

}  // namespace osmio
