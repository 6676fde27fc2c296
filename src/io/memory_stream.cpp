#include "io/memory_stream.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace osmio {

void InStreamMemory::Reset(std::span<const u8> bytes) {
    data = bytes.data();
    size = static_cast<u32>(std::min<std::size_t>(bytes.size(), std::numeric_limits<i32>::max()));
    position = 0;
    exhausted = false;
}

void InStreamMemory::ReadBytes(void* buffer, u32 count) {
    const u32 part = std::min(count, Remaining());
    if (part > 0) std::memcpy(buffer, data + position, part);
    position += part;
    if (part < count) exhausted = true;
}

void InStreamMemory::ReadString(std::string& out) {
    out.clear();
    const u32 left = Remaining();
    if (left == 0) {
        exhausted = true;
        return;
    }
    const u8* from = data + position;
    const void* zero = std::memchr(from, 0, left);
    const u32 length = zero ? static_cast<u32>(static_cast<const u8*>(zero) - from) : left;
    out.assign(reinterpret_cast<const char*>(from), length);
    position += length;
    if (!zero) exhausted = true;
}

void InStreamMemory::Seek(i32 target) {
    if (target >= 0) position = static_cast<u32>(target);
}

void InStreamMemory::Skip(i32 offset) {
    const i64 target = static_cast<i64>(position) + offset;
    if (target >= 0) position = static_cast<u32>(std::min<i64>(target, std::numeric_limits<i32>::max()));
}

void OutStreamMemory::WriteBytes(const void* bytes, u32 count) {
    const u8* from = static_cast<const u8*>(bytes);
    data.insert(data.end(), from, from + count);
}

void OutStreamMemory::WriteString(const std::string& text) {
    WriteBytes(text.data(), static_cast<u32>(text.length()));
}

void OutStreamMemory::WriteCString(const char* text) {
    WriteBytes(text, static_cast<u32>(std::max<std::size_t>(1, std::strlen(text))));
}

void OutStreamMemory::PatchU32(u32 position, u32 value) {
    if (position + u64{4} <= data.size()) std::memcpy(data.data() + position, &value, 4);
}

}  // namespace osmio
