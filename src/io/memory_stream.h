// Streams over memory.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "io/leaf_stream.h"

namespace osmio {

/// Reads bytes that somebody else owns.
class InStreamMemory : public LeafInStream {
  public:
    InStreamMemory() = default;
    explicit InStreamMemory(std::span<const u8> bytes) { Reset(bytes); }

    /// Reads `bytes` from their start from now on; they must outlive the reading. At most 2 GiB - 1 are seen.
    void Reset(std::span<const u8> bytes);

    /// Leaves the position ON the terminating zero: a second ReadString finds an empty text there.
    void ReadString(std::string& out) override;
    void ReadBytes(void* buffer, u32 count) override;
    i32 GetSize() override { return static_cast<i32>(size); }
    i32 Tell() override { return static_cast<i32>(position); }
    void Seek(i32 target) override;
    void Skip(i32 offset) override;
    /// False while there are no bytes at all.
    bool IsOpen() override { return data != nullptr; }
    u32 Remaining() override { return position < size ? size - position : 0; }
    bool IsExhausted() override { return exhausted; }

  private:
    const u8* data = nullptr;
    u32 size = 0;
    u32 position = 0;
    bool exhausted = false;
};

/// Gathers bytes. Strings are stored without a terminator, except that WriteCString of an empty text stores
/// one zero byte.
class OutStreamMemory : public LeafOutStream {
  public:
    void WriteBytes(const void* bytes, u32 count) override;
    void WriteString(const std::string& text) override;
    void WriteCString(const char* text) override;
    bool IsOpen() override { return true; }
    u32 Tell() override { return static_cast<u32>(data.size()); }
    void PatchU32(u32 position, u32 value) override;
    bool Flush() override { return true; }

    /// A copy of what was written.
    std::vector<u8> GetData() const { return data; }

  private:
    std::vector<u8> data;
};

}  // namespace osmio
