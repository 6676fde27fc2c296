#include "io/stream.h"

#include "io/leaf_stream.h"
#include "io/serializable.h"

namespace osmio {

u32 InStream::Remaining() {
    const i64 left = static_cast<i64>(GetSize()) - Tell();
    return left > 0 ? static_cast<u32>(left) : 0;
}

void InStream::Fail(const std::string&) {}

bool InStream::CanHold(i32 count, u32 size, const char* what) {
    if (count < 0) {
        Fail("claims " + std::to_string(count) + " " + what);
        return false;
    }
    const u64 needed = static_cast<u64>(count) * size;
    const u32 left = Remaining();
    if (needed <= left) return true;
    Fail("claims " + std::to_string(count) + " " + what + ", " + std::to_string(needed) +
         " bytes at least, where " + std::to_string(left) + " follow");
    return false;
}

void OutStream::BeginChunk(u32, u32) {}

bool LeafInStream::ReadObjectInto(Serializable* object) { return object->Read(this); }

void LeafInStream::ReadBool(bool* value) {
    u8 byte = *value ? 1 : 0;
    ReadBytes(&byte, 1);
    *value = byte != 0;
}

void LeafOutStream::WriteObject(Serializable* object) {
    if (object) {
        object->Write(this);
    } else {
        WriteI32(0);
    }
}

void LeafOutStream::WriteBool(bool value) {
    const u8 byte = value ? 1 : 0;
    WriteBytes(&byte, 1);
}

}  // namespace osmio
