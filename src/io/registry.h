// Which class a FourCC stands for.
#pragma once

#include "io/serializable.h"
#include "io/stream.h"

namespace osmio {

/// Makes the objects of one stored class.
class CRSerializable {
  public:
    /// A new object that has read itself from `in`, owned by whoever calls.
    virtual Serializable* ReadChunk(InStream* in) = 0;

  protected:
    ~CRSerializable() = default;
};

/// Enters `registrar` for `fourcc`; a second one replaces the first. Not for use while a file is read.
void RegisterChunk(CRSerializable* registrar, u32 fourcc);

/// Takes the entry out again.
void UnregisterChunk(u32 fourcc);

/// Null if there is none.
CRSerializable* FindChunkRegistrer(u32 fourcc);

/// A static object of this type makes `T` storable under its FourCC for as long as it lives.
template <class T>
class ChunkRegistrer final : public CRSerializable {
  public:
    explicit ChunkRegistrer(u32 tag) : fourcc(tag) { RegisterChunk(this, tag); }
    ~ChunkRegistrer() { UnregisterChunk(fourcc); }

    ChunkRegistrer(const ChunkRegistrer&) = delete;
    ChunkRegistrer& operator=(const ChunkRegistrer&) = delete;

    /// An object that refused its version comes back as it stands.
    Serializable* ReadChunk(InStream* in) override {
        Serializable* object = new T();
        in->ReadObjectInto(object);
        return object;
    }

  private:
    u32 fourcc;
};

}  // namespace osmio
