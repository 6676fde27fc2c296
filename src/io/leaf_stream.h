// What the four streams over real storage share: typed operations that end in the raw byte operation.
#pragma once

#include <string>

#include "io/stream.h"

namespace osmio {

/// A source whose values all come through ReadBytes. Objects read themselves from it without headers.
class LeafInStream : public InStream {
  public:
    bool ReadObjectInto(Serializable* object) override;
    void ReadF64(f64* value) override { ReadBytes(value, 8); }
    void ReadF32(f32* value) override { ReadBytes(value, 4); }
    void ReadI32(i32* value) override { ReadBytes(value, 4); }
    void ReadU32(u32* value) override { ReadBytes(value, 4); }
    void ReadU16(u16* value) override { ReadBytes(value, 2); }
    void ReadI16(i16* value) override { ReadBytes(value, 2); }
    void ReadU8(u8* value) override { ReadBytes(value, 1); }
    void ReadI8(i8* value) override { ReadBytes(value, 1); }
    void ReadBool(bool* value) override;
    bool IsReadable() override { return true; }
};

/// A sink whose values all go through WriteBytes. Objects write themselves into it without headers or
/// references.
class LeafOutStream : public OutStream {
  public:
    void WriteObject(Serializable* object) override;
    void WriteF64(f64 value) override { WriteBytes(&value, 8); }
    void WriteF32(f32 value) override { WriteBytes(&value, 4); }
    void WriteI32(i32 value) override { WriteBytes(&value, 4); }
    void WriteU32(u32 value) override { WriteBytes(&value, 4); }
    void WriteU16(u16 value) override { WriteBytes(&value, 2); }
    void WriteI16(i16 value) override { WriteBytes(&value, 2); }
    void WriteU8(u8 value) override { WriteBytes(&value, 1); }
    void WriteI8(i8 value) override { WriteBytes(&value, 1); }
    void WriteBool(bool value) override;
};

}  // namespace osmio
