// The two abstract streams. Everything stored goes through them as the little-endian memory image of the
// values, in the order of the calls: no tags, no alignment, no byte swapping.
#pragma once

#include <string>

#include "platform/types.h"

namespace osmio {

class Serializable;

/// A source of typed values, raw bytes, strings and objects.
///
/// No read reports an error. A read past the end fills the destination as far as there are bytes, leaves the
/// rest of it as it was, and stands at the end from then on. Sizes and positions are in bytes; a stream of
/// 2 GiB or more shows its first 2 GiB - 1.
class InStream {
  public:
    InStream() = default;
    InStream(const InStream&) = delete;
    InStream& operator=(const InStream&) = delete;

    /// The object of the next slot: a new one, one read before, or null. Null without reading anything on a
    /// stream without chunks.
    virtual Serializable* ReadObject() { return nullptr; }

    /// Has `object` read itself from here, and gives back what its Read gave.
    virtual bool ReadObjectInto(Serializable* object) = 0;

    /// Replaces `out` by the characters up to a zero byte or the end.
    virtual void ReadString(std::string& out) = 0;
    virtual void ReadBytes(void* buffer, u32 size) = 0;
    virtual void ReadF64(f64* value) = 0;
    virtual void ReadF32(f32* value) = 0;
    virtual void ReadI32(i32* value) = 0;
    virtual void ReadU32(u32* value) = 0;
    virtual void ReadU16(u16* value) = 0;
    virtual void ReadI16(i16* value) = 0;
    virtual void ReadU8(u8* value) = 0;
    virtual void ReadI8(i8* value) = 0;
    /// One byte; any but zero is true.
    virtual void ReadBool(bool* value) = 0;
    virtual bool IsReadable() = 0;
    virtual i32 GetSize() = 0;
    virtual i32 Tell() = 0;
    /// Goes to `position` bytes from the start; a negative one is ignored.
    virtual void Seek(i32 position) = 0;
    /// Moves by `offset`; a move to before the start is ignored.
    virtual void Skip(i32 offset) = 0;
    virtual bool IsChunked() { return false; }
    /// FourCC, version and body size of the chunk being read; 0 on a stream without chunks.
    virtual u32 GetChunkId() { return 0; }
    virtual u32 GetChunkVersion() { return 0; }
    virtual u32 GetChunkSize() { return 0; }
    virtual ~InStream() = default;
    virtual bool IsOpen() = 0;

    /// Bytes between here and the end of the stream. A count read from the stream is checked against it
    /// before anything is allocated.
    virtual u32 Remaining();

    /// Notes that what is being read cannot be true. A chunked stream keeps the first reason.
    virtual void Fail(const std::string& reason);

    /// Whether a read has met the end before it had all its bytes.
    virtual bool IsExhausted() = 0;

    /// Whether `count` elements of at least `size` bytes each can follow; if not (a negative count cannot),
    /// Fails the stream with a reason that names `what`, and the caller's Read gives false.
    bool CanHold(i32 count, u32 size, const char* what);
};

/// Whether the chunk being read has this version; true as well where no version is known.
inline bool VersionIs(InStream* in, u32 version) {
    return !in->IsChunked() || in->GetChunkVersion() == version;
}

/// A sink of the same. No write reports an error; Flush tells at the end.
class OutStream {
  public:
    OutStream() = default;
    OutStream(const OutStream&) = delete;
    OutStream& operator=(const OutStream&) = delete;

    /// Null: four zero bytes. Otherwise the object, or on a chunked stream a reference to it if it was
    /// written before.
    virtual void WriteObject(Serializable* object) = 0;
    virtual void WriteBytes(const void* buffer, u32 size) = 0;
    /// File streams store the terminating zero, memory streams do not.
    virtual void WriteString(const std::string& text) = 0;
    /// As WriteString, but a memory stream stores one zero byte for an empty text.
    virtual void WriteCString(const char* text) = 0;
    virtual void WriteF64(f64 value) = 0;
    virtual void WriteF32(f32 value) = 0;
    virtual void WriteI32(i32 value) = 0;
    virtual void WriteU32(u32 value) = 0;
    virtual void WriteU16(u16 value) = 0;
    virtual void WriteI16(i16 value) = 0;
    virtual void WriteU8(u8 value) = 0;
    virtual void WriteI8(i8 value) = 0;
    virtual void WriteBool(bool value) = 0;
    /// Begins the record of the object being written; only a chunked stream does anything.
    virtual void BeginChunk(u32 fourcc, u32 version);
    virtual ~OutStream() = default;
    virtual bool IsOpen() = 0;
    virtual u32 Tell() = 0;
    /// Overwrites four bytes written earlier; the next write still goes to the end. A position that has not
    /// been written is ignored.
    virtual void PatchU32(u32 position, u32 value) = 0;

    /// Hands everything written so far to the storage below. False once anything could not be written. A
    /// compressing stream writes only when it is destroyed: flush its target after that.
    virtual bool Flush() = 0;
};

}  // namespace osmio
