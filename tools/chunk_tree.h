// The objects of an .om2 file as a tree of described chunks, read from the bytes alone: what a file says,
// whether or not the engine would take it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "envelope.h"

namespace tools {

// One value of a record, ready to print. `number` tells that `text` is a JSON number or list of numbers.
struct Field {
    std::string name, text;
    bool number = false;
};

struct Node {
    enum class Kind { Null, Reference, Chunk };

    std::string slot;  // what the slot is in the record that holds it: "geometry", "materials[3]"
    Kind kind = Kind::Null;
    std::string tag;         // four characters
    std::string class_name;  // empty when no class is known for the tag
    unsigned version = 0;
    unsigned id = 0;         // of the chunk, or of the object referred to
    std::size_t offset = 0;  // of the chunk's header in the file, or in the unpacked data plus 4 (packed)
    std::uint32_t size = 0;  // of the body
    std::vector<Field> fields;
    std::vector<Node> children;
};

// Something wrong with the bytes themselves.
struct Fault {
    std::size_t offset = 0;
    std::string what;
};

struct ChunkTree {
    Node root;
    std::vector<Fault> faults;  // in file order; empty for a sound file
    std::size_t chunk_count = 0;
};

// Reads the tree. Broken bytes end the walk with a fault; what was read until then is there.
ChunkTree ReadChunkTree(const Envelope& envelope);

// Which records hold a string that is followed by other data, which the packed form cannot carry.
struct NamedFiles {
    bool images = false;   // could be taken into the scene
    bool effects = false;  // could not
};
NamedFiles FindNamedFiles(const Node& node);

}  // namespace tools
