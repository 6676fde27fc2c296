#include "io/chunk_walk.h"

namespace osmio {

void ChunkWalk::BeginSlot(const ChunkEvent& event) {
    ChunkNode node;
    node.slot = event;
    node.end = event.offset;
    node.parent = open.empty() ? -1 : open.back();
    open.push_back(static_cast<i32>(nodes.size()));
    nodes.push_back(node);
}

void ChunkWalk::EndSlot(const ChunkEvent&, i32 end, Serializable* object) {
    ChunkNode& node = nodes[static_cast<std::size_t>(open.back())];
    open.pop_back();
    node.end = end;
    node.object = object;
}

std::string FourCCText(u32 fourcc) {
    std::string text(4, '.');
    for (int i = 0; i < 4; ++i) {
        const u32 character = fourcc >> (8 * i) & 0xff;
        if (character > 0x20 && character < 0x7f)
            text[static_cast<std::size_t>(i)] = static_cast<char>(character);
    }
    return text;
}

}  // namespace osmio
