#include <gtest/gtest.h>

#include <limits>

#include "io/block.h"
#include "io/file_stream.h"
#include "io/memory_stream.h"
#include "io/test_bytes.h"

namespace {

using testing_bytes::Bytes;
using testing_bytes::TempFile;

void WriteOneOfEach(osmio::OutStream& out) {
    out.WriteF64(1.5);
    out.WriteF32(-2.0f);
    out.WriteI32(-2);
    out.WriteU32(0x01020304);
    out.WriteU16(0x0506);
    out.WriteI16(-3);
    out.WriteU8(7);
    out.WriteI8(-1);
    out.WriteBool(true);
    out.WriteBool(false);
    out.WriteObject(nullptr);
}

Bytes OneOfEach() {
    Bytes b;
    b.U32(0).U32(0x3FF80000).U32(0xC0000000).U32(0xFFFFFFFE).U32(0x01020304).U16(0x0506).U16(0xFFFD);
    return b.U8(7).U8(0xFF).U8(1).U8(0).U32(0);
}

void ExpectOneOfEach(osmio::InStream& in) {
    f64 d = 0;
    f32 f = 0;
    i32 i = 0;
    u32 u = 0;
    u16 w = 0;
    i16 s = 0;
    u8 b = 0;
    i8 c = 0;
    bool yes = false;
    bool no = true;
    in.ReadF64(&d);
    in.ReadF32(&f);
    in.ReadI32(&i);
    in.ReadU32(&u);
    in.ReadU16(&w);
    in.ReadI16(&s);
    in.ReadU8(&b);
    in.ReadI8(&c);
    in.ReadBool(&yes);
    in.ReadBool(&no);
    EXPECT_EQ(d, 1.5);
    EXPECT_EQ(f, -2.0f);
    EXPECT_EQ(i, -2);
    EXPECT_EQ(u, 0x01020304u);
    EXPECT_EQ(w, 0x0506);
    EXPECT_EQ(s, -3);
    EXPECT_EQ(b, 7);
    EXPECT_EQ(c, -1);
    EXPECT_TRUE(yes);
    EXPECT_FALSE(no);
    EXPECT_EQ(in.ReadObject(), nullptr);
    EXPECT_EQ(in.Remaining(), 4u) << "a null object stays unread without chunks";
    EXPECT_FALSE(in.IsChunked());
}

TEST(LeafStreams, StoreValuesAsTheirMemoryImage) {
    TempFile path;
    {
        osmio::OutStreamFile file(path.Path());
        ASSERT_TRUE(file.IsOpen());
        WriteOneOfEach(file);
        EXPECT_TRUE(file.Flush());
    }
    osmio::OutStreamMemory memory;
    EXPECT_EQ(memory.Tell(), 0u);
    WriteOneOfEach(memory);
    EXPECT_EQ(path.Get(), OneOfEach().bytes);
    EXPECT_EQ(memory.GetData(), OneOfEach().bytes);

    osmio::InStreamFile inFile(path.Path());
    ExpectOneOfEach(inFile);
    const std::vector<u8> data = OneOfEach();
    osmio::InStreamMemory inMemory(data);
    ExpectOneOfEach(inMemory);
}

TEST(LeafStreams, StringsEndWithAZeroInFilesAndWithNothingInMemory) {
    TempFile path;
    {
        osmio::OutStreamFile file(path.Path());
        file.WriteString("");
        file.WriteString("ab");
        file.WriteCString("c");
        file.WriteCString("");
    }
    EXPECT_EQ(path.Get(), Bytes().Text(std::string("\0ab\0c\0\0", 7)).bytes);

    osmio::OutStreamMemory memory;
    memory.WriteString("");
    EXPECT_EQ(memory.Tell(), 0u);
    memory.WriteString("ab");
    memory.WriteCString("c");
    memory.WriteCString("");
    EXPECT_EQ(memory.GetData(), Bytes().Text(std::string("abc\0", 4)).bytes);

    osmio::InStreamFile file(path.Path());
    std::string text = "old";
    file.ReadString(text);
    EXPECT_EQ(text, "");
    file.ReadString(text);
    EXPECT_EQ(text, "ab");
    file.Skip(3);
    EXPECT_FALSE(file.IsExhausted());
    file.ReadString(text);
    EXPECT_EQ(text, "") << "the end ends a string";

    const std::vector<u8> stored = Bytes().Text(std::string("ab\0x", 4));
    osmio::InStreamMemory in(stored);
    in.ReadString(text);
    EXPECT_EQ(text, "ab");
    EXPECT_EQ(in.Tell(), 2) << "on the terminator";
    in.ReadString(text);
    EXPECT_EQ(text, "");
    EXPECT_EQ(in.Tell(), 2);
    in.Seek(3);
    in.ReadString(text);
    EXPECT_EQ(text, "x") << "bounded by the size";
}

TEST(LeafStreams, AStringLongerThanTheReadBufferIsWhole) {
    TempFile path;
    const std::string text(200000, 'q');
    path.Put(Bytes().U32(1).Text(text).U8(0).U32(2));
    osmio::InStreamFile in(path.Path());
    u32 number = 0;
    std::string read;
    in.ReadU32(&number);
    in.ReadString(read);
    EXPECT_EQ(read, text);
    in.ReadU32(&number);
    EXPECT_EQ(number, 2u);
}

/// Every kind of read, on a stream of the bytes 0, 1, 2, ... modulo 251.
void ExpectPositionsHold(osmio::InStream& in, u32 size) {
    const auto at = [](u32 i) { return static_cast<u8>(i % 251); };
    ASSERT_EQ(in.GetSize(), static_cast<i32>(size));
    std::vector<u8> part;
    u32 position = 0;
    u32 random = 1;
    for (int i = 0; i < 300; ++i) {
        random = random * 1664525 + 1013904223;
        if (random & 0x10000) {
            position = (random >> 8) % size;
            in.Seek(static_cast<i32>(position));
        } else if (random & 0x20000) {
            const i32 offset = static_cast<i32>((random >> 8) % size) - static_cast<i32>(position);
            in.Skip(offset);
            position += static_cast<u32>(offset);
        }
        ASSERT_EQ(in.Tell(), static_cast<i32>(position));
        const u32 count = std::min(size - position, (random & 1) ? random >> 14 : random >> 28);
        part.assign(count, 0xEE);
        in.ReadBytes(part.data(), count);
        for (u32 k = 0; k < count; ++k) ASSERT_EQ(part[k], at(position + k)) << position << "+" << k;
        position += count;
        ASSERT_EQ(in.Remaining(), size - position);
        ASSERT_EQ(in.GetSize(), static_cast<i32>(size)) << "asking for the size moves nothing";
    }
    EXPECT_FALSE(in.IsExhausted());
    in.Seek(5);
    in.Seek(-1);
    in.Skip(-6);
    EXPECT_EQ(in.Tell(), 5) << "nowhere before the start";
}

TEST(LeafStreams, GoWhereTheyAreSent) {
    constexpr u32 kSize = 300000;
    std::vector<u8> data(kSize);
    for (u32 i = 0; i < kSize; ++i) data[i] = static_cast<u8>(i % 251);
    TempFile path;
    path.Put(data);
    osmio::InStreamFile file(path.Path());
    ExpectPositionsHold(file, kSize);
    osmio::InStreamMemory memory(data);
    ExpectPositionsHold(memory, kSize);
}

void ExpectShortReadsLeaveTheRest(osmio::InStream& in) {
    u8 bytes[6] = {9, 9, 9, 9, 9, 9};
    in.ReadBytes(bytes, 2);
    EXPECT_FALSE(in.IsExhausted());
    in.ReadBytes(bytes, 6);
    EXPECT_TRUE(in.IsExhausted());
    EXPECT_EQ(bytes[0], 3);
    EXPECT_EQ(bytes[1], 2);
    EXPECT_EQ(bytes[2], 9);
    EXPECT_EQ(in.Tell(), 3);
    f64 number = 4.5;
    bool flag = true;
    in.ReadF64(&number);
    in.ReadBool(&flag);
    EXPECT_EQ(number, 4.5);
    EXPECT_TRUE(flag);
    in.Seek(1000);
    in.ReadF64(&number);
    EXPECT_EQ(number, 4.5);
    EXPECT_EQ(in.Remaining(), 0u);
}

TEST(LeafStreams, AReadPastTheEndFillsWhatItCan) {
    TempFile path;
    path.Put({1, 2, 3});
    osmio::InStreamFile file(path.Path());
    ExpectShortReadsLeaveTheRest(file);
    const std::vector<u8> data{1, 2, 3};
    osmio::InStreamMemory memory(data);
    ExpectShortReadsLeaveTheRest(memory);
}

TEST(LeafStreams, ABoolIsAnyByteButZero) {
    const std::vector<u8> data{2, 0, 255};
    osmio::InStreamMemory in(data);
    bool values[3] = {false, true, false};
    for (bool& value : values) in.ReadBool(&value);
    EXPECT_TRUE(values[0] && !values[1] && values[2]);
}

TEST(LeafStreams, PatchingLeavesTheEndWhereItIs) {
    constexpr u32 kLarge = 150000;
    TempFile path;
    {
        osmio::OutStreamFile file(path.Path());
        file.WriteU32(1);
        const std::vector<u8> filler(kLarge, 5);
        file.WriteBytes(filler.data(), kLarge);
        file.WriteU32(2);
        EXPECT_EQ(file.Tell(), kLarge + 8);
        file.PatchU32(0, 0x11111111);           // has left the buffer
        file.PatchU32(kLarge + 4, 0x22222222);  // may have
        file.PatchU32(kLarge + 6, 0);           // beyond the end
        file.WriteU32(3);
        file.PatchU32(kLarge + 8, 0x33333333);  // still in it
        EXPECT_TRUE(file.Flush());
    }
    const std::vector<u8> expected =
        Bytes().U32(0x11111111).Append(std::vector<u8>(kLarge, 5)).U32(0x22222222).U32(0x33333333);
    EXPECT_EQ(path.Get(), expected);

    osmio::OutStreamMemory memory;
    memory.WriteU32(1);
    memory.WriteU32(2);
    memory.PatchU32(0, 9);
    memory.PatchU32(5, 9);
    EXPECT_EQ(memory.GetData(), Bytes().U32(9).U32(2).bytes);
}

TEST(LeafStreams, WhatCannotBeOpenedIsNotOpen) {
    TempFile path;
    EXPECT_FALSE(osmio::InStreamFile(path.Path()).IsOpen());
    EXPECT_FALSE(osmio::InStreamFile(std::filesystem::temp_directory_path().string()).IsOpen()) << "a folder";
    osmio::OutStreamFile out(path.Path() + "/no/such/folder");
    EXPECT_FALSE(out.IsOpen());
    EXPECT_FALSE(out.Flush());
    EXPECT_FALSE(osmio::InStreamMemory().IsOpen());
    path.Put({});
    osmio::InStreamFile empty(path.Path());
    EXPECT_TRUE(empty.IsOpen());
    EXPECT_EQ(empty.GetSize(), 0);
}

TEST(LeafStreams, AFullDiskIsNoticed) {
    osmio::OutStreamFile out("/dev/full");
    if (!out.IsOpen()) GTEST_SKIP() << "no such device here";
    out.WriteU32(1);
    EXPECT_FALSE(out.Flush());
}

struct Pair {
    f32 a;
    u32 b;
};

TEST(Blocks, AreTheBytesOfTheirElements) {
    const std::vector<Pair> pairs{{1.0f, 2}, {3.0f, 4}};
    osmio::OutStreamMemory out;
    osmio::WriteBlock(&out, pairs);
    EXPECT_EQ(out.GetData(), Bytes().F32(1).U32(2).F32(3).U32(4).bytes);
    const std::vector<u8> data = out.GetData();
    osmio::InStreamMemory in(data);
    std::vector<Pair> read{{9, 9}};
    ASSERT_TRUE(osmio::ReadBlock(&in, read, 2, "pairs"));
    ASSERT_EQ(read.size(), 2u);
    EXPECT_EQ(read[1].a, 3.0f);
    EXPECT_EQ(read[1].b, 4u);
}

TEST(Blocks, RefuseACountThatTheStreamCannotHold) {
    const std::vector<u8> data(16);
    osmio::InStreamMemory in(data);
    std::vector<Pair> read{{9, 9}};
    for (const i32 count : {3, -1, std::numeric_limits<i32>::max(), std::numeric_limits<i32>::min()}) {
        EXPECT_FALSE(osmio::ReadBlock(&in, read, count, "pairs"));
        EXPECT_TRUE(read.empty());
        EXPECT_EQ(in.Tell(), 0);
    }
}

TEST(Blocks, LargeOnesArriveWhole) {
    std::vector<u32> numbers(300001);
    for (u32 i = 0; i < numbers.size(); ++i) numbers[i] = i * 7;
    TempFile path;
    {
        osmio::OutStreamFile out(path.Path());
        out.WriteU8(1);
        osmio::WriteBlock(&out, numbers);
    }
    osmio::InStreamFile in(path.Path());
    in.Skip(1);
    std::vector<u32> read;
    ASSERT_TRUE(osmio::ReadBlock(&in, read, 300001, "numbers"));
    EXPECT_EQ(read, numbers);
    EXPECT_EQ(in.Remaining(), 0u);
}

}  // namespace
