// Streams over files.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "io/leaf_stream.h"

namespace osmio {

/// Reads a file. Small reads are served from a buffer, large ones go straight to the destination.
class InStreamFile : public LeafInStream {
  public:
    /// IsOpen is false afterwards if the file cannot be read; a folder cannot.
    explicit InStreamFile(const std::string& path);
    ~InStreamFile() override;

    /// Passes over the terminating zero.
    void ReadString(std::string& out) override;
    void ReadBytes(void* buffer, u32 size) override;
    /// The size that the file had when it was opened.
    i32 GetSize() override;
    i32 Tell() override;
    void Seek(i32 position) override;
    void Skip(i32 offset) override;
    bool IsOpen() override { return file != nullptr; }
    u32 Remaining() override;
    bool IsExhausted() override { return exhausted; }

  private:
    bool Fill();
    void SeekTo(i64 position);

    std::FILE* file = nullptr;
    i64 size = 0;
    /// Position in the file of buffer[0]; what follows the buffer is where `file` stands.
    i64 bufferStart = 0;
    u32 bufferFill = 0;
    u32 bufferNext = 0;
    std::vector<u8> buffer;
    bool exhausted = false;
};

/// Writes a file, truncating what was there.
class OutStreamFile : public LeafOutStream {
  public:
    /// IsOpen is false afterwards if the file cannot be written; nothing may be written then.
    explicit OutStreamFile(const std::string& path);
    ~OutStreamFile() override;

    void WriteBytes(const void* bytes, u32 size) override;
    void WriteString(const std::string& text) override;
    void WriteCString(const char* text) override;
    bool IsOpen() override { return file != nullptr; }
    u32 Tell() override;
    void PatchU32(u32 position, u32 value) override;
    bool Flush() override;

  private:
    void Drain();

    std::FILE* file = nullptr;
    /// Bytes that have left the buffer.
    u64 drained = 0;
    std::vector<u8> buffer;
    bool failed = false;
};

}  // namespace osmio
