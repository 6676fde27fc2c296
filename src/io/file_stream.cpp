#include "io/file_stream.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace osmio {
namespace {

constexpr u32 kBufferSize = 64 << 10;
constexpr i64 kMaxPosition = std::numeric_limits<i32>::max();

i32 Clamp(i64 position) { return static_cast<i32>(std::min(position, kMaxPosition)); }

}  // namespace

InStreamFile::InStreamFile(const std::string& path) : file(std::fopen(path.c_str(), "rb")) {
    if (!file) return;
    std::setvbuf(file, nullptr, _IONBF, 0);
    if (std::fseek(file, 0, SEEK_END) == 0) {
        size = std::max<i64>(0, std::ftell(file));
        std::fseek(file, 0, SEEK_SET);
    }
    buffer.resize(kBufferSize);
    // A folder opens like a file; only reading tells.
    Fill();
    if (std::ferror(file)) {
        std::fclose(file);
        file = nullptr;
    }
}

InStreamFile::~InStreamFile() {
    if (file) std::fclose(file);
}

bool InStreamFile::Fill() {
    bufferStart += bufferFill;
    bufferNext = 0;
    bufferFill = static_cast<u32>(std::fread(buffer.data(), 1, buffer.size(), file));
    return bufferFill > 0;
}

void InStreamFile::ReadBytes(void* destination, u32 count) {
    u8* to = static_cast<u8*>(destination);
    if (count <= bufferFill - bufferNext) {
        std::memcpy(to, buffer.data() + bufferNext, count);
        bufferNext += count;
        return;
    }
    if (!file) return;
    for (;;) {
        const u32 part = std::min(count, bufferFill - bufferNext);
        std::memcpy(to, buffer.data() + bufferNext, part);
        bufferNext += part;
        to += part;
        count -= part;
        if (count == 0) return;
        if (count >= kBufferSize) {
            bufferStart += bufferFill;
            bufferNext = bufferFill = 0;
            const u32 got = static_cast<u32>(std::fread(to, 1, count, file));
            bufferStart += got;
            if (got < count) exhausted = true;
            return;
        }
        if (!Fill()) {
            exhausted = true;
            return;
        }
    }
}

void InStreamFile::ReadString(std::string& out) {
    out.clear();
    if (!file) return;
    for (;;) {
        const u8* from = buffer.data() + bufferNext;
        const u32 left = bufferFill - bufferNext;
        const void* zero = left > 0 ? std::memchr(from, 0, left) : nullptr;
        if (zero) {
            const auto length = static_cast<u32>(static_cast<const u8*>(zero) - from);
            out.append(reinterpret_cast<const char*>(from), length);
            bufferNext += length + 1;
            return;
        }
        out.append(reinterpret_cast<const char*>(from), left);
        bufferNext += left;
        if (!Fill()) {
            exhausted = true;
            return;
        }
    }
}

i32 InStreamFile::GetSize() { return Clamp(size); }

i32 InStreamFile::Tell() { return Clamp(bufferStart + bufferNext); }

u32 InStreamFile::Remaining() {
    const i64 left = std::min(size, kMaxPosition) - (bufferStart + bufferNext);
    return left > 0 ? static_cast<u32>(left) : 0;
}

void InStreamFile::SeekTo(i64 position) {
    if (!file || position < 0) return;
    position = std::min(position, kMaxPosition);
    if (position >= bufferStart && position <= bufferStart + bufferFill) {
        bufferNext = static_cast<u32>(position - bufferStart);
        return;
    }
    if (std::fseek(file, static_cast<long>(position), SEEK_SET) != 0) return;
    bufferStart = position;
    bufferNext = bufferFill = 0;
}

void InStreamFile::Seek(i32 position) { SeekTo(position); }

void InStreamFile::Skip(i32 offset) { SeekTo(bufferStart + bufferNext + offset); }

OutStreamFile::OutStreamFile(const std::string& path) : file(std::fopen(path.c_str(), "wb")) {
    if (!file) return;
    std::setvbuf(file, nullptr, _IONBF, 0);
    buffer.reserve(kBufferSize);
}

OutStreamFile::~OutStreamFile() {
    if (!file) return;
    Drain();
    std::fclose(file);
}

void OutStreamFile::Drain() {
    if (buffer.empty()) return;
    if (std::fwrite(buffer.data(), buffer.size(), 1, file) != 1) failed = true;
    drained += buffer.size();
    buffer.clear();
}

void OutStreamFile::WriteBytes(const void* bytes, u32 count) {
    if (!file || count == 0) return;
    if (buffer.size() + count > kBufferSize) Drain();
    if (count >= kBufferSize) {
        if (std::fwrite(bytes, count, 1, file) != 1) failed = true;
        drained += count;
        return;
    }
    const u8* from = static_cast<const u8*>(bytes);
    buffer.insert(buffer.end(), from, from + count);
}

void OutStreamFile::WriteString(const std::string& text) {
    WriteBytes(text.c_str(), static_cast<u32>(text.length() + 1));
}

void OutStreamFile::WriteCString(const char* text) {
    WriteBytes(text, static_cast<u32>(std::strlen(text) + 1));
}

u32 OutStreamFile::Tell() { return static_cast<u32>(drained + buffer.size()); }

void OutStreamFile::PatchU32(u32 position, u32 value) {
    if (!file || position + u64{4} > drained + buffer.size()) return;
    if (position >= drained) {
        std::memcpy(buffer.data() + (position - drained), &value, 4);
        return;
    }
    Drain();
    if (std::fseek(file, static_cast<long>(position), SEEK_SET) != 0 ||
        std::fwrite(&value, 4, 1, file) != 1 || std::fseek(file, 0, SEEK_END) != 0) {
        failed = true;
    }
}

bool OutStreamFile::Flush() {
    if (!file) return false;
    Drain();
    if (std::fflush(file) != 0) failed = true;
    return !failed;
}

}  // namespace osmio
