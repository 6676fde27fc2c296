// Streams that hold a graph of objects as nested, typed, versioned, sized records.
//
// Where an object stands there is a slot, which begins with one 32-bit word: 0 for none; with the top bit set
// a reference, by the id in its low 16 bits, to an object stored earlier; otherwise the FourCC of a chunk,
// then its u16 version, u16 object id, u32 body size, and the body.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "io/composite_stream.h"
#include "io/object_graph.h"
#include "io/serializable.h"

namespace osmio {

/// Writes each object once, where it is first met, and a reference wherever it is met again.
class OutStreamChunked : public OutStreamComposite {
  public:
    OutStreamChunked(OutStream* target, bool ownsTarget) : OutStreamComposite(target, ownsTarget) {}

    void WriteObject(Serializable* object) override;

    /// Writes the header of the object that WriteObject is writing. A FourCC with its top bit set is shown in
    /// a box and written nevertheless. Of the version the low half is stored.
    void BeginChunk(u32 fourcc, u32 version) override;

  private:
    u32 currentFourCC = 0;
    u32 currentVersion = 0;
    u32 currentId = 0;
    u32 nextId = 0;
    std::unordered_map<Serializable*, u16> objectIds;
    std::vector<u32> sizeFields;
};

/// One object slot as it was met.
struct ChunkEvent {
    enum class Kind { kNull, kReference, kChunk, kUnknownChunk, kTooDeep };

    Kind kind;
    /// Position of the slot's word in the stream.
    i32 offset;
    /// Of chunks.
    u32 fourcc;
    u32 version;
    u32 size;
    /// Of chunks and references.
    u32 id;
    /// How many chunks the slot stands in.
    u32 depth;
};

/// Is told about each object slot while a file is read.
class ChunkObserver {
  public:
    virtual void BeginSlot(const ChunkEvent& event) = 0;

    /// After the slot was read. `end` is where its reading stopped: for a chunk whose class reads what its
    /// class writes, offset + 12 + size. `object` may be null.
    virtual void EndSlot(const ChunkEvent& event, i32 end, Serializable* object) = 0;

  protected:
    ~ChunkObserver() = default;
};

/// Reads such a file. Every object made by ReadObject belongs to the stream until TakeGraph.
///
/// The file may hold anything: slots nest at most kMaxNesting deep, a deeper one is skipped and reads as
/// null; a chunk larger than the rest of the file ends the reading.
class InStreamChunked : public InStreamComposite {
  public:
    /// Chunks in chunks. Scenes nest fewer than 20 deep unless nodes aim at nodes that aim at nodes.
    static constexpr u32 kMaxNesting = 200;

    InStreamChunked(InStream* source, bool ownsSource) : InStreamComposite(source, ownsSource) {}

    /// A chunk of no registered class is shown in a box, skipped and gives null, as does a reference to an
    /// object that has not been read.
    Serializable* ReadObject() override;

    /// Enters `object` under the id of the header read last, then has it read its body.
    bool ReadObjectInto(Serializable* object) override;

    bool IsChunked() override { return true; }
    /// Of the innermost chunk being read; 0 outside of any.
    u32 GetChunkId() override;
    u32 GetChunkVersion() override;
    /// Of the header read last, which after a nested object is that object's.
    u32 GetChunkSize() override { return bodySize; }

    /// Keeps `reason`, with the chunk and the position it came from, if it is the first.
    void Fail(const std::string& reason) override;

    /// 0 for an empty slot, 1 for a chunk, 2 for a reference.
    virtual i32 ReadChunkHeader();
    virtual void PushChunk();
    virtual void PopChunk();

    /// Whether something was met that no writer writes: nesting or a size or count beyond all bounds. What
    /// was read then is not what the file's maker meant.
    bool HasFailed() const { return failed; }

    /// The first thing wrong with the file, in one line: what made HasFailed true, a version that a class
    /// refused, a class that nobody knows, or an end too early. Empty when all is well.
    std::string GetError();

    /// Keeps `reason`, with the chunk and the position it came from, for GetError if it is the first, without
    /// failing the stream.
    void Note(const std::string& reason);

    /// Hands over all objects made so far. Objects in them refer to each other: take it once, after reading.
    ObjectGraph TakeGraph();

    /// `value` may be null and must outlive the reading.
    void SetObserver(ChunkObserver* value) { observer = value; }

  private:
    struct Header {
        i32 word = 0;
        u16 version = 0;
    };

    Serializable* ReadBody(i32 offset);

    /// Indexed by id.
    std::vector<Serializable*> objects;
    std::vector<Header> headers;
    u16 currentId = 0;
    u32 bodySize = 0;
    ObjectGraph graph;
    std::string firstError;
    bool failed = false;
    ChunkObserver* observer = nullptr;
};

}  // namespace osmio
