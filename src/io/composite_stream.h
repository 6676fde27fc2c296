// Streams over another stream.
#pragma once

#include <string>

#include "io/stream.h"

namespace osmio {

/// Forwards every operation to the stream below.
class InStreamComposite : public InStream {
  public:
    /// With `owns` the destructor deletes `below`.
    InStreamComposite(InStream* below, bool owns) : inner(below), ownsInner(owns) {}
    ~InStreamComposite() override;

    Serializable* ReadObject() override { return inner->ReadObject(); }
    bool ReadObjectInto(Serializable* object) override { return inner->ReadObjectInto(object); }
    void ReadString(std::string& out) override { inner->ReadString(out); }
    void ReadBytes(void* buffer, u32 size) override { inner->ReadBytes(buffer, size); }
    void ReadF64(f64* value) override { inner->ReadF64(value); }
    void ReadF32(f32* value) override { inner->ReadF32(value); }
    void ReadI32(i32* value) override { inner->ReadI32(value); }
    void ReadU32(u32* value) override { inner->ReadU32(value); }
    void ReadU16(u16* value) override { inner->ReadU16(value); }
    void ReadI16(i16* value) override { inner->ReadI16(value); }
    void ReadU8(u8* value) override { inner->ReadU8(value); }
    void ReadI8(i8* value) override { inner->ReadI8(value); }
    void ReadBool(bool* value) override { inner->ReadBool(value); }
    bool IsReadable() override { return inner->IsReadable(); }
    i32 GetSize() override { return inner->GetSize(); }
    i32 Tell() override { return inner->Tell(); }
    void Seek(i32 position) override { inner->Seek(position); }
    void Skip(i32 offset) override { inner->Skip(offset); }
    bool IsChunked() override { return inner->IsChunked(); }
    u32 GetChunkId() override { return inner->GetChunkId(); }
    u32 GetChunkVersion() override { return inner->GetChunkVersion(); }
    u32 GetChunkSize() override { return inner->GetChunkSize(); }
    bool IsOpen() override { return inner->IsOpen(); }
    u32 Remaining() override { return inner->Remaining(); }
    void Fail(const std::string& reason) override { inner->Fail(reason); }
    bool IsExhausted() override { return inner->IsExhausted(); }

  protected:
    InStream* inner;
    bool ownsInner;
};

/// Forwards every operation to the stream below, except BeginChunk, which does nothing.
class OutStreamComposite : public OutStream {
  public:
    /// With `owns` the destructor deletes `below`.
    OutStreamComposite(OutStream* below, bool owns) : inner(below), ownsInner(owns) {}
    ~OutStreamComposite() override;

    void WriteObject(Serializable* object) override { inner->WriteObject(object); }
    void WriteBytes(const void* buffer, u32 size) override { inner->WriteBytes(buffer, size); }
    void WriteString(const std::string& text) override { inner->WriteString(text); }
    void WriteCString(const char* text) override { inner->WriteCString(text); }
    void WriteF64(f64 value) override { inner->WriteF64(value); }
    void WriteF32(f32 value) override { inner->WriteF32(value); }
    void WriteI32(i32 value) override { inner->WriteI32(value); }
    void WriteU32(u32 value) override { inner->WriteU32(value); }
    void WriteU16(u16 value) override { inner->WriteU16(value); }
    void WriteI16(i16 value) override { inner->WriteI16(value); }
    void WriteU8(u8 value) override { inner->WriteU8(value); }
    void WriteI8(i8 value) override { inner->WriteI8(value); }
    void WriteBool(bool value) override { inner->WriteBool(value); }
    bool IsOpen() override { return inner->IsOpen(); }
    u32 Tell() override { return inner->Tell(); }
    void PatchU32(u32 position, u32 value) override { inner->PatchU32(position, value); }
    bool Flush() override { return inner->Flush(); }

  protected:
    OutStream* inner;
    bool ownsInner;
};

}  // namespace osmio
