// Bytes put together by hand.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "io/chunked_stream.h"
#include "io/memory_stream.h"
#include "support/round_trip.h"
#include "trace/test_messages.h"

namespace testing_bytes {

/// Appends values in their stored form.
class Bytes {
  public:
    Bytes& U8(u8 v) { return Raw(&v, 1); }
    Bytes& U16(u16 v) { return Raw(&v, 2); }
    Bytes& U32(u32 v) { return Raw(&v, 4); }
    Bytes& F32(f32 v) { return Raw(&v, 4); }
    Bytes& F32s(const std::vector<f32>& values) {
        for (const f32 v : values) F32(v);
        return *this;
    }
    /// Characters without a terminator: tags, magics.
    Bytes& Text(const std::string& text) { return Raw(text.data(), text.size()); }
    /// A chunk header.
    Bytes& Chunk(const char* tag, u16 version, u16 id, u32 size) {
        return Text(tag).U16(version).U16(id).U32(size);
    }
    Bytes& Raw(const void* data, std::size_t size) {
        const u8* from = static_cast<const u8*>(data);
        bytes.insert(bytes.end(), from, from + size);
        return *this;
    }
    Bytes& Append(const std::vector<u8>& more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }
    operator const std::vector<u8>&() const { return bytes; }

    std::vector<u8> bytes;
};

/// What a chunked stream makes of `root`, without a magic.
inline std::vector<u8> Stored(osmio::Serializable* root) {
    osmio::OutStreamMemory memory;
    osmio::OutStreamChunked out(&memory, false);
    out.WriteObject(root);
    return memory.GetData();
}

/// A chunked stream over bytes that it keeps.
class Source {
  public:
    explicit Source(const std::vector<u8>& data) : bytes(data), memory(bytes), stream(&memory, false) {}
    osmio::InStreamChunked* operator->() { return &stream; }

  private:
    std::vector<u8> bytes;
    osmio::InStreamMemory memory;

  public:
    osmio::InStreamChunked stream;
};

using testing_messages::Messages;

}  // namespace testing_bytes
