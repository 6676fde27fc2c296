#include <gtest/gtest.h>

#include <limits>

#include "io/block.h"
#include "io/file_stream.h"
#include "io/memory_stream.h"
#include "io/test_bytes.h"

namespace {

using test_support::TempFile;
using testing_bytes::Bytes;

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
    out.WriteObject(nullptr);
}

TEST(LeafStreams, StoreValuesAsTheirMemoryImage) {
    Bytes b;
    b.U32(0).U32(0x3FF80000).U32(0xC0000000).U32(0xFFFFFFFE).U32(0x01020304).U16(0x0506).U16(0xFFFD);
    const std::vector<u8> expected = b.U8(7).U8(0xFF).U8(1).U32(0);
    TempFile temp;
    {
        osmio::OutStreamFile file(temp.path);
        WriteOneOfEach(file);
        EXPECT_TRUE(file.Flush());
    }
    osmio::OutStreamMemory memory;
    WriteOneOfEach(memory);
    EXPECT_EQ(temp.Bytes(), expected);
    EXPECT_EQ(memory.GetData(), expected);

    // Every type comes back as itself, from either stream; a bool is any byte but zero.
    osmio::InStreamFile fromFile(temp.path);
    osmio::InStreamMemory fromMemory(expected);
    for (osmio::InStream* in :
         {static_cast<osmio::InStream*>(&fromFile), static_cast<osmio::InStream*>(&fromMemory)}) {
        f64 d = 0;
        f32 f = 0;
        i32 i = 0;
        u16 w = 0;
        i16 s = 0;
        i8 c = 0;
        bool yes = false;
        in->ReadF64(&d);
        in->ReadF32(&f);
        in->ReadI32(&i);
        in->Skip(4);
        in->ReadU16(&w);
        in->ReadI16(&s);
        in->ReadBool(&yes);
        in->ReadI8(&c);
        EXPECT_TRUE(d == 1.5 && f == -2 && i == -2 && w == 0x0506 && s == -3 && c == -1 && yes);
        EXPECT_EQ(in->ReadObject(), nullptr);
        EXPECT_EQ(in->Remaining(), 5u) << "a null object stays unread without chunks";
    }
}

TEST(LeafStreams, StringsEndWithAZeroInFilesAndWithNothingInMemory) {
    TempFile temp;
    osmio::OutStreamMemory memory;
    const std::string large(200000, 'q');  // longer than the read buffer
    {
        osmio::OutStreamFile file(temp.path);
        for (osmio::OutStream* out :
             {static_cast<osmio::OutStream*>(&file), static_cast<osmio::OutStream*>(&memory)}) {
            out->WriteString("");
            out->WriteString("ab");
            out->WriteCString("c");
            out->WriteCString("");
        }
        file.WriteString(large);
    }
    EXPECT_EQ(memory.GetData(), Bytes().Text(std::string("abc\0", 4)).bytes);
    EXPECT_EQ(temp.Bytes(), Bytes().Text(std::string("\0ab\0c\0\0", 7)).Text(large).U8(0).bytes);

    osmio::InStreamFile file(temp.path);
    std::string text = "old";
    for (const std::string& expected :
         {std::string(), std::string("ab"), std::string("c"), std::string(), large}) {
        file.ReadString(text);
        EXPECT_EQ(text, expected);
    }
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
    TempFile temp;
    temp.Fill(data);
    osmio::InStreamFile file(temp.path);
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
    TempFile temp;
    temp.Fill({1, 2, 3});
    osmio::InStreamFile file(temp.path);
    ExpectShortReadsLeaveTheRest(file);
    const std::vector<u8> data{1, 2, 3};
    osmio::InStreamMemory memory(data);
    ExpectShortReadsLeaveTheRest(memory);
}

TEST(LeafStreams, PatchingLeavesTheEndWhereItIs) {
    constexpr u32 kLarge = 150000;
    TempFile temp;
    {
        osmio::OutStreamFile file(temp.path);
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
    EXPECT_EQ(temp.Bytes(), expected);

    osmio::OutStreamMemory memory;
    memory.WriteU32(1);
    memory.WriteU32(2);
    memory.PatchU32(0, 9);
    memory.PatchU32(5, 9);
    EXPECT_EQ(memory.GetData(), Bytes().U32(9).U32(2).bytes);
}

TEST(LeafStreams, WhatCannotBeOpenedOrWrittenIsNoticed) {
    EXPECT_FALSE(osmio::InStreamFile(std::filesystem::temp_directory_path().string()).IsOpen()) << "a folder";
    osmio::OutStreamFile nowhere(TempFile().path + "/no/such/folder");
    EXPECT_FALSE(nowhere.IsOpen());
    EXPECT_FALSE(nowhere.Flush());
    osmio::OutStreamFile full("/dev/full");
    if (!full.IsOpen()) GTEST_SKIP() << "no such device here";
    full.WriteU32(1);
    EXPECT_FALSE(full.Flush());
}

struct Pair {
    f32 a;
    u32 b;
};

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
    TempFile temp;
    {
        osmio::OutStreamFile out(temp.path);
        out.WriteU8(1);
        osmio::WriteBlock(&out, numbers);
    }
    osmio::InStreamFile in(temp.path);
    in.Skip(1);
    std::vector<u32> read;
    ASSERT_TRUE(osmio::ReadBlock(&in, read, 300001, "numbers"));
    EXPECT_EQ(read, numbers);
    EXPECT_EQ(in.Remaining(), 0u);
}

}  // namespace
